// MediaFile.cpp - opening a library file and checking what it holds before it is sent.
#include "image/MediaFile.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <unistd.h>

std::optional<MediaFile> MediaFile::open(std::string_view path, const char** why) {
    const char* ignored;
    if (!why) why = &ignored;
    std::string text(path);
    int fd;
    do {
        fd = ::open(text.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) {
        *why = "cannot be opened";
        return std::nullopt;
    }
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        *why = "is not a regular file";
        return std::nullopt;
    }
    uint8_t head[kMediaSniffBytes];
    size_t got = 0;
    while (got < sizeof head) {
        ssize_t n = pread(fd, head + got, sizeof head - got, off_t(got));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        got += size_t(n);
    }
    MediaType type = sniffMediaType(head, got, path);
    if (type.kind == MediaKind::None) {
        close(fd);
        *why = "is neither a picture nor a film";
        return std::nullopt;
    }
    return MediaFile(std::move(text), fd, info, type);
}

MediaFile::MediaFile(MediaFile&& other) noexcept
    : path_(std::move(other.path_)), fd_(other.fd_), info_(other.info_), type_(other.type_) {
    other.fd_ = -1;
}

MediaFile::~MediaFile() {
    if (fd_ >= 0) close(fd_);
}

CFURLRef MediaFile::copyReadingURL() const {
    int copy = fd_ >= 0 ? fcntl(fd_, F_DUPFD_CLOEXEC, 0) : -1;
    if (copy < 0) return nullptr;
    return _CFURLCreateWithOpenFile(path_.data(), CFIndex(path_.size()), copy,
                                    int64_t(info_.st_size));
}

int MediaFile::release() {
    int fd = fd_;
    fd_ = -1;
    return fd;
}
