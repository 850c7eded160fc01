// AvahiLoopPoll.cpp - Avahi watches as uv_poll handles, Avahi timeouts as uv_timer handles.
//
// Avahi may free a watch or timeout from inside its own callback, while libuv still holds the
// handle: freeing only closes the handle, and the memory goes back in the close callback.
#include "server/AvahiLoopPoll.h"

#include <cstdlib>
#include <sys/time.h>

struct AvahiLoopPoll {
    AvahiPoll api;
    uv_loop_t* loop;
};

struct AvahiWatch {
    uv_poll_t handle;
    int fd;
    AvahiWatchEvent events;   // what Avahi asked for
    AvahiWatchEvent happened; // what the last callback saw
    AvahiWatchCallback callback;
    void* userdata;
};

struct AvahiTimeout {
    uv_timer_t handle;
    AvahiTimeoutCallback callback;
    void* userdata;
};

static void _HandleClosedCallBack(uv_handle_t* handle) {
    free(handle->data);
}

static int _uvEvents(AvahiWatchEvent events) {
    int uvEvents = 0;
    if (events & AVAHI_WATCH_IN) uvEvents |= UV_READABLE;
    if (events & AVAHI_WATCH_OUT) uvEvents |= UV_WRITABLE;
    return uvEvents;
}

static void _WatchCallBack(uv_poll_t* handle, int status, int uvEvents) {
    auto* watch = static_cast<AvahiWatch*>(handle->data);
    int events = 0;
    if (status < 0) events |= AVAHI_WATCH_ERR;
    if (uvEvents & UV_READABLE) events |= AVAHI_WATCH_IN;
    if (uvEvents & UV_WRITABLE) events |= AVAHI_WATCH_OUT;
    if (uvEvents & UV_DISCONNECT) events |= AVAHI_WATCH_HUP;
    watch->happened = AvahiWatchEvent(events);
    watch->callback(watch, watch->fd, watch->happened, watch->userdata);
}

static void _startWatch(AvahiWatch* watch) {
    int uvEvents = _uvEvents(watch->events);
    if (uvEvents) {
        uv_poll_start(&watch->handle, uvEvents, _WatchCallBack);
    } else {
        uv_poll_stop(&watch->handle);
    }
}

static AvahiWatch* _WatchNew(const AvahiPoll* api, int fd, AvahiWatchEvent events,
                             AvahiWatchCallback callback, void* userdata) {
    auto* poll = static_cast<AvahiLoopPoll*>(api->userdata);
    auto* watch = static_cast<AvahiWatch*>(calloc(1, sizeof(AvahiWatch)));
    if (!watch) return nullptr;
    if (uv_poll_init(poll->loop, &watch->handle, fd) != 0) {
        free(watch);
        return nullptr;
    }
    watch->handle.data = watch;
    watch->fd = fd;
    watch->events = events;
    watch->callback = callback;
    watch->userdata = userdata;
    _startWatch(watch);
    return watch;
}

static void _WatchUpdate(AvahiWatch* watch, AvahiWatchEvent events) {
    watch->events = events;
    _startWatch(watch);
}

static AvahiWatchEvent _WatchGetEvents(AvahiWatch* watch) {
    return watch->happened;
}

static void _WatchFree(AvahiWatch* watch) {
    uv_poll_stop(&watch->handle);
    uv_close(reinterpret_cast<uv_handle_t*>(&watch->handle), _HandleClosedCallBack);
}

static void _TimerCallBack(uv_timer_t* handle) {
    auto* timeout = static_cast<AvahiTimeout*>(handle->data);
    timeout->callback(timeout, timeout->userdata);
}

// Arms the timer for an absolute time (null: disarm).
static void _armTimeout(AvahiTimeout* timeout, const struct timeval* when) {
    uv_timer_stop(&timeout->handle);
    if (!when) return;
    struct timeval now;
    gettimeofday(&now, nullptr);
    long long ms = (when->tv_sec - now.tv_sec) * 1000LL + (when->tv_usec - now.tv_usec) / 1000;
    uv_timer_start(&timeout->handle, _TimerCallBack, ms > 0 ? uint64_t(ms) : 0, 0);
}

static AvahiTimeout* _TimeoutNew(const AvahiPoll* api, const struct timeval* when,
                                 AvahiTimeoutCallback callback, void* userdata) {
    auto* poll = static_cast<AvahiLoopPoll*>(api->userdata);
    auto* timeout = static_cast<AvahiTimeout*>(calloc(1, sizeof(AvahiTimeout)));
    if (!timeout) return nullptr;
    uv_timer_init(poll->loop, &timeout->handle);
    timeout->handle.data = timeout;
    timeout->callback = callback;
    timeout->userdata = userdata;
    _armTimeout(timeout, when);
    return timeout;
}

static void _TimeoutUpdate(AvahiTimeout* timeout, const struct timeval* when) {
    _armTimeout(timeout, when);
}

static void _TimeoutFree(AvahiTimeout* timeout) {
    uv_timer_stop(&timeout->handle);
    uv_close(reinterpret_cast<uv_handle_t*>(&timeout->handle), _HandleClosedCallBack);
}

AvahiLoopPoll* AvahiLoopPollNew(uv_loop_t* loop) {
    auto* poll = static_cast<AvahiLoopPoll*>(calloc(1, sizeof(AvahiLoopPoll)));
    if (!poll) return nullptr;
    poll->loop = loop;
    poll->api.userdata = poll;
    poll->api.watch_new = _WatchNew;
    poll->api.watch_update = _WatchUpdate;
    poll->api.watch_get_events = _WatchGetEvents;
    poll->api.watch_free = _WatchFree;
    poll->api.timeout_new = _TimeoutNew;
    poll->api.timeout_update = _TimeoutUpdate;
    poll->api.timeout_free = _TimeoutFree;
    return poll;
}

const AvahiPoll* AvahiLoopPollGet(AvahiLoopPoll* poll) {
    return &poll->api;
}

void AvahiLoopPollFree(AvahiLoopPoll* poll) {
    free(poll);
}
