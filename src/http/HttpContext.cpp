// HttpContext.cpp - the connection engine: reads into the request parser, answers each complete
// header, writes replies in chunks as the socket takes them, and drops idle connections.
#include "http/HttpContext.h"

#include "cf/Assert.h"
#include "http/EventLoop.h"
#include "http/HttpMessage.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <uv.h>

double HttpContextIdleSeconds = 60.0;

static HttpRequestHandler _handler = nullptr;

void HttpContextSetRequestHandler(HttpRequestHandler handler) {
    _handler = handler;
}

// Bytes read at a time, and bytes handed to one write once the socket stops taking them at once:
// each finished write pushes the idle timer on, so a slow but live client (down to about half a
// kilobyte a second) is never taken for an idle one.
constexpr size_t kReadSize = 8192;
constexpr size_t kWriteChunk = 32 * 1024;

struct HttpContext {
    uint32_t _retainCount = 1;
    uv_timer_t* _timer = nullptr;
    uv_tcp_t* _stream = nullptr;
    std::unique_ptr<HttpRequest> _request;
    std::string _input;     // bytes read that the request has not taken yet
    bool _reading = false;  // reads are started on the socket
    bool _replying = false; // a reply is being written
    std::string _replyHead; // status line and headers
    std::string _replyBody; // body (empty for HEAD)
    size_t _offset = 0;     // bytes of head and body written so far
    uint64_t _pushedAt = 0; // loop time at which the idle timer was last set
    char _readBuffer[kReadSize];
};

struct WriteRequest {
    uv_write_t request;
    HttpContext* context;
    size_t length;
};

static void _ReadStreamCallBack(uv_stream_t* stream, ssize_t nread, const uv_buf_t* buffer);
static void _processInput(HttpContext* context);
static void _writeReply(HttpContext* context, bool first);

static void _HandleClosedCallBack(uv_handle_t* handle) {
    auto* context = static_cast<HttpContext*>(handle->data);
    free(handle);
    HttpContextRelease(context);
}

static void _FreeHandleCallBack(uv_handle_t* handle) {
    free(handle);
}

static void _HttpContextHandleErrorOccurred(HttpContext* context) {
    HttpContextClose(context);
    HttpContextRelease(context);
}

static void _TimerCallBack(uv_timer_t* timer) {
    auto* context = static_cast<HttpContext*>(timer->data);
    TS_ASSERT(timer == context->_timer, "HttpContext", 656);
    HttpContextClose(context);
    HttpContextRelease(context);
}

// Read or write progress: the idle time starts over. Within one turn of the loop the time
// stands still, so the timer is set once per turn.
static void _pushTimer(HttpContext* context) {
    if (!context->_timer) return;
    uint64_t now = uv_now(EventLoop());
    if (now == context->_pushedAt) return;
    context->_pushedAt = now;
    uv_timer_start(context->_timer, _TimerCallBack, uint64_t(HttpContextIdleSeconds * 1000), 0);
}

static void _AllocCallBack(uv_handle_t* handle, size_t, uv_buf_t* buffer) {
    auto* context = static_cast<HttpContext*>(handle->data);
    *buffer = uv_buf_init(context->_readBuffer, kReadSize);
}

static void _setReading(HttpContext* context, bool reading) {
    if (!context->_stream || context->_reading == reading) return;
    auto* stream = reinterpret_cast<uv_stream_t*>(context->_stream);
    if (reading) {
        uv_read_start(stream, _AllocCallBack, _ReadStreamCallBack);
    } else {
        uv_read_stop(stream);
    }
    context->_reading = reading;
}

HttpContext* HttpContextCreate(int nativeSocket) {
    auto* context = new HttpContext;
    auto* stream = static_cast<uv_tcp_t*>(malloc(sizeof(uv_tcp_t)));
    if (!stream || uv_tcp_init(EventLoop(), stream) != 0) {
        free(stream);
        delete context;
        return nullptr;
    }
    if (uv_tcp_open(stream, nativeSocket) != 0) {
        stream->data = nullptr;
        uv_close(reinterpret_cast<uv_handle_t*>(stream), _FreeHandleCallBack);
        delete context;
        return nullptr;
    }
    context->_stream = stream;
    return context;
}

bool HttpContextOpen(HttpContext* context) {
    if (!context || !context->_stream) return false;
    context->_stream->data = HttpContextRetain(context);
    uv_tcp_nodelay(context->_stream, 1);
    context->_request = std::make_unique<HttpRequest>();
    context->_timer = static_cast<uv_timer_t*>(malloc(sizeof(uv_timer_t)));
    if (!context->_timer || uv_timer_init(EventLoop(), context->_timer) != 0) {
        free(context->_timer);
        context->_timer = nullptr;
        HttpContextClose(context);
        return false;
    }
    context->_timer->data = HttpContextRetain(context);
    _pushTimer(context);
    _setReading(context, true);
    return true;
}

void HttpContextClose(HttpContext* context) {
    if (!context) return;
    if (context->_stream) {
        _setReading(context, false);
        // A context that never opened lent the socket no reference.
        uv_close_cb closed = context->_stream->data ? _HandleClosedCallBack : _FreeHandleCallBack;
        uv_close(reinterpret_cast<uv_handle_t*>(context->_stream), closed);
        context->_stream = nullptr;
    }
    if (context->_timer) {
        uv_timer_stop(context->_timer);
        uv_close(reinterpret_cast<uv_handle_t*>(context->_timer), _HandleClosedCallBack);
        context->_timer = nullptr;
    }
    context->_request.reset();
    context->_input.clear();
    // Give the memory back: an idle connection should not keep its last picture.
    std::string().swap(context->_replyHead);
    std::string().swap(context->_replyBody);
    context->_replying = false;
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
    delete context;
}

static void _ReadStreamCallBack(uv_stream_t* stream, ssize_t nread, const uv_buf_t* buffer) {
    auto* context = static_cast<HttpContext*>(stream->data);
    TS_ASSERT(reinterpret_cast<uv_tcp_t*>(stream) == context->_stream, "HttpContext", 611);
    if (nread == 0) return;
    if (nread == UV_EOF) {
        HttpContextClose(context);
        HttpContextRelease(context);
        return;
    }
    _pushTimer(context);
    if (nread < 0) {
        puts("error reading data from stream");
        _HttpContextHandleErrorOccurred(context);
        return;
    }
    context->_input.append(buffer->base, size_t(nread));
    _processInput(context);
}

// Feeds the bytes read to the request and answers each complete header, as long as no reply
// is being written; then reads on only while nothing waits to be written.
static void _processInput(HttpContext* context) {
    size_t taken = 0;
    while (context->_stream && !context->_replying && taken < context->_input.size()) {
        HttpRequest& request = *context->_request;
        taken += request.append(context->_input.data() + taken, context->_input.size() - taken);
        if (request.failed()) {
            puts("error parsing the newly acquired data");
            return _HttpContextHandleErrorOccurred(context);
        }
        if (request.headerTooLarge()) {
            puts("request header over 64 KiB; closing the connection");
            return _HttpContextHandleErrorOccurred(context);
        }
        if (!request.isHeaderComplete()) break;
        std::unique_ptr<HttpReply> reply = _handler(request);
        TS_ASSERT(reply, "HttpContext", 478);
        TS_ASSERT(!context->_replying, "HttpContext", 479);
        context->_replyHead = reply->serializeHeader();
        context->_replyBody = request.isHead() ? std::string() : reply->takeBody();
        context->_offset = 0;
        context->_replying = true;
        request.next();
        _writeReply(context, true);
    }
    if (!context->_stream) return;
    context->_input.erase(0, taken);
    _setReading(context, !context->_replying);
}

static void _WriteStreamCallBack(uv_write_t* request, int status) {
    auto* write = reinterpret_cast<WriteRequest*>(request);
    HttpContext* context = write->context;
    size_t length = write->length;
    free(write);
    if (context->_stream) {
        if (status < 0) {
            _HttpContextHandleErrorOccurred(context);
        } else {
            context->_offset += length;
            _pushTimer(context);
            _writeReply(context, false);
            if (!context->_replying) _processInput(context);
        }
    }
    HttpContextRelease(context);
}

// Writes what the socket takes at once, then hands the next chunk to a write request whose
// completion continues. Clears the reply when it is all out.
static void _writeReply(HttpContext* context, bool first) {
    auto* stream = reinterpret_cast<uv_stream_t*>(context->_stream);
    size_t headLength = context->_replyHead.size(), total = headLength + context->_replyBody.size();
    while (context->_offset < total) {
        uv_buf_t buffers[2];
        unsigned count = 0;
        size_t offset = context->_offset;
        if (offset < headLength)
            buffers[count++] =
                uv_buf_init(context->_replyHead.data() + offset, unsigned(headLength - offset));
        size_t bodyOffset = offset > headLength ? offset - headLength : 0;
        if (bodyOffset < context->_replyBody.size())
            buffers[count++] = uv_buf_init(context->_replyBody.data() + bodyOffset,
                                           unsigned(context->_replyBody.size() - bodyOffset));
        int written = uv_try_write(stream, buffers, count);
        if (written > 0) {
            context->_offset += size_t(written);
            _pushTimer(context);
            continue;
        }
        if (written != UV_EAGAIN) {
            // Only a reply's first write says so; later failures end the connection quietly.
            if (first) printf("CFWriteStreamWrite() returned an error");
            return _HttpContextHandleErrorOccurred(context);
        }
        // The socket is full: let a write request carry the next chunk.
        size_t chunk = 0;
        for (unsigned i = 0; i < count; ++i) {
            size_t room = kWriteChunk - chunk;
            if (buffers[i].len > room) buffers[i].len = room;
            chunk += buffers[i].len;
            if (chunk == kWriteChunk) count = i + 1;
        }
        auto* write = static_cast<WriteRequest*>(malloc(sizeof(WriteRequest)));
        if (!write) return _HttpContextHandleErrorOccurred(context);
        write->context = HttpContextRetain(context);
        write->length = chunk;
        if (uv_write(&write->request, stream, buffers, count, _WriteStreamCallBack) != 0) {
            free(write);
            HttpContextRelease(context);
            if (first) printf("CFWriteStreamWrite() returned an error");
            return _HttpContextHandleErrorOccurred(context);
        }
        return;
    }
    // Give the memory back: an idle connection should not keep its last picture.
    std::string().swap(context->_replyHead);
    std::string().swap(context->_replyBody);
    context->_replying = false;
}
