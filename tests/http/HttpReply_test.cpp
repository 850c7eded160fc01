// HttpReply_test.cpp - the reply's status line, header order and serialization.
#include "http/HttpMessage.h"

#include <gtest/gtest.h>

namespace {

TEST(HttpReply, SerializesStatusHeadersInOrderAndReplacesAnExistingNameInPlace) {
    HttpReply reply(401);
    reply.setHeader("Content-Length", "1");
    reply.setHeader("Www-Authenticate", "Basic realm=\"Tessellan\"");
    reply.setHeader("content-length", "5");
    reply.setBody("hello");
    EXPECT_EQ(reply.serialize(), "HTTP/1.1 401 Unauthorized\r\nContent-Length: 5\r\n"
                                 "Www-Authenticate: Basic realm=\"Tessellan\"\r\n\r\nhello");
    EXPECT_EQ(reply.serializeHeader(), "HTTP/1.1 401 Unauthorized\r\nContent-Length: 5\r\n"
                                       "Www-Authenticate: Basic realm=\"Tessellan\"\r\n\r\n");
    ASSERT_NE(reply.header("CONTENT-LENGTH"), nullptr);
    EXPECT_EQ(*reply.header("CONTENT-LENGTH"), "5");
    EXPECT_EQ(reply.header("Content-Type"), nullptr);
    EXPECT_EQ(HttpReply(299).serializeHeader(), "HTTP/1.1 299 Unknown\r\n\r\n");
}

} // namespace
