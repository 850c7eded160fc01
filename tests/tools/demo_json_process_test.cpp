// demo_json_process_test.cpp - the JSON API's exact replies for the demo library, through the
// running server, in a fixed locale and time zone.
#include "DemoLibrary.h"
#include "support/ServerProcess.h"

#include <gtest/gtest.h>

namespace {

using testsupport::bodyOf;
using testsupport::get;
using testsupport::headerOf;

class DemoJsonTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        const DemoLibrary& demo = demoLibrary();
        std::string prefs = readFile(demo.preferences);
        const std::string defaultPort = "<key>port</key>\n\t<integer>8080</integer>";
        size_t at = prefs.find(defaultPort);
        ASSERT_NE(at, std::string::npos) << prefs;
        prefs.replace(at, defaultPort.size(), "<key>port</key>\n\t<integer>0</integer>");
        folder = new TempFolder;
        folder->write("prefs.plist", prefs);
        server = new testsupport::ServerProcess;
        ASSERT_TRUE(server->start({"--prefs", folder->path("prefs.plist"), "--resources",
                                   TESSELLAN_SOURCE_DIR "/resources"},
                                  {{"LC_ALL", "en_US.UTF-8"}, {"TZ", "UTC"}}));
        port = server->port();
    }
    static void TearDownTestSuite() {
        delete server;
        delete folder;
    }
    static TempFolder* folder;
    static testsupport::ServerProcess* server;
    static int port;
};
TempFolder* DemoJsonTest::folder;
testsupport::ServerProcess* DemoJsonTest::server;
int DemoJsonTest::port;

TEST_F(DemoJsonTest, ListsAndPagesAreByteForByte) {
    struct Case {
        const char* target;
        const char* type;
        const char* body;
    } cases[] = {
        {"/json/getsite", "text/javascript; charset=UTF-8", "\"Tessellan demo\""},
        {"/json/getlibs", "text/javascript",
         "[\n{ \"name\":\"Demo Library\", \"id\":0, \"fullSizeDownload\":true}\n]\n"},
        {"/json/getalbums?l=0", "application/x-javascript",
         "[\n{ \"name\":\"Landscapes & Seascapes\", \"id\":2, \"comment\":\"Holidays "
         "2005\\u20132008: hills, sea, "
         "dunes and night skies.\", \"size\":23 },\n{ \"name\":\"Tessellations\", \"id\":5, "
         "\"comment\":\"Tiles, "
         "waves & blocks: pattern studies.\", \"size\":10, \"theme\":\"dark\" }]\n"},
        {"/json/getpics?l=0&a=5&i=0&c=3", "application/x-javascript",
         "[\n{ \"caption\":\"Hexagons, Mediterranean\", \"id\":24, \"h\":180, \"w\":240 },\n{ "
         "\"caption\":\"Hexagon "
         "sampler (GIF)\", \"id\":33, \"h\":180, \"w\":240 },\n{ \"caption\":\"Hexagons, autumn\", "
         "\"id\":25, "
         "\"h\":240, \"w\":240 }\n]\n"},
        {"/json/getpics?l=0&a=2&i=21", "application/x-javascript",
         "[\n{ \"caption\":\"Aurora borealis\", \"id\":19, \"h\":180, \"w\":240 },\n{ "
         "\"caption\":\"Green "
         "curtains\", \"id\":20, \"h\":240, \"w\":180 }\n]\n"},
    };
    for (auto& c : cases) {
        std::string reply = get(port, c.target);
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.type) << c.target;
        EXPECT_EQ(bodyOf(reply), c.body) << c.target;
    }
}

TEST_F(DemoJsonTest, PictureDetailsAreByteForByte) {
    std::string reply = get(port, "/json/getpicinfo?l=0&a=5&i=0");
    EXPECT_EQ(headerOf(reply, "Content-Type"), "text/javascript; charset=UTF-8");
    EXPECT_EQ(
        bodyOf(reply),
        "({ \"h\":768, \"w\":1024, \"fileName\":\"mediterranean-hexagons.jpg\", "
        "\"mediaType\":\"Image\", "
        "\"caption\":\"Hexagons, Mediterranean\", \"comment\":\"Floor tiles in a Lisbon "
        "caf\\u00e9.\", "
        "\"captureDate\":{ \"value\":1143987150000, \"string\":\"Apr 2, 2006, 2:12:30\\u202fPM\" "
        "}, "
        "\"modifiedDate\":{ \"value\":1144558830000, \"string\":\"Apr 9, 2006, 5:00:30\\u202fAM\" "
        "}, "
        "\"exif\":{ \"captureDate\":\"Apr 2, 2006, 2:12:30\\u202fPM\", \"modifiedDate\":\"Apr 9, "
        "2006, "
        "5:00:30\\u202fAM\", \"aperture\":\"4.0\", \"shutter\":\"1/60\", \"iso\":\"400\", "
        "\"focalLength\":\"35\", \"cameraMake\":\"Tessellan Optics\", \"cameraModel\":\"TX-100\", "
        "\"width\":\"768\", \"height\":\"\" } })\n");
}

} // namespace
