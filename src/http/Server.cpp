// Server.cpp - the listening socket on the libuv loop, accepting, and the advertisement.
#include "http/Server.h"

#include "cf/Assert.h"
#include "http/EventLoop.h"
#include "http/HttpContext.h"
#include "http/NetService.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <uv.h>

struct Server {
    uint32_t _rc;
    int _socket;       // the listening socket, or -1
    uv_poll_t* _watch; // its readiness on the loop, holding a reference to the server
    CFStringRef _name;
    CFStringRef _type;
    uint32_t _port;
    NetService* _service;
    ServerCallBack _callback;
    uv_timer_t* _pause; // restarts accepting after the process ran out of descriptors
};

static void _SocketCallBack(uv_poll_t* watch, int status, int events);

static void _WatchClosedCallBack(uv_handle_t* handle) {
    auto* server = static_cast<Server*>(handle->data);
    free(handle);
    ServerRelease(server);
}

static void _PauseClosedCallBack(uv_handle_t* handle) {
    free(handle);
}

static void _ServerReleaseSocket(Server* server) {
    if (server->_socket < 0) return;
    if (server->_watch) {
        uv_poll_stop(server->_watch);
        uv_close(reinterpret_cast<uv_handle_t*>(server->_watch), _WatchClosedCallBack);
        server->_watch = nullptr;
    }
    if (server->_pause) {
        uv_close(reinterpret_cast<uv_handle_t*>(server->_pause), _PauseClosedCallBack);
        server->_pause = nullptr;
    }
    close(server->_socket);
    server->_socket = -1;
}

static void _ServerReleaseNetService(Server* server) {
    if (!server->_service) return;
    NetServiceCancel(server->_service);
    server->_service = nullptr;
}

Server* ServerCreate(ServerCallBack callback, const ServerContext*) {
    auto* server = static_cast<Server*>(calloc(1, sizeof(Server)));
    if (!server) return nullptr;
    server->_rc = 1;
    server->_socket = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, IPPROTO_TCP);
    if (server->_socket < 0) {
        ServerInvalidate(server);
        ServerRelease(server);
        return nullptr;
    }
    int yes = 1;
    setsockopt(server->_socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    server->_callback = callback;
    return server;
}

static void _NetServiceCallBack(NetService* service, int error, void* info) {
    auto* server = static_cast<Server*>(info);
    TS_ASSERT(service == server->_service, "Server", 418);
    _ServerReleaseNetService(server);
    if (error == 0) return;
    _ServerReleaseSocket(server);
    CFStreamError record = {kCFStreamErrorDomainNetServices, error};
    if (server->_callback) server->_callback(server, -1, &record, nullptr);
}

static bool _ServerCreateAndRegisterNetService(Server* server) {
    std::string name = server->_name ? CFStringGetUTF8(server->_name) : "";
    server->_service = NetServiceCreate(EventLoop(), name, CFStringGetUTF8(server->_type),
                                        uint16_t(server->_port));
    if (!NetServiceRegister(server->_service, _NetServiceCallBack, server)) {
        _ServerReleaseNetService(server);
        return false;
    }
    return true;
}

bool ServerConnect(Server* server, CFStringRef name, CFStringRef type, uint32_t port) {
    if (port > 0xFFFF || server->_socket < 0) {
        _ServerReleaseSocket(server);
        return false;
    }
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_ANY);
    if (bind(server->_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        listen(server->_socket, SOMAXCONN) != 0) {
        _ServerReleaseSocket(server);
        return false;
    }
    socklen_t length = sizeof address;
    getsockname(server->_socket, reinterpret_cast<sockaddr*>(&address), &length);
    server->_port = ntohs(address.sin_port);

    server->_watch = static_cast<uv_poll_t*>(malloc(sizeof(uv_poll_t)));
    if (!server->_watch || uv_poll_init(EventLoop(), server->_watch, server->_socket) != 0) {
        free(server->_watch);
        server->_watch = nullptr;
        _ServerReleaseSocket(server);
        return false;
    }
    server->_watch->data = ServerRetain(server);
    uv_poll_start(server->_watch, UV_READABLE, _SocketCallBack);

    server->_name = static_cast<CFStringRef>(CFRetain(name ? name : CFSTR("")));
    server->_type = type ? static_cast<CFStringRef>(CFRetain(type)) : nullptr;
    if (!type) return true;
    if (!_ServerCreateAndRegisterNetService(server)) {
        _ServerReleaseSocket(server);
        return false;
    }
    return true;
}

uint32_t ServerGetPort(const Server* server) {
    return server->_port;
}

Server* ServerRetain(Server* server) {
    ++server->_rc;
    return server;
}

void ServerRelease(Server* server) {
    TS_ASSERT(server->_rc > 0, "Server", 124);
    if (--server->_rc > 0) return;
    ServerInvalidate(server);
    free(server);
}

void ServerInvalidate(Server* server) {
    server->_callback = nullptr;
    _ServerReleaseNetService(server);
    if (server->_name) CFRelease(server->_name);
    if (server->_type) CFRelease(server->_type);
    server->_name = server->_type = nullptr;
    _ServerReleaseSocket(server);
}

void ServerShow(const Server* server) {
    char socketText[32] = "0x0", serviceText[32] = "0x0";
    if (server->_socket >= 0) snprintf(socketText, sizeof socketText, "%d", server->_socket);
    if (server->_service)
        snprintf(serviceText, sizeof serviceText, "%p", static_cast<void*>(server->_service));
    printf("<Server %p>{socket=[%s] service=%s}\n", static_cast<const void*>(server), socketText,
           serviceText);
}

static void _PauseTimerCallBack(uv_timer_t* timer) {
    auto* server = static_cast<Server*>(timer->data);
    if (server->_watch) uv_poll_start(server->_watch, UV_READABLE, _SocketCallBack);
}

// Out of descriptors: stop accepting for a moment instead of spinning on the ready socket.
static void _pauseAccepting(Server* server) {
    if (!server->_pause) {
        server->_pause = static_cast<uv_timer_t*>(malloc(sizeof(uv_timer_t)));
        if (!server->_pause) return;
        uv_timer_init(EventLoop(), server->_pause);
        server->_pause->data = server;
    }
    uv_poll_stop(server->_watch);
    uv_timer_start(server->_pause, _PauseTimerCallBack, 100, 0);
}

// Descriptors kept free for the requests of the connections accepted (the files they read): a
// connection accepted past this reserve makes the oldest one waiting for a header go.
constexpr rlim_t kSpareDescriptors = 16;

static void _keepSpareDescriptors(int accepted) {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) return;
    if (rlim_t(accepted) + kSpareDescriptors >= limit.rlim_cur) HttpContextCloseOldestWaiting();
}

static void _SocketCallBack(uv_poll_t* watch, int status, int events) {
    auto* server = static_cast<Server*>(watch->data);
    TS_ASSERT(watch == server->_watch, "Server", 398);
    if (status < 0 || !(events & UV_READABLE)) return;
    while (server->_callback && server->_socket >= 0) {
        int accepted = accept4(server->_socket, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (accepted < 0) {
            if (errno == EINTR || errno == ECONNABORTED) continue;
            // Out of descriptors: the connections that have not even sent a request make room,
            // oldest first, so that whoever is waiting to connect gets in.
            if ((errno == EMFILE || errno == ENFILE) && HttpContextCloseOldestWaiting()) continue;
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                _pauseAccepting(server);
            return;
        }
        _keepSpareDescriptors(accepted);
        server->_callback(server, accepted, nullptr, nullptr);
    }
}
