// Startup.h - the server's life from start-up to the end of its loop.
#pragma once

struct Server;
struct CFStreamError;

// Brings the server up in order (SIGHUP handler, statistics, bundle, version, library
// registry, server, layout, responder table, title and port, listen and advertise), then runs
// the loop. Returns 0, or -1 when the application's resources cannot be found.
int TessellanMain();

// The Server's callback: each accepted socket becomes a connection; socket -1 means the
// advertisement failed, which stops the server.
void AcceptConnection(Server* server, int nativeSocket, const CFStreamError* error, void* info);
