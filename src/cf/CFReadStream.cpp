// CFReadStream.cpp - buffered read streams over files.
#include "cf/CFReadStream.h"

#include "cf/CFInternal.h"
#include "cf/CFNumber.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr size_t kBufferSize = 4096;

struct CFReadStream {
    CFRuntimeBase base;
    CFURLRef url;   // the file, retained
    int fd;         // -1 when not open
    int64_t offset; // logical position: the next byte a read returns
    int64_t size;   // the file's size when it was opened
    uint8_t* buffer;
    int64_t bufferStart; // file offset of buffer[0]
    size_t bufferLength; // valid bytes in buffer
};

const CFStringRef kCFStreamPropertyFileCurrentOffset = CFSTR("kCFStreamPropertyFileCurrentOffset");

CFTypeID CFReadStreamGetTypeID() {
    return kCFReadStreamTypeID;
}

CFReadStreamRef CFReadStreamCreateWithFile(CFURLRef url) {
    auto* s =
        static_cast<CFReadStream*>(_CFRuntimeCreate(kCFReadStreamTypeID, sizeof(CFReadStream)));
    s->url = static_cast<CFURLRef>(CFRetain(url));
    s->fd = -1;
    return s;
}

bool CFReadStreamOpen(CFReadStreamRef s) {
    if (s->fd >= 0) return true;
    // A lookup that already opened the file hands its descriptor over.
    int64_t size = 0;
    int fd = _CFURLTakeOpenFile(s->url, &size);
    if (fd >= 0) {
        s->fd = fd;
        s->size = size;
        s->bufferLength = 0;
        return true;
    }
    // Opening never waits (a FIFO or a device in a library would stop the whole server until
    // something writes to it); anything but a regular file is refused below.
    do {
        fd = open(CFURLGetPOSIXPath(s->url), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    if (fd < 0) return false;
    struct stat info;
    if (fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        close(fd);
        return false;
    }
    s->fd = fd;
    s->size = info.st_size;
    s->bufferLength = 0;
    return true;
}

static ssize_t _readAt(int fd, int64_t offset, uint8_t* into, size_t length) {
    ssize_t n;
    do {
        n = pread(fd, into, length, offset);
    } while (n < 0 && errno == EINTR);
    return n;
}

CFIndex CFReadStreamRead(CFReadStreamRef s, uint8_t* out, CFIndex length) {
    if (s->fd < 0) return -1;
    if (length <= 0) return 0;
    // The end of the file as it was when opened: no system call to learn it again.
    if (s->offset >= s->size) return 0;
    size_t wanted = size_t(length);
    // Serve what the buffer holds at the current offset.
    if (s->offset >= s->bufferStart && s->offset < s->bufferStart + int64_t(s->bufferLength)) {
        size_t at = size_t(s->offset - s->bufferStart);
        size_t n = s->bufferLength - at < wanted ? s->bufferLength - at : wanted;
        memcpy(out, s->buffer + at, n);
        s->offset += int64_t(n);
        return CFIndex(n);
    }
    if (wanted >= kBufferSize) {
        ssize_t n = _readAt(s->fd, s->offset, out, wanted);
        if (n < 0) return -1;
        s->offset += n;
        return CFIndex(n);
    }
    if (!s->buffer) {
        s->buffer = static_cast<uint8_t*>(malloc(kBufferSize));
        if (!s->buffer) abort();
    }
    ssize_t n = _readAt(s->fd, s->offset, s->buffer, kBufferSize);
    if (n < 0) return -1;
    s->bufferStart = s->offset;
    s->bufferLength = size_t(n);
    size_t given = size_t(n) < wanted ? size_t(n) : wanted;
    memcpy(out, s->buffer, given);
    s->offset += int64_t(given);
    return CFIndex(given);
}

int64_t _CFReadStreamGetFileSize(CFReadStreamRef s) {
    return s->fd >= 0 ? s->size : -1;
}

int _CFReadStreamGetFileDescriptor(CFReadStreamRef s) {
    return s->fd;
}

void CFReadStreamClose(CFReadStreamRef s) {
    if (s->fd >= 0) close(s->fd);
    s->fd = -1;
    s->bufferLength = 0;
}

bool CFReadStreamSetProperty(CFReadStreamRef s, CFStringRef name, CFTypeRef value) {
    if (!CFStringEqual(name, kCFStreamPropertyFileCurrentOffset) || !value ||
        CFGetTypeID(value) != kCFNumberTypeID)
        return false;
    int64_t offset;
    CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &offset);
    if (offset < 0) return false;
    s->offset = offset;
    return true;
}

CFTypeRef CFReadStreamCopyProperty(CFReadStreamRef s, CFStringRef name) {
    if (!CFStringEqual(name, kCFStreamPropertyFileCurrentOffset)) return nullptr;
    return CFNumberCreate(kCFNumberSInt64Type, &s->offset);
}

void _CFReadStreamFinalize(CFTypeRef value) {
    auto* s = static_cast<CFReadStream*>(const_cast<void*>(value));
    CFReadStreamClose(s);
    free(s->buffer);
    CFRelease(s->url);
}
