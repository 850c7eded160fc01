// server_process_test.cpp - the running server: connections, the request step, start-up, layouts.
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace testsupport;

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
    std::string prefsPath() const { return files.path() + "/prefs.plist"; }
    void writePrefs(const std::string& dictBody) const {
        files.write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer>"
                                   "<key>siteLayout</key><string>Default</string>" +
                                       dictBody + "</dict></plist>");
    }
    bool startServer(const std::string& dictBody = "", const std::string& idleSeconds = "60") {
        writePrefs(dictBody);
        bool started = server.start(
            {"--prefs", prefsPath(), "--resources", files.path() + "/resources"},
            {{"XDG_DATA_HOME", files.path() + "/data"}, {"TESSELLAN_IDLE_TIMEOUT", idleSeconds}});
        port = server.port();
        return started;
    }
    TempFolder files;
    int port = 0;
    ServerProcess server;
};

TEST_F(ServerTest, PreferencesAskingForAPasswordGuardTheSite) {
    // Which headers match is the credentials check's own test; here, the running server's use.
    const std::string userPass = "<key>auth</key><true/><key>user</key><string>user</string>"
                                 "<key>pass</key><string>pass</string>";
    struct Case {
        std::string prefs;
        const char* header;
        int status;
    } cases[] = {
        {userPass, "", 401},
        {userPass, "Authorization: basic dXNlcjpwYXNz\r\n", 200},
        {"<key>auth</key><false/>", "", 200},
    };
    for (auto& c : cases) {
        ASSERT_TRUE(startServer(c.prefs));
        std::string reply = get(port, "/", c.header);
        EXPECT_EQ(statusLine(reply),
                  c.status == 200 ? "HTTP/1.1 200 OK" : "HTTP/1.1 401 Unauthorized")
            << c.header;
        if (c.status == 401) {
            EXPECT_EQ(headerOf(reply, "Www-Authenticate"), "Basic realm=\"Tessellan\"");
            EXPECT_NE(bodyOf(reply).find("<title>Unauthorized Access</title>"), std::string::npos);
            EXPECT_NE(bodyOf(reply).find(
                          "This server contains private content. You must provide a valid username "
                          "and password.</body>\n</html>\n"),
                      std::string::npos);
            EXPECT_EQ(headerOf(reply, "Content-Length"), std::to_string(bodyOf(reply).size()));
        }
        server.stop();
    }
}

TEST_F(ServerTest, RoutingIsByExactDirectoryPart) {
    ASSERT_TRUE(startServer());
    struct Case {
        const char* target;
        const char* status;
    } cases[] = {
        {"/", "HTTP/1.1 200 OK"},
        {"/?p=a/b", "HTTP/1.1 200 OK"},
        {"/Index.html", "HTTP/1.1 404 Not Found"},
        {"/styles/screen.css", "HTTP/1.1 404 Not Found"},
        {"/Thumbnail/1", "HTTP/1.1 404 Not Found"},
        {"/..", "HTTP/1.1 404 Not Found"},
        {"/a%2Fb", "HTTP/1.1 404 Not Found"},
    };
    for (auto& c : cases)
        EXPECT_EQ(statusLine(get(port, c.target)), c.status) << c.target;
    std::string longURL = "/index.html?" + std::string(200, 'q');
    EXPECT_EQ(statusLine(get(port, longURL)), "HTTP/1.1 404 Not Found") << "a URL over 200 bytes";
    EXPECT_EQ(statusLine(get(port, "/index.html?" + std::string(188, 'q'))), "HTTP/1.1 200 OK")
        << "exactly 200 bytes";
    std::string nonAscii = get(port, "/caf\xC3\xA9.html");
    EXPECT_EQ(statusLine(nonAscii), "HTTP/1.1 404 Not Found");
    EXPECT_NE(bodyOf(nonAscii).find("<title>Page Not Found</title>"), std::string::npos);
    EXPECT_NE(server.output().find("request URL is not ASCII"), std::string::npos);
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
            EXPECT_NE(server.output().find(c.output.substr(1)), std::string::npos)
                << server.output();
        else
            EXPECT_EQ(server.output(), c.output);
    }
}

TEST_F(ServerTest, LayoutFilesAndTheirContentTypes) {
    ASSERT_TRUE(startServer());
    struct Case {
        const char* target;
        const char* type;
        const char* body;
    } cases[] = {
        {"/", "text/html", "<html>home</html>"},
        {"/screen.css", "text/css", "body{}"},
        {"/app.js", "application/x-javascript", "run()"},
        {"/logo.png", "unknown", "PNG"},
        {"/page.xhtml", "text/html", "x"},
        {"/extra.html", "text/html", "user file"},
    };
    for (auto& c : cases) {
        std::string reply = get(port, c.target);
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.type) << c.target;
        EXPECT_EQ(bodyOf(reply), c.body) << c.target;
    }
    EXPECT_EQ(statusLine(get(port, "/nowhere.html")), "HTTP/1.1 404 Not Found");
}

TEST_F(ServerTest, AHangupRereadsThePreferencesOnceAndServesTheNewLayout) {
    files.write("resources/layouts/index.html", "<html>the layouts folder itself</html>");
    files.write("resources/layouts/Themes/Dark/index.html", "<html>nested</html>");
    ASSERT_TRUE(startServer());
    // Which names are usable is the preferences' own rule; here, that a change is served.
    for (const char* name : {"Other", "..", "Themes/Dark"}) {
        SCOPED_TRACE(name);
        std::string before = bodyOf(get(port, "/"));
        files.write("prefs.plist", std::string("<plist><dict><key>port</key><integer>0</integer>"
                                               "<key>siteLayout</key><string>") +
                                       name + "</string></dict></plist>");
        EXPECT_EQ(bodyOf(get(port, "/")), before) << "not before the hangup";
        server.signal(SIGHUP);
        server.signal(SIGHUP);
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        if (std::string(name) == "Other") {
            EXPECT_EQ(bodyOf(get(port, "/")), "<html>other</html>") << "served without a restart";
            std::string output = server.output();
            EXPECT_EQ(output.find("sync prefs\n"), output.rfind("sync prefs\n")) << output;
            EXPECT_NE(output.find("sync prefs\n"), std::string::npos);
            continue;
        }
        EXPECT_EQ(bodyOf(get(port, "/")), "<html>home</html>") << "treated like a missing name";
        EXPECT_NE(readFile(prefsPath()).find("<string>Default</string>"), std::string::npos);
    }
}

TEST_F(ServerTest, LayoutFilesNeverLeadOutOfTheLayoutFolder) {
    ASSERT_TRUE(startServer("<key>pass</key><string>s3cret</string>"));
    std::string layout = files.path() + "/resources/layouts/Default";
    ASSERT_EQ(symlink(prefsPath().c_str(), (layout + "/prefs.html").c_str()), 0);
    ASSERT_EQ(symlink("/etc/passwd", (layout + "/passwd.css").c_str()), 0);
    ASSERT_EQ(symlink("../Other/index.html", (layout + "/other.html").c_str()), 0);
    ASSERT_EQ(symlink("screen.css", (layout + "/alias.css").c_str()), 0);
    files.sub("resources/layouts/Default/folder.html");
    ASSERT_EQ(mkfifo((layout + "/pipe.js").c_str(), 0600), 0);
    for (const char* target : {"/prefs.html", "/passwd.css", "/other.html", "/folder.html",
                               "/pipe.js", "/..", "/.", "/%2e%2e"}) {
        SCOPED_TRACE(target);
        std::string reply = get(port, target);
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 404 Not Found");
        EXPECT_EQ(reply.find("s3cret"), std::string::npos);
        EXPECT_EQ(reply.find("root:"), std::string::npos);
        EXPECT_EQ(reply.find("other"), std::string::npos);
    }
    std::string alias = get(port, "/alias.css");
    EXPECT_EQ(bodyOf(alias), "body{}") << "a link to a file beside it stays in the folder";
    EXPECT_EQ(headerOf(alias, "Content-Type"), "text/css");
}

} // namespace
