// ReadAt.cpp - pread until the whole range is in.
#include "image/ReadAt.h"

#include <cerrno>
#include <unistd.h>

bool readAt(int fd, uint64_t offset, void* into, size_t length) {
    auto* bytes = static_cast<uint8_t*>(into);
    while (length > 0) {
        ssize_t n = pread(fd, bytes, length, off_t(offset));
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        bytes += n;
        length -= size_t(n);
        offset += uint64_t(n);
    }
    return true;
}
