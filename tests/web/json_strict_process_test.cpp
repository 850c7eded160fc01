// json_strict_process_test.cpp - every reply of the JSON API is strict JSON (getpicinfo's inside
// its parentheses), and its strings read back as the library's own text, for a library whose
// texts hold backslashes, quotes, control characters, non-ASCII letters and emoji; the API
// answers under its own directory only.
#include "JsonFixtures.h"
#include "support/ServerProcess.h"
#include "support/StrictJson.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace jsonfixture;

namespace {

// Texts as real libraries have them (XML carries tab, line feed and carriage return; the
// other control characters come from a camera's EXIF block).
const std::string kTexts[] = {
    "C:\\Users\\ana\\Pictures\\",
    "Say \"cheese\" \\\"twice\\\"",
    "tab\there, line\nend, return\r",
    "caf\xC3\xA9 \xE6\x9D\xB1\xE4\xBA\xAC \xD0\x9C\xD0\xBE\xD1\x81\xD0\xBA\xD0\xB2\xD0\xB0",
    "emoji \xF0\x9F\x93\xB7\xF0\x9F\x91\xA8\xE2\x80\x8D\xF0\x9F\x91\xA9 and \xE2\x80\xA8 sep",
    "</script><!-- & 'single' \\u0022 not an escape",
    "\\",
};
const std::string kCameraMake = "Cam\\era \"X\"\x01\x1F\x7F";

TEST(JsonStrict, EveryReplyParsesAndReadsBackTheLibrarysText) {
    testsupport::TempFolder files;
    std::string lib = files.path("Library");
    std::string photos;
    std::vector<std::string> keys;
    size_t count = std::size(kTexts);
    for (size_t i = 0; i < count; ++i) {
        std::string id = std::to_string(i + 1);
        std::string picture = files.write(
            "Library/" + id + ".jpg",
            jpeg(40, 30, exifPayload(kCameraMake, kTexts[i], 100, "2006:05:01 12:30:00")));
        photos +=
            photo(id, kTexts[i], kTexts[(i + 1) % count], picture, picture, "Image", 1e8, -1e12);
        keys.push_back(id);
    }
    std::string albums;
    for (size_t i = 0; i < count; ++i)
        albums += album(long(i + 1), kTexts[i], keys, string("Comments", kTexts[(i + 2) % count]));
    files.write("Library/AlbumData.xml", albumFile(albums, photos));
    std::string published, config;
    for (size_t i = 0; i < count; ++i) {
        published += "<integer>" + std::to_string(i + 1) + "</integer>";
        config += key(std::to_string(i + 1)) + "<dict>" + string("theme", kTexts[i]) + "</dict>";
    }
    int port = testsupport::freePort();
    files.write("prefs.plist",
                plist(integer("port", port) + string("siteLayout", "Default") +
                      string("title", kTexts[0] + kTexts[4]) + key("libraries") + "<array><dict>" +
                      integer("id", 0) + string("name", kTexts[1]) + string("path", lib) +
                      key("albums") + "<array>" + published + "</array>" +
                      boolean("FullSizeDownload", true) + key("albumConfig") + "<dict>" + config +
                      "</dict></dict></array>"));
    testsupport::ServerProcess server;
    ASSERT_TRUE(server.start(
        {"--prefs", files.path("prefs.plist"), "--resources", TESSELLAN_SOURCE_DIR "/resources"},
        {}, port))
        << server.output();

    std::vector<std::string> targets = {"/json/getsite", "/json/getlibs", "/json/getalbums?l=0",
                                        "/json/getallalbums"};
    for (size_t a = 1; a <= count; ++a) {
        targets.push_back("/json/getpics?l=0&a=" + std::to_string(a));
        targets.push_back("/json/getpics?l=0&a=" + std::to_string(a) + "&i=3&c=2");
        for (size_t i = 0; i < count; ++i)
            targets.push_back("/json/getpicinfo?l=0&a=" + std::to_string(a) +
                              "&i=" + std::to_string(i));
    }
    std::vector<std::string> read;
    testsupport::StrictJson json;
    for (const std::string& target : targets) {
        std::string reply = testsupport::get(port, target);
        ASSERT_EQ(testsupport::statusLine(reply), "HTTP/1.1 200 OK") << target;
        std::string body = testsupport::bodyOf(reply);
        if (target.find("getpicinfo") != std::string::npos) {
            ASSERT_EQ(body.substr(0, 1) + body.substr(body.size() - 2), "()\n") << body;
            body = body.substr(1, body.size() - 3);
        }
        EXPECT_TRUE(json.parse(body)) << target << ": " << json.error();
        read.insert(read.end(), json.strings().begin(), json.strings().end());
    }
    std::vector<std::string> expected(std::begin(kTexts), std::end(kTexts));
    expected.push_back(kTexts[0] + kTexts[4]);
    for (const std::string& text : expected)
        EXPECT_NE(std::find(read.begin(), read.end(), text), read.end())
            << "read back unchanged: " << text;
    EXPECT_NE(std::find_if(read.begin(), read.end(),
                           [](const std::string& s) { return s.find("Cam\\era \"X\"") == 0; }),
              read.end())
        << "the camera's make, control characters and all";

    // The API's row in the responder table: its own directory, matched exactly, and the shipped
    // script folder behind the commands.
    std::string helper = testsupport::get(port, "/json/tessellan.js");
    EXPECT_EQ(testsupport::headerOf(helper, "Content-Type"), "application/x-javascript");
    EXPECT_NE(testsupport::bodyOf(helper).find("Tessellan.parseReply"), std::string::npos);
    for (const char* target : {"/JSON/getsite", "/json/getSite", "/json/sub/getsite"})
        EXPECT_EQ(testsupport::statusLine(testsupport::get(port, target)), "HTTP/1.1 404 Not Found")
            << target;
}

} // namespace
