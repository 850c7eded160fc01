// PictureResponders.h - the responders that send picture bytes: thumbnails and pictures.
//
// Both find the picture by query variables: "l" library, "a" album, and "p" (the photo id,
// thumbnails) or "i" (the position in the album's photo list, pictures). Thumbnails always
// leave as JPEG at the thumbnail quality; pictures are sent as stored, or, for a JPEG asked
// for with both "mw" and "mh", shrunk to fit that box at the image quality.
//
// HEIF pictures (a phone's HEIC, AVIF), which few browsers show, and camera raw files (by their
// JPEG preview, see RawPreview.h) are made into JPEGs wherever a JPEG would be shrunk: a sized
// thumbnail is made from one; "/image/" with "mw" and "mh", with or without "fit=exact", gets one
// fitted exactly into the box (see ExactFitPicture's caps, and never the original even when it
// fits); a library without full-size downloads sends one fitted into 2048 × 2048. Without a box, a
// library with full-size downloads sends the original.
//
// Only pictures and films leave (see LibraryFiles): any other stored path is answered like a
// missing file. A library whose "FullSizeDownload" is false never sends an original picture:
// a JPEG asked for without a box goes out shrunk to fit 2048 × 2048 (and no shrunk picture is
// larger than that), other pictures are refused like missing files; films still play.
//
// Sized thumbnails: "size" on a thumbnail asks for one made from the photo's picture (its
// "ImagePath"; for films, pictures that are not JPEGs or cannot be opened, the stored
// thumbnail) whose longer side is size pixels, or the source's own when smaller, at quality
// kSizedThumbnailQuality. size is a whole decimal number ("-" allowed); it is clamped into
// kMinThumbnailSide..kMaxThumbnailSide, anything else ("abc", "12px", "", 19 digits or more)
// is refused with the error page. Without "size" thumbnails are as above.
//
// Films without a stored thumbnail (one that cannot be opened) are shown by their poster frame
// (see FilmPoster.h): "/thumbnail/" sends it fitted into kPosterThumbnailSide, a sized thumbnail
// and "/image/" with a box fit it as they would a JPEG, made on the worker pool and kept among
// made pictures. A film that has neither is answered like a missing file.
//
// Exact fit: "fit=exact" on a picture, with "mw" and "mh" both whole decimal numbers of at least
// 1, asks for a JPEG fitted exactly into that box (aspect kept, the limiting side touching the
// box, never enlarged; see writeFittedJPEG). A JPEG that already fits the box as asked goes out
// as stored when the library allows full-size downloads; otherwise each side of the box is
// capped at kMaxFittedSide (kLimitedPictureSide without full-size downloads) and the picture
// is made at the image quality. Another "fit" value, or "fit=exact" with "mw" or "mh" missing,
// not a number or below 1, is refused with the error page. Pictures that are not JPEGs, and
// films (their still is fitted), are answered as without "fit".
//
// Replies carry a validator and "Cache-Control" for keeping (CachePolicy::Keep). The tag of
// a made picture covers the source file's identity, size and time, the box, the size limit and
// the quality (for sized thumbnails the size, for exact fits the capped box and whether the
// library limits it); a request that already holds it is answered 304 before anything is decoded.
// Files as stored go out as file bodies, never read into memory here.
//
// Two phases: the responder itself (light work) reads the variables, finds the library, opens
// and checks the file, makes its validator and answers a 304, a made picture from the cache or
// the original file; only what must be decoded is handed on (answerAsHeavy) with the open file
// and what was found, and made as heavy work.
#pragma once

#include "cf/cftempl.h"
#include "http/HttpMessage.h"
#include "image/MediaFile.h"
#include "web/utility.h"

#include <memory>
#include <ostream>

// The longest side of a picture from a library that does not allow full-size downloads.
constexpr uint32_t kLimitedPictureSide = 2048;
// The longest box side an exact fit is made for (the fitted picture is held whole in memory).
constexpr uint32_t kMaxFittedSide = 4096;
// The sides a sized thumbnail may ask for, and its JPEG quality.
constexpr uint32_t kMinThumbnailSide = 64;
constexpr uint32_t kMaxThumbnailSide = 1024;
constexpr int kSizedThumbnailQuality = 85;
// The longer side of a film's poster sent as its thumbnail when the library holds none.
constexpr uint32_t kPosterThumbnailSide = 360;

void ThumbnailResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out);
void ImageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out);
// Whether the library lets originals leave: its "FullSizeDownload" is true (an entry without
// the setting, or no such library, does not).
bool fullSizeAllowed(int library);
// A 200 reply of contentType whose body is the whole file (its descriptor is handed to the
// reply); counts an image.
std::unique_ptr<HttpReply> deliverImage(MediaFile& file, const char* contentType);
