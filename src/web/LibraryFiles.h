// LibraryFiles.h - the files an album file names, opened only when they are pictures or films.
//
// A stored path is untrusted: a crafted or damaged album file may name the preferences file,
// a system file, a folder or a FIFO. Every responder goes through these two functions, so such
// a path is answered exactly as a missing file is, and its bytes never leave.
#pragma once

#include "cf/cftempl.h"
#include "image/ImageInfo.h"
#include "image/MediaFile.h"

// Opens the picture or film at path (see MediaFile::open). Throws std::runtime_error
// otherwise; the request step then answers with the error page, as for a missing file.
MediaFile openLibraryFile(const CFString_t& path);

// getImageInfo on the file at path when it is a picture or a film, read through the one
// descriptor that was checked. Anything else probes as kImageUnknown with a size of 0 × 0 and
// no EXIF block (the pointers are cleared as getImageInfo clears them). Never throws.
int probeLibraryFile(const CFString_t& path, ImageSize* size, CFDataRef* exif);

// A file URL for reading the file that was opened (a fresh duplicate of its descriptor, taken
// by the first stream opened on it). Throws std::runtime_error when none can be made.
CFURL_t readingURL(const MediaFile& file);
