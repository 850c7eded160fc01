// Startup.h - the server's life from start-up to the end of its loop.
#pragma once

#include "http/HttpWork.h"

class HttpRequest;
struct Server;
struct CFStreamError;

// Brings the server up in order (SIGHUP handler, statistics, bundle, version, library
// registry, server, layout, responder table, title and port, listen and advertise), then runs
// the loop. Returns 0, or -1 when the application's resources cannot be found.
int TessellanMain();

// The Server's callback: each accepted socket becomes a connection; socket -1 means the
// advertisement failed, which stops the server.
void AcceptConnection(Server* server, int nativeSocket, const CFStreamError* error, void* info);

// Where a request is worked on: pictures (decoded, shrunk and encoded, or read from big files)
// and album downloads (every file opened and checked first) are heavy work, everything else
// (pages, layout files, the JSON API) light. A picture asked for with If-None-Match or
// If-Modified-Since starts as light work (usually a 304) and is sent on to heavy work when it
// needs decoding after all.
HttpWorkKind ClassifyRequest(const HttpRequest& request);

// Raises the soft limit on open descriptors to the hard limit (one line on failure).
void RaiseOpenFileLimit();
