// JsonFixtures.cpp - JPEG encoding, EXIF payloads and property-list pieces for the JSON API
// tests, and the fixed locale and time zone they run under.
#include "JsonFixtures.h"

#include "support/EncodeJPEG.h"
#include "support/FixedLocale.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

// Display dates in the expected replies are en_US in UTC, in the servers the tests start too.
const testing::Environment* const fixedLocale =
    testing::AddGlobalTestEnvironment(new testsupport::FixedLocaleEnvironment("en_US.UTF-8"));

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
    testsupport::JpegOptions options;
    options.components = 1;
    options.app1 = app1;
    options.gradient = false;
    return testsupport::encodeJPEG(width, height, options);
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

std::string photo(const std::string& id, const std::string& caption, const std::string& comment,
                  const std::string& image, const std::string& thumb, const std::string& type,
                  double date, double modDate) {
    return key(id) + "<dict>" + string("Caption", caption) + string("Comment", comment) +
           string("ImagePath", image) + string("ThumbPath", thumb) + string("MediaType", type) +
           real("DateAsTimerInterval", date) + real("ModDateAsTimerInterval", modDate) +
           integer("MetaModDateAsTimerInterval", 0) + "</dict>";
}

std::string album(long id, const std::string& name, const std::vector<std::string>& keys,
                  const std::string& extra) {
    std::string list;
    for (const std::string& k : keys)
        list += "<string>" + k + "</string>";
    return "<dict>" + integer("AlbumId", id) + string("AlbumName", name) + key("KeyList") +
           "<array>" + list + "</array>" + integer("PhotoCount", long(keys.size())) + extra +
           "</dict>";
}

std::string albumFile(const std::string& albums, const std::string& photos) {
    return plist(key("List of Albums") + "<array>" + albums + "</array>" +
                 key("Master Image List") + "<dict>" + photos + "</dict>");
}

} // namespace jsonfixture
