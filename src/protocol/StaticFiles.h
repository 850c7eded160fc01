// StaticFiles.h - the server's own files (layout pages, style sheets, scripts, the shipped JSON
// scripts): opened only from inside their folder, small ones kept in memory for every request.
//
// A file is named by its folder and a name of one path component. The file may be a link only
// to another file directly in the same folder; a link anywhere else, a folder, a FIFO or a
// missing file is not found. Files up to kStaticCacheFileBytes are read once per version
// (identity, size, modification time) into a cache the caller gives (StaticFileCache); bigger
// ones are handed over as an open descriptor.
#pragma once

#include "http/HttpMessage.h"

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>

constexpr uint64_t kStaticCacheFileBytes = 256 * 1024;

// The small files read so far, by path and version. Any number of threads may use one at once
// (a mutex guards it). It forgets everything when it would hold more than 16 MiB.
class StaticFileCache {
  public:
    StaticFileCache() = default;
    StaticFileCache(const StaticFileCache&) = delete;
    StaticFileCache& operator=(const StaticFileCache&) = delete;

    // The bytes kept for path when they are of the version info describes, else null.
    std::shared_ptr<const std::string> find(const std::string& path, const struct stat& info);
    // Keeps bytes as path's content in the version info describes.
    void keep(const std::string& path, const struct stat& info,
              std::shared_ptr<const std::string> bytes);

  private:
    struct Cached {
        struct stat info;
        std::shared_ptr<const std::string> bytes;
    };
    std::mutex mutex_;
    std::unordered_map<std::string, Cached> files_;
    uint64_t held_ = 0;
};

class StaticFile {
  public:
    // The file name in folder, or nothing when it is not found (see above); small files come
    // from, and go into, cache. REQUIRES: name is one path component (no "/", not "." or "..").
    static std::optional<StaticFile> open(StaticFileCache& cache, const std::string& folder,
                                          std::string_view name);

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
