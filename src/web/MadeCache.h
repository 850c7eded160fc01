// MadeCache.h - the bounded disk cache of made pictures (sized thumbnails, exact fits).
//
// Entries are files in one folder, named by their key, holding exactly the bytes that were made,
// so a reply from the cache is byte for byte the reply that made it. The folder's total stays
// within a bound given in bytes: storing past it removes the least recently used entries (a
// hit counts as a use; the order of the entries found at start is their modification time,
// which every hit refreshes). Entries are written to a temporary file and renamed into place,
// so a reader never sees half an entry.
//
// Nothing here fails a reply: a folder that is missing and cannot be made, read-only or full
// only makes store() keep nothing, with one log line until a store succeeds again. All
// functions may be called from several threads at once.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <sys/stat.h>

class MadeCache {
  public:
    // folder is made (with its parents, mode 0700) on the first store. limit gives the bound in
    // bytes and is asked at every store (0: keep nothing).
    MadeCache(std::string folder, std::function<uint64_t()> limit);

    // The key of a picture made from the file described by source (identity, size, modification
    // time in nanoseconds) as variant describes (box, size, fit, quality: letters, digits, "-").
    static std::string key(const struct stat& source, std::string_view variant);

    // An open read-only descriptor on the entry for key (the caller closes it), or nothing on a
    // miss.
    std::optional<int> open(const std::string& key);
    // Keeps bytes as the entry for key, replacing any, then removes least recently used entries
    // until the folder is within the bound. An entry larger than the bound is not kept. Returns
    // whether it was kept.
    bool store(const std::string& key, std::string_view bytes);

    // The bytes the entries take, as the cache counts them.
    uint64_t bytes();
    const std::string& folder() const { return folder_; }

  private:
    struct Entry {
        uint64_t size;
        uint64_t used;      // tick of its last use
        time_t stamped = 0; // when its file's time last recorded a use (0: not by us)
    };
    void loadLocked();
    void evictLocked(uint64_t limit);
    void failedLocked(const char* what, int error);

    std::string folder_;
    std::function<uint64_t()> limit_;
    std::mutex mutex_;
    bool loaded_ = false;
    bool failing_ = false; // a failure has been logged since the last success
    std::map<std::string, Entry> entries_;
    uint64_t total_ = 0;
    uint64_t tick_ = 0;
    uint64_t temporary_ = 0; // serial of temporary file names
};
