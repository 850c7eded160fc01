// HttpEngine_test.cpp - the connection engine with a test handler: reply order, held replies,
// light work sent on to heavy, clients leaving during heavy work, file bodies past 4 GiB, files
// changed while sent, the idle time measuring lack of progress, and replies kept to be answered
// again from the loop thread (only while fresh and of the same generation, byte for byte).
#include "EngineThread.h"
#include "http/KeptReplies.h"
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <atomic>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace testsupport;

namespace {

std::atomic<int> heavyRuns{0};
std::string servedFile, replacement; // what /file serves; what ?then=replace renames over it

// The number after "name=" in url, or fallback when there is none.
uint64_t queryNumber(const std::string& url, const std::string& name, uint64_t fallback = 0) {
    size_t at = url.find(name + "=");
    return at == std::string::npos ? fallback : std::stoull(url.substr(at + name.size() + 1));
}

// /light: "light" at once. /heavy?ms=N: "heavy" after N ms. /held?ms=N: the client's address,
// held N ms. /phases: the second phase of a light answer (EngineThread). /file?at=&length=&then=: a
// slice of servedFile, which is then truncated to 100000 bytes or replaced.
std::unique_ptr<HttpReply> answer(const HttpRequest& request) {
    const std::string& url = request.url();
    auto reply = std::make_unique<HttpReply>(200);
    if (url.starts_with("/heavy")) {
        ++heavyRuns;
        std::this_thread::sleep_for(std::chrono::milliseconds(queryNumber(url, "ms")));
        reply->setBody("heavy");
    } else if (url.starts_with("/held")) {
        reply->setBody(request.peer());
        reply->setHoldMilliseconds(uint32_t(queryNumber(url, "ms")));
    } else if (url == "/phases") {
        reply->setBody("answered by heavy work");
    } else if (url.starts_with("/file")) {
        int fd = open(servedFile.c_str(), O_RDONLY | O_CLOEXEC);
        struct stat info;
        fstat(fd, &info);
        uint64_t offset = queryNumber(url, "at");
        reply->setFileBody(fd, offset, queryNumber(url, "length", uint64_t(info.st_size) - offset));
        if (url.ends_with("then=truncate")) truncate(servedFile.c_str(), 100000);
        if (url.ends_with("then=replace")) rename(replacement.c_str(), servedFile.c_str());
    } else {
        reply->setBody("light");
    }
    return reply;
}

HttpWorkKind classify(const HttpRequest& request) {
    return request.url().starts_with("/heavy") ? HttpWorkKind::Heavy : HttpWorkKind::Light;
}

// A reply whose body is counted rather than kept, except for its last bytes.
struct Streamed {
    std::string head, tail;
    uint64_t bodyBytes = 0;
    bool closed = false; // the server closed the connection
};

// Reads one reply's head, then up to expected body bytes (or until the server closes). After
// each chunk waits pauseMs, like a slow reader.
Streamed receiveStreamed(Connection& connection, uint64_t expected, int pauseMs = 0,
                         size_t chunk = 1 << 20) {
    Streamed result;
    std::vector<char> bytes(chunk);
    for (;;) {
        size_t end = result.head.empty() ? result.tail.find("\r\n\r\n") : std::string::npos;
        if (end != std::string::npos) {
            result.head = result.tail.substr(0, end + 4);
            result.tail.erase(0, end + 4);
            result.bodyBytes = result.tail.size();
        }
        if (!result.head.empty() && result.bodyBytes >= expected) return result;
        pollfd p = {connection.fd(), POLLIN, 0};
        if (poll(&p, 1, 10000) <= 0) return result;
        ssize_t n = recv(connection.fd(), bytes.data(), bytes.size(), 0);
        if ((result.closed = n <= 0)) return result;
        result.tail.append(bytes.data(), size_t(n));
        if (!result.head.empty()) result.bodyBytes += uint64_t(n);
        if (!result.head.empty() && result.tail.size() > 64)
            result.tail.erase(0, result.tail.size() - 64);
        if (pauseMs) std::this_thread::sleep_for(std::chrono::milliseconds(pauseMs));
    }
}

// The peak resident memory of this process, in bytes.
uint64_t peakMemory() {
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    return uint64_t(usage.ru_maxrss) * 1024;
}

bool nothingArrived(Connection& connection) {
    pollfd p = {connection.fd(), POLLIN, 0};
    return poll(&p, 1, 0) == 0;
}

TEST(HttpEngine, PipelinedRepliesKeepRequestOrderWhileOthersAreAnswered) {
    EngineThread engine(answer, classify);
    Connection pipelined(engine.port());
    ASSERT_TRUE(pipelined.send("GET /heavy?ms=600 HTTP/1.1\r\n\r\n"
                               "GET /light HTTP/1.0\r\nConnection: keep-alive\r\n\r\n"
                               "GET /phases HTTP/1.1\r\n\r\n"
                               "GET /heavy?ms=0 HTTP/1.1\r\nConnection: close\r\n\r\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(bodyOf(get(engine.port(), "/light")), "light")
        << "another visitor is answered while the heavy request is worked on";
    EXPECT_TRUE(nothingArrived(pipelined)) << "the requests behind the heavy one wait for it";
    EXPECT_EQ(pipelined.receiveReply(), "HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nheavy")
        << "a 1.1 client that says nothing stays without a Connection header";
    std::string kept = pipelined.receiveReply();
    EXPECT_EQ(bodyOf(kept), "light");
    EXPECT_EQ(headerOf(kept, "Connection"), "keep-alive") << "an old client asking to stay";
    EXPECT_EQ(bodyOf(pipelined.receiveReply()), "answered by heavy work") << "light turned heavy";
    std::string last = pipelined.receiveReply();
    EXPECT_EQ(bodyOf(last), "heavy");
    EXPECT_EQ(headerOf(last, "Connection"), "close");
    EXPECT_TRUE(pipelined.closedByPeer(3000)) << "a client asking to close was kept";
}

TEST(HttpEngine, HeldRepliesWaitOnTheirConnectionWithoutHoldingUpOthers) {
    EngineThread engine(answer, classify);
    {
        Connection held(engine.port());
        auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(held.send("GET /held?ms=500 HTTP/1.1\r\n\r\nGET /light HTTP/1.1\r\n\r\n"));
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        EXPECT_EQ(bodyOf(get(engine.port(), "/light")), "light")
            << "another client is answered while a reply is held";
        EXPECT_TRUE(nothingArrived(held)) << "the held reply went out early";
        EXPECT_EQ(bodyOf(held.receiveReply()), "127.0.0.1") << "the request names its client";
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
        EXPECT_EQ(bodyOf(held.receiveReply()), "light") << "the next request follows the held one";
    }
    // A client leaving while its reply is held leaves nothing behind (checked as engine stops).
    Connection leaving(engine.port());
    ASSERT_TRUE(leaving.send("GET /held?ms=300 HTTP/1.1\r\n\r\n"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

TEST(HttpEngine, ClientsLeavingDuringHeavyWorkLeaveNothingBehind) {
    EngineThread engine(answer, classify);
    heavyRuns = 0;
    int limit = int(HttpWorkHeavyLimit()), sent = limit + 3;
    {
        std::vector<std::unique_ptr<Connection>> leaving;
        for (int i = 0; i < sent; ++i) {
            leaving.push_back(std::make_unique<Connection>(engine.port()));
            leaving.back()->send("GET /heavy?ms=1500 HTTP/1.1\r\n\r\n");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    } // all close while the first ones run and the others wait for their turn
    EXPECT_EQ(bodyOf(get(engine.port(), "/light")), "light");
    EXPECT_EQ(bodyOf(get(engine.port(), "/heavy?ms=0")), "heavy")
        << "heavy work is admitted again once the abandoned work is done";
    EXPECT_EQ(heavyRuns.load(), limit + 1) << "the waiting work of closed connections never ran";
}

TEST(HttpEngine, FileBodiesStreamPastFourGiBInBoundedMemory) {
    TempFolder files;
    servedFile = files.path("film.mov");
    const uint64_t size = 5ull << 30, fourGiB = 4ull << 30;
    {
        int fd = open(servedFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ASSERT_EQ(ftruncate(fd, off_t(size)), 0);
        ASSERT_EQ(pwrite(fd, "across-4-GiB", 12, off_t(fourGiB - 6)), 12);
        ASSERT_EQ(pwrite(fd, "the-end", 7, off_t(size - 7)), 7);
        close(fd);
    }
    EngineThread engine(answer, classify);
    struct Case {
        uint64_t at, length;
        std::string tail;
    } cases[] = {{fourGiB - 6, 12, "across-4-GiB"}, {size - (512 << 20), 512 << 20, "the-end"}};
    uint64_t peakBefore = peakMemory();
    Connection connection(engine.port());
    for (auto& c : cases) {
        SCOPED_TRACE(c.at);
        ASSERT_TRUE(connection.send("GET /file?at=" + std::to_string(c.at) +
                                    "&length=" + std::to_string(c.length) + " HTTP/1.1\r\n\r\n"));
        Streamed reply = receiveStreamed(connection, c.length);
        EXPECT_EQ(headerOf(reply.head, "Content-Length"), std::to_string(c.length));
        EXPECT_EQ(reply.bodyBytes, c.length);
        EXPECT_TRUE(reply.tail.ends_with(c.tail));
    }
    ASSERT_TRUE(connection.send("HEAD /file HTTP/1.1\r\n\r\n"));
    std::string head = connection.receiveReply(true);
    EXPECT_EQ(headerOf(head, "Content-Length"), std::to_string(size));
    EXPECT_TRUE(nothingArrived(connection)) << "HEAD of a file sends no body";
    EXPECT_LT(peakMemory(), peakBefore + (256u << 20)) << "the file went through memory";
}

TEST(HttpEngine, FileChangedWhileSentEndsCleanly) {
    TempFolder files;
    servedFile = files.path("film.mov");
    replacement = files.path("new.mov");
    std::string old(3 << 20, 'o');
    old.replace(old.size() - 3, 3, "END");
    EngineThread engine(answer, classify);
    // Truncated: fewer bytes than promised, so the connection must close. Replaced: the open file
    // is sent whole, the next request sees the new one.
    for (std::string then : {"truncate", "replace"}) {
        bool closes = then == "truncate";
        files.write("film.mov", old);
        files.write("new.mov", "new");
        Connection connection(engine.port());
        ASSERT_TRUE(connection.send("GET /file?then=" + then + " HTTP/1.1\r\n\r\n"));
        Streamed reply = receiveStreamed(connection, 3 << 20);
        EXPECT_EQ(headerOf(reply.head, "Content-Length"), std::to_string(3 << 20)) << then;
        EXPECT_EQ(reply.bodyBytes, closes ? 100000u : 3u << 20) << then;
        EXPECT_EQ(reply.closed || connection.closedByPeer(500), closes) << then;
        if (closes) continue;
        EXPECT_TRUE(reply.tail.ends_with("END"));
        ASSERT_TRUE(connection.send("GET /file HTTP/1.1\r\n\r\n"));
        EXPECT_EQ(bodyOf(connection.receiveReply()), "new");
    }
}

TEST(HttpEngine, IdleTimeCountsOnlyWhileNothingMoves) {
    TempFolder files;
    servedFile = files.write("big.bin", std::string(16 << 20, 'b'));
    EngineThread engine(answer, classify, 1.0);
    Connection slowReader(engine.port());
    ASSERT_TRUE(slowReader.send("GET /file HTTP/1.1\r\n\r\n"));
    // About three seconds in all; the socket's buffers empty well within the idle second.
    Streamed reply = receiveStreamed(slowReader, 16 << 20, 50, 256 << 10);
    EXPECT_EQ(reply.bodyBytes, uint64_t(16 << 20))
        << "a reader taking seconds is not idle while bytes move";
    Connection waiting(engine.port());
    ASSERT_TRUE(waiting.send("GET /heavy?ms=2000 HTTP/1.1\r\n\r\n"));
    EXPECT_EQ(bodyOf(waiting.receiveReply()), "heavy") << "the server's own work is not idling";
    EXPECT_TRUE(waiting.closedByPeer(3000)) << "an idle connection is still dropped";
}

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

bool keyByURL(void*, const HttpRequest& request, std::string& key) {
    key = (request.isHead() ? "H" : "G") + request.url();
    return !request.url().starts_with("/never");
}

TEST(KeptReplies, TheLoopAnswersAsTheWorkerDidUntilTheBound) {
    {
        EngineThread engine(counting, nullptr, 60, {keyByURL, nullptr, nullptr, 1500});
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
}

} // namespace
