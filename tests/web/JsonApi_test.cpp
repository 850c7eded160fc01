// JsonApi_test.cpp - the bytes and content types of every JSON API command on a small
// generated library, paging, the empty replies, resource files and the failures left to the
// error page; the date object's edges.
#include "web/JsonApi.h"
#include "web/MetadataEmitter.h"

#include "JsonFixtures.h"
#include "settings/PreferenceStore.h"
#include "support/ParsedRequest.h"
#include "support/TempFolder.h"
#include "support/ThrownText.h"
#include "web/Bundle.h"
#include "web/RequestScope.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numeric>
#include <sstream>

using namespace jsonfixture;

namespace {

struct Reply {
    std::string contentType, body;
};

Reply call(const char* command, const std::string& query = "") {
    VarMap vars;
    vars.queryToMap(query);
    std::unique_ptr<HttpReply> reply;
    std::ostringstream out;
    static Site site("/nonexistent");
    auto request = testsupport::parsedRequest("", "/json/");
    RequestScope scope(site, *request);
    JavascriptApiResponder(reply, makeString(command), vars, out);
    EXPECT_TRUE(reply);
    if (!reply) return {};
    EXPECT_EQ(reply->status(), 200);
    std::string names;
    for (auto& header : reply->headers())
        names += header.first + " ";
    EXPECT_EQ(names, "Content-Type ETag Last-Modified Cache-Control ")
        << "a validator to revalidate";
    EXPECT_EQ(*reply->header("Cache-Control"), "no-cache");
    const std::string* type = reply->header("Content-Type");
    // Script files are the reply's own body; the commands write theirs to out.
    std::string body = out.str().empty() ? std::string(reply->body()) : out.str();
    return {type ? *type : "(none)", body};
}

std::string errorOf(const char* command, const std::string& query = "") {
    return testsupport::thrownText([&] { call(command, query); });
}

// The "id" values of a getpics body, in order.
std::vector<int> idsOf(const std::string& body) {
    std::vector<int> ids;
    for (size_t at = body.find("\"id\":"); at != std::string::npos;
         at = body.find("\"id\":", at + 1))
        ids.push_back(std::stoi(body.substr(at + 5)));
    return ids;
}

constexpr double kBefore1970 = -978307200.0 - 86400.0; // 1969-12-31 00:00:00 GMT
constexpr double kMay2006 = 168179400.0;               // 2006-05-01 12:30:00 GMT

// Two libraries: "Family" (id 0) with album 1 "Summer" (a photo with EXIF, a film, a photo
// whose files are missing; themed) and album 2 "Winter"; "Trips é 旅" (id 1) with album 5
// "Road" of 25 photos, ids 100 to 124.
class JsonApiTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::string family = files.path("family"), trips = files.path("trips");
        files.write("family/img10.jpg",
                    jpeg(64, 48, exifPayload("Canon", "EOS 5D", 200, "2006:05:01 12:30:00")));
        files.write("family/thumbs/10.jpg", jpeg(40, 30));
        files.write("family/clip11.mov", "not a picture");
        files.write("family/thumbs/11.jpg", jpeg(20, 16));
        files.write(
            "family/AlbumData.xml",
            albumFile(album(1, "Summer", {"10", "11", "12"}, string("Comments", "Beach \"days\"")) +
                          album(2, "Winter", {"12"}),
                      photo("10", "Say \"cheese\" \xE2\x80\x94 caf\xC3\xA9 \xE6\x9D\xB1 C:\\pics",
                            "first", family + "/img10.jpg", family + "/thumbs/10.jpg", "Image", 0.0,
                            kMay2006) +
                          photo("11", "Film", "", family + "/clip11.mov", family + "/thumbs/11.jpg",
                                "Movie", kBefore1970, -978307200.0) +
                          photo("12", "Gone\t\n\x7F\xF0\x9F\x98\x80", "", family + "/img12.jpg",
                                family + "/thumbs/12.jpg")));
        // Stored on its side (EXIF orientation 6): 8 × 6 as stored, sent 6 × 8.
        ExifBuilder sideways(false);
        sideways.first(sideways.directory({ExifBuilder::shortValue(274, 6)}));
        files.write("trips/t.jpg", jpeg(8, 6, sideways.payload()));
        std::vector<std::string> keys;
        std::string photos;
        for (int id = 100; id < 125; ++id) {
            keys.push_back(std::to_string(id));
            photos += photo(keys.back(), "P" + keys.back(), "", trips + "/p.jpg", trips + "/t.jpg");
        }
        files.write("trips/AlbumData.xml", albumFile(album(5, "Road", keys), photos));
        files.write("resources/json/helper.js", "var x = 1;\n");
        files.write("resources/json/getSite", "site file");
        BundleSetResourcesPath(files.path("resources"));

        setPreferences(string("title", "Site \xC3\xA9") + key("libraries") + "<array><dict>" +
                       integer("id", 0) + string("name", "Family") + string("path", family) +
                       flag("FullSizeDownload", false) + key("albums") +
                       "<array><integer>1</integer><integer>2</integer></array>" +
                       key("albumConfig") + "<dict>" + key("1") + "<dict>" +
                       string("theme", "dark") + "</dict>" + key("7") + "<dict>" +
                       string("theme", "unused") + "</dict></dict></dict><dict>" +
                       integer("id", 1) + string("name", "Trips \xC3\xA9 \xE6\x97\x85") +
                       string("path", trips) + flag("FullSizeDownload", true) + key("albums") +
                       "<array><integer>5</integer></array></dict></array>");
    }
    void TearDown() override {
        CFPreferencesSetPath(files.path("none.plist"));
        BundleSetResourcesPath("");
    }
    void setPreferences(const std::string& body) {
        CFPreferencesSetPath(
            files.write("prefs" + std::to_string(++generation) + ".plist", plist(body)));
    }

    testsupport::TempFolder files;
    int generation = 0;
};

const char kFamilyAlbums[] =
    "[\n{ \"name\":\"Summer\", \"id\":1, \"comment\":\"Beach \\u0022days\\u0022\", \"size\":3, "
    "\"theme\":\"dark\" },\n{ \"name\":\"Winter\", \"id\":2, \"comment\":\"\", \"size\":1 }]\n";
const char kTripsAlbums[] = "[\n{ \"name\":\"Road\", \"id\":5, \"comment\":\"\", \"size\":25 }]\n";

TEST_F(JsonApiTest, LibraryAndAlbumListsThemeOnlyConfiguredAlbums) {
    const std::string libs[] = {"{ \"name\":\"Family\", \"id\":0, \"fullSizeDownload\":false",
                                "{ \"name\":\"Trips \\u00e9 \\u65c5\", \"id\":1, "
                                "\"fullSizeDownload\":true"};
    Reply reply = call("getlibs");
    EXPECT_EQ(reply.contentType, "text/javascript");
    EXPECT_EQ(reply.body, "[\n" + libs[0] + "},\n" + libs[1] + "}\n]\n");
    reply = call("getalbums", "l=0");
    EXPECT_EQ(reply.contentType, "application/x-javascript");
    EXPECT_EQ(reply.body, kFamilyAlbums);
    EXPECT_EQ(call("getalbums", "l=1").body, kTripsAlbums) << "no albumConfig at all";
    reply = call("getallalbums");
    EXPECT_EQ(reply.contentType, "text/javascript");
    EXPECT_EQ(reply.body, "[\n" + libs[0] + ", \"albums\": " + kFamilyAlbums + "},\n" + libs[1] +
                              ", \"albums\": " + kTripsAlbums + "}\n]\n");
    setPreferences(key("libraries") + "<array/>");
    EXPECT_EQ(call("getlibs").body, "[\n\n]\n") << "no libraries: an empty array with a blank line";
    EXPECT_EQ(call("getallalbums").body, "[\n\n]\n");
}

TEST_F(JsonApiTest, GetpicsGivesThumbnailSizesPageByPage) {
    Reply reply = call("getpics", "l=0&a=1");
    EXPECT_EQ(reply.contentType, "application/x-javascript");
    EXPECT_EQ(
        reply.body,
        "[\n{ \"caption\":\"Say \\u0022cheese\\u0022 \\u2014 caf\\u00e9 \\u6771 C:\\u005cpics\", "
        "\"id\":10, \"h\":30, \"w\":40 },\n"
        "{ \"caption\":\"Film\", \"id\":11, \"h\":16, \"w\":20 },\n"
        "{ \"caption\":\"Gone\\u0009\\u000a\\u007f\\ud83d\\ude00\", \"id\":12, \"h\":0, "
        "\"w\":0 }\n]\n");
    const std::tuple<const char*, int, int> cases[] = {
        // query, first id, end id
        {"l=1&a=5", 100, 124},
        {"l=1&a=5&i=25", 100, 124}, // at the count: the start
        {"l=1&a=5&i=20&c=10", 120, 125},
        {"l=1&a=5&i=5&c=2147483647", 105, 125},
        {"l=1&a=5&i=x&c=3", 100, 103}}; // not a number: 0
    for (auto [query, first, end] : cases) {
        std::string body = call("getpics", query).body;
        std::vector<int> expected(size_t(end - first));
        std::iota(expected.begin(), expected.end(), first);
        EXPECT_EQ(idsOf(body), expected) << query;
        EXPECT_EQ(body.substr(0, 2) + body.substr(body.size() - 3), "[\n\n]\n") << query;
    }
    EXPECT_EQ(call("getpics", "l=1&a=5&i=23&c=1").body,
              "[\n{ \"caption\":\"P123\", \"id\":123, \"h\":8, \"w\":6 }\n]\n")
        << "the size of the thumbnail as sent: upright";
}

TEST_F(JsonApiTest, GetpicinfoDescribesOnePhotoAndGetsiteIsTheTitle) {
    Reply reply = call("getpicinfo", "l=0&a=1&i=0");
    EXPECT_EQ(reply.contentType, "text/javascript; charset=UTF-8");
    EXPECT_EQ(reply.body,
              "({ \"h\":48, \"w\":64, \"fileName\":\"img10.jpg\", \"mediaType\":\"Image\", "
              "\"caption\":\"Say \\u0022cheese\\u0022 \\u2014 caf\\u00e9 \\u6771 C:\\u005cpics\", "
              "\"comment\":\"first\", "
              "\"captureDate\":{ \"value\":978307200000, \"string\":\"Jan 1, 2001, "
              "12:00:00\\u202fAM\" }, "
              "\"modifiedDate\":{ \"value\":1146486600000, \"string\":\"May 1, 2006, "
              "12:30:00\\u202fPM\" }, "
              "\"exif\":{ \"captureDate\":\"May 1, 2006, 12:30:00\\u202fPM\", "
              "\"modifiedDate\":\"\", \"aperture\":\"\", \"shutter\":\"\", \"iso\":\"200\", "
              "\"focalLength\":\"\", \"cameraMake\":\"Canon\", \"cameraModel\":\"EOS 5D\", "
              "\"width\":\"\", \"height\":\"\" } })\n");
    reply = call("getsite");
    EXPECT_EQ(reply.contentType, "text/javascript; charset=UTF-8");
    EXPECT_EQ(reply.body, "\"Site \\u00e9\"");
    std::string start = "({ \"h\":0, \"w\":0, \"fileName\":\"img12.jpg\", ";
    EXPECT_EQ(call("getpicinfo", "l=0&a=2&i=0").body.substr(0, start.size()), start)
        << "a missing file has no size";
}

// Out of range: an empty body of the command's type; unknown ids and names: the error page.
TEST_F(JsonApiTest, BadVariablesGiveAnEmptyBodyOrAreLeftToTheErrorPage) {
    const char* cases[][3] = {{"getalbums", "a=1", "application/x-javascript"},
                              {"getpics", "l=0", "application/x-javascript"},
                              {"getpics", "l=0&a=1&i=-1", "application/x-javascript"},
                              {"getpicinfo", "l=0&a=1&i=3", "text/javascript; charset=UTF-8"},
                              {"getalbums", "l=9"},
                              {"getpics", "l=9&a=1"},
                              {"getpicinfo", "l=0&a=8&i=0"},
                              {"GETLIBS", ""}, // commands are matched exactly, as file names are
                              {"", ""},
                              {"..", ""}};
    for (auto& [command, query, type] : cases) {
        if (!type) {
            EXPECT_NE(errorOf(command, query), testsupport::kNothingThrown) << command << query;
            continue;
        }
        Reply reply = call(command, query);
        EXPECT_EQ(reply.contentType + " " + reply.body, std::string(type) + " ")
            << command << query;
    }
}

TEST_F(JsonApiTest, OtherNamesAreResourceFilesAndThemelessEntriesFail) {
    Reply reply = call("helper.js");
    EXPECT_EQ(reply.contentType, "application/x-javascript");
    EXPECT_EQ(reply.body, "var x = 1;\n");
    EXPECT_EQ(call("getSite").body, "site file");
    setPreferences(key("libraries") + "<array><dict>" + integer("id", 0) +
                   string("name", "Family") + string("path", files.path("family")) + key("albums") +
                   "<array><integer>2</integer></array>" + key("albumConfig") + "<dict>" +
                   key("2") + "<dict/></dict></dict></array>");
    EXPECT_NE(errorOf("getalbums", "l=0"), testsupport::kNothingThrown) << "a theme-less entry";
}

TEST(MetadataEmitter, DatesBefore1970AndMillisecondsThatWouldOverflow) {
    std::ostringstream out;
    emit(out, -978307200.0 - 86400.0, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    EXPECT_EQ(out.str(), "{ \"value\":-86400000, \"string\":\"Dec 31, 1969, 12:00:00\\u202fAM\" }");
    EXPECT_EQ(millisecondsSince1970(1e300), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(-1e300), INT64_MIN);
    EXPECT_EQ(millisecondsSince1970(std::nan("")), 0);
}

} // namespace
