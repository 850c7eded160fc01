// ReplyReuse_test.cpp - the key under which a reply is answered again: requests the request step
// could answer differently never share one, and requests whose reply must be made afresh have none.
#include "web/RequestHandler.h"

#include "support/ParsedRequest.h"

#include <gtest/gtest.h>

namespace {

// The key of a request for target with these header lines, or "none".
std::string keyOf(const std::string& target, const std::string& headers = "",
                  const char* method = "GET") {
    static Site site("/nonexistent");
    std::string key;
    return ReplyReuseKey(&site, *testsupport::parsedRequest(headers, target, method), key) ? key
                                                                                           : "none";
}

TEST(ReplyReuse, RequestsAnsweredDifferentlyNeverShareAKey) {
    const std::string site = "/json/getsite";
    const std::pair<const char*, std::string> cases[] = {
        {"the compressed reply is given to a client that did not ask for it",
         keyOf(site, "Accept-Encoding: gzip\r\n")},
        {"a 304 is given to a client that holds nothing", keyOf(site, "If-None-Match: \"x\"\r\n")},
        {"a 304 by date is given to a client that holds nothing",
         keyOf(site, "If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT\r\n")},
        {"an authorised reply is given without credentials",
         keyOf(site, "Authorization: Basic eA==\r\n")},
        {"cookie variables are ignored", keyOf(site, "Cookie: l=1\r\n")},
        {"HEAD and GET share a reply", keyOf(site, "", "HEAD")},
        {"the query is ignored", keyOf(site + "?l=1")},
    };
    std::string plain = keyOf(site);
    ASSERT_NE(plain, "none");
    for (const auto& [wrong, other] : cases)
        EXPECT_NE(other, plain) << wrong;
    EXPECT_EQ(keyOf(site, "User-Agent: another\r\n"), plain)
        << "a header the request step does not read splits the key";
}

TEST(ReplyReuse, RepliesThatMustBeMadeAfreshHaveNoKey) {
    const std::tuple<const char*, std::string, std::string, bool> cases[] = {
        {"layout files are not kept", "/index.html", "", true},
        {"revalidated thumbnails are not kept", "/thumbnail/?l=0&a=1&p=2",
         "If-None-Match: \"t\"\r\n", true},
        {"thumbnails are not kept", "/thumbnail/?l=0&a=1&p=2&size=512", "", true},
        {"pictures are not kept", "/image/?l=0&a=1&i=0&mw=9&mh=9&fit=exact", "", true},
        {"an album download is kept", "/download/?l=0&a=1", "", false},
        {"a byte range is kept", "/index.html", "Range: bytes=0-1\r\n", false},
        {"a conditional range is kept", "/index.html", "If-Range: \"x\"\r\n", false},
        {"an unknown folder is kept", "/other/x", "", false},
        {"a URL the request step does not route is kept", "/" + std::string(300, 'a'), "", false},
    };
    for (const auto& [wrong, target, headers, kept] : cases)
        EXPECT_EQ(keyOf(target, headers) != "none", kept) << wrong;
}

} // namespace
