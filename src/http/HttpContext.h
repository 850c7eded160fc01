// HttpContext.h - one accepted TCP connection: reading requests, answering them on workers,
// writing replies, and ending the connection when it should.
//
// A context lives from its accepted socket until the peer closes, a read or write fails, nothing
// moves for the idle time, a request header takes longer than the header time, or the reply
// after which it must close has been written (a request with "Connection: close", HTTP/1.0
// without keep-alive, or a request answered 400 or 431). It answers any number of requests,
// strictly in order: each complete header is handed to the request handler on a worker thread
// (HttpWork.h), and the next request is not looked at before the reply is out. A request that
// asks exactly what a recent one asked may be answered at once on the loop thread from the
// reply kept for it (HttpReuseRules). Bodies are sent as the socket takes them: bytes
// held by the reply, a file slice sent with sendfile(2), or the pieces of a body source, each
// pulled once the previous one is out, so a transfer holds no more memory for a 5 GiB file than
// for a small one. A source that fails ends the connection. A reply that asks for a hold
// (HttpReply::holdMilliseconds) waits that long on the connection's timer before it is written,
// holding no thread; the idle time does not run meanwhile.
//
// It is a reference-counted record, used on the loop thread only. Its creator's reference is the
// connection's own: it is given back when the connection ends. The socket's watch, its timer and
// the request being answered on a worker each hold one more while they last.
#pragma once

#include "http/HttpMessage.h"
#include "http/HttpWork.h"

#include <cstddef>
#include <memory>
#include <string>

struct HttpContext;

// The second phase of an answer: long work (decoding, encoding, big reads) that the first phase
// found the request needs, run as heavy work (HttpWork.h) and started from what the first phase
// found, so nothing is looked up twice.
class HttpHeavyPhase {
  public:
    virtual ~HttpHeavyPhase() = default;
    // Makes the reply, on a worker thread; the request stays unchanged until it returns. Never
    // returns null.
    virtual std::unique_ptr<HttpReply> run() = 0;
};

// What a handler answers: the reply, or (reply null) the heavy phase that makes it.
struct HttpAnswer {
    std::unique_ptr<HttpReply> reply;
    std::unique_ptr<HttpHeavyPhase> heavy;
};

// Turns a request whose header is complete into its answer. Runs on a worker thread; it may read
// the request (which stays unchanged until the reply is written), nothing else of the connection.
// data is the pointer given beside it in HttpEngineConfig. A reply without "Content-Length" gets
// one from its body's length. A heavy phase handed back from light work is queued as heavy work;
// from heavy work it runs at once on the same worker.
typedef HttpAnswer (*HttpRequestHandler)(void* data, const HttpRequest& request);
// Tells, on the loop thread, whether a request is heavy work. Must be quick: it looks at the URL.
typedef HttpWorkKind (*HttpRequestClassifier)(void* data, const HttpRequest& request);

// Which replies may be answered again from the loop thread (KeptReplies.h). keyOf, on the loop
// thread and quick, writes into key everything the handler reads of the request and returns
// true, or returns false when the request must always go to a worker. generation (null: 0) is a
// number that moves on whenever the handler's replies may change other than by files changing
// (its settings); may be called on any thread. admit (null: always) is asked on the loop thread
// before a kept reply answers a request, and may refuse (the request then goes to a worker), so
// that what the handler decides per client, such as slowing a client that keeps guessing a
// password, holds for kept replies too. A kept reply is used for freshMilliseconds after the
// work that made it was handed out, then a worker makes it again. keyOf null: nothing is kept.
struct HttpReuseRules {
    bool (*keyOf)(void* data, const HttpRequest& request, std::string& key) = nullptr;
    uint64_t (*generation)(void* data) = nullptr;
    bool (*admit)(void* data, const HttpRequest& request) = nullptr;
    uint64_t freshMilliseconds = 1000;
};

// Everything the connection engine is told at start-up.
struct HttpEngineConfig {
    HttpRequestHandler handler = nullptr;
    void* data = nullptr;                       // handed to every function here, untouched
    HttpRequestClassifier classifier = nullptr; // null: every request is light
    HttpReuseRules reuse;
    // Seconds without read or write progress after which a connection is dropped. Time spent by
    // a worker on the connection's request does not count.
    double idleSeconds = 60;
    // Seconds from a request header's first byte by which the header must be complete, else the
    // connection is dropped.
    double headerSeconds = 30;
};

// Sets what every connection answers with, and sizes the thread pool (HttpWorkConfigure).
// REQUIRES: on the loop thread, before the first connection is opened or while none is open.
void HttpContextConfigure(const HttpEngineConfig& config);

// A context for an accepted socket, or null (the socket is then left open). The caller must
// release it.
HttpContext* HttpContextCreate(int nativeSocket);
// Starts reading, arms the timer. False on failure (the context is then closed; the caller still
// releases its reference). On success the caller's reference becomes the connection's own.
bool HttpContextOpen(HttpContext* context);
// Closes the socket and the timer, withdraws or abandons the request being worked on (its reply
// is dropped when the worker is done); the record stays until its last reference goes. Null-safe.
void HttpContextClose(HttpContext* context);
// Null-safe.
HttpContext* HttpContextRetain(HttpContext* context);
// Null-safe. REQUIRES: references left. The last one closes and frees the context.
void HttpContextRelease(HttpContext* context);

// Ends the open connection that has been waiting longest for a request header (a new one that
// has not sent a whole header yet, or an idle one between requests), giving its descriptor back.
// False when no connection is waiting. For a server out of descriptors.
bool HttpContextCloseOldestWaiting();
// Context records alive (open or waiting for their last reference). For leak checks in tests.
size_t HttpContextLiveCount();
