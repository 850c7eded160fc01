// JsonFixtures.cpp - JPEG encoding, EXIF payloads and property-list pieces for the JSON API
// tests, and the fixed locale and time zone they run under.
#include "JsonFixtures.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <jpeglib.h>
#include <sstream>
#include <unicode/locid.h>
#include <unicode/timezone.h>

namespace {

// Display dates in the expected replies are en_US in UTC.
class FixedLocaleEnvironment : public testing::Environment {
  public:
    void SetUp() override {
        setenv("LC_ALL", "en_US.UTF-8", 1);
        setenv("TZ", "UTC", 1);
        UErrorCode status = U_ZERO_ERROR;
        icu::Locale::setDefault(icu::Locale("en_US"), status);
        icu::TimeZone::adoptDefault(icu::TimeZone::createTimeZone("UTC"));
    }
};
const testing::Environment* const fixedLocale =
    testing::AddGlobalTestEnvironment(new FixedLocaleEnvironment);

std::string u16(unsigned value) {
    return {char((value >> 8) & 0xFF), char(value & 0xFF)};
}

std::string u32(unsigned value) {
    return u16(value >> 16) + u16(value & 0xFFFF);
}

std::string xml(const std::string& text) {
    std::string out;
    for (char c : text) {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else
            out += c;
    }
    return out;
}

} // namespace

namespace jsonfixture {

std::string jpeg(int width, int height, const std::string& app1) {
    jpeg_compress_struct cinfo;
    jpeg_error_mgr jerr;
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(width);
    cinfo.image_height = JDIMENSION(height);
    cinfo.input_components = 1;
    cinfo.in_color_space = JCS_GRAYSCALE;
    jpeg_set_defaults(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    if (!app1.empty())
        jpeg_write_marker(&cinfo, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(app1.data()),
                          unsigned(app1.size()));
    std::vector<JSAMPLE> row(size_t(width), 128);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    std::string out(reinterpret_cast<const char*>(buffer), size);
    jpeg_destroy_compress(&cinfo);
    free(buffer);
    return out;
}

std::string exifPayload(const std::string& make, const std::string& model, unsigned iso,
                        const std::string& dateTimeOriginal) {
    // TIFF header (8 bytes), then a directory of four entries, then the texts.
    const unsigned entries = 4, directory = 8, texts = directory + 2 + 12 * entries + 4;
    std::string tiff = "MM" + u16(42) + u32(directory) + u16(entries);
    std::string data;
    auto ascii = [&](unsigned tag, const std::string& text) {
        unsigned offset = texts + unsigned(data.size());
        data += text + std::string(1, '\0');
        tiff += u16(tag) + u16(2) + u32(unsigned(text.size() + 1)) + u32(offset);
    };
    ascii(271, make);
    ascii(272, model);
    tiff += u16(34855) + u16(3) + u32(1) + u16(iso) + u16(0);
    ascii(36867, dateTimeOriginal);
    tiff += u32(0);
    return std::string("Exif\0\0", 6) + tiff + data;
}

std::string key(const std::string& name) {
    return "<key>" + xml(name) + "</key>";
}

std::string string(const std::string& name, const std::string& value) {
    return key(name) + "<string>" + xml(value) + "</string>";
}

std::string integer(const std::string& name, long value) {
    return key(name) + "<integer>" + std::to_string(value) + "</integer>";
}

std::string real(const std::string& name, double value) {
    std::ostringstream text;
    text.precision(17);
    text << value;
    return key(name) + "<real>" + text.str() + "</real>";
}

std::string boolean(const std::string& name, bool value) {
    return key(name) + (value ? "<true/>" : "<false/>");
}

std::string plist(const std::string& rootDictBody) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" +
           rootDictBody + "</dict></plist>\n";
}

} // namespace jsonfixture
