// ImageFixtures.cpp - JPEG reading and EXIF building for the image tests, and the fixed locale
// and time zone every image test runs under.
#include "ImageFixtures.h"

#include "support/FixedLocale.h"

#include <gtest/gtest.h>

// Display strings in the tests are those of en_US in UTC, whatever the machine's settings are.
static const testing::Environment* const fixedLocale =
    testing::AddGlobalTestEnvironment(new testsupport::FixedLocaleEnvironment);

bool decodeRGB(const std::string& jpeg, int& width, int& height, std::vector<uint8_t>& rgb) {
    int components = 0;
    if (!jpegHeader(jpeg, width, height, components) || components != 3) return false;
    jpeg_decompress_struct dinfo;
    jpeg_error_mgr jerr;
    dinfo.err = jpeg_std_error(&jerr);
    jpeg_create_decompress(&dinfo);
    jpeg_mem_src(&dinfo, reinterpret_cast<const unsigned char*>(jpeg.data()), jpeg.size());
    jpeg_read_header(&dinfo, TRUE);
    dinfo.out_color_space = JCS_RGB;
    jpeg_start_decompress(&dinfo);
    width = int(dinfo.output_width);
    height = int(dinfo.output_height);
    rgb.assign(size_t(width) * size_t(height) * 3, 0);
    while (dinfo.output_scanline < dinfo.output_height) {
        JSAMPROW row[1] = {rgb.data() + size_t(dinfo.output_scanline) * size_t(width) * 3};
        jpeg_read_scanlines(&dinfo, row, 1);
    }
    jpeg_finish_decompress(&dinfo);
    jpeg_destroy_decompress(&dinfo);
    return true;
}

std::string insertSegment(const std::string& jpeg, uint8_t marker, const std::string& payload) {
    size_t length = payload.size() + 2;
    std::string segment = {char(0xFF), char(marker), char(length >> 8), char(length & 0xFF)};
    return jpeg.substr(0, 2) + segment + payload + jpeg.substr(2);
}

bool jpegHeader(const std::string& jpeg, int& width, int& height, int& components) {
    auto byte = [&](size_t i) { return i < jpeg.size() ? unsigned(uint8_t(jpeg[i])) : 0u; };
    size_t at = 2;
    while (at + 4 <= jpeg.size() && byte(at) == 0xFF) {
        unsigned marker = byte(at + 1);
        size_t length = (byte(at + 2) << 8) | byte(at + 3);
        if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 &&
            marker != 0xCC) {
            height = int((byte(at + 5) << 8) | byte(at + 6));
            width = int((byte(at + 7) << 8) | byte(at + 8));
            components = int(byte(at + 9));
            return true;
        }
        at += 2 + length;
    }
    return false;
}

ExifBuilder::ExifBuilder(bool littleEndian) : little_(littleEndian) {
    tiff_ = littleEndian ? "II" : "MM";
    tiff_ += u16(42) + u32(0);
}

std::string ExifBuilder::u16(uint16_t value) const {
    char hi = char(value >> 8), lo = char(value & 0xFF);
    return little_ ? std::string{lo, hi} : std::string{hi, lo};
}

std::string ExifBuilder::u32(uint32_t value) const {
    return little_ ? u16(uint16_t(value)) + u16(uint16_t(value >> 16))
                   : u16(uint16_t(value >> 16)) + u16(uint16_t(value));
}

uint32_t ExifBuilder::bytes(const std::string& data) {
    tiff_ += data;
    return end() - uint32_t(data.size());
}

uint32_t ExifBuilder::fraction(int32_t numerator, int32_t denominator) {
    return bytes(u32(uint32_t(numerator)) + u32(uint32_t(denominator)));
}

uint32_t ExifBuilder::directory(const std::vector<Entry>& entries, uint32_t next) {
    std::string block = u16(uint16_t(entries.size()));
    for (const Entry& e : entries) {
        block += u16(e.tag) + u16(e.type) + u32(e.count);
        block += e.type == 3 ? u16(uint16_t(e.value)) + u16(0) : u32(e.value);
    }
    return bytes(block + u32(next));
}
