// HttpRequest_test.cpp - reading requests off a connection: one answer per request, in order,
// whatever the pieces the bytes arrive in; bodies skipped; the header limit; bad input.
#include "http/HttpMessage.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// Drives a request as a connection does: reads of at most `piece` bytes, each appended until
// used up, every complete header answered before next(). The URLs answered, HEAD ones marked.
std::vector<std::string> answerAll(HttpRequest& request, const std::string& data, size_t piece) {
    std::vector<std::string> answered;
    for (size_t at = 0; at < data.size(); at += piece) {
        std::string read = data.substr(at, piece);
        size_t used = 0;
        while (used < read.size()) {
            used += request.append(read.data() + used, read.size() - used);
            if (request.failed() || request.headerTooLarge()) return answered;
            if (!request.isHeaderComplete()) {
                EXPECT_EQ(used, read.size()) << "an incomplete header must take every byte";
                break;
            }
            answered.push_back((request.isHead() ? "HEAD " : "") + request.url());
            request.next();
        }
    }
    return answered;
}

TEST(HttpRequest, HeadersAreFoundByNameInAnyCaseAndNothingIsTakenBeforeNext) {
    std::string data = "GET / HTTP/1.1\r\nCookie: sid=abc\r\nX-One: 1\r\nx-one: 2\r\n\r\n";
    HttpRequest request;
    ASSERT_EQ(request.append(data.data(), data.size()), data.size() - 1);
    ASSERT_TRUE(request.isHeaderComplete());
    EXPECT_EQ(request.header("COOKIE"), "sid=abc");
    EXPECT_EQ(request.header("x-ONE"), "1") << "the first of repeated headers is the one";
    EXPECT_FALSE(request.header("Cooki").has_value());
    EXPECT_EQ(request.append("G", 1), 0u) << "bytes were taken before next()";
}

// Every way of cutting a stream of requests into reads gives the same answers: bodies are
// skipped, any method is answered like a read, connection headers and old versions do not end
// the connection, URLs are kept as received.
TEST(HttpRequest, AnswersDoNotDependOnHowTheBytesAreCut) {
    std::string body = "GET /not-a-request HTTP/1.1\r\n\r\n";
    std::string data = "POST /upload HTTP/1.1\r\nContent-Length: " + std::to_string(body.size()) +
                       "\r\n\r\n" + body +
                       "POST /chunked HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"
                       "5\r\nGET /\r\n0\r\n\r\n"
                       "FOO /a HTTP/1.1\r\n\r\nget /b HTTP/1.0\r\n\r\n"
                       "\r\nHEAD /d HTTP/1.1\r\nConnection: close\r\n\r\n"
                       "PROPFIND /c HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\n"
                       "GET /a%20b/c?q=caf%C3%A9+au+lait&x=%zz HTTP/1.1\r\n\r\n";
    std::vector<std::string> expected = {
        "/upload", "/chunked", "/a", "/b", "HEAD /d", "/c", "/a%20b/c?q=caf%C3%A9+au+lait&x=%zz"};
    for (size_t piece : {size_t(1), size_t(2), size_t(7), size_t(40), size_t(8192)}) {
        HttpRequest request;
        EXPECT_EQ(answerAll(request, data, piece), expected) << "reads of " << piece;
        EXPECT_FALSE(request.failed());
    }
}

TEST(HttpRequest, TheHeaderLimitCountsEachRequestAfresh) {
    std::string start = "GET / HTTP/1.1\r\nX-Filler: ", end = "\r\n\r\n";
    std::string exact =
        start + std::string(HttpRequest::kMaxHeaderBytes - start.size() - end.size(), 'f') + end;
    ASSERT_EQ(exact.size(), 65536u);
    std::string over = start + "f" + exact.substr(start.size());
    for (size_t piece : {size_t(8192), over.size()}) {
        HttpRequest request;
        EXPECT_EQ(answerAll(request, exact + exact, piece), (std::vector<std::string>{"/", "/"}))
            << "a header of exactly the limit, twice";
        EXPECT_FALSE(request.headerTooLarge());
        HttpRequest large;
        EXPECT_TRUE(answerAll(large, over, piece).empty()) << "one byte over, reads of " << piece;
        EXPECT_TRUE(large.headerTooLarge());
        EXPECT_EQ(large.append("x", 1), 0u);
    }
}

TEST(HttpRequest, GarbageFails) {
    for (std::string garbage :
         {std::string("\x16\x03\x01", 3), std::string(40, 'A') + " / HTTP/1.1\r\n\r\n",
          std::string("GET / HTTP/1.1\r\nBad Header\r\n\r\n"),
          std::string("GET / HTTP/1.1\r\nContent-Length: x\r\n\r\n")}) {
        HttpRequest request;
        answerAll(request, garbage, 8192);
        EXPECT_TRUE(request.failed()) << garbage;
        EXPECT_EQ(request.append("GET / HTTP/1.1\r\n\r\n", 18), 0u);
    }
    std::string data = "GET /ok HTTP/1.1\r\n\r\nNOT HTTP AT ALL\r\n\r\n";
    HttpRequest request;
    EXPECT_EQ(answerAll(request, data, 8192), std::vector<std::string>{"/ok"})
        << "garbage after a good request fails only once that request is answered";
    EXPECT_TRUE(request.failed());
}

} // namespace
