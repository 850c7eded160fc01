// NetService.h - a DNS-SD service registration through the Avahi daemon, on the libuv loop.
//
// Registration outlives the daemon: when no daemon is reachable the service prints one line,
// waits, and registers as soon as one appears (again after a daemon restart). A name that is
// already taken on the network is replaced by Avahi's alternative ("Name #2") instead of failing.
// Loop thread only.
#pragma once

#include <cstdint>
#include <string>
#include <uv.h>

struct NetService;

// Called when the registration has failed for good (error is an Avahi error code).
typedef void (*NetServiceCallBack)(NetService* service, int error, void* info);

// A registration of name (an empty name means the host's name; longer than 63 bytes is cut),
// type (such as "_http._tcp."; the final dot is optional) and port, with the TXT record
// "path=/". Nothing is registered until NetServiceRegister. The caller must NetServiceCancel it.
NetService* NetServiceCreate(uv_loop_t* loop, const std::string& name, const std::string& type,
                             uint16_t port);
// Starts registering; the callback hears of failures only. False when it cannot even start.
bool NetServiceRegister(NetService* service, NetServiceCallBack callback, void* info);
// Withdraws the registration and frees the service.
void NetServiceCancel(NetService* service);
