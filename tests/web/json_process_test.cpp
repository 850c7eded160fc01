// json_process_test.cpp - the JSON API through the running server: its row in the responder
// table, the site title, the shipped script folder, and exact directory matching.
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

using namespace testsupport;

namespace {

TEST(JsonProcess, ServesTheApiUnderItsOwnDirectoryOnly) {
    TempFolder files;
    files.write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer>"
                               "<key>title</key><string>Home \xC3\xA9</string>"
                               "<key>siteLayout</key><string>Default</string></dict></plist>");
    ServerProcess server;
    ASSERT_TRUE(server.start({"--prefs", files.path() + "/prefs.plist", "--resources",
                              TESSELLAN_SOURCE_DIR "/resources"},
                             {{"XDG_DATA_HOME", files.path() + "/data"}}))
        << server.output();
    int port = server.port();

    std::string site = get(port, "/json/getsite");
    EXPECT_EQ(statusLine(site), "HTTP/1.1 200 OK");
    EXPECT_EQ(headerOf(site, "Content-Type"), "text/javascript; charset=UTF-8");
    EXPECT_EQ(bodyOf(site), "\"Home \\u00e9\"");

    std::string helper = get(port, "/json/tessellan.js");
    EXPECT_EQ(statusLine(helper), "HTTP/1.1 200 OK");
    EXPECT_EQ(headerOf(helper, "Content-Type"), "application/x-javascript");
    EXPECT_NE(bodyOf(helper).find("Tessellan.parseReply"), std::string::npos);

    EXPECT_EQ(statusLine(get(port, "/JSON/getsite")), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(statusLine(get(port, "/json/getSite")), "HTTP/1.1 404 Not Found")
        << "not a command, and no such script file";
    EXPECT_EQ(statusLine(get(port, "/json/sub/getsite")), "HTTP/1.1 404 Not Found");
}

} // namespace
