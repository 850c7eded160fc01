// ImageFixtures.h - pictures and EXIF blocks made on the fly for the image tests.
#pragma once

#include "cf/cftempl.h"
#include "support/EncodeJPEG.h"
#include "support/TempFolder.h"

#include <cstdint>
#include <string>
#include <vector>

// JPEG bytes of a width × height picture with the default options, or with those set changes.
using testsupport::encodeJPEG;
template <class Set> std::string encodeJPEG(int width, int height, Set set) {
    testsupport::JpegOptions options;
    set(options);
    return testsupport::encodeJPEG(width, height, options);
}

// Decodes JPEG bytes into RGB samples. False when the bytes are not a three-component JPEG.
bool decodeRGB(const std::string& jpeg, int& width, int& height, std::vector<uint8_t>& rgb);

// The JPEG with one more segment (marker, length, payload) inserted right after SOI.
std::string insertSegment(const std::string& jpeg, uint8_t marker, const std::string& payload);

// The size and component count of JPEG bytes, read from their header. False when unreadable.
bool jpegHeader(const std::string& jpeg, int& width, int& height, int& components);

// Builds an APP1 EXIF payload: "Exif" 00 00, a TIFF header in the chosen byte order, then blocks
// appended in the order they are added. Offsets are TIFF offsets (from the byte-order mark).
class ExifBuilder {
  public:
    struct Entry {
        uint16_t tag, type;
        uint32_t count;
        uint32_t value; // for SHORT entries the 16-bit value, stored in the field's first half
    };
    static Entry ascii(uint16_t tag, uint32_t at, uint32_t count) { return {tag, 2, count, at}; }
    static Entry shortValue(uint16_t tag, uint16_t value) { return {tag, 3, 1, value}; }
    static Entry longValue(uint16_t tag, uint32_t value) { return {tag, 4, 1, value}; }
    static Entry rational(uint16_t tag, uint32_t offset) { return {tag, 5, 1, offset}; }
    static Entry pointer(uint32_t offset) { return {34665, 4, 1, offset}; }

    explicit ExifBuilder(bool littleEndian);

    // Each appends a block and returns its offset: bytes, a text and its zero, a (signed)
    // rational, a directory with its next-directory link.
    uint32_t bytes(const std::string& data);
    uint32_t text(const std::string& text) { return bytes(text + std::string(1, '\0')); }
    uint32_t fraction(int32_t numerator, int32_t denominator);
    uint32_t directory(const std::vector<Entry>& entries, uint32_t next = 0);
    // Sets the first-directory offset of the TIFF header.
    void first(uint32_t offset) { tiff_.replace(4, 4, u32(offset)); }
    // The offset the next appended block will get.
    uint32_t end() const { return uint32_t(tiff_.size()); }
    // The whole payload, with the "Exif" 00 00 header.
    std::string payload() const { return std::string("Exif\0\0", 6) + tiff_; }

    std::string u16(uint16_t value) const;
    std::string u32(uint32_t value) const;

  private:
    bool little_;
    std::string tiff_;
};

// A temporary folder whose files the image code is given by URL.
class TempDir : public testsupport::TempFolder {
  public:
    // Writes the file (name inside the folder) and returns its URL.
    CFURL_t write(const std::string& name, const std::string& contents) {
        TempFolder::write(name, contents);
        return url(name);
    }
    CFURL_t url(const std::string& name) const {
        std::string p = path(name);
        return CFURL_t(CFURLCreateFromFileSystemRepresentation(p.c_str(), CFIndex(p.size()), false),
                       CFURL_t::Create);
    }
};

using testsupport::readFile;
