// connection_process_test.cpp - the running server's connections: refused requests, closing
// after a reply, the header deadline, and room for a new visitor when descriptors run out.
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace testsupport;

namespace {

class ConnectionTest : public ::testing::Test {
  protected:
    bool startServer(const std::string& headerSeconds = "30") {
        files.write("resources/layouts/Default/index.html", "<html>home</html>");
        files.write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer><key>"
                                   "siteLayout</key><string>Default</string></dict></plist>");
        bool started = server.start(
            {"--prefs", files.path("prefs.plist"), "--resources", files.path("resources")},
            {{"XDG_DATA_HOME", files.path("data")}, {"TESSELLAN_HEADER_TIMEOUT", headerSeconds}});
        port = server.port();
        return started;
    }
    TempFolder files;
    int port = 0;
    ServerProcess server;
};

TEST_F(ConnectionTest, RefusedRequestsAreAnsweredThenClosed) {
    ASSERT_TRUE(startServer());
    const std::string good = "GET / HTTP/1.1\r\n\r\n", big = std::string(70000, 'z');
    const char *bad = "HTTP/1.1 400 Bad Request",
               *large = "HTTP/1.1 431 Request Header Fields Too Large";
    std::pair<std::string, const char*> cases[] = {
        {std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11), bad}, // not HTTP
        {"GET / HTTP/1.1\r\nno colon here\r\n\r\n", bad},
        {"GET / HTTP/1.1\r\nX-Big: " + big + "\r\n\r\n", large},
        {good + "GET / HTTP/1.1\r\nX-Big: " + big + "\r\n\r\n", large}, // the second request
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

TEST_F(ConnectionTest, ConnectionClosesWhenTheClientAsks) {
    ASSERT_TRUE(startServer());
    struct Case {
        const char *request, *connectionHeader; // the header in the reply
        bool closes;
    } cases[] = {
        {"GET / HTTP/1.1\r\nConnection: close\r\n\r\n", "close", true},
        {"GET / HTTP/1.0\r\n\r\n", "close", true},
        {"GET / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", "keep-alive", false},
        {"GET / HTTP/1.1\r\n\r\n", "", false},
        {"GET / HTTP/1.1\r\nConnection: Keep-Alive\r\n\r\n", "", false},
    };
    for (auto& c : cases) {
        Connection connection(port);
        connection.send(c.request);
        std::string reply = connection.receiveReply();
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK") << c.request;
        EXPECT_EQ(headerOf(reply, "Connection"), c.connectionHeader) << c.request;
        EXPECT_EQ(connection.closedByPeer(c.closes ? 3000 : 300), c.closes) << c.request;
        if (c.closes) continue;
        connection.send("GET / HTTP/1.1\r\n\r\n");
        EXPECT_EQ(bodyOf(connection.receiveReply()), "<html>home</html>") << c.request;
    }
}

TEST_F(ConnectionTest, HeaderMustBeCompleteInTime) {
    ASSERT_TRUE(startServer("1"));
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

TEST_F(ConnectionTest, NewVisitorGetsInWhenDescriptorsRunOut) {
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
