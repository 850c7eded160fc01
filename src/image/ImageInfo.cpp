// ImageInfo.cpp - the header probe, the JPEG marker walk and the small readers it uses.
#include "image/ImageInfo.h"

#include "image/ExifData.h"
#include "image/HeifPicture.h"
#include "image/Orientation.h"
#include "image/RawPreview.h"
#include "image/ReadAt.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <unistd.h>
#include <utility>

// Reads until length bytes have arrived or the stream ends. The stream serves reads from its
// buffer, so one read may stop at the buffer's edge although the file goes on.
static CFIndex _readFully(CFReadStream_t& stream, uint8_t* into, CFIndex length) {
    CFIndex got = 0;
    while (got < length) {
        CFIndex n = CFReadStreamRead(stream, into + got, length - got);
        if (n <= 0) break;
        got += n;
    }
    return got;
}

uint32_t toUInt32_BE(const uint8_t* p) {
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}
uint16_t toUInt16_BE(const uint8_t* p) {
    return uint16_t((p[0] << 8) | p[1]);
}
uint32_t toUInt32_LE(const uint8_t* p) {
    return (uint32_t(p[3]) << 24) | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
}
uint16_t toUInt16_LE(const uint8_t* p) {
    return uint16_t((p[1] << 8) | p[0]);
}

int getByte(CFReadStream_t& stream) {
    uint8_t byte = 0;
    // A read error counts as the end too: a failing disk must not keep the scan for the next
    // marker reading forever.
    if (CFReadStreamRead(stream, &byte, 1) <= 0) return -1;
    return byte;
}

int getShort(CFReadStream_t& stream) {
    uint8_t bytes[2];
    if (_readFully(stream, bytes, 2) != 2) return -1;
    return toUInt16_BE(bytes);
}

void getTiffSize(CFReadStream_t& stream, ImageSize* size, uint16_t (*toShort)(const uint8_t*),
                 uint32_t (*toLong)(const uint8_t*)) {
    uint8_t countBytes[2];
    if (_readFully(stream, countBytes, 2) != 2) return;
    bool haveWidth = false, haveHeight = false;
    for (unsigned left = toShort(countBytes); left > 0 && !(haveWidth && haveHeight); --left) {
        uint8_t entry[12];
        if (_readFully(stream, entry, 12) != 12) continue;
        unsigned tag = toShort(entry);
        if ((tag != 256 && tag != 257) || toLong(entry + 4) != 1) continue;
        int32_t value = toShort(entry + 2) == 3 ? toShort(entry + 8) : int32_t(toLong(entry + 8));
        if (tag == 256) {
            size->width = value;
            haveWidth = true;
        } else {
            size->height = value;
            haveHeight = true;
        }
    }
}

// Start-of-frame markers: every SOFn except the DHT (C4), JPG (C8) and DAC (CC) codes.
static bool _isStartOfFrame(int marker) {
    return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

// The marker walk, from the marker code after SOI's FF, for a JPEG starting at base. See
// getImageInfo for what it confirms.
static int _probeJPEG(CFReadStream_t& stream, ImageSize* size, CFDataRef* exif, int base = 0) {
    bool sizeFound = false, exifFound = false, keptExif = false, orientationFound = false;
    if (!stream.seekAbsolute(base + 3)) return kImageUnknown;
    for (;;) {
        int marker = getByte(stream);
        if (marker != 0xD9) {
            int length = getShort(stream);
            if (length < 2) return kImageUnknown;
            int left = length - 2;
            if (_isStartOfFrame(marker)) {
                if (getByte(stream) != -1) {
                    if (size) {
                        size->height = getShort(stream);
                        size->width = getShort(stream);
                        sizeFound = true;
                    }
                    if (!exif || exifFound) return kImageJPEG;
                }
                // The rest of the frame header is not skipped: the FF test below then sees
                // the component count, so a frame header before the APP1 ends the walk.
            } else if (marker == 0xDA) {
                int byte;
                while ((byte = getByte(stream)) != 0xFF)
                    if (byte == -1) return kImageUnknown;
            } else if (marker == 0xE0) {
                // JFIF confirms the type when nothing more is wanted; JFXX and other APP0
                // segments are passed over.
                uint8_t ident[5];
                int identLength = left >= 5 ? 5 : 0;
                if (_readFully(stream, ident, identLength) != identLength) return kImageUnknown;
                bool jfif = identLength == 5 && memcmp(ident, "JFIF", 5) == 0;
                if (jfif && !size && !exif) return kImageJPEG;
                if (!stream.seekRelative(left - identLength)) return kImageUnknown;
            } else if (marker == 0xE1) {
                if (!exif && !size) {
                    if (!stream.seekRelative(left)) return kImageUnknown;
                } else {
                    CFMutableDataRef payload = CFDataCreateMutable(left);
                    CFDataSetLength(payload, left);
                    const uint8_t* bytes = CFDataGetMutableBytePtr(payload);
                    if (_readFully(stream, CFDataGetMutableBytePtr(payload), left) != left) {
                        CFRelease(payload);
                    } else {
                        bool holdsExif = left >= 6 && memcmp(bytes, "Exif\0\0", 6) == 0;
                        if (size && holdsExif && !orientationFound) {
                            size->orientation = ExifData::readOrientation(bytes, size_t(left));
                            orientationFound = true;
                        }
                        if (!exif) {
                            CFRelease(payload);
                        } else {
                            // The first EXIF block is kept; a segment without EXIF (XMP, say)
                            // is kept only until one with EXIF turns up.
                            if (!*exif || (holdsExif && !keptExif)) {
                                if (*exif) CFRelease(*exif);
                                *exif = payload;
                                keptExif = holdsExif;
                            } else {
                                CFRelease(payload);
                            }
                            if ((!size || sizeFound) && keptExif) return kImageJPEG;
                            exifFound = true;
                        }
                    }
                }
            } else if (!stream.seekRelative(left)) {
                return kImageUnknown;
            }
        }
        if (getByte(stream) != 0xFF) return kImageUnknown;
    }
}

static int _probe(CFReadStream_t& stream, ImageSize* size, CFDataRef* exif) {
    uint8_t header[32];
    if (_readFully(stream, header, 32) != 32) return kImageUnknown;

    static const uint8_t png[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    static const uint8_t jpeg[3] = {0xFF, 0xD8, 0xFF};
    if (memcmp(header, "GIF", 3) == 0) {
        if (size) {
            size->width = toUInt16_LE(header + 6);
            size->height = toUInt16_LE(header + 8);
        }
        return kImageGIF;
    }
    if (memcmp(header, png, 8) == 0) {
        if (memcmp(header + 12, "IHDR", 4) != 0) return kImageUnknown;
        if (size) {
            size->width = int32_t(toUInt32_BE(header + 16));
            size->height = int32_t(toUInt32_BE(header + 20));
        }
        return kImagePNG;
    }
    if (memcmp(header, jpeg, 3) == 0) return _probeJPEG(stream, size, exif);
    if (memcmp(header, "BM", 2) == 0) {
        if (size) {
            size->width = int32_t(toUInt32_LE(header + 18));
            size->height = int32_t(toUInt32_LE(header + 22)); // negative: rows top-down
        }
        return kImageBMP;
    }
    if (looksLikeHeif(header, sizeof header)) {
        if (!size && !exif) return kImageHEIF;
        HeifFacts facts;
        if (!readHeifFacts(_CFReadStreamGetFileDescriptor(stream), &facts, exif != nullptr))
            return kImageUnknown;
        if (size) {
            size->width = int32_t(facts.width);
            size->height = int32_t(facts.height);
        }
        if (exif && !facts.exif.empty()) {
            CFMutableDataRef payload = CFDataCreateMutable(CFIndex(facts.exif.size()));
            CFDataSetLength(payload, CFIndex(facts.exif.size()));
            memcpy(CFDataGetMutableBytePtr(payload), facts.exif.data(), facts.exif.size());
            *exif = payload;
        }
        return kImageHEIF;
    }
    if (looksLikeRaw(header, sizeof header)) {
        int fd = _CFReadStreamGetFileDescriptor(stream);
        RawPreview preview;
        if (!findRawPreview(fd, &preview) || preview.offset > uint64_t(INT32_MAX - 3))
            return kImageUnknown;
        if (size) {
            if (_probeJPEG(stream, size, nullptr, int(preview.offset)) != kImageJPEG)
                return kImageUnknown;
            size->orientation = preview.orientation;
        }
        bool plainTiff = memcmp(header, "II*\0", 4) == 0 || memcmp(header, "MM\0*", 4) == 0;
        if (exif && plainTiff) {
            int64_t fileSize = _CFReadStreamGetFileSize(stream);
            size_t length = size_t(std::min<int64_t>(fileSize, int64_t(kMaxRawExifBytes)));
            CFMutableDataRef payload = CFDataCreateMutable(CFIndex(length + 6));
            CFDataSetLength(payload, CFIndex(length + 6));
            uint8_t* bytes = CFDataGetMutableBytePtr(payload);
            memcpy(bytes, "Exif\0\0", 6);
            if (length > 0 && !readAt(fd, 0, bytes + 6, length)) {
                CFRelease(payload);
            } else {
                *exif = payload;
            }
        }
        return kImageRaw;
    }
    // TIFF ("II" 2A 00, "MM" 00 2A) is recognised by nothing in this version: it is unknown.
    return kImageUnknown;
}

ImageSize uprightSize(const ImageSize& stored) {
    ImageSize upright = stored;
    if (orientationSwapsSides(stored.orientation)) std::swap(upright.width, upright.height);
    return upright;
}

int getImageInfo(const CFURL_t& url, ImageSize* size, CFDataRef* exif) {
    if (size) {
        size->width = size->height = 0;
        size->orientation = 1;
    }
    if (exif) *exif = nullptr;
    try {
        CFReadStream_t stream(url);
        return _probe(stream, size, exif);
    } catch (const std::exception&) {
        return kImageUnknown;
    }
}
