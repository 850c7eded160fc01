// Server.h - the listening TCP socket of the server, and its DNS-SD advertisement.
//
// A Server listens on an IPv4 port of every interface and hands each accepted connection, as
// a native socket, to its callback. Optionally it advertises itself under a name and service
// type. It is a reference-counted record: the listening socket's loop handle holds a reference
// of its own while it is open. Loop thread only.
#pragma once

#include "cf/CFString.h"

#include <cstdint>

struct Server;

// Describes an error: domain and code (for advertisement failures, an Avahi error code).
struct CFStreamError {
    long domain;
    int32_t error;
};
// The domain of advertisement errors.
constexpr long kCFStreamErrorDomainNetServices = 10;

// Descriptors are shared out so that a new visitor always gets in: each connection accepted
// within a few descriptors of the process's limit closes the connection that has waited longest
// for a request header (HttpContextCloseOldestWaiting), and when accepting fails for want of
// descriptors such connections are closed, oldest first, until one is accepted; with none left to
// close, accepting pauses for a moment.
//
// Receives each accepted socket (the callee owns it), or -1 with error when the server stopped
// working (its advertisement failed). info is always null.
typedef void (*ServerCallBack)(Server* server, int nativeSocket, const CFStreamError* error,
                               void* info);

// Four words a caller may pass to ServerCreate; they are accepted and ignored.
struct ServerContext {
    void* words[4];
};

// A server with an unbound socket (SO_REUSEADDR set), or null. The caller must release it.
Server* ServerCreate(ServerCallBack callback, const ServerContext* context);
// Binds port on every IPv4 interface (0: the system picks; above 65535 refused before anything
// is bound), listens, and when type is not null advertises name (null: the empty name, which
// the system replaces by the host's) with that type. False when any step fails; the socket is
// then released.
bool ServerConnect(Server* server, CFStringRef name, CFStringRef type, uint32_t port);
// The port as bound (after ServerConnect).
uint32_t ServerGetPort(const Server* server);
Server* ServerRetain(Server* server);
// REQUIRES: the server has references left. The last release invalidates and frees it.
void ServerRelease(Server* server);
// Stops calling back, withdraws the advertisement and closes the socket.
void ServerInvalidate(Server* server);
// Prints "<Server 0x...>{socket=[...] service=...}" on standard output.
void ServerShow(const Server* server);
