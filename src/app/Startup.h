// Startup.h - the server's life from start-up to the end of its loop.
#pragma once

#include "app/CommandLine.h"

struct Server;
struct CFStreamError;

// Brings the server up in order (SIGHUP handler, the site with its statistics, version and
// routes, bundle, server, layout, the connection engine with the line's timeouts, title and
// port, listen and advertise), then runs the loop. Returns 0, or -1 when the application's
// resources cannot be found.
int TessellanMain(const CommandLine& line);

// The Server's callback: each accepted socket becomes a connection; socket -1 means the
// advertisement failed, which stops the server.
void AcceptConnection(Server* server, int nativeSocket, const CFStreamError* error, void* info);

// Raises the soft limit on open descriptors to the hard limit (one line on failure).
void RaiseOpenFileLimit();
