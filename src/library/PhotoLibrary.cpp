// PhotoLibrary.cpp - the album data store: loading, the settling reload rule, album and photo
// lookups.
#include "library/PhotoLibrary.h"

#include "cf/CFPropertyList.h"

#include <sys/stat.h>

const char* const PhotoLibrary::baseName = "/AlbumData.xml";

std::map<std::string, PhotoLibrary> PhotoLibrary::libMap;

PhotoInfo::PhotoInfo(CFStringRef thumb, CFStringRef image, CFStringRef original)
    : id(0), thumbPath(thumb, CFString_t::Get), mediaType(""), imagePath(image, CFString_t::Get),
      fileName(""), originalPath(original, CFString_t::Get), caption(""), comment(""), date(0),
      modDate(0), metaModDate(0) {}

PhotoLibrary::PhotoLibrary(const std::string& path)
    : path_(path), state_(Unloaded), modTime_{0, 0}, propList_(nullptr), majorVersion_(0) {
    sync();
}

PhotoLibrary::PhotoLibrary(const PhotoLibrary& other)
    : path_(other.path_), state_(other.state_), modTime_(other.modTime_),
      propList_(other.propList_), majorVersion_(other.majorVersion_) {
    if (propList_) CFRetain(propList_);
}

PhotoLibrary::~PhotoLibrary() {
    if (propList_) CFRelease(propList_);
}

PhotoLibrary* PhotoLibrary::getLibrary(const std::string& path) {
    auto found = libMap.find(path);
    if (found != libMap.end()) return &found->second;
    PhotoLibrary library(path);
    if (!library.hasTree()) return nullptr;
    return &libMap.emplace(path, library).first->second;
}

CFURL_t PhotoLibrary::getLibraryUrl() const {
    // The path's bytes go into the URL unchanged, so a folder whose name holds non-ASCII
    // characters opens the same file that stat found.
    std::string file = path_ + baseName;
    return CFURL_t(
        CFURLCreateFromFileSystemRepresentation(file.data(), CFIndex(file.size()), false),
        CFURL_t::Create);
}

CFDictionary_t PhotoLibrary::getPropList() const {
    CFReadStream_t stream(CFReadStreamCreateWithFile(getLibraryUrl()), CFReadStream_t::Create);
    return readPropList(stream);
}

CFDictionary_t PhotoLibrary::readPropList(const CFReadStream_t& stream) {
    // Why a document was refused is not reported: the caller sees the wrapper's null message.
    return CFDictionary_t(CFPropertyListCreateFromStream(stream), CFDictionary_t::Create);
}

int PhotoLibrary::getModTime(timespec& time) {
    std::string file = path_ + baseName;
    struct stat info;
    if (stat(file.c_str(), &info) != 0) return -1;
    time = info.st_mtim;
    return 0;
}

void PhotoLibrary::sync() {
    timespec now;
    if (getModTime(now) != 0) return;
    switch (state_) {
    case Unloaded:
        break;
    case Current:
        if (now.tv_sec == modTime_.tv_sec && now.tv_nsec == modTime_.tv_nsec) return;
        state_ = Changed;
        return;
    case Changed:
        // Measured from the last load, not from when the change was noticed.
        if (now.tv_sec - modTime_.tv_sec <= 5) return;
        state_ = Current;
        break;
    }
    load(now);
}

void PhotoLibrary::load(const timespec& time) {
    modTime_ = time;
    CFDictionary_t root = getPropList();
    if (propList_) CFRelease(propList_);
    propList_ = static_cast<CFDictionaryRef>(CFRetain(root));
    state_ = Current;
    majorVersion_ = 0;
    // A version that is not a string counts as absent rather than making the library unusable.
    CFTypeRef version = rootValue(CFSTR("Application Version"));
    if (!version || CFGetTypeID(version) != CFStringGetTypeID()) return;
    auto text = static_cast<CFStringRef>(version);
    CFIndex length = CFStringGetLength(text);
    for (CFIndex i = 0; i < length; ++i) {
        UniChar c = CFStringGetCharacterAtIndex(text, i);
        if (c < '0' || c > '9') break;
        majorVersion_ = majorVersion_ * 10 + uint32_t(c - '0');
    }
}

CFTypeRef PhotoLibrary::rootValue(CFStringRef key) const {
    return propList_ ? CFDictionaryGetValue(propList_, key) : nullptr;
}

CFArray_t<CFDictionary_t> PhotoLibrary::getAlbumList() {
    sync();
    return CFArray_t<CFDictionary_t>(rootValue(CFSTR("List of Albums")),
                                     CFArray_t<CFDictionary_t>::Get);
}

CFDictionary_t PhotoLibrary::getAlbumInfo(unsigned long album) {
    CFArray_t<CFDictionary_t> albums = getAlbumList();
    for (CFIndex i = 0; i < albums.count(); ++i) {
        CFDictionary_t info = albums.elem(i);
        if (unsigned(info.get<CFNumber_t>(CFSTR("AlbumId"))) == album) return info;
    }
    throwRTE("getAlbumInfo", "couldn't find album with id %u", unsigned(album));
}

StrArray PhotoLibrary::getPhotoListFromAlbum(unsigned album) {
    return getAlbumInfo(album).get<StrArray>(CFSTR("KeyList"));
}

CFDictionary_t PhotoLibrary::getPhotoInfo(unsigned album, unsigned photo) {
    StrArray keys = getPhotoListFromAlbum(album);
    for (CFIndex i = 0; i < keys.count(); ++i) {
        CFString_t key = keys.elem(i);
        if (unsigned(CFStringGetIntValue(key)) == photo) return getPictureInfo(key);
    }
    throwRTE("getPhotoInfo", "couldn't find photo with id %u", photo);
}

CFDictionary_t PhotoLibrary::getPictureInfo(CFStringRef key) {
    CFDictionary_t images(rootValue(CFSTR("Master Image List")), CFDictionary_t::Get);
    return images.get<CFDictionary_t>(key);
}

void PhotoLibrary::getPhotoList(unsigned album, std::vector<PhotoInfo>& list) {
    StrArray keys = getPhotoListFromAlbum(album);
    for (CFIndex i = 0; i < keys.count(); ++i) {
        CFString_t key = keys.elem(i);
        CFDictionary_t photo = getPictureInfo(key);
        CFString_t imagePath = photo.get<CFString_t>(CFSTR("ImagePath"));
        CFURL_t url(CFURLCreateWithFileSystemPath(imagePath, kCFURLPOSIXPathStyle, false),
                    CFURL_t::Create);
        CFString_t originalPath = photo.get(CFSTR("OriginalPath"), imagePath);
        CFString_t thumbPath = photo.get<CFString_t>(CFSTR("ThumbPath"));
        PhotoInfo info(thumbPath, imagePath, originalPath);
        info.id = CFStringGetIntValue(key);
        info.date = photo.get<CFNumber_t>(CFSTR("DateAsTimerInterval"));
        info.modDate = photo.get<CFNumber_t>(CFSTR("ModDateAsTimerInterval"));
        info.metaModDate = photo.get<CFNumber_t>(CFSTR("MetaModDateAsTimerInterval"));
        info.fileName = CFString_t(CFURLCopyLastPathComponent(url), CFString_t::Create);
        info.mediaType = photo.get<CFString_t>(CFSTR("MediaType"));
        info.caption = photo.get<CFString_t>(CFSTR("Caption"));
        info.comment = photo.get<CFString_t>(CFSTR("Comment"));
        list.push_back(info);
    }
}

CFString_t PhotoLibrary::getAlbumName(unsigned long album) {
    return getAlbumInfo(album).get<CFString_t>(CFSTR("AlbumName"));
}
