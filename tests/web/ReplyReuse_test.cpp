// ReplyReuse_test.cpp - the key under which a reply is answered again: requests the request step
// could answer differently never share one, and requests whose reply must be made afresh have none.
#include "web/ReplyReuse.h"

#include <gtest/gtest.h>

namespace {

// The key of the request whose header is head (without the blank line), or "none".
std::string keyOf(const std::string& head) {
    HttpRequest request;
    std::string bytes = head + "\r\n\r\n";
    request.append(bytes.data(), bytes.size());
    EXPECT_TRUE(request.isHeaderComplete()) << head;
    std::string key;
    return ReplyReuseKey(request, key) ? key : "none";
}

TEST(ReplyReuse, RequestsAnsweredDifferentlyNeverShareAKey) {
    const std::string base = "GET /json/getsite HTTP/1.1\r\nHost: h";
    const std::pair<const char*, std::string> cases[] = {
        {"the compressed reply is given to a client that did not ask for it",
         base + "\r\nAccept-Encoding: gzip"},
        {"a 304 is given to a client that holds nothing", base + "\r\nIf-None-Match: \"x\""},
        {"a 304 by date is given to a client that holds nothing",
         base + "\r\nIf-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT"},
        {"an authorised reply is given without credentials",
         base + "\r\nAuthorization: Basic eA=="},
        {"cookie variables are ignored", base + "\r\nCookie: l=1"},
        {"HEAD and GET share a reply", "HEAD /json/getsite HTTP/1.1\r\nHost: h"},
        {"the query is ignored", "GET /json/getsite?l=1 HTTP/1.1\r\nHost: h"},
    };
    std::string plain = keyOf(base);
    ASSERT_NE(plain, "none");
    for (const auto& [wrong, other] : cases)
        EXPECT_NE(keyOf(other), plain) << wrong;
    EXPECT_EQ(keyOf(base + "\r\nUser-Agent: another"), plain)
        << "a header the request step does not read splits the key";
}

TEST(ReplyReuse, RepliesThatMustBeMadeAfreshHaveNoKey) {
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"layout files are not kept", "GET /index.html HTTP/1.1", true},
        {"revalidated thumbnails are not kept",
         "GET /thumbnail/?l=0&a=1&p=2 HTTP/1.1\r\nIf-None-Match: \"t\"", true},
        {"thumbnails are not kept", "GET /thumbnail/?l=0&a=1&p=2&size=512 HTTP/1.1", true},
        {"pictures are not kept", "GET /image/?l=0&a=1&i=0&mw=9&mh=9&fit=exact HTTP/1.1", true},
        {"an album download is kept", "GET /download/?l=0&a=1 HTTP/1.1", false},
        {"a byte range is kept", "GET /index.html HTTP/1.1\r\nRange: bytes=0-1", false},
        {"a conditional range is kept", "GET /index.html HTTP/1.1\r\nIf-Range: \"x\"", false},
        {"an unknown folder is kept", "GET /other/x HTTP/1.1", false},
        {"a URL the request step does not route is kept",
         "GET /" + std::string(300, 'a') + " HTTP/1.1", false},
    };
    for (const auto& [wrong, head, kept] : cases)
        EXPECT_EQ(keyOf(head) != "none", kept) << wrong;
}

} // namespace
