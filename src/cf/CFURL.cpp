// CFURL.cpp - file URLs.
#include "cf/CFURL.h"

#include "cf/CFInternal.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <string>

struct CFURL {
    CFRuntimeBase base;
    char* path; // NUL-terminated bytes
    size_t length;
    mutable CFStringRef text; // the string form, made on first use
};

CFTypeID CFURLGetTypeID() {
    return kCFURLTypeID;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(const char* path, CFIndex length,
                                                 bool isDirectory) {
    size_t n = length > 0 ? size_t(length) : 0;
    bool addSlash = isDirectory && (n == 0 || path[n - 1] != '/');
    auto* url = static_cast<CFURL*>(_CFRuntimeCreate(kCFURLTypeID, sizeof(CFURL)));
    url->path = static_cast<char*>(malloc(n + 2));
    if (!url->path) abort();
    if (n) memcpy(url->path, path, n);
    if (addSlash) url->path[n++] = '/';
    url->path[n] = '\0';
    url->length = n;
    return url;
}

CFURLRef CFURLCreateWithFileSystemPath(CFStringRef path, CFURLPathStyle, bool isDirectory) {
    std::string bytes = CFStringGetUTF8(path);
    return CFURLCreateFromFileSystemRepresentation(bytes.data(), CFIndex(bytes.size()),
                                                   isDirectory);
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

CFStringRef CFURLCopyLastPathComponent(CFURLRef url) {
    size_t end = url->length;
    while (end > 1 && url->path[end - 1] == '/')
        --end;
    size_t start = end;
    while (start > 0 && url->path[start - 1] != '/')
        --start;
    if (start == end && end > 0) return CFSTR("/");
    return _stringFromPathBytes(url->path + start, end - start);
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
    free(url->path);
}
