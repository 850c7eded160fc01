// HttpReply_test.cpp - the reply's status line, header order and serialization.
#include "http/HttpMessage.h"

#include <gtest/gtest.h>

namespace {

TEST(HttpReply, SerializesStatusHeadersAndBodyExactly) {
    HttpReply reply(404);
    reply.setHeader("Content-Type", "text/html");
    reply.setHeader("Content-Length", "5");
    reply.setBody("hello");
    EXPECT_EQ(
        reply.serialize(),
        "HTTP/1.1 404 Not Found\r\nContent-Type: text/html\r\nContent-Length: 5\r\n\r\nhello");
}

TEST(HttpReply, HeaderOnlySerializationKeepsTheLengthAndLeavesTheBodyOut) {
    HttpReply reply(200);
    reply.setHeader("Content-Type", "image/jpeg");
    reply.setHeader("Content-Length", "3");
    reply.setBody("abc");
    EXPECT_EQ(reply.serializeHeader(),
              "HTTP/1.1 200 OK\r\nContent-Type: image/jpeg\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(reply.body(), "abc");
}

TEST(HttpReply, SettingAnExistingNameReplacesItsValueInPlace) {
    HttpReply reply(401);
    reply.setHeader("Content-Length", "1");
    reply.setHeader("Www-Authenticate", "Basic realm=\"Tessellan\"");
    reply.setHeader("content-length", "22");
    EXPECT_EQ(reply.serializeHeader(), "HTTP/1.1 401 Unauthorized\r\nContent-Length: 22\r\n"
                                       "Www-Authenticate: Basic realm=\"Tessellan\"\r\n\r\n");
    ASSERT_NE(reply.header("CONTENT-LENGTH"), nullptr);
    EXPECT_EQ(*reply.header("CONTENT-LENGTH"), "22");
    EXPECT_EQ(reply.header("Content-Type"), nullptr);
}

TEST(HttpReply, BodyIsMovedInAndOutWithoutCopying) {
    std::string big(1 << 20, 'x');
    const char* storage = big.data();
    HttpReply reply(200);
    reply.setBody(std::move(big));
    EXPECT_EQ(reply.body().data(), storage);
    std::string out = reply.takeBody();
    EXPECT_EQ(out.data(), storage);
    EXPECT_TRUE(reply.body().empty());
}

TEST(HttpReply, UnknownStatusStillSerializes) {
    EXPECT_EQ(HttpReply(299).serializeHeader(), "HTTP/1.1 299 Unknown\r\n\r\n");
}

} // namespace
