// JsonFixtures.cpp - JPEGs, EXIF payloads and property-list pieces for the web tests, and the
// fixed locale and time zone they run under.
#include "JsonFixtures.h"

#include "image/ImageFixtures.h"

#include "support/EncodeJPEG.h"
#include "support/FixedLocale.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

// Display dates in the expected replies are en_US in UTC, in the servers the tests start too.
const testing::Environment* const fixedLocale =
    testing::AddGlobalTestEnvironment(new testsupport::FixedLocaleEnvironment("en_US.UTF-8"));

std::string xml(const std::string& text) {
    std::string out;
    for (char c : text)
        out += c == '&' ? "&amp;" : c == '<' ? "&lt;" : c == '>' ? "&gt;" : std::string(1, c);
    return out;
}

std::string real(const std::string& name, double value) {
    std::ostringstream text;
    text.precision(17);
    text << value;
    return "<key>" + name + "</key><real>" + text.str() + "</real>";
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
    ExifBuilder b(false);
    uint32_t makeAt = b.text(make), modelAt = b.text(model), dateAt = b.text(dateTimeOriginal);
    b.first(
        b.directory({ExifBuilder::ascii(271, makeAt, uint32_t(make.size() + 1)),
                     ExifBuilder::ascii(272, modelAt, uint32_t(model.size() + 1)),
                     ExifBuilder::shortValue(34855, uint16_t(iso)),
                     ExifBuilder::ascii(36867, dateAt, uint32_t(dateTimeOriginal.size() + 1))}));
    return b.payload();
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

std::string library(long id, const std::string& folder, bool fullSizeDownload) {
    return "<dict>" + integer("id", id) + string("name", "L") + string("path", folder) +
           key("albums") + "<array><integer>1</integer></array>" +
           boolean("FullSizeDownload", fullSizeDownload) + "</dict>";
}

std::string serverPrefs(const std::string& libraries, const std::string& extra) {
    return plist(integer("port", 0) + string("siteLayout", "Default") + key("libraries") +
                 "<array>" + libraries + "</array>" + extra);
}

} // namespace jsonfixture
