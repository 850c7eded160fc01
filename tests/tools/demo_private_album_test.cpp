// demo_private_album_test.cpp - the demo library's unpublished album ("Family (private)", id 9)
// answers every route exactly as an album that does not exist, through the running server.
#include "DemoLibrary.h"
#include "support/ServerProcess.h"

#include <gtest/gtest.h>

namespace {

TEST(DemoPrivateAlbum, AnswersLikeAnAlbumThatDoesNotExist) {
    const DemoLibrary& demo = demoLibrary();
    std::string prefs = readFile(demo.preferences);
    const std::string defaultPort = "<key>port</key>\n\t<integer>8080</integer>";
    size_t at = prefs.find(defaultPort);
    ASSERT_NE(at, std::string::npos) << prefs;
    prefs.replace(at, defaultPort.size(), "<key>port</key>\n\t<integer>0</integer>");
    TempFolder folder;
    folder.write("prefs.plist", prefs);
    testsupport::ServerProcess server;
    ASSERT_TRUE(server.start(
        {"--prefs", folder.path("prefs.plist"), "--resources", TESSELLAN_SOURCE_DIR "/resources"},
        {}));
    int port = server.port();
    // Photo 34 is only in the private album; photo 1 is in a published one too.
    const char* routes[] = {
        "/json/getpics?l=0&a=ALBUM",           "/json/getpics?l=0&a=ALBUM&i=0&c=2",
        "/json/getpicinfo?l=0&a=ALBUM&i=0",    "/image/?l=0&a=ALBUM&i=0",
        "/image/?l=0&a=ALBUM&i=1&mw=64&mh=64", "/thumbnail/?l=0&a=ALBUM&p=34",
        "/thumbnail/?l=0&a=ALBUM&p=1",
    };
    for (std::string route : routes) {
        size_t album = route.find("ALBUM");
        std::string hidden = route, missing = route;
        hidden.replace(album, 5, "9");
        missing.replace(album, 5, "999");
        std::string a = testsupport::get(port, hidden), b = testsupport::get(port, missing);
        EXPECT_EQ(testsupport::statusLine(a), testsupport::statusLine(b)) << hidden;
        EXPECT_EQ(testsupport::bodyOf(a), testsupport::bodyOf(b)) << hidden;
    }
}

} // namespace
