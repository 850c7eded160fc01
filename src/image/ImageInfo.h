// ImageInfo.h - picture type, pixel size and EXIF block from a file's header, without decoding.
//
// Also the byte-order readers the probe uses, a TIFF directory size reader and the box-fitting
// arithmetic shared by the scaler and its callers.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>

// A picture's size in pixels as stored, and the EXIF orientation (1-8) it is shown in. The probe
// sets the sides to 0 and the orientation to 1 before it starts.
struct ImageSize {
    int32_t width;
    int32_t height;
    int32_t orientation = 1;
};

// The size of the picture once turned upright: width and height swapped for orientations 5-8.
ImageSize uprightSize(const ImageSize& stored);

// The picture types getImageInfo answers. TIFF files are deliberately kImageUnknown.
enum ImageType : int {
    kImageUnknown = 0, // unknown, unreadable or malformed
    kImageJPEG = 1,
    kImageGIF = 2,
    kImagePNG = 3,
    kImageBMP = 4,
    kImageHEIF = 5, // HEIC, AVIF and other HEIF still pictures (see HeifPicture.h)
    kImageRaw = 6,  // a camera raw file with a JPEG preview (see RawPreview.h)
};

// The bytes of a raw file handed to the EXIF reader.
constexpr size_t kMaxRawExifBytes = 256 * 1024;

// Probes the file's header and returns its ImageType. Never throws.
//
// A HEIF file is known by its brands; with size or exif given it is also parsed (not decoded),
// and is kImageHEIF only when that succeeds. Its size is the primary picture's, already upright
// (orientation 1), and *exif its EXIF item as an APP1 payload. A TIFF-based or RAF camera raw
// file is kImageRaw when it carries a JPEG preview (other TIFF files stay kImageUnknown): its size
// is the preview's, its orientation the raw file's, and *exif, for a plain TIFF header, the
// file's first kMaxRawExifBytes as an APP1 payload.
// size and exif may each be null; what is read depends on which are given. For a JPEG with
// both null, the first JFIF APP0 or frame header confirms the type; with size only, the first
// frame header; with exif only, the first APP1 that holds EXIF (or, when none does, the frame
// header); with both, the point where an APP1 payload and a frame size have both been read.
// A JPEG whose APP1 comes after its frame header probes as kImageUnknown when exif is given
// (the size is stored all the same). APP0 segments other than JFIF (JFXX, ...) are skipped, and
// a JPEG need not start with an APP0 at all.
//
// *exif receives the whole payload (everything after its length bytes) of the first APP1
// segment that holds EXIF ("Exif" 00 00), so an XMP segment after it does not hide it; when
// none read does, the first APP1 read, whatever it holds. The caller owns it and must release
// it (or hand it to ExifData), also when the result is kImageUnknown. Sizes and payloads stored
// before a failure stay. With size given, size->orientation comes from the first EXIF APP1
// before the frame header (1 without one).
int getImageInfo(const CFURL_t& url, ImageSize* size, CFDataRef* exif);

// Reads a TIFF image file directory at the stream's position and stores the ImageWidth (256)
// and ImageLength (257) values that have a count of 1. toShort and toLong read the file's byte
// order. Leaves *size untouched for tags it does not find.
void getTiffSize(CFReadStream_t& stream, ImageSize* size, uint16_t (*toShort)(const uint8_t*),
                 uint32_t (*toLong)(const uint8_t*));

// The unsigned value of the first 4 or 2 bytes at p. REQUIRES: those bytes are readable.
uint32_t toUInt32_BE(const uint8_t* p);
uint16_t toUInt16_BE(const uint8_t* p);
uint32_t toUInt32_LE(const uint8_t* p);
uint16_t toUInt16_LE(const uint8_t* p);

// One byte (0-255), or -1 at the end of the stream or on a read error.
int getByte(CFReadStream_t& stream);
// Two bytes as a big-endian value, or -1 unless both were read.
int getShort(CFReadStream_t& stream);
