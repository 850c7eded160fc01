// KeptReplies_test.cpp - replies answered again from the loop thread: used only while fresh and
// of the same generation, and byte for byte what the worker's reply was.
#include "EngineThread.h"
#include "http/KeptReplies.h"
#include "support/ServerProcess.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

TEST(KeptReplies, UsedOnlyWhileFreshAndOfTheSameGeneration) {
    struct Case {
        const char* wrong; // what a failure would mean
        int status;
        size_t bodyBytes;
        bool fileBody;
        uint64_t askedAt, generation;
        bool found;
    } cases[] = {
        // kept at loop time 1000, generation 7, fresh for 500 ms
        {"a fresh 200 is not used", 200, 10, false, 1499, 7, true},
        {"a fresh 304 is not used", 304, 0, false, 1000, 7, true},
        {"a reply past its freshness is used", 200, 10, false, 1500, 7, false},
        {"a reply of an older generation is used", 200, 10, false, 1100, 8, false},
        {"an error page is kept", 404, 10, false, 1100, 7, false},
        {"a fresh file body is not used", 200, 10, true, 1100, 7, true},
        {"a body over the limit is kept", 200, kKeptBodyBytes + 1, false, 1100, 7, false},
    };
    for (const Case& c : cases) {
        KeptReplies store;
        HttpReply reply(c.status);
        reply.setHeader("ETag", "\"t\"");
        reply.setBody(std::string(c.bodyBytes, 'x'));
        if (c.fileBody) reply.setFileBody(open("/dev/null", O_RDONLY | O_CLOEXEC), 0, 0);
        std::string before = c.fileBody ? "" : reply.serialize();
        store.keep("k", reply, 1000, 7, 500);
        if (!c.fileBody) {
            EXPECT_EQ(reply.serialize(), before) << "keeping changed the reply";
        }
        std::unique_ptr<HttpReply> again = store.find("k", c.askedAt, c.generation);
        ASSERT_EQ(again != nullptr, c.found) << c.wrong;
        if (again && c.fileBody) {
            ASSERT_NE(again->fileBody(), nullptr) << "the kept copy lost its file";
            EXPECT_NE(again->fileBody()->fd, reply.fileBody()->fd) << "one descriptor, two owners";
        } else if (again) {
            EXPECT_EQ(again->serialize(), before) << "the kept copy differs";
        }
    }
}

std::atomic<int> calls{0};

std::unique_ptr<HttpReply> counting(const HttpRequest& request) { // the body names the call
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("ETag", "\"old\"");
    reply->setHeader("etag", "\"e\""); // replaces the value in place, whatever the case
    reply->setBody("call " + std::to_string(++calls) + " " + request.url());
    return reply;
}

bool keyByURL(const HttpRequest& request, std::string& key) {
    key = (request.isHead() ? "H" : "G") + request.url();
    return !request.url().starts_with("/never");
}

TEST(KeptReplies, TheLoopAnswersAsTheWorkerDidUntilTheBound) {
    HttpContextSetReuseRules({keyByURL, nullptr, 1500});
    {
        EngineThread engine(counting, nullptr);
        calls = 0;
        Connection c(engine.port());
        ASSERT_TRUE(c.send("GET /a HTTP/1.1\r\n\r\nGET /a HTTP/1.1\r\n\r\nHEAD /a HTTP/1.1\r\n\r\n"
                           "GET /never HTTP/1.1\r\n\r\nGET /never HTTP/1.1\r\n\r\n"
                           "GET /a HTTP/1.0\r\n\r\n"));
        std::string first = c.receiveReply();
        EXPECT_EQ(bodyOf(first), "call 1 /a");
        EXPECT_EQ(c.receiveReply(), first) << "a kept reply differs from the worker's";
        EXPECT_EQ(c.receiveReply(true),
                  "HTTP/1.1 200 OK\r\nETag: \"e\"\r\nContent-Length: 9\r\n\r\n")
            << "HEAD is answered apart, without a body";
        EXPECT_EQ(bodyOf(c.receiveReply()), "call 3 /never");
        EXPECT_EQ(bodyOf(c.receiveReply()), "call 4 /never") << "a request without a key was kept";
        std::string closing = c.receiveReply();
        EXPECT_EQ(closing, first.substr(0, first.find("\r\n\r\n")) +
                               "\r\nConnection: close\r\n\r\ncall 1 /a")
            << "a kept reply lost what the connection adds for its request";
        EXPECT_TRUE(c.closedByPeer(2000));
        EXPECT_EQ(calls, 4);

        std::this_thread::sleep_for(std::chrono::milliseconds(1600));
        EXPECT_EQ(bodyOf(get(engine.port(), "/a")), "call 5 /a") << "used past the bound";
    }
    HttpContextSetReuseRules({});
}

} // namespace
