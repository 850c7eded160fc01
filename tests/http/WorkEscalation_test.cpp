// WorkEscalation_test.cpp - a request started as light work that turns out heavy is answered
// by heavy work, in its place among the connection's replies.
#include "EngineThread.h"
#include "support/ServerProcess.h"

#include <gtest/gtest.h>

using namespace testsupport;

namespace {

// /maybe: heavy after all when run as light work. The body names the kind that answered.
std::unique_ptr<HttpReply> escalating(const HttpRequest& request) {
    bool light = HttpWorkRunningKind() == HttpWorkKind::Light;
    if (request.url() == "/maybe" && light) return HttpReplyAgainAsHeavy();
    auto reply = std::make_unique<HttpReply>(200);
    reply->setBody(request.url() + (light ? " light" : " heavy"));
    return reply;
}

HttpWorkKind allLight(const HttpRequest&) {
    return HttpWorkKind::Light;
}

TEST(WorkEscalation, SentOnToHeavyWorkInRequestOrder) {
    EngineThread engine(escalating, allLight);
    Connection c(engine.port());
    ASSERT_TRUE(c.send("GET /maybe HTTP/1.1\r\n\r\nGET /plain HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(bodyOf(c.receiveReply()), "/maybe heavy") << "not answered by heavy work";
    EXPECT_EQ(bodyOf(c.receiveReply()), "/plain light") << "order lost, or escalated needlessly";
}

} // namespace
