// HttpContext.cpp - the connection engine: reads into the request parser, hands each complete
// header to a worker, writes replies as the socket takes them (files with sendfile), and ends
// idle, slow, refused and finished connections.
#include "http/HttpContext.h"

#include "cf/Assert.h"
#include "http/EventLoop.h"
#include "http/KeptReplies.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/sendfile.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#include <uv.h>

// Set at start-up, before any connection, and only read afterwards.
static HttpEngineConfig _config;

// The replies kept for answering again on the loop thread; never destroyed (the loop may run
// during exit).
static KeptReplies& _kept() {
    static KeptReplies* kept = new KeptReplies;
    return *kept;
}

void HttpContextConfigure(const HttpEngineConfig& config) {
    HttpWorkConfigure();
    _config = config;
}

// Bytes read at a time.
constexpr size_t kReadSize = 8192;
// Bytes read ahead while a request is being answered (the requests that follow it): past this the
// connection stops reading until the reply is out.
constexpr size_t kInputLimit = HttpRequest::kMaxHeaderBytes + kReadSize;
// Bytes of a file sent to one connection before the others get their turn.
constexpr uint64_t kFileTurn = 1 << 20;
// Seconds a closing connection waits for the client to read its last reply and close, before
// the socket is closed regardless.
constexpr double kLingerSeconds = 2.0;

enum class Phase {
    Reading,   // waiting for (the rest of) a request header
    Working,   // a worker is answering the request
    Holding,   // the reply waits out the hold it asks for
    Writing,   // the reply is going out
    Lingering, // the last reply is out; waiting for the client to close
};

struct HttpContext;

struct Job : HttpWorkItem {
    HttpContext* context = nullptr;
    std::unique_ptr<HttpReply> reply;      // set by the worker
    std::unique_ptr<HttpHeavyPhase> heavy; // the second phase, while it waits or runs
    bool keep = false;                     // the reply may be kept under key for reuse
    std::string key;
    uint64_t began = 0; // loop time the work was handed out
    uint64_t generation = 0;
};

struct HttpContext {
    uint32_t _retainCount = 1;
    bool _opened = false; // HttpContextOpen succeeded: the watch and the timer hold references
    bool _ended = false;  // the connection's own reference was given back
    int _socket = -1;
    uv_poll_t* _watch = nullptr;
    int _events = 0; // what _watch waits for
    uv_timer_t* _timer = nullptr;
    uint64_t _timerDue = 0;        // loop time the timer fires at; 0 when it is stopped
    uint64_t _headerStartedAt = 0; // loop time of the current header's first byte; 0: none yet
    Phase _phase = Phase::Reading;
    std::unique_ptr<HttpRequest> _request;
    std::unique_ptr<HttpReply> _held; // the reply while Holding
    std::string _input;               // bytes read that the request has not taken yet

    Job _job;
    bool _working = false; // _job is submitted and its done call has not come yet

    std::string _replyHead;            // status line and headers
    std::unique_ptr<HttpReply> _reply; // holds an in-memory body while it is written
    std::string_view _replyBody;       // that body (empty for HEAD and file bodies)
    size_t _offset = 0;                // bytes of head and in-memory body written so far
    HttpReply::FileSlice _file;        // what remains of a file body (fd -1: none)
    bool _firstWrite = true;           // nothing of the current reply was written yet
    bool _closeAfterReply = false;     // end the connection once the reply is out
    bool _wantWrite = false;           // the socket was full: wait until it takes more

    std::unique_ptr<HttpBodySource> _source; // a body made while it is sent
    std::string_view _piece;                 // the source's piece not yet written
    uint64_t _sourceLeft = 0;                // bytes the source still owes after _piece

    HttpContext* _waitPrevious = nullptr; // the list of connections waiting for a header
    HttpContext* _waitNext = nullptr;
    bool _inWaitList = false;
};

static size_t _liveCount = 0;
static HttpContext* _waitFirst = nullptr;
static HttpContext* _waitLast = nullptr;

static void _processInput(HttpContext* context);
static void _writeReply(HttpContext* context);
static void _PollCallBack(uv_poll_t* watch, int status, int events);

// --- the list of connections waiting for a request header, oldest first ---------------------

static void _enterWaitList(HttpContext* context) {
    if (context->_inWaitList) return;
    context->_inWaitList = true;
    context->_waitPrevious = _waitLast;
    context->_waitNext = nullptr;
    if (_waitLast) {
        _waitLast->_waitNext = context;
    } else {
        _waitFirst = context;
    }
    _waitLast = context;
}

static void _leaveWaitList(HttpContext* context) {
    if (!context->_inWaitList) return;
    context->_inWaitList = false;
    (context->_waitPrevious ? context->_waitPrevious->_waitNext : _waitFirst) = context->_waitNext;
    (context->_waitNext ? context->_waitNext->_waitPrevious : _waitLast) = context->_waitPrevious;
    context->_waitPrevious = context->_waitNext = nullptr;
}

// --- life ------------------------------------------------------------------------------------

static void _HandleClosedCallBack(uv_handle_t* handle) {
    auto* context = static_cast<HttpContext*>(handle->data);
    free(handle);
    HttpContextRelease(context);
}

static void _FreeHandleCallBack(uv_handle_t* handle) {
    free(handle);
}

// Ends the connection: closes it and gives its own reference back, once.
static void _end(HttpContext* context) {
    if (context->_ended) return;
    context->_ended = true;
    HttpContextClose(context);
    HttpContextRelease(context);
}

static void _startReply(HttpContext* context, std::unique_ptr<HttpReply> reply, bool answer);

static void _TimerCallBack(uv_timer_t* timer) {
    auto* context = static_cast<HttpContext*>(timer->data);
    TS_ASSERT(timer == context->_timer, "HttpContext", 656);
    if (context->_phase != Phase::Holding) return _end(context);
    // The hold is over: the reply goes out as it would have without one.
    context->_timerDue = 0;
    HttpContextRetain(context); // what follows may end the connection
    _startReply(context, std::move(context->_held), true);
    if (context->_phase == Phase::Reading) _processInput(context);
    HttpContextRelease(context);
}

static void _stopTimer(HttpContext* context) {
    if (!context->_timer || !context->_timerDue) return;
    uv_timer_stop(context->_timer);
    context->_timerDue = 0;
}

// Progress, or a change of phase: the timer is set to the idle time from now, or to the header's
// deadline when that comes first. Within one turn of the loop the time stands still, so the
// timer is set at most once per turn. A connection whose request is being worked on has none.
static void _pushTimer(HttpContext* context) {
    if (!context->_timer || context->_phase == Phase::Working || context->_phase == Phase::Holding)
        return;
    uint64_t now = uv_now(EventLoop());
    double seconds = context->_phase == Phase::Lingering
                         ? std::min(kLingerSeconds, _config.idleSeconds)
                         : _config.idleSeconds;
    uint64_t due = now + uint64_t(seconds * 1000);
    if (context->_headerStartedAt)
        due = std::min(due, context->_headerStartedAt + uint64_t(_config.headerSeconds * 1000));
    if (due == context->_timerDue) return;
    if (context->_phase == Phase::Lingering && context->_timerDue && context->_timerDue < due)
        return; // a closing connection gets no more time for sending bytes
    context->_timerDue = due;
    uv_timer_start(context->_timer, _TimerCallBack, due > now ? due - now : 0, 0);
}

// Watches the socket for what the connection waits for: bytes to read (while there is room for
// them), and room to write (while a reply waits for it).
static void _updateEvents(HttpContext* context) {
    if (!context->_watch) return;
    int events = 0;
    if (context->_phase == Phase::Lingering || context->_input.size() < kInputLimit)
        events |= UV_READABLE;
    if (context->_phase == Phase::Writing && context->_wantWrite) events |= UV_WRITABLE;
    if (events == context->_events) return;
    context->_events = events;
    if (events) {
        uv_poll_start(context->_watch, events, _PollCallBack);
    } else {
        uv_poll_stop(context->_watch);
    }
}

HttpContext* HttpContextCreate(int nativeSocket) {
    auto* watch = static_cast<uv_poll_t*>(malloc(sizeof(uv_poll_t)));
    if (!watch) return nullptr;
    if (uv_poll_init(EventLoop(), watch, nativeSocket) != 0) {
        free(watch);
        return nullptr;
    }
    auto* context = new HttpContext;
    ++_liveCount;
    watch->data = nullptr;
    context->_watch = watch;
    context->_socket = nativeSocket;
    context->_job.context = context;
    return context;
}

static void _WorkRunCallBack(HttpWorkItem* item);
static void _WorkDoneCallBack(HttpWorkItem* item, bool cancelled);

bool HttpContextOpen(HttpContext* context) {
    if (!context || !context->_watch) return false;
    context->_watch->data = HttpContextRetain(context);
    context->_opened = true;
    int yes = 1;
    setsockopt(context->_socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    context->_request = std::make_unique<HttpRequest>();
    sockaddr_in peer = {};
    socklen_t length = sizeof peer;
    char text[INET_ADDRSTRLEN];
    if (getpeername(context->_socket, reinterpret_cast<sockaddr*>(&peer), &length) == 0 &&
        peer.sin_family == AF_INET && inet_ntop(AF_INET, &peer.sin_addr, text, sizeof text))
        context->_request->setPeer(text);
    context->_timer = static_cast<uv_timer_t*>(malloc(sizeof(uv_timer_t)));
    if (!context->_timer || uv_timer_init(EventLoop(), context->_timer) != 0) {
        free(context->_timer);
        context->_timer = nullptr;
        HttpContextClose(context);
        return false;
    }
    context->_timer->data = HttpContextRetain(context);
    context->_job.run = _WorkRunCallBack;
    context->_job.done = _WorkDoneCallBack;
    _enterWaitList(context);
    _pushTimer(context);
    _updateEvents(context);
    return true;
}

static void _dropReply(HttpContext* context) {
    context->_reply.reset();
    context->_replyBody = {};
    if (context->_file.fd >= 0) close(context->_file.fd);
    context->_file = HttpReply::FileSlice{};
    context->_piece = {};
    context->_source.reset();
    context->_sourceLeft = 0;
}

void HttpContextClose(HttpContext* context) {
    if (!context) return;
    if (context->_watch) {
        // Stops watching at once, so the descriptor can be closed right away.
        uv_close_cb closed = context->_opened ? _HandleClosedCallBack : _FreeHandleCallBack;
        uv_close(reinterpret_cast<uv_handle_t*>(context->_watch), closed);
        context->_watch = nullptr;
        context->_events = 0;
    }
    if (context->_socket >= 0) {
        close(context->_socket);
        context->_socket = -1;
    }
    if (context->_timer) {
        uv_timer_stop(context->_timer);
        uv_close(reinterpret_cast<uv_handle_t*>(context->_timer), _HandleClosedCallBack);
        context->_timer = nullptr;
        context->_timerDue = 0;
    }
    _leaveWaitList(context);
    // The request stays: a worker may still be reading it. It goes with the record.
    std::string().swap(context->_input);
    std::string().swap(context->_replyHead);
    context->_held.reset();
    _dropReply(context);
    if (context->_working && HttpWorkCancel(&context->_job)) {
        context->_working = false;
        HttpContextRelease(context); // the job's reference; the caller still holds one
    }
}

HttpContext* HttpContextRetain(HttpContext* context) {
    if (context) ++context->_retainCount;
    return context;
}

void HttpContextRelease(HttpContext* context) {
    if (!context) return;
    TS_ASSERT(context->_retainCount > 0, "HttpContext", 92);
    if (--context->_retainCount > 0) return;
    HttpContextClose(context);
    --_liveCount;
    delete context;
}

bool HttpContextCloseOldestWaiting() {
    if (!_waitFirst) return false;
    _end(_waitFirst);
    return true;
}

size_t HttpContextLiveCount() {
    return _liveCount;
}

// --- reading ---------------------------------------------------------------------------------

static void _readInput(HttpContext* context) {
    char buffer[kReadSize];
    ssize_t count = read(context->_socket, buffer, sizeof buffer);
    if (count < 0) {
        if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) return;
        if (context->_phase != Phase::Lingering) puts("error reading data from stream");
        return _end(context);
    }
    if (count == 0) return _end(context);            // the peer closed
    if (context->_phase == Phase::Lingering) return; // what a closing client still sends is dropped
    if (context->_phase == Phase::Reading && !context->_headerStartedAt)
        context->_headerStartedAt = uv_now(EventLoop());
    _pushTimer(context);
    context->_input.append(buffer, size_t(count));
    if (context->_phase == Phase::Reading) return _processInput(context);
    _updateEvents(context);
}

static void _startReply(HttpContext* context, std::unique_ptr<HttpReply> reply, bool answer);

// A request that cannot be answered: a short page saying why, then the connection closes.
static void _refuse(HttpContext* context, int status) {
    puts(status == 431 ? "request header over 64 KiB; answered 431 and closing the connection"
                       : "request is not HTTP; answered 400 and closing the connection");
    _leaveWaitList(context);
    context->_headerStartedAt = 0;
    context->_input.clear();
    auto reply = std::make_unique<HttpReply>(status);
    reply->setHeader("Content-Type", "text/html");
    std::string title = std::to_string(status) + " " + HttpReasonPhrase(status);
    reply->setBody("<html><head><title>" + title + "</title></head><body><h1>" + title +
                   "</h1></body></html>\n");
    _startReply(context, std::move(reply), false);
}

// Hands the request whose header is complete to a worker, unless a reply kept for the same
// request answers it at once.
static void _dispatch(HttpContext* context) {
    _leaveWaitList(context);
    context->_headerStartedAt = 0;
    Job& job = context->_job;
    const HttpReuseRules& reuse = _config.reuse;
    job.keep = reuse.keyOf && reuse.keyOf(_config.data, *context->_request, job.key);
    if (job.keep) {
        job.began = uv_now(EventLoop());
        job.generation = reuse.generation ? reuse.generation(_config.data) : 0;
        std::unique_ptr<HttpReply> reply = _kept().find(job.key, job.began, job.generation);
        if (reply && (!reuse.admit || reuse.admit(_config.data, *context->_request)))
            return _startReply(context, std::move(reply), true);
    }
    context->_phase = Phase::Working;
    _stopTimer(context);
    job.kind = _config.classifier ? _config.classifier(_config.data, *context->_request)
                                  : HttpWorkKind::Light;
    job.heavy.reset();
    context->_working = true;
    HttpContextRetain(context);
    HttpWorkSubmit(&job);
}

// Feeds the bytes read to the request, as long as the connection waits for a header; hands a
// complete header to a worker, answers 400 or 431 to one that cannot be.
static void _processInput(HttpContext* context) {
    size_t taken = 0;
    while (context->_phase == Phase::Reading && taken < context->_input.size()) {
        HttpRequest& request = *context->_request;
        taken += request.append(context->_input.data() + taken, context->_input.size() - taken);
        if (request.failed()) return _refuse(context, 400);
        if (request.headerTooLarge()) return _refuse(context, 431);
        if (!request.isHeaderComplete()) break;
        _dispatch(context);
    }
    if (!context->_watch) return;
    context->_input.erase(0, taken);
    if (context->_phase == Phase::Reading && context->_input.empty() &&
        context->_request->isBetweenRequests())
        context->_headerStartedAt = 0; // only a request's body was read: no header started yet
    _pushTimer(context);
    _updateEvents(context);
}

static void _WorkRunCallBack(HttpWorkItem* item) {
    auto* job = static_cast<Job*>(item);
    if (job->heavy) { // the second phase, queued as heavy work
        job->reply = job->heavy->run();
        job->heavy.reset();
        return;
    }
    HttpAnswer answer = _config.handler(_config.data, *job->context->_request);
    if (answer.heavy && job->kind == HttpWorkKind::Heavy) {
        job->reply = answer.heavy->run();
        return;
    }
    job->reply = std::move(answer.reply);
    job->heavy = std::move(answer.heavy);
}

static void _WorkDoneCallBack(HttpWorkItem* item, bool cancelled) {
    auto* job = static_cast<Job*>(item);
    HttpContext* context = job->context;
    std::unique_ptr<HttpReply> reply = std::move(job->reply);
    // Taken out now: what follows may hand the job the connection's next request.
    std::unique_ptr<HttpHeavyPhase> heavy = std::move(job->heavy);
    context->_working = false;
    if (context->_watch && cancelled) {
        _end(context);
    } else if (context->_watch && heavy) {
        job->heavy = std::move(heavy);
        job->kind = HttpWorkKind::Heavy; // the job keeps its reference
        context->_working = true;
        return HttpWorkSubmit(job);
    } else if (context->_watch && reply && reply->holdMilliseconds() > 0) {
        // Held on the connection's timer: no thread waits, and no other connection.
        context->_phase = Phase::Holding;
        context->_timerDue = uv_now(EventLoop()) + reply->holdMilliseconds();
        uv_timer_start(context->_timer, _TimerCallBack, reply->holdMilliseconds(), 0);
        context->_held = std::move(reply);
    } else if (context->_watch) {
        TS_ASSERT(reply, "HttpContext", __LINE__);
        if (job->keep)
            _kept().keep(job->key, *reply, job->began, job->generation,
                         _config.reuse.freshMilliseconds);
        _startReply(context, std::move(reply), true);
        if (context->_phase == Phase::Reading) _processInput(context);
    }
    HttpContextRelease(context); // the job's reference
}

// --- writing ---------------------------------------------------------------------------------

// Takes the reply over and starts writing it. answer: it answers the current request (which
// then moves on to the next one); otherwise it refuses the connection.
static void _startReply(HttpContext* context, std::unique_ptr<HttpReply> reply, bool answer) {
    TS_ASSERT(context->_phase != Phase::Writing, "HttpContext", 479);
    HttpRequest& request = *context->_request;
    bool keepAlive = answer && request.keepAlive();
    // A 304 describes a body it does not carry: no length of its own.
    if (!reply->header("Content-Length") && reply->status() != 304)
        reply->setHeader("Content-Length", std::to_string(reply->bodyLength()));
    if (!keepAlive) {
        reply->setHeader("Connection", "close");
    } else if (request.isHTTP10()) {
        reply->setHeader("Connection", "keep-alive");
    }
    if (answer && request.isHead()) reply->clearBody();
    context->_closeAfterReply = !keepAlive;
    context->_replyHead = reply->serializeHeader();
    context->_offset = 0;
    context->_firstWrite = true;
    context->_wantWrite = false;
    if (reply->fileBody()) {
        context->_file = reply->takeFileBody();
    } else if (reply->sourceBody()) {
        context->_sourceLeft = reply->bodyLength();
        context->_source = reply->takeSourceBody();
    } else {
        context->_replyBody = reply->body();
        context->_reply = std::move(reply);
    }
    if (answer) request.next();
    context->_phase = Phase::Writing;
    _pushTimer(context);
    _writeReply(context);
}

static void _lingerAndClose(HttpContext* context);

// The reply is out: wait for the next request, or close.
static void _finishReply(HttpContext* context) {
    _dropReply(context);
    context->_wantWrite = false;
    if (context->_closeAfterReply) return _lingerAndClose(context);
    context->_phase = Phase::Reading;
    _enterWaitList(context);
    if (!context->_input.empty()) context->_headerStartedAt = uv_now(EventLoop());
    _pushTimer(context);
    _updateEvents(context);
}

// Sends the end of the stream and gives the client a moment to read what was sent before the
// socket closes (closing with unread bytes from the client would reset the connection and could
// destroy the reply on its way).
static void _lingerAndClose(HttpContext* context) {
    shutdown(context->_socket, SHUT_WR);
    context->_phase = Phase::Lingering;
    context->_input.clear();
    _pushTimer(context);
    _updateEvents(context);
}

// A write failed. Only a reply's first write says so; later failures end the connection quietly.
static void _writeFailed(HttpContext* context) {
    if (context->_firstWrite) puts("CFWriteStreamWrite() returned an error");
    _end(context);
}

// Pulls the source's next piece. False when the connection has ended instead.
static bool _pullPiece(HttpContext* context) {
    std::string_view piece;
    if (!context->_source->next(piece)) {
        _end(context);
        return false;
    }
    if (piece.empty() || piece.size() > context->_sourceLeft) {
        puts("a streamed body broke the length promised for it; closing the connection");
        _end(context);
        return false;
    }
    context->_piece = piece;
    context->_sourceLeft -= piece.size();
    return true;
}

// Writes what the socket takes now: the head and an in-memory body with writev, a file body
// with sendfile, a source body piece by piece as it makes them, at most kFileTurn bytes of file
// or source per call. When the socket is full (or the turn is used up) it waits for room; when
// all is out the connection moves on.
static void _writeReply(HttpContext* context) {
    uint64_t fileSent = 0;
    size_t headLength = context->_replyHead.size();
    size_t total = headLength + context->_replyBody.size();
    for (;;) {
        ssize_t written;
        if (context->_offset < total) {
            iovec pieces[2];
            int count = 0;
            size_t offset = context->_offset;
            if (offset < headLength)
                pieces[count++] = {context->_replyHead.data() + offset, headLength - offset};
            size_t bodyOffset = offset > headLength ? offset - headLength : 0;
            if (bodyOffset < context->_replyBody.size())
                pieces[count++] = {const_cast<char*>(context->_replyBody.data()) + bodyOffset,
                                   context->_replyBody.size() - bodyOffset};
            if (count == 1 && (context->_file.length > 0 || context->_sourceLeft > 0)) {
                // The head alone, a file to follow: let the kernel wait for the file's first bytes.
                written = send(context->_socket, pieces[0].iov_base, pieces[0].iov_len,
                               MSG_MORE | MSG_NOSIGNAL);
            } else {
                written = writev(context->_socket, pieces, count);
            }
            if (written > 0) context->_offset += size_t(written);
        } else if (context->_file.length > 0) {
            if (fileSent >= kFileTurn) break; // others' turn; the socket is still writable
            off_t position = off_t(context->_file.offset);
            size_t count = size_t(std::min(context->_file.length, kFileTurn - fileSent));
            written = sendfile(context->_socket, context->_file.fd, &position, count);
            if (written == 0) {
                puts("a file ended before the length promised for it; closing the connection");
                return _end(context);
            }
            if (written > 0) {
                context->_file.offset += uint64_t(written);
                context->_file.length -= uint64_t(written);
                fileSent += uint64_t(written);
            }
        } else if (!context->_piece.empty() || context->_sourceLeft > 0) {
            if (context->_piece.empty()) {
                if (fileSent >= kFileTurn) break; // others' turn; the socket is still writable
                if (!_pullPiece(context)) return;
            }
            written = send(context->_socket, context->_piece.data(), context->_piece.size(),
                           MSG_NOSIGNAL);
            if (written > 0) {
                context->_piece.remove_prefix(size_t(written));
                fileSent += uint64_t(written);
            }
        } else {
            return _finishReply(context);
        }
        if (written > 0) {
            context->_firstWrite = false;
            _pushTimer(context);
            continue;
        }
        if (errno == EINTR) continue;
        if (errno != EAGAIN && errno != EWOULDBLOCK) return _writeFailed(context);
        break;
    }
    context->_wantWrite = true;
    _updateEvents(context);
}

static void _PollCallBack(uv_poll_t* watch, int status, int events) {
    auto* context = static_cast<HttpContext*>(watch->data);
    TS_ASSERT(watch == context->_watch, "HttpContext", 611);
    HttpContextRetain(context); // what follows may end the connection
    if (status < 0) {
        _end(context);
    } else {
        if ((events & UV_WRITABLE) && context->_phase == Phase::Writing) {
            _writeReply(context);
            if (context->_phase == Phase::Reading) _processInput(context);
        }
        if (context->_watch && (events & UV_READABLE)) _readInput(context);
    }
    HttpContextRelease(context);
}
