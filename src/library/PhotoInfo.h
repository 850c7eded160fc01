// PhotoInfo.h - one photo of an album as the listings hand it out.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>

// One photo of an album, as getPhotoList lists it. The three paths are where the files are read
// on this computer (see PathRemap), not necessarily the text the album file stores.
struct PhotoInfo {
    // thumbPath, imagePath and originalPath wrap the given strings (retained); the other
    // strings start empty and id and the dates at 0. REQUIRES: the three strings are non-null.
    PhotoInfo(CFStringRef thumb, CFStringRef image, CFStringRef original)
        : id(0), thumbPath(thumb, CFString_t::Get), mediaType(""),
          imagePath(image, CFString_t::Get), fileName(""), originalPath(original, CFString_t::Get),
          caption(""), comment(""), date(0), modDate(0), metaModDate(0) {}

    int32_t id;              // the integer value of the photo's key
    CFString_t thumbPath;    // "ThumbPath"
    CFString_t mediaType;    // "MediaType"
    CFString_t imagePath;    // "ImagePath"
    CFString_t fileName;     // last path component of imagePath
    CFString_t originalPath; // "OriginalPath", or "ImagePath" when absent
    CFString_t caption;      // "Caption"
    CFString_t comment;      // "Comment"
    double date;             // "DateAsTimerInterval"
    double modDate;          // "ModDateAsTimerInterval"
    double metaModDate;      // "MetaModDateAsTimerInterval"
};
