// LibraryFiles.cpp - opening and probing the files named by album files.
#include "web/LibraryFiles.h"

MediaFile openLibraryFile(const CFString_t& path) {
    std::string bytes = CFStringGetUTF8(path);
    const char* why = "";
    std::optional<MediaFile> file = MediaFile::open(bytes, &why);
    if (!file) throwRTE("openLibraryFile", "'%s' %s", bytes.c_str(), why);
    return std::move(*file);
}

int probeLibraryFile(const CFString_t& path, ImageSize* size, CFDataRef* exif) {
    if (size) size->width = size->height = 0;
    if (exif) *exif = nullptr;
    std::optional<MediaFile> file = MediaFile::open(CFStringGetUTF8(path));
    if (!file) return kImageUnknown;
    CFURLRef url = file->copyReadingURL();
    if (!url) return kImageUnknown;
    return getImageInfo(CFURL_t(url, CFURL_t::Create), size, exif);
}

CFURL_t readingURL(const MediaFile& file) {
    CFURLRef url = file.copyReadingURL();
    if (!url) throwRTE("readingURL", "'%s' cannot be read again", file.path().c_str());
    return CFURL_t(url, CFURL_t::Create);
}
