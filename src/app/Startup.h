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

// Where a request is worked on: album downloads (every file opened and checked first) are heavy
// work, everything else light. A picture starts as light work and is sent on to heavy work by
// its responder only when it must be decoded (not for a 304, a made picture already in the
// cache, or an original sent as it is).
HttpWorkKind ClassifyRequest(const HttpRequest& request);

// Raises the soft limit on open descriptors to the hard limit (one line on failure).
void RaiseOpenFileLimit();
