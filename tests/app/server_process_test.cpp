// server_process_test.cpp - the running server: the password, routing, layout files, the command
// line, rereading the preferences on a hangup.
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace testsupport;
using testing::HasSubstr, testing::Not;

namespace {

class ServerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        files.write("resources/layouts/Default/index.html", "<html>home</html>");
        files.write("resources/layouts/Default/screen.css", "body{}");
        files.write("resources/layouts/Default/app.js", "run()");
        files.write("resources/layouts/Default/logo.png", "PNG");
        files.write("resources/layouts/Default/page.xhtml", "x");
        files.write("resources/layouts/Other/index.html", "<html>other</html>");
        files.write("data/Tessellan/layouts/Default/extra.html", "user file");
        files.write("data/Tessellan/layouts/Default/index.html", "user index");
    }
    std::string prefs(const std::string& layout = "Default", const std::string& more = "") const {
        return files.write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer><key>"
                                          "siteLayout</key><string>" +
                                              layout + "</string>" + more + "</dict></plist>");
    }
    bool startServer(const std::string& more = "") {
        bool started = server.start(
            {"--prefs", prefs("Default", more), "--resources", files.path("resources")},
            {{"XDG_DATA_HOME", files.path("data")}});
        port = server.port();
        return started;
    }
    TempFolder files;
    int port = 0;
    ServerProcess server;
};

TEST_F(ServerTest, PreferencesAskingForAPasswordGuardTheSite) {
    // Which headers match is the credentials check's own test; here, the running server's use.
    ASSERT_TRUE(startServer("<key>auth</key><true/><key>user</key><string>user</string>"
                            "<key>pass</key><string>pass</string>"));
    EXPECT_EQ(statusLine(get(port, "/", "Authorization: basic dXNlcjpwYXNz\r\n")),
              "HTTP/1.1 200 OK");
    std::string reply = get(port, "/");
    EXPECT_EQ(statusLine(reply), "HTTP/1.1 401 Unauthorized");
    EXPECT_EQ(headerOf(reply, "Www-Authenticate"), "Basic realm=\"Tessellan\"");
    EXPECT_THAT(bodyOf(reply), HasSubstr("<title>Unauthorized Access</title>"));
    EXPECT_THAT(bodyOf(reply), HasSubstr("This server contains private content. You must provide a "
                                         "valid username and password.</body>\n</html>\n"));
    EXPECT_EQ(headerOf(reply, "Content-Length"), std::to_string(bodyOf(reply).size()));
    EXPECT_THAT(bodyOf(reply), HasSubstr("<a href=\"\">Try again</a>")) << "asks again";
    EXPECT_THAT(bodyOf(reply), HasSubstr("content=\"width=device-width")) << "fits a phone";
    server.stop();
    ASSERT_TRUE(startServer("<key>auth</key><false/><key>pass</key><string>pass</string>"));
    EXPECT_EQ(statusLine(get(port, "/")), "HTTP/1.1 200 OK") << "auth false asks for nothing";
}

TEST_F(ServerTest, RoutingIsByExactDirectoryPartAndLayoutFilesKeepTheirTypes) {
    ASSERT_TRUE(startServer());
    struct Case {
        std::string target;
        const char *type, *body; // type null: 404
    } cases[] = {
        {"/", "text/html", "<html>home</html>"},
        {"/?p=a/b", "text/html", "<html>home</html>"},
        {"/index.html?" + std::string(188, 'q'), "text/html", "<html>home</html>"}, // 200 bytes
        {"/index.html?" + std::string(189, 'q'), nullptr, ""},                      // over 200
        {"/screen.css", "text/css", "body{}"},
        {"/app.js", "application/x-javascript", "run()"},
        {"/logo.png", "unknown", "PNG"},
        {"/page.xhtml", "text/html", "x"},
        {"/extra.html", "text/html", "user file"}, // the user's layout folder adds files
        {"/Index.html", nullptr, ""},
        {"/styles/screen.css", nullptr, ""},
        {"/Thumbnail/1", nullptr, ""},
        {"/nowhere.html", nullptr, ""},
        {"/..", nullptr, ""},
        {"/a%2Fb", nullptr, ""},
    };
    for (auto& c : cases) {
        std::string reply = get(port, c.target);
        EXPECT_EQ(statusLine(reply), c.type ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found")
            << c.target;
        if (!c.type) continue;
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.type) << c.target;
        EXPECT_EQ(bodyOf(reply), c.body) << c.target;
    }
    std::string nonAscii = get(port, "/caf\xC3\xA9.html");
    EXPECT_EQ(statusLine(nonAscii), "HTTP/1.1 404 Not Found");
    EXPECT_THAT(bodyOf(nonAscii), HasSubstr("<title>Page Not Found</title>"));
    EXPECT_THAT(server.output(), HasSubstr("request URL is not ASCII"));
}

TEST_F(ServerTest, CommandLineAndPortsThatCannotServeEndTheProcess) {
    files.write("port.plist", "<plist><dict><key>port</key><integer>65536</integer><key>"
                              "siteLayout</key><string>Default</string></dict></plist>");
    struct Case {
        std::vector<std::string> arguments;
        int status;
        std::string output; // the whole output, or "~" and a part of it
    } cases[] = {
        {{"--version"}, 0, "tessellan " TESSELLAN_TEST_VERSION "\n"},
        {{"--help"}, 0, "~--prefs FILE"},
        {{"--frobnicate"}, 2, "tessellan: unknown argument '--frobnicate' (try --help)\n"},
        {{"--prefs"}, 2, "~(try --help)"},
        {{"--resources", "/nowhere"}, 2, "tessellan: --resources: '/nowhere' is not a folder\n"},
        {{"--prefs", files.path("port.plist"), "--resources", files.path("resources")},
         0,
         "~Server Startup...\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.arguments[0]);
        ASSERT_TRUE(server.start(c.arguments, {}, false));
        EXPECT_EQ(server.waitForExit(10000), c.status);
        if (c.output[0] == '~')
            EXPECT_THAT(server.output(), HasSubstr(c.output.substr(1)));
        else
            EXPECT_EQ(server.output(), c.output);
    }
}

TEST_F(ServerTest, AHangupRereadsThePreferencesOnceAndServesTheNewLayout) {
    // Which names are usable is the preferences' own rule; here, that a change is served.
    ASSERT_TRUE(startServer());
    for (const char* name : {"Other", ".."}) {
        std::string before = bodyOf(get(port, "/"));
        prefs(name);
        EXPECT_EQ(bodyOf(get(port, "/")), before) << "not before the hangup";
        server.signal(SIGHUP);
        server.signal(SIGHUP);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        if (std::string(name) == "Other") {
            EXPECT_EQ(bodyOf(get(port, "/")), "<html>other</html>") << "served without a restart";
            std::string output = server.output();
            EXPECT_EQ(output.find("sync prefs\n"), output.rfind("sync prefs\n")) << output;
            EXPECT_THAT(output, HasSubstr("sync prefs\n"));
        } else {
            EXPECT_EQ(bodyOf(get(port, "/")), "<html>home</html>") << "treated like a missing name";
            EXPECT_THAT(readFile(files.path("prefs.plist")), HasSubstr("<string>Default</string>"));
        }
    }
}

TEST_F(ServerTest, LayoutFilesNeverLeadOutOfTheLayoutFolder) {
    ASSERT_TRUE(startServer("<key>pass</key><string>s3cret</string>"));
    std::string layout = files.path("resources/layouts/Default/");
    ASSERT_EQ(symlink(files.path("prefs.plist").c_str(), (layout + "prefs.html").c_str()), 0);
    ASSERT_EQ(symlink("/etc/passwd", (layout + "passwd.css").c_str()), 0);
    ASSERT_EQ(symlink("../Other/index.html", (layout + "other.html").c_str()), 0);
    ASSERT_EQ(symlink("screen.css", (layout + "alias.css").c_str()), 0);
    files.sub("resources/layouts/Default/folder.html");
    ASSERT_EQ(mkfifo((layout + "pipe.js").c_str(), 0600), 0);
    for (const char* target : {"/prefs.html", "/passwd.css", "/other.html", "/folder.html",
                               "/pipe.js", "/..", "/.", "/%2e%2e"}) {
        std::string reply = get(port, target);
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 404 Not Found") << target;
        EXPECT_THAT(reply, Not(HasSubstr("s3cret")));
        EXPECT_THAT(reply, Not(HasSubstr("root:")));
        EXPECT_THAT(reply, Not(HasSubstr("other")));
    }
    std::string alias = get(port, "/alias.css");
    EXPECT_EQ(bodyOf(alias), "body{}") << "a link to a file beside it stays in the folder";
    EXPECT_EQ(headerOf(alias, "Content-Type"), "text/css");
}

} // namespace
