// json_strict_process_test.cpp - every reply of the JSON API is strict JSON (getpicinfo's inside
// its parentheses), and its strings read back as the library's own text, for a library whose
// texts hold backslashes, quotes, control characters, non-ASCII letters and emoji.
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
    std::string photos, keys;
    size_t count = std::size(kTexts);
    for (size_t i = 0; i < count; ++i) {
        std::string id = std::to_string(i + 1);
        std::string picture = files.write(
            "Library/" + id + ".jpg",
            jpeg(40, 30, exifPayload(kCameraMake, kTexts[i], 100, "2006:05:01 12:30:00")));
        photos += key(id) + "<dict>" + string("Caption", kTexts[i]) +
                  string("Comment", kTexts[(i + 1) % count]) + string("ImagePath", picture) +
                  string("ThumbPath", picture) + string("MediaType", "Image") +
                  real("DateAsTimerInterval", 1e8) + real("ModDateAsTimerInterval", -1e12) +
                  integer("MetaModDateAsTimerInterval", 0) + "</dict>";
        keys += "<string>" + id + "</string>";
    }
    std::string albums;
    for (size_t i = 0; i < count; ++i)
        albums += "<dict>" + integer("AlbumId", long(i + 1)) + string("AlbumName", kTexts[i]) +
                  string("Comments", kTexts[(i + 2) % count]) + key("KeyList") + "<array>" + keys +
                  "</array>" + integer("PhotoCount", long(count)) + "</dict>";
    files.write("Library/AlbumData.xml",
                plist(key("List of Albums") + "<array>" + albums + "</array>" +
                      key("Master Image List") + "<dict>" + photos + "</dict>"));
    std::string published, config;
    for (size_t i = 0; i < count; ++i) {
        published += "<integer>" + std::to_string(i + 1) + "</integer>";
        config += key(std::to_string(i + 1)) + "<dict>" + string("theme", kTexts[i]) + "</dict>";
    }
    files.write("prefs.plist",
                plist(integer("port", 0) + string("siteLayout", "Default") +
                      string("title", kTexts[0] + kTexts[4]) + key("libraries") + "<array><dict>" +
                      integer("id", 0) + string("name", kTexts[1]) + string("path", lib) +
                      key("albums") + "<array>" + published + "</array>" +
                      boolean("FullSizeDownload", true) + key("albumConfig") + "<dict>" + config +
                      "</dict></dict></array>"));
    testsupport::ServerProcess server;
    ASSERT_TRUE(server.start(
        {"--prefs", files.path("prefs.plist"), "--resources", TESSELLAN_SOURCE_DIR "/resources"},
        {}))
        << server.output();
    int port = server.port();

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
}

TEST(JsonStrict, TheCheckerRefusesWhatBrowsersRefuse) {
    struct Case {
        const char* name;
        const char* text;
        bool valid;
    } cases[] = {
        {"BareBackslash", "\"C:\\pics\"", false},
        {"EscapedBackslash", "\"C:\\u005cpics\"", true},
        {"RawControl", "\"a\tb\"", false},
        {"TrailingComma", "[1,]", false},
        {"Parenthesised", "({ \"a\":1 })", false},
        {"Surrogates", "\"\\ud83d\\udcf7\"", true},
        {"Nested", "{ \"a\":[1, -2.5e3, true, null, {\"b\":\"\"}] }", true},
    };
    testsupport::StrictJson json;
    for (auto& c : cases)
        EXPECT_EQ(json.parse(c.text), c.valid) << c.name << ": " << json.error();
}

} // namespace
