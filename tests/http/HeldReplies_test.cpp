// HeldReplies_test.cpp - a reply that asks for a hold waits on its own connection only, and the
// request carries the client's address.
#include "EngineThread.h"
#include "support/ServerProcess.h"

#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// /held?ms=N: the client's address, held N ms. Anything else: "light" at once.
std::unique_ptr<HttpReply> answerHeld(const HttpRequest& request) {
    auto reply = std::make_unique<HttpReply>(200);
    if (request.url().starts_with("/held?ms=")) {
        reply->setBody(request.peer());
        reply->setHoldMilliseconds(uint32_t(std::stoi(request.url().substr(9))));
    } else {
        reply->setBody("light");
    }
    return reply;
}

TEST(HeldReplies, WaitOnTheirConnectionWithoutHoldingUpOthers) {
    EngineThread engine(answerHeld, nullptr);
    {
        Connection held(engine.port());
        auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(held.send("GET /held?ms=500 HTTP/1.1\r\n\r\nGET /light HTTP/1.1\r\n\r\n"));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(bodyOf(get(engine.port(), "/light")), "light")
            << "another client is answered while a reply is held";
        pollfd p = {held.fd(), POLLIN, 0};
        EXPECT_EQ(poll(&p, 1, 0), 0) << "the held reply went out early";
        EXPECT_EQ(bodyOf(held.receiveReply()), "127.0.0.1") << "the request names its client";
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
        EXPECT_EQ(bodyOf(held.receiveReply()), "light") << "the next request follows the held one";
    }
    // A client that leaves while its reply is held leaves nothing behind (checked as the
    // engine stops).
    Connection leaving(engine.port());
    ASSERT_TRUE(leaving.send("GET /held?ms=300 HTTP/1.1\r\n\r\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

} // namespace
