// StaticFiles.cpp - opening the server's own files and the cache of the small ones.
#include "protocol/StaticFiles.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>
#include <unordered_map>

namespace {

// The cache drops everything when it would hold more than this.
constexpr uint64_t kCacheBytes = 16 * 1024 * 1024;

bool sameVersion(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino && a.st_size == b.st_size &&
           a.st_mtim.tv_sec == b.st_mtim.tv_sec && a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

int openFile(const char* path, int flags) {
    int fd;
    do {
        fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | flags);
    } while (fd < 0 && errno == EINTR);
    return fd;
}

// The target of the link at path when it is a file directly in folder, else "".
std::string targetInFolder(const std::string& folder, const std::string& path) {
    char target[PATH_MAX], base[PATH_MAX];
    if (!realpath(path.c_str(), target) || !realpath(folder.c_str(), base)) return "";
    std::string resolved = target;
    size_t slash = resolved.rfind('/');
    if (slash == std::string::npos || resolved.compare(0, slash, base) != 0 ||
        slash != strlen(base))
        return "";
    return resolved;
}

// The whole file, or null when it changed size while being read.
std::shared_ptr<const std::string> readWhole(int fd, uint64_t size) {
    auto bytes = std::make_shared<std::string>(size_t(size), '\0');
    size_t got = 0;
    while (got < size) {
        ssize_t n = pread(fd, bytes->data() + got, size - got, off_t(got));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return nullptr;
        got += size_t(n);
    }
    return bytes;
}

} // namespace

bool isPlainFileName(std::string_view name) {
    if (name.empty() || name == "." || name == "..") return false;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] == '/' || name[i] == '\0') return false;
        if (name[i] == '%' && i + 2 < name.size() && name[i + 1] == '2' &&
            (name[i + 2] == 'F' || name[i + 2] == 'f'))
            return false;
    }
    return true;
}

std::shared_ptr<const std::string> StaticFileCache::find(const std::string& path,
                                                         const struct stat& info) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = files_.find(path);
    if (found == files_.end() || !sameVersion(found->second.info, info)) return nullptr;
    return found->second.bytes;
}

void StaticFileCache::keep(const std::string& path, const struct stat& info,
                           std::shared_ptr<const std::string> bytes) {
    std::lock_guard<std::mutex> lock(mutex_);
    auto found = files_.find(path);
    if (found != files_.end()) {
        held_ -= found->second.bytes->size();
        files_.erase(found);
    }
    if (held_ + bytes->size() > kCacheBytes) {
        files_.clear();
        held_ = 0;
    }
    held_ += bytes->size();
    files_.emplace(path, Cached{info, std::move(bytes)});
}

std::optional<StaticFile> StaticFile::open(StaticFileCache& cache, const std::string& folder,
                                           std::string_view name) {
    std::string path;
    path.reserve(folder.size() + name.size() + 1);
    path.append(folder).append("/").append(name);
    // A cached version that is still the file there costs one lstat.
    struct stat info;
    if (lstat(path.c_str(), &info) != 0) return std::nullopt;
    if (S_ISLNK(info.st_mode)) {
        path = targetInFolder(folder, path);
        if (path.empty() || lstat(path.c_str(), &info) != 0) return std::nullopt;
    }
    if (!S_ISREG(info.st_mode)) return std::nullopt;
    if (uint64_t(info.st_size) <= kStaticCacheFileBytes)
        if (auto bytes = cache.find(path, info)) return StaticFile(info, std::move(bytes), -1);

    int fd = openFile(path.c_str(), O_NOFOLLOW);
    if (fd < 0) return std::nullopt;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        return std::nullopt;
    }
    if (uint64_t(info.st_size) > kStaticCacheFileBytes) return StaticFile(info, nullptr, fd);
    std::shared_ptr<const std::string> bytes = readWhole(fd, uint64_t(info.st_size));
    if (!bytes) return StaticFile(info, nullptr, fd);
    close(fd);
    cache.keep(path, info, bytes);
    return StaticFile(info, std::move(bytes), -1);
}

StaticFile::StaticFile(StaticFile&& other) noexcept
    : info_(other.info_), bytes_(std::move(other.bytes_)), fd_(other.fd_) {
    other.fd_ = -1;
}

StaticFile::~StaticFile() {
    if (fd_ >= 0) close(fd_);
}

void StaticFile::giveTo(HttpReply& reply) {
    if (bytes_) {
        reply.setSharedBody(bytes_);
    } else {
        reply.setFileBody(fd_, 0, uint64_t(info_.st_size));
        fd_ = -1;
    }
}
