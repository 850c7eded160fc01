// PhotoInfo.h - one photo of an album as the listings hand it out.
#pragma once

#include "cf/cftempl.h"
#include "library/LibraryPath.h"

#include <cstdint>

// One photo of an album, as getPhotoList lists it. The three paths answer where the files are
// read on this computer (see PathRemap), not necessarily the text the album file stores.
struct PhotoInfo {
    // The other strings start empty, and id and the dates at 0.
    PhotoInfo(const LibraryPath& thumb, const LibraryPath& image, const LibraryPath& original)
        : id(0), thumbPath(thumb), mediaType(""), imagePath(image), fileName(""),
          originalPath(original), caption(""), comment(""), date(0), modDate(0), metaModDate(0) {}

    int32_t id;               // the integer value of the photo's key
    LibraryPath thumbPath;    // "ThumbPath"
    CFString_t mediaType;     // "MediaType"
    LibraryPath imagePath;    // "ImagePath"
    CFString_t fileName;      // last path component of imagePath
    LibraryPath originalPath; // "OriginalPath", or "ImagePath" when absent
    CFString_t caption;       // "Caption"
    CFString_t comment;       // "Comment"
    double date;              // "DateAsTimerInterval"
    double modDate;           // "ModDateAsTimerInterval"
    double metaModDate;       // "MetaModDateAsTimerInterval"
};
