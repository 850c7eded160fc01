// server_process_test.cpp - the running server: the password, routing, layout files, the command
// line, rereading the preferences on a hangup; its connections: refused requests, the header
// deadline, and room for a new visitor when descriptors run out.
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace testsupport;
using testing::HasSubstr;

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
    bool startServer(const std::string& more = "", const std::string& headerSeconds = "30") {
        bool started = server.start({"--prefs", prefs("Default", more), "--resources",
                                     files.path("resources"), "--header-timeout", headerSeconds},
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
    EXPECT_THAT(bodyOf(reply), HasSubstr("<a href=\"\">Try again</a>")) << "asks again";
    EXPECT_THAT(bodyOf(reply), HasSubstr("content=\"width=device-width")) << "fits a phone";
}

TEST_F(ServerTest, AnAddressHeldForGuessingIsHeldWhereAKeptReplyCouldAnswerIt) {
    ASSERT_TRUE(startServer("<key>auth</key><true/><key>user</key><string>user</string>"
                            "<key>pass</key><string>pass</string>"));
    const std::string right = "GET / HTTP/1.1\r\nAuthorization: Basic dXNlcjpwYXNz\r\n\r\n";
    // Eight wrong guesses, each sent once the last was answered (the last three are held 250,
    // 500 and 1000 ms), then a ninth whose answer is held for 2 s.
    const std::string wrong = "GET / HTTP/1.1\r\nAuthorization: Basic eDp5\r\n\r\n";
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(statusLine(request(port, wrong)), "HTTP/1.1 401 Unauthorized");
    Connection guess(port);
    guess.send(wrong);
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the guess is counted
    Connection other(port, 0x7f000002);
    other.send(right);
    EXPECT_EQ(statusLine(other.receiveReply()), "HTTP/1.1 200 OK") << "another address waited";
    // The same request, whose reply is now kept, from the address whose answers are held.
    Connection held(port);
    held.send(right);
    EXPECT_EQ(statusLine(held.receiveReply()), "HTTP/1.1 401 Unauthorized")
        << "a kept reply let a held address in";
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
        {"/Thumbnail/1", nullptr, ""},
        {"/a%2Fb", nullptr, ""},
        {"/caf\xC3\xA9.html", nullptr, ""},
    };
    for (auto& c : cases) {
        std::string reply = get(port, c.target);
        EXPECT_EQ(statusLine(reply), c.type ? "HTTP/1.1 200 OK" : "HTTP/1.1 404 Not Found")
            << c.target;
        if (!c.type) continue;
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.type) << c.target;
        EXPECT_EQ(bodyOf(reply), c.body) << c.target;
    }
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
    prefs("Other");
    EXPECT_EQ(bodyOf(get(port, "/")), "<html>home</html>") << "changed before the hangup";
    server.signal(SIGHUP);
    server.signal(SIGHUP);
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(bodyOf(get(port, "/")), "<html>other</html>") << "not served without a restart";
    std::string output = server.output();
    EXPECT_THAT(output, HasSubstr("sync prefs\n"));
    EXPECT_EQ(output.find("sync prefs\n"), output.rfind("sync prefs\n")) << output;
}

TEST_F(ServerTest, LayoutFilesNeverLeadOutOfTheLayoutFolder) {
    ASSERT_TRUE(startServer());
    std::string layout = files.path("resources/layouts/Default/");
    ASSERT_EQ(symlink(files.path("prefs.plist").c_str(), (layout + "prefs.html").c_str()), 0);
    ASSERT_EQ(symlink("/etc/passwd", (layout + "passwd.css").c_str()), 0);
    ASSERT_EQ(symlink("../Other/index.html", (layout + "other.html").c_str()), 0);
    ASSERT_EQ(symlink("screen.css", (layout + "alias.css").c_str()), 0);
    files.sub("resources/layouts/Default/folder.html");
    ASSERT_EQ(mkfifo((layout + "pipe.js").c_str(), 0600), 0);
    for (const char* target : {"/prefs.html", "/passwd.css", "/other.html", "/folder.html",
                               "/pipe.js", "/..", "/.", "/%2e%2e"})
        EXPECT_EQ(statusLine(get(port, target)), "HTTP/1.1 404 Not Found") << target;
    std::string alias = get(port, "/alias.css");
    EXPECT_EQ(bodyOf(alias), "body{}") << "a link to a file beside it stays in the folder";
    EXPECT_EQ(headerOf(alias, "Content-Type"), "text/css");
}

TEST_F(ServerTest, RefusedRequestsAreAnsweredThenClosed) {
    ASSERT_TRUE(startServer());
    const std::string good = "GET / HTTP/1.1\r\n\r\n";
    std::pair<std::string, const char*> cases[] = {
        {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11), // not HTTP
         "HTTP/1.1 400 Bad Request"},
        {good + "GET / HTTP/1.1\r\nX-Big: " + std::string(70000, 'z') + "\r\n\r\n",
         "HTTP/1.1 431 Request Header Fields Too Large"}, // the limit counts the second afresh
    };
    for (auto& [bytes, status] : cases) {
        SCOPED_TRACE(bytes.substr(0, 20));
        Connection connection(port);
        connection.send(bytes);
        std::string reply = connection.receiveReply();
        if (bytes.starts_with(good)) {
            EXPECT_EQ(bodyOf(reply), "<html>home</html>");
            reply = connection.receiveReply();
        }
        EXPECT_EQ(statusLine(reply), status);
        EXPECT_EQ(headerOf(reply, "Connection"), "close");
        EXPECT_NE(bodyOf(reply).find(status + 9), std::string::npos) << "the reason in the page";
        EXPECT_TRUE(connection.closedByPeer(3000));
    }
    EXPECT_EQ(statusLine(get(port, "/")), "HTTP/1.1 200 OK") << "the server goes on";
}

TEST_F(ServerTest, HeaderMustBeCompleteInTime) {
    ASSERT_TRUE(startServer("", "1"));
    // Requests well within the deadline each, on one connection that lives longer than it.
    Connection steady(port);
    for (int i = 0; i < 3; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(600));
        steady.send("GET / HTTP/1.1\r\n");
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        steady.send("\r\n");
        EXPECT_EQ(statusLine(steady.receiveReply()), "HTTP/1.1 200 OK") << "request " << i;
    }
    // A header trickling in a byte every 100 ms is dropped after a second, idle or not.
    Connection trickler(port);
    auto started = std::chrono::steady_clock::now();
    std::string header = "GET / HTTP/1.1\r\nX-Slow: " + std::string(100, 'z');
    bool open = true;
    for (size_t i = 0; i < header.size() && open; ++i) {
        open = trickler.send(header.substr(i, 1)) && !trickler.closedByPeer(100);
        if (std::chrono::steady_clock::now() - started > std::chrono::seconds(5)) break;
    }
    EXPECT_FALSE(open) << "the slow header was never dropped";
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(4));
}

TEST_F(ServerTest, NewVisitorGetsInWhenDescriptorsRunOut) {
    ASSERT_TRUE(startServer());
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // start-up settles
    const int room = 40;
    rlimit limit;
    auto open = std::distance(
        std::filesystem::directory_iterator("/proc/" + std::to_string(server.pid()) + "/fd"), {});
    limit.rlim_cur = limit.rlim_max = rlim_t(open + room);
    ASSERT_EQ(prlimit(server.pid(), RLIMIT_NOFILE, &limit, nullptr), 0);

    // More connections than descriptors, each holding a header it never finishes.
    std::vector<std::unique_ptr<Connection>> stalled;
    for (int i = 0; i < room + 10; ++i) {
        stalled.push_back(std::make_unique<Connection>(port));
        stalled.back()->send("GET / HTTP/1.1\r\nX-Slow: ");
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::string reply = get(port, "/");
    EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK") << "the new visitor got in";
    EXPECT_TRUE(stalled.front()->closedByPeer(1000)) << "the oldest stalled header goes first";
    EXPECT_FALSE(stalled.back()->closedByPeer(200)) << "only as many go as needed";
}

} // namespace
