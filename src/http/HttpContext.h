// HttpContext.h - one accepted TCP connection: reading requests, writing replies, idling out.
//
// A context lives from its accepted socket until the peer closes, a read or write fails, the
// bytes stop being HTTP, a request header passes 64 KiB, or nothing moves for the idle time.
// It answers any number of requests, strictly in order: a request that arrives while a reply
// is still being written waits until that reply is out. It is a reference-counted record; its
// socket, its timer and each write in flight hold a reference while they are open.
#pragma once

#include "http/HttpMessage.h"

#include <memory>

struct HttpContext;

// Turns a request whose header is complete into its reply. Never returns null.
typedef std::unique_ptr<HttpReply> (*HttpRequestHandler)(const HttpRequest& request);

// The handler every connection answers its requests with. REQUIRES: set once at start-up,
// before the first connection is opened.
void HttpContextSetRequestHandler(HttpRequestHandler handler);

// Seconds without read or write progress after which a connection is dropped (60 by default;
// the tests shorten it).
extern double HttpContextIdleSeconds;

// A context for an accepted, non-blocking socket, or null (the socket is then left open).
// The caller must release it.
HttpContext* HttpContextCreate(int nativeSocket);
// Starts reading, arms the idle timer. False on failure (the context is then closed; the
// caller still releases its reference).
bool HttpContextOpen(HttpContext* context);
// Closes the socket and the timer; the record stays until its last reference goes. Null-safe.
void HttpContextClose(HttpContext* context);
// Null-safe.
HttpContext* HttpContextRetain(HttpContext* context);
// Null-safe. REQUIRES: references left. The last one closes and frees the context.
void HttpContextRelease(HttpContext* context);
