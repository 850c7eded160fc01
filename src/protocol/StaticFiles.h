// StaticFiles.h - the server's own files (layout pages, style sheets, scripts, the shipped JSON
// scripts): opened only from inside their folder, small ones kept in memory for every request.
//
// A file is named by its folder and a name of one path component. The file may be a link only
// to another file directly in the same folder; a link anywhere else, a folder, a FIFO or a
// missing file is not found. Files up to kStaticCacheFileBytes are read once per version
// (identity, size, modification time) into a cache shared by every thread; bigger ones are
// handed over as an open descriptor.
#pragma once

#include "http/HttpMessage.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

constexpr uint64_t kStaticCacheFileBytes = 256 * 1024;

class StaticFile {
  public:
    // The file name in folder, or nothing when it is not found (see above). REQUIRES: name is
    // one path component (no "/", not "." or "..").
    static std::optional<StaticFile> open(const std::string& folder, std::string_view name);

    StaticFile(StaticFile&& other) noexcept;
    StaticFile& operator=(StaticFile&&) = delete;
    StaticFile(const StaticFile&) = delete;
    ~StaticFile(); // closes a descriptor that was not handed over

    // The file version whose bytes these are.
    const struct stat& info() const { return info_; }
    // Makes the bytes the reply's body: shared with the cache, or the descriptor handed over.
    void giveTo(HttpReply& reply);

  private:
    StaticFile(const struct stat& info, std::shared_ptr<const std::string> bytes, int fd)
        : info_(info), bytes_(std::move(bytes)), fd_(fd) {}

    struct stat info_;
    std::shared_ptr<const std::string> bytes_;
    int fd_ = -1;
};

// Whether name can name a file directly in a folder: not empty, not "." or "..", no "/" and no
// encoded slash ("%2F").
bool isPlainFileName(std::string_view name);
