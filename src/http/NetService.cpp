// NetService.cpp - the Avahi client, its entry group, and the retry while no daemon answers.
#include "http/NetService.h"

#include "http/AvahiLoopPoll.h"

#include <avahi-client/client.h>
#include <avahi-client/publish.h>
#include <avahi-common/alternative.h>
#include <avahi-common/error.h>
#include <avahi-common/malloc.h>
#include <cstdio>
#include <cstdlib>

// How often to look for a daemon when the system bus itself is not there.
constexpr uint64_t kRetryMilliseconds = 5000;
constexpr size_t kMaxNameBytes = 63;

static void _connect(NetService* service);
static void _RetryTimerCallBack(uv_timer_t* timer);

struct NetService {
    uv_loop_t* loop;
    std::string name;
    std::string type;
    uint16_t port;
    NetServiceCallBack callback = nullptr;
    void* info = nullptr;
    AvahiLoopPoll* poll = nullptr;
    AvahiClient* client = nullptr;
    AvahiEntryGroup* group = nullptr;
    uv_timer_t* retry = nullptr;
    bool toldUnreachable = false; // the "no responder" line is printed once per outage
    int failure = 0;              // a failure waiting to be reported from the timer
};

// Cuts a UTF-8 name to the longest whole-character prefix DNS-SD allows.
static std::string _fitName(const std::string& name) {
    if (name.size() <= kMaxNameBytes) return name;
    size_t end = kMaxNameBytes;
    while (end > 0 && (static_cast<unsigned char>(name[end]) & 0xC0) == 0x80)
        --end;
    return name.substr(0, end);
}

// Failures are reported from the timer, outside Avahi's callbacks: the owner may well cancel
// the service, which frees Avahi objects whose callbacks would still be running.
static void _fail(NetService* service, int error) {
    service->failure = error;
    uv_timer_start(service->retry, _RetryTimerCallBack, 0, 0);
}

static void _tellUnreachable(NetService* service, const char* why) {
    if (service->toldUnreachable) return;
    service->toldUnreachable = true;
    printf("no mDNS responder reachable (%s); serving unadvertised until one appears\n", why);
}

static void _addService(NetService* service, AvahiClient* client);

// Another service on the network has our name: take Avahi's next one ("Name #2").
static void _takeAlternativeName(NetService* service) {
    char* alternative = avahi_alternative_service_name(service->name.c_str());
    printf("the name '%s' is taken on the network; advertising as '%s'\n", service->name.c_str(), alternative);
    service->name = alternative;
    avahi_free(alternative);
}

static void _GroupCallBack(AvahiEntryGroup* group, AvahiEntryGroupState state, void* userdata) {
    auto* service = static_cast<NetService*>(userdata);
    if (state == AVAHI_ENTRY_GROUP_COLLISION) {
        _takeAlternativeName(service);
        avahi_entry_group_reset(group);
        _addService(service, avahi_entry_group_get_client(group));
    } else if (state == AVAHI_ENTRY_GROUP_FAILURE) {
        _fail(service, avahi_client_errno(avahi_entry_group_get_client(group)));
    }
}

static void _addService(NetService* service, AvahiClient* client) {
    if (!service->group) {
        service->group = avahi_entry_group_new(client, _GroupCallBack, service);
        if (!service->group) return _fail(service, avahi_client_errno(client));
    }
    if (service->name.empty()) service->name = _fitName(avahi_client_get_host_name(client));
    for (;;) {
        int error = avahi_entry_group_add_service(
            service->group, AVAHI_IF_UNSPEC, AVAHI_PROTO_UNSPEC, AvahiPublishFlags(0),
            service->name.c_str(), service->type.c_str(), nullptr, nullptr, service->port, "path=/",
            nullptr);
        if (error == AVAHI_ERR_COLLISION) {
            _takeAlternativeName(service);
            continue;
        }
        if (error < 0) return _fail(service, error);
        break;
    }
    int error = avahi_entry_group_commit(service->group);
    if (error < 0) _fail(service, error);
}

static void _forgetClient(NetService* service) {
    if (service->client) avahi_client_free(service->client); // also frees its entry groups
    service->client = nullptr;
    service->group = nullptr;
}

static void _ClientCallBack(AvahiClient* client, AvahiClientState state, void* userdata) {
    auto* service = static_cast<NetService*>(userdata);
    switch (state) {
    case AVAHI_CLIENT_S_RUNNING:
        service->toldUnreachable = false;
        if (!service->group || avahi_entry_group_is_empty(service->group))
            _addService(service, client);
        break;
    case AVAHI_CLIENT_S_COLLISION:
    case AVAHI_CLIENT_S_REGISTERING:
        if (service->group) avahi_entry_group_reset(service->group);
        break;
    case AVAHI_CLIENT_CONNECTING:
        _tellUnreachable(service, "avahi-daemon is not running");
        break;
    case AVAHI_CLIENT_FAILURE:
        if (avahi_client_errno(client) == AVAHI_ERR_DISCONNECTED) {
            // The daemon went away: start over (outside this callback, which belongs to the
            // client about to be freed) and wait for it to come back.
            uv_timer_start(service->retry, _RetryTimerCallBack, 0, 0);
        } else {
            _fail(service, avahi_client_errno(client));
        }
        break;
    }
}

static void _RetryTimerCallBack(uv_timer_t* timer) {
    auto* service = static_cast<NetService*>(timer->data);
    if (service->failure) {
        if (service->callback) service->callback(service, service->failure, service->info);
        return;
    }
    _forgetClient(service);
    _connect(service);
}

static void _connect(NetService* service) {
    int error = 0;
    // With NO_FAIL the client waits for the daemon to appear; it fails only without a system bus.
    AvahiClient* client = avahi_client_new(AvahiLoopPollGet(service->poll), AVAHI_CLIENT_NO_FAIL,
                                           _ClientCallBack, service, &error);
    if (client) {
        service->client = client;
        return;
    }
    _tellUnreachable(service, avahi_strerror(error));
    uv_timer_start(service->retry, _RetryTimerCallBack, kRetryMilliseconds, 0);
}

NetService* NetServiceCreate(uv_loop_t* loop, const std::string& name, const std::string& type,
                             uint16_t port) {
    auto* service = new NetService{loop, _fitName(name), type, port};
    if (!service->type.empty() && service->type.back() == '.') service->type.pop_back();
    return service;
}

bool NetServiceRegister(NetService* service, NetServiceCallBack callback, void* info) {
    service->callback = callback;
    service->info = info;
    service->poll = AvahiLoopPollNew(service->loop);
    if (!service->poll) return false;
    service->retry = static_cast<uv_timer_t*>(malloc(sizeof(uv_timer_t)));
    if (!service->retry) return false;
    uv_timer_init(service->loop, service->retry);
    service->retry->data = service;
    uv_unref(reinterpret_cast<uv_handle_t*>(service->retry));
    _connect(service);
    return true;
}

static void _RetryClosedCallBack(uv_handle_t* handle) {
    free(handle);
}

void NetServiceCancel(NetService* service) {
    service->callback = nullptr;
    _forgetClient(service);
    if (service->retry)
        uv_close(reinterpret_cast<uv_handle_t*>(service->retry), _RetryClosedCallBack);
    // Avahi has closed its watches and timeouts by now; their memory returns in close callbacks
    // that do not touch the adapter itself.
    if (service->poll) AvahiLoopPollFree(service->poll);
    delete service;
}
