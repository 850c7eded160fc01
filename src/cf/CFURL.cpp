// CFURL.cpp - file URLs.
#include "cf/CFURL.h"

#include "cf/CFInternal.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

struct CFURL {
    CFRuntimeBase base;
    size_t length;
    mutable CFStringRef text; // the string form, made on first use
    mutable int fd;           // an open descriptor of the file for the first stream, or -1
    int64_t size;             // the file's size when fd was opened
    char path[];              // NUL-terminated bytes, stored with the record
};

CFTypeID CFURLGetTypeID() {
    return kCFURLTypeID;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(const char* path, CFIndex length,
                                                 bool isDirectory) {
    size_t n = length > 0 ? size_t(length) : 0;
    bool addSlash = isDirectory && (n == 0 || path[n - 1] != '/');
    auto* url = static_cast<CFURL*>(_CFRuntimeCreate(kCFURLTypeID, sizeof(CFURL) + n + 2));
    url->fd = -1;
    if (n) memcpy(url->path, path, n);
    if (addSlash) url->path[n++] = '/';
    url->path[n] = '\0';
    url->length = n;
    return url;
}

CFURLRef CFURLCreateCopyAppendingPathComponent(CFURLRef url, CFStringRef component,
                                               bool isDirectory) {
    std::string path(url->path, url->length);
    if (path.empty() || path.back() != '/') path += '/';
    path += CFStringGetUTF8(component);
    return CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), isDirectory);
}

static CFStringRef _stringFromPathBytes(const char* p, size_t n) {
    CFStringRef s = CFStringCreateWithBytes(p, CFIndex(n), kCFStringEncodingUTF8);
    return s ? s : CFStringCreateWithBytes(p, CFIndex(n), kCFStringEncodingISOLatin1);
}

CFStringRef CFURLGetString(CFURLRef url) {
    if (!url->text) {
        static const char* hex = "0123456789ABCDEF";
        std::string text = url->length && url->path[0] == '/' ? "file://" : "";
        for (size_t i = 0; i < url->length; ++i) {
            unsigned char c = static_cast<unsigned char>(url->path[i]);
            if (isalnum(c) || (c && strchr("-._~/!$&'()*+,;=:@", c))) {
                text += char(c);
            } else {
                text += '%';
                text += hex[c >> 4];
                text += hex[c & 15];
            }
        }
        url->text = _stringFromPathBytes(text.data(), text.size());
    }
    return url->text;
}

const char* CFURLGetPOSIXPath(CFURLRef url) {
    return url->path;
}

void _CFURLFinalize(CFTypeRef value) {
    auto* url = static_cast<const CFURL*>(value);
    if (url->text) CFRelease(url->text);
    if (url->fd >= 0) close(url->fd);
}

CFURLRef _CFURLCreateOpeningFile(const char* path, CFIndex length) {
    auto* url = const_cast<CFURL*>(CFURLCreateFromFileSystemRepresentation(path, length, false));
    int fd;
    // As for streams: opening never waits, and only a regular file is kept.
    do {
        fd = open(url->path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (fd < 0 && errno == EINTR);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        if (fd >= 0) close(fd);
        CFRelease(url);
        return nullptr;
    }
    url->fd = fd;
    url->size = info.st_size;
    return url;
}

CFURLRef _CFURLCreateWithOpenFile(const char* path, CFIndex length, int fd, int64_t size) {
    auto* url = const_cast<CFURL*>(CFURLCreateFromFileSystemRepresentation(path, length, false));
    url->fd = fd;
    url->size = size;
    return url;
}

int _CFURLTakeOpenFile(CFURLRef url, int64_t* size) {
    int fd = url->fd;
    url->fd = -1;
    if (fd >= 0 && size) *size = url->size;
    return fd;
}
