// AlbumData.cpp - the library's album file: its albums and every picture's entry.
#include "demo/Library.h"
#include "demo/Plist.h"

#include "cf/CFPropertyList.h"

namespace demo {

namespace {

// Seconds since 1970 on the album file's scale: seconds since 2001-01-01 GMT.
CFTypeRef interval(int64_t unixSeconds) {
    return plReal(double(unixSeconds) - kCFAbsoluteTimeIntervalSince1970);
}

CFTypeRef photoEntry(const std::string& root, const PhotoSpec& photo) {
    PhotoDates dates = photoDates(photo);
    std::string image = picturePath(root, photo);
    return plDict({
        {"ImagePath", plString(image)},
        {"OriginalPath", plString(image)},
        {"ThumbPath", plString(thumbnailPath(root, photo))},
        {"DateAsTimerInterval", interval(dates.taken)},
        {"ModDateAsTimerInterval", interval(dates.modified)},
        {"MetaModDateAsTimerInterval", interval(dates.metaModified)},
        {"MediaType", plString(isFilm(photo.format) ? kMediaMovie : kMediaImage)},
        {"Caption", plString(photo.caption)},
        {"Comment", plString(photo.comment)},
    });
}

CFTypeRef albumEntry(const AlbumSpec& album) {
    std::vector<CFTypeRef> keys;
    for (const char* key : album.keys)
        keys.push_back(plString(key));
    return plDict({
        {"AlbumId", plInteger(album.id)},
        {"AlbumName", plString(album.name)},
        {"Comments", plString(album.comments)},
        {"KeyList", plArray(keys)},
        {"PhotoCount", plInteger(int64_t(album.keys.size()))},
    });
}

} // namespace

std::string albumDataXml(const std::string& root) {
    std::vector<CFTypeRef> albumList;
    for (const AlbumSpec& album : albums())
        albumList.push_back(albumEntry(album));
    std::vector<std::pair<std::string_view, CFTypeRef>> master;
    for (const PhotoSpec& photo : catalogue())
        master.push_back({photo.key, photoEntry(root, photo)});
    CFTypeRef document = plDict({
        {"Application Version", plString(kApplicationVersion)},
        {"List of Albums", plArray(albumList)},
        {"Master Image List", plDict(master)},
    });
    std::string xml = CFPropertyListCreateXMLText(document);
    CFRelease(document);
    return xml;
}

} // namespace demo
