// AvahiLoopPoll.cpp - Avahi watches as uv_poll handles, Avahi timeouts as uv_timer handles.
//
// Avahi may free a watch or timeout from inside its own callback, while libuv still holds the
// handle: freeing only closes the handle, and the memory goes back in the close callback.
#include "http/AvahiLoopPoll.h"

#include <cstdlib>
#include <map>
#include <sys/time.h>
#include <vector>

struct SharedPoll;

struct AvahiLoopPoll {
    AvahiPoll api;
    uv_loop_t* loop;
    std::map<int, SharedPoll*> polls; // one poll handle per descriptor, shared by its watches
};

struct AvahiWatch {
    SharedPoll* poll;
    int fd;
    AvahiWatchEvent events;   // what Avahi asked for
    AvahiWatchEvent happened; // what the last callback saw
    AvahiWatchCallback callback;
    void* userdata;
    bool freed; // freed while its poll was dispatching: removed once the dispatch is over
};

// libuv watches a descriptor with one poll handle only, while D-Bus may watch the same socket
// twice (for reading and for writing): the watches of a descriptor share a handle that polls for
// everything they ask, and each hears of what it asked for.
struct SharedPoll {
    uv_poll_t handle;
    AvahiLoopPoll* owner;
    int fd;
    std::vector<AvahiWatch*> watches;
    bool dispatching = false;
};

struct AvahiTimeout {
    uv_timer_t handle;
    AvahiTimeoutCallback callback;
    void* userdata;
};

static void _TimeoutClosedCallBack(uv_handle_t* handle) {
    free(handle->data);
}

static void _PollClosedCallBack(uv_handle_t* handle) {
    delete static_cast<SharedPoll*>(handle->data);
}

static int _uvEvents(AvahiWatchEvent events) {
    int uvEvents = 0;
    if (events & AVAHI_WATCH_IN) uvEvents |= UV_READABLE;
    if (events & AVAHI_WATCH_OUT) uvEvents |= UV_WRITABLE;
    return uvEvents;
}

static void _PollCallBack(uv_poll_t* handle, int status, int uvEvents);

// Polls for what the live watches ask; closes the handle once no watch is left.
static void _refreshPoll(SharedPoll* poll) {
    if (poll->dispatching) return; // done when the dispatch ends
    std::erase_if(poll->watches, [](AvahiWatch* watch) {
        bool gone = watch->freed;
        if (gone) delete watch;
        return gone;
    });
    if (poll->watches.empty()) {
        poll->owner->polls.erase(poll->fd);
        uv_poll_stop(&poll->handle);
        uv_close(reinterpret_cast<uv_handle_t*>(&poll->handle), _PollClosedCallBack);
        return;
    }
    int uvEvents = 0;
    for (AvahiWatch* watch : poll->watches)
        uvEvents |= _uvEvents(watch->events);
    if (uvEvents) {
        uv_poll_start(&poll->handle, uvEvents, _PollCallBack);
    } else {
        uv_poll_stop(&poll->handle);
    }
}

static void _PollCallBack(uv_poll_t* handle, int status, int uvEvents) {
    auto* poll = static_cast<SharedPoll*>(handle->data);
    int seen = 0;
    if (status < 0) seen |= AVAHI_WATCH_ERR;
    if (uvEvents & UV_READABLE) seen |= AVAHI_WATCH_IN;
    if (uvEvents & UV_WRITABLE) seen |= AVAHI_WATCH_OUT;
    if (uvEvents & UV_DISCONNECT) seen |= AVAHI_WATCH_HUP;
    poll->dispatching = true;
    // Watches added by a callback wait for the next event; freed ones are skipped.
    size_t count = poll->watches.size();
    for (size_t i = 0; i < count; ++i) {
        AvahiWatch* watch = poll->watches[i];
        int wanted = seen & (watch->events | AVAHI_WATCH_ERR | AVAHI_WATCH_HUP);
        if (watch->freed || !wanted) continue;
        watch->happened = AvahiWatchEvent(wanted);
        watch->callback(watch, watch->fd, watch->happened, watch->userdata);
    }
    poll->dispatching = false;
    _refreshPoll(poll);
}

static AvahiWatch* _WatchNew(const AvahiPoll* api, int fd, AvahiWatchEvent events,
                             AvahiWatchCallback callback, void* userdata) {
    auto* owner = static_cast<AvahiLoopPoll*>(api->userdata);
    SharedPoll*& poll = owner->polls[fd];
    if (!poll) {
        poll = new SharedPoll;
        if (uv_poll_init(owner->loop, &poll->handle, fd) != 0) {
            delete poll;
            owner->polls.erase(fd);
            return nullptr;
        }
        poll->handle.data = poll;
        poll->owner = owner;
        poll->fd = fd;
    }
    auto* watch = new AvahiWatch{poll, fd, events, AvahiWatchEvent(0), callback, userdata, false};
    poll->watches.push_back(watch);
    _refreshPoll(poll);
    return watch;
}

static void _WatchUpdate(AvahiWatch* watch, AvahiWatchEvent events) {
    watch->events = events;
    _refreshPoll(watch->poll);
}

static AvahiWatchEvent _WatchGetEvents(AvahiWatch* watch) {
    return watch->happened;
}

static void _WatchFree(AvahiWatch* watch) {
    watch->freed = true;
    _refreshPoll(watch->poll);
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
    uv_close(reinterpret_cast<uv_handle_t*>(&timeout->handle), _TimeoutClosedCallBack);
}

AvahiLoopPoll* AvahiLoopPollNew(uv_loop_t* loop) {
    auto* poll = new AvahiLoopPoll{};
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
    delete poll;
}
