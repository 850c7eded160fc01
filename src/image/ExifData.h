// ExifData.h - the camera metadata of a JPEG's EXIF block, as ten display strings.
#pragma once

#include "cf/cftempl.h"
#include "image/Dates.h"

#include <cstdint>

// Reads the first image file directory of an APP1 payload and its EXIF sub-directory (never the
// thumbnail directory). Every field is "" unless its tag was found; a tag found twice keeps its
// later value. width holds the last of PixelXDimension and PixelYDimension stored as LONG (the
// one field both write); height is never written.
//
// The payload is untrusted: values, strings and directories lying outside it are skipped, and
// each directory is read at most once, so no payload makes the reader fail, loop or read
// outside it. A date tag whose text does not parse, and a Make or Model that is not UTF-8, make
// the constructor throw std::runtime_error.
class ExifData {
  public:
    // Takes over the caller's reference to data (which may be null) and parses it. Throws as
    // described above; data is released either way.
    explicit ExifData(CFDataRef data);
    ExifData(const ExifData&) = delete;
    ExifData& operator=(const ExifData&) = delete;
    ~ExifData();

    // The orientation (tag 274, a SHORT) of an APP1 payload, read by the same bounded walk
    // without the texts (so no date or name makes it fail): 1 when the payload is not EXIF,
    // holds no orientation or one outside 1-8. Never throws; the payload stays the caller's.
    static int readOrientation(const uint8_t* payload, size_t length);

    // Walks from the first directory through the EXIF sub-directory pointers, and returns the
    // last pointer the walk produced (callers ignore it).
    int getExifData();
    // Reads the directory at the TIFF offset and returns its EXIF sub-directory pointer (tag
    // 34665), or -1 when it has none. A directory outside the payload is not read (-1).
    int procIfd(int offset);
    // Store one tag's value when the tag is one of ours; other tags are ignored.
    void handleString(unsigned tag, uint32_t offset, uint32_t count);
    void handleUnsignedShort(unsigned tag, unsigned value);
    void handleUnsignedLong(unsigned tag, uint32_t value);
    void handleRational(unsigned tag, float numerator, float denominator);

    // An EXIF date text ("yyyy:MM:dd HH:mm:ss", local time) in the current locale's display form.
    // The caller must release the result. Returns null when the text does not parse.
    static CFStringRef formatExifDate(const char* text, CFDateFormatterStyle dateStyle,
                                      CFDateFormatterStyle timeStyle);

    CFDataRef data;
    const uint8_t* bytes;
    const uint8_t* tiffBase; // payload + 6; null when the payload is not EXIF in a known order
    bool littleEndian;

    CFString_t cameraMake;
    CFString_t cameraModel;
    CFString_t captureDate;
    CFString_t modifiedDate;
    CFString_t width;
    CFString_t height;
    CFString_t aperture;
    CFString_t shutter;
    CFString_t iso;
    CFString_t focalLength;
    int orientation; // the first tag 274 read, as stored (0 when absent), not validated

  private:
    // Whether length bytes at the TIFF offset lie inside the payload.
    bool inside(uint32_t offset, uint64_t length) const;
    uint16_t read16(uint32_t offset) const;
    uint32_t read32(uint32_t offset) const;

    // The walk over a payload the caller keeps, reading numbers only (see readOrientation).
    ExifData(const uint8_t* payload, size_t length);
    void start(CFIndex length);

    uint32_t tiffLength; // payload bytes from tiffBase on
    bool textsWanted;    // false: string tags are skipped
};
