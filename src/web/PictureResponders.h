// PictureResponders.h - the responders that send picture bytes: thumbnails and pictures.
//
// Both find the picture by query variables: "l" library, "a" album, and "p" (the photo id,
// thumbnails) or "i" (the position in the album's photo list, pictures). Thumbnails always
// leave as JPEG at the thumbnail quality; pictures are sent as stored, or, for a JPEG asked
// for with both "mw" and "mh", shrunk to fit that box at the image quality.
//
// Only pictures and films leave (see LibraryFiles): any other stored path is answered like a
// missing file. A library whose "FullSizeDownload" is false never sends an original picture:
// a JPEG asked for without a box goes out shrunk to fit 2048 × 2048 (and no shrunk picture is
// larger than that), other pictures are refused like missing files; films still play.
//
// Replies carry a validator and "Cache-Control" for keeping (CachePolicy::Keep). The tag of
// a made picture covers the source file's identity, size and time, the box, the size limit and
// the quality; a request that already holds it is answered 304 before anything is decoded.
// Files as stored go out as file bodies, never read into memory here.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "image/MediaFile.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// The longest side of a picture from a library that does not allow full-size downloads.
constexpr uint32_t kLimitedPictureSide = 2048;

void ThumbnailResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out);
void ImageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out);
// A 200 reply of contentType whose body is the whole file (its descriptor is handed to the
// reply); counts an image.
std::unique_ptr<HttpReply> deliverImage(MediaFile& file, const char* contentType);
