// MadeCache.cpp - entries as files, an in-memory use order, temporary files renamed into place.
#include "web/MadeCache.h"

#include "settings/Preferences.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

static const char kSuffix[] = ".jpg";

MadeCache::MadeCache(std::string folder, std::function<uint64_t()> limit)
    : folder_(std::move(folder)), limit_(std::move(limit)) {}

std::string MadeCache::key(const struct stat& source, std::string_view variant) {
    char text[160];
    snprintf(text, sizeof text, "%llx-%llx-%llx-%llx.%09ld-", (unsigned long long)source.st_dev,
             (unsigned long long)source.st_ino, (unsigned long long)source.st_size,
             (unsigned long long)source.st_mtim.tv_sec, long(source.st_mtim.tv_nsec));
    std::string made = text;
    for (char c : variant)
        made += isalnum((unsigned char)c) ? c : '-';
    return made;
}

// Makes folder and its parents.
static bool makeFolders(const std::string& folder) {
    for (size_t slash = 1; slash != std::string::npos;) {
        slash = folder.find('/', slash + 1);
        std::string part = folder.substr(0, slash);
        if (mkdir(part.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    struct stat info;
    return stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void MadeCache::loadLocked() {
    if (loaded_) return;
    loaded_ = true;
    DIR* dir = opendir(folder_.c_str());
    if (!dir) return;
    struct Found {
        std::string key;
        uint64_t size;
        struct timespec when;
    };
    std::vector<Found> found;
    while (struct dirent* item = readdir(dir)) {
        std::string name = item->d_name;
        struct stat info;
        if (name[0] == '.' || fstatat(dirfd(dir), item->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(info.st_mode))
            continue;
        if (name.starts_with("tmp-")) { // left by a server that stopped while storing
            unlinkat(dirfd(dir), item->d_name, 0);
            continue;
        }
        if (name.size() <= strlen(kSuffix) || !name.ends_with(kSuffix)) continue;
        found.push_back(
            {name.substr(0, name.size() - strlen(kSuffix)), uint64_t(info.st_size), info.st_mtim});
    }
    closedir(dir);
    std::sort(found.begin(), found.end(), [](const Found& a, const Found& b) {
        return a.when.tv_sec != b.when.tv_sec ? a.when.tv_sec < b.when.tv_sec
                                              : a.when.tv_nsec < b.when.tv_nsec;
    });
    for (const Found& f : found) {
        entries_[f.key] = {f.size, ++tick_};
        total_ += f.size;
    }
}

std::optional<int> MadeCache::open(const std::string& key) {
    std::lock_guard<std::mutex> lock(mutex_);
    loadLocked();
    auto entry = entries_.find(key);
    if (entry == entries_.end()) return std::nullopt;
    std::string path = folder_ + "/" + key + kSuffix;
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0 || uint64_t(info.st_size) != entry->second.size) {
        if (fd >= 0) close(fd);
        total_ -= entry->second.size;
        entries_.erase(entry); // removed or replaced behind our back: a miss
        return std::nullopt;
    }
    entry->second.used = ++tick_;
    // The file's time keeps the order for the next start (best effort); a minute's precision is
    // enough for that, and spares a write to the disk on every use of a popular picture.
    time_t now = time(nullptr);
    if (now - entry->second.stamped >= 60) {
        futimens(fd, nullptr);
        entry->second.stamped = now;
    }
    return fd;
}

void MadeCache::failedLocked(const char* what, int error) {
    if (!failing_)
        printf("picture cache '%s': %s: %s; pictures are made without it\n", folder_.c_str(), what,
               strerror(error));
    failing_ = true;
}

bool MadeCache::store(const std::string& key, std::string_view bytes) {
    uint64_t limit = limit_();
    std::lock_guard<std::mutex> lock(mutex_);
    loadLocked();
    if (bytes.size() > limit) return false;
    if (!makeFolders(folder_)) {
        failedLocked("cannot make the folder", errno);
        return false;
    }
    std::string temporary =
        folder_ + "/tmp-" + std::to_string(getpid()) + "-" + std::to_string(++temporary_);
    int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        failedLocked("cannot write", errno);
        return false;
    }
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        done += size_t(written);
    }
    int error = done == bytes.size() ? 0 : errno ? errno : ENOSPC;
    if (close(fd) != 0 && !error) error = errno;
    std::string path = folder_ + "/" + key + kSuffix;
    if (!error && rename(temporary.c_str(), path.c_str()) != 0) error = errno;
    if (error) {
        unlink(temporary.c_str());
        failedLocked("cannot write", error);
        return false;
    }
    failing_ = false;
    if (auto old = entries_.find(key); old != entries_.end()) total_ -= old->second.size;
    entries_[key] = {bytes.size(), ++tick_};
    total_ += bytes.size();
    evictLocked(limit);
    return true;
}

void MadeCache::evictLocked(uint64_t limit) {
    while (total_ > limit && !entries_.empty()) {
        auto oldest = std::min_element(entries_.begin(), entries_.end(), [](auto& a, auto& b) {
            return a.second.used < b.second.used;
        });
        unlink((folder_ + "/" + oldest->first + kSuffix).c_str());
        total_ -= oldest->second.size;
        entries_.erase(oldest);
    }
}

uint64_t MadeCache::bytes() {
    std::lock_guard<std::mutex> lock(mutex_);
    loadLocked();
    return total_;
}
