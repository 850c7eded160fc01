// http_process_test.cpp - what browsers expect of the running server: gzip for text, 304 for
// what the client holds, byte ranges of files, on keep-alive connections.
#include "support/Inflate.h"
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <zlib.h>

using namespace testsupport;

using testsupport::inflateAll;

namespace {

class HttpProcessTest : public ::testing::Test {
  protected:
    void SetUp() override {
        for (int i = 0; i < 200; ++i)
            script +=
                "function step" + std::to_string(i) + "() { return " + std::to_string(i) + "; }\n";
        for (int i = 0; i < 5000; ++i)
            film += char(i * 7 % 251);
        files.write("resources/layouts/Default/index.html", "<html>home</html>");
        files.write("resources/layouts/Default/app.js", script);
        files.write("resources/layouts/Default/film.bin", film);
        files.write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer>"
                                   "<key>siteLayout</key><string>Default</string>"
                                   "</dict></plist>");
        ASSERT_TRUE(server.start(
            {"--prefs", files.path("prefs.plist"), "--resources", files.path("resources")},
            {{"XDG_DATA_HOME", files.path("data")}}))
            << server.output();
        port = server.port();
    }
    std::string ask(Connection& connection, const std::string& target, const std::string& headers,
                    const char* method = "GET") {
        connection.send(std::string(method) + " " + target + " HTTP/1.1\r\nHost: x\r\n" + headers +
                        "\r\n");
        return connection.receiveReply(std::string(method) == "HEAD");
    }
    TempFolder files;
    std::string script, film;
    int port = 0;
    ServerProcess server;
};

TEST_F(HttpProcessTest, TextIsCompressedForClientsThatAcceptGzip) {
    Connection connection(port);
    struct Case {
        const char* name;
        const char* target;
        std::string headers;
        const char* encoding;
        const char* vary;
    } cases[] = {
        {"accepted", "/app.js", "Accept-Encoding: gzip, deflate, br\r\n", "gzip",
         "Accept-Encoding"},
        {"not asked for", "/app.js", "", "", "Accept-Encoding"},
        {"refused with q=0", "/app.js", "Accept-Encoding: gzip;q=0, identity\r\n", "",
         "Accept-Encoding"},
        {"tiny file", "/index.html", "Accept-Encoding: gzip\r\n", "", ""},
        {"not text", "/film.bin", "Accept-Encoding: gzip\r\n", "", ""},
    };
    for (const Case& c : cases) {
        std::string reply = ask(connection, c.target, c.headers);
        ASSERT_EQ(statusLine(reply), "HTTP/1.1 200 OK") << c.name;
        EXPECT_EQ(headerOf(reply, "Content-Encoding"), c.encoding) << c.name;
        EXPECT_EQ(headerOf(reply, "Vary"), c.vary) << c.name;
        std::string body = bodyOf(reply);
        EXPECT_EQ(headerOf(reply, "Content-Length"), std::to_string(body.size())) << c.name;
        std::string expected = std::string(c.target) == "/app.js" ? script
                               : std::string(c.target) == "/film.bin"
                                   ? film
                                   : std::string("<html>home</html>");
        EXPECT_EQ(*c.encoding ? inflateAll(body) : body, expected) << c.name;
        if (*c.encoding) {
            EXPECT_LT(body.size(), script.size() / 3) << c.name;
        }
    }
    std::string head = ask(connection, "/app.js", "Accept-Encoding: gzip\r\n", "HEAD");
    EXPECT_EQ(headerOf(head, "Content-Encoding"), "gzip") << "HEAD says what GET would send";
    EXPECT_EQ(bodyOf(head), "");
    EXPECT_EQ(statusLine(ask(connection, "/index.html", "")), "HTTP/1.1 200 OK")
        << "the connection goes on after a HEAD";
}

// The tests below need the responders to give layout files a validator and a file body.

TEST_F(HttpProcessTest, WhatTheClientHoldsIsAnswered304) {
    Connection connection(port);
    std::string first = ask(connection, "/app.js", "");
    std::string etag = headerOf(first, "ETag");
    std::string modified = headerOf(first, "Last-Modified");
    ASSERT_NE(etag, "") << "layout files carry a validator";
    ASSERT_NE(modified, "");
    std::string zipped = ask(connection, "/app.js", "Accept-Encoding: gzip\r\n");
    std::string zippedTag = headerOf(zipped, "ETag");
    EXPECT_NE(zippedTag, etag) << "the compressed variant has a tag of its own";

    struct Case {
        const char* name;
        std::string headers;
        std::string status;
        std::string etag;
    } cases[] = {
        {"same tag", "If-None-Match: " + etag + "\r\n", "HTTP/1.1 304 Not Modified", etag},
        {"tag in a list", "If-None-Match: \"old\", " + etag + "\r\n", "HTTP/1.1 304 Not Modified",
         etag},
        {"compressed tag", "If-None-Match: " + zippedTag + "\r\nAccept-Encoding: gzip\r\n",
         "HTTP/1.1 304 Not Modified", zippedTag},
        {"same date", "If-Modified-Since: " + modified + "\r\n", "HTTP/1.1 304 Not Modified", etag},
        {"old tag", "If-None-Match: \"old\"\r\n", "HTTP/1.1 200 OK", etag},
        {"old date", "If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT\r\n", "HTTP/1.1 200 OK",
         etag},
        {"garbage date", "If-Modified-Since: soon\r\n", "HTTP/1.1 200 OK", etag},
    };
    for (const Case& c : cases) {
        std::string reply = ask(connection, "/app.js", c.headers);
        EXPECT_EQ(statusLine(reply), c.status) << c.name;
        EXPECT_EQ(headerOf(reply, "ETag"), c.etag) << c.name;
        if (c.status == "HTTP/1.1 304 Not Modified") {
            EXPECT_EQ(headerOf(reply, "Content-Length"), "") << c.name;
            EXPECT_EQ(bodyOf(reply), "") << c.name;
            EXPECT_NE(headerOf(reply, "Cache-Control"), "") << c.name;
        } else {
            EXPECT_EQ(bodyOf(reply), script) << c.name;
        }
    }
    EXPECT_EQ(bodyOf(ask(connection, "/index.html", "")), "<html>home</html>")
        << "the connection goes on after the 304s";
}

TEST_F(HttpProcessTest, FilesAreServedByByteRange) {
    Connection connection(port);
    struct Case {
        const char* name;
        std::string headers;
        std::string status;
        std::string contentRange;
        std::string body;
    } cases[] = {
        {"first bytes", "Range: bytes=0-9\r\n", "HTTP/1.1 206 Partial Content", "bytes 0-9/5000",
         film.substr(0, 10)},
        {"last bytes", "Range: bytes=-7\r\n", "HTTP/1.1 206 Partial Content",
         "bytes 4993-4999/5000", film.substr(4993)},
        {"open range", "Range: bytes=4990-\r\n", "HTTP/1.1 206 Partial Content",
         "bytes 4990-4999/5000", film.substr(4990)},
        {"past the end", "Range: bytes=5000-\r\n", "HTTP/1.1 416 Range Not Satisfiable",
         "bytes */5000", ""},
        {"several ranges", "Range: bytes=0-1,3-4\r\n", "HTTP/1.1 200 OK", "", film},
        {"malformed", "Range: bytes=9-1\r\n", "HTTP/1.1 200 OK", "", film},
    };
    for (const Case& c : cases) {
        std::string reply = ask(connection, "/film.bin", c.headers);
        EXPECT_EQ(statusLine(reply), c.status) << c.name;
        EXPECT_EQ(headerOf(reply, "Accept-Ranges"), "bytes") << c.name;
        EXPECT_EQ(headerOf(reply, "Content-Range"), c.contentRange) << c.name;
        EXPECT_EQ(headerOf(reply, "Content-Length"), std::to_string(c.body.size())) << c.name;
        EXPECT_TRUE(bodyOf(reply) == c.body) << c.name << ": " << bodyOf(reply).size() << " bytes";
    }
}

} // namespace
