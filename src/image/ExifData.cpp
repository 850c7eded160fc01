// ExifData.cpp - the bounded TIFF directory walk and the tag handlers of ExifData.
#include "image/ExifData.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

namespace {

enum : unsigned {
    kTagMake = 271,
    kTagModel = 272,
    kTagOrientation = 274,
    kTagDateTime = 306,
    kTagExposureTime = 33434,
    kTagFNumber = 33437,
    kTagExifIFD = 34665,
    kTagISOSpeedRatings = 34855,
    kTagDateTimeOriginal = 36867,
    kTagFocalLength = 37386,
    kTagPixelXDimension = 40962,
    kTagPixelYDimension = 40963,
};

enum : unsigned {
    kTypeASCII = 2,
    kTypeShort = 3,
    kTypeLong = 4,
    kTypeRational = 5,
    kTypeSRational = 10,
};

constexpr uint8_t kExifHeader[6] = {'E', 'x', 'i', 'f', 0, 0};

} // namespace

ExifData::ExifData(CFDataRef payload)
    : data(payload), bytes(nullptr), tiffBase(nullptr), littleEndian(false), cameraMake(""),
      cameraModel(""), captureDate(""), modifiedDate(""), width(""), height(""), aperture(""),
      shutter(""), iso(""), focalLength(""), orientation(0), tiffLength(0), textsWanted(true) {
    if (!data) return;
    bytes = CFDataGetBytePtr(data);
    try {
        start(CFDataGetLength(data));
    } catch (...) {
        // The destructor does not run for a constructor that throws.
        CFRelease(data);
        throw;
    }
}

ExifData::ExifData(const uint8_t* payload, size_t length)
    : data(nullptr), bytes(payload), tiffBase(nullptr), littleEndian(false), cameraMake(""),
      cameraModel(""), captureDate(""), modifiedDate(""), width(""), height(""), aperture(""),
      shutter(""), iso(""), focalLength(""), orientation(0), tiffLength(0), textsWanted(false) {
    if (bytes) start(CFIndex(std::min<size_t>(length, size_t(INT32_MAX))));
}

void ExifData::start(CFIndex length) {
    if (length < 8 || memcmp(bytes, kExifHeader, 6) != 0) return;
    if (bytes[6] == 'I' && bytes[7] == 'I')
        littleEndian = true;
    else if (bytes[6] != 'M' || bytes[7] != 'M')
        return;
    tiffBase = bytes + 6;
    tiffLength = uint32_t(std::min<CFIndex>(length - 6, UINT32_MAX));
    getExifData();
}

int ExifData::readOrientation(const uint8_t* payload, size_t length) {
    try {
        ExifData walk(payload, length);
        return walk.orientation >= 1 && walk.orientation <= 8 ? walk.orientation : 1;
    } catch (const std::exception&) {
        return 1; // the numbers-only walk allocates no texts; this is for an exhausted heap
    }
}

ExifData::~ExifData() {
    if (data) CFRelease(data);
}

bool ExifData::inside(uint32_t offset, uint64_t length) const {
    return uint64_t(offset) + length <= tiffLength;
}

uint16_t ExifData::read16(uint32_t offset) const {
    const uint8_t* p = tiffBase + offset;
    return littleEndian ? uint16_t(p[0] | (p[1] << 8)) : uint16_t((p[0] << 8) | p[1]);
}

uint32_t ExifData::read32(uint32_t offset) const {
    const uint8_t* p = tiffBase + offset;
    if (littleEndian)
        return uint32_t(p[0]) | (uint32_t(p[1]) << 8) | (uint32_t(p[2]) << 16) |
               (uint32_t(p[3]) << 24);
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

int ExifData::getExifData() {
    int offset = inside(4, 4) ? int(read32(4)) : -1;
    // The pointers come from the file: a directory that points back into the chain would make
    // the walk go round for ever, so each directory is read once.
    std::vector<int> visited;
    while (offset > 0 && std::find(visited.begin(), visited.end(), offset) == visited.end()) {
        visited.push_back(offset);
        offset = procIfd(offset);
    }
    return offset;
}

int ExifData::procIfd(int offset) {
    if (offset < 0 || !inside(uint32_t(offset), 2)) return -1;
    unsigned count = read16(uint32_t(offset));
    int result = -1;
    for (unsigned i = 0; i < count; ++i) {
        uint64_t at = uint64_t(offset) + 2 + 12 * uint64_t(i);
        if (at > UINT32_MAX || !inside(uint32_t(at), 12)) break; // the rest lies outside too
        uint32_t entry = uint32_t(at);
        unsigned tag = read16(entry);
        uint32_t value = read32(entry + 8);
        switch (read16(entry + 2)) {
        case kTypeASCII:
            handleString(tag, value, read32(entry + 4));
            break;
        case kTypeShort:
            handleUnsignedShort(tag, read16(entry + 8));
            break;
        case kTypeLong:
            handleUnsignedLong(tag, value);
            break;
        case kTypeRational:
        case kTypeSRational:
            if (inside(value, 8))
                handleRational(tag, float(int32_t(read32(value))),
                               float(int32_t(read32(value + 4))));
            break;
        default:
            break;
        }
        if (tag == kTagExifIFD) result = int(value);
    }
    return result;
}

void ExifData::handleString(unsigned tag, uint32_t offset, uint32_t count) {
    if (!textsWanted) return;
    if (tag != kTagMake && tag != kTagModel && tag != kTagDateTimeOriginal && tag != kTagDateTime)
        return;
    if (!inside(offset, count)) return;
    // Even a text of four bytes or fewer, which TIFF stores inline, is read from the offset.
    std::string text(reinterpret_cast<const char*>(tiffBase + offset), count);
    const char* cText = text.c_str(); // ends at its first zero byte
    switch (tag) {
    case kTagMake:
        cameraMake = CFString_t(
            CFStringCreateWithBytes(cText, CFIndex(strlen(cText)), kCFStringEncodingUTF8),
            CFString_t::Create);
        break;
    case kTagModel:
        cameraModel = CFString_t(
            CFStringCreateWithBytes(cText, CFIndex(strlen(cText)), kCFStringEncodingUTF8),
            CFString_t::Create);
        break;
    case kTagDateTimeOriginal:
        captureDate = CFString_t(
            formatExifDate(cText, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle),
            CFString_t::Create);
        break;
    case kTagDateTime:
        modifiedDate = CFString_t(
            formatExifDate(cText, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle),
            CFString_t::Create);
        break;
    }
}

void ExifData::handleUnsignedShort(unsigned tag, unsigned value) {
    // The first one found counts: the main picture's directory is read before the others.
    if (tag == kTagOrientation && orientation == 0) orientation = int(value);
    if (!textsWanted) return;
    if (tag == kTagISOSpeedRatings)
        iso = CFString_t(CFStringCreateWithFormat("%d", int(value)), CFString_t::Create);
}

void ExifData::handleUnsignedLong(unsigned tag, uint32_t value) {
    if (!textsWanted) return;
    // Both dimensions write width: the later PixelYDimension wins, and height stays empty.
    if (tag == kTagPixelXDimension || tag == kTagPixelYDimension)
        width = CFString_t(CFStringCreateWithFormat("%d", int(value)), CFString_t::Create);
}

// Euclid's algorithm, remainder steps until the divisor is 0.
static int64_t _gcd(int64_t a, int64_t b) {
    while (b != 0) {
        int64_t r = a % b;
        a = b;
        b = r;
    }
    return a;
}

void ExifData::handleRational(unsigned tag, float numerator, float denominator) {
    if (!textsWanted) return;
    switch (tag) {
    case kTagFNumber:
        if (denominator > 0)
            aperture = CFString_t(CFStringCreateWithFormat("%.1f", double(numerator / denominator)),
                                  CFString_t::Create);
        break;
    case kTagExposureTime: {
        if (denominator == 0) break; // no time to show, and nothing to divide by
        if (numerator > denominator) {
            shutter = CFString_t(CFStringCreateWithFormat("%.1f", double(numerator / denominator)),
                                 CFString_t::Create);
            break;
        }
        // The values came from 32-bit integers; 64 bits hold them and their quotients exactly.
        int64_t n = int64_t(numerator), d = int64_t(denominator), g = _gcd(n, d);
        shutter = CFString_t(CFStringCreateWithFormat("%" PRId64 "/%" PRId64, n / g, d / g),
                             CFString_t::Create);
        break;
    }
    case kTagFocalLength:
        if (denominator > 0)
            focalLength =
                CFString_t(CFStringCreateWithFormat("%" PRId64, int64_t(numerator / denominator)),
                           CFString_t::Create);
        break;
    default:
        break;
    }
}

CFStringRef ExifData::formatExifDate(const char* text, CFDateFormatterStyle dateStyle,
                                     CFDateFormatterStyle timeStyle) {
    CFAbsoluteTime time;
    if (!parseDate(text, "yyyy:MM:dd HH:mm:ss", &time)) return nullptr;
    return formatDate(time, dateStyle, timeStyle);
}
