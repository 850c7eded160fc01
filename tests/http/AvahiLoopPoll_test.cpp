// AvahiLoopPoll_test.cpp - watches and timeouts freed from inside their own callbacks, and two
// watches on one descriptor, as the Avahi client does them; the sanitizers catch a handle
// whose memory goes back while libuv still holds it.
#include "http/AvahiLoopPoll.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

struct Calls {
    const AvahiPoll* api;
    AvahiWatch* reader = nullptr;
    AvahiWatch* writer = nullptr;
    AvahiWatch* late = nullptr; // added from a callback: must wait for the next event
    int readerCalls = 0, writerCalls = 0, lateCalls = 0, timeouts = 0;
};

TEST(AvahiLoopPoll, HandlesFreedFromTheirOwnCallbacksCloseAndTheLoopEnds) {
    uv_loop_t loop;
    uv_loop_init(&loop);
    AvahiLoopPoll* adapter = AvahiLoopPollNew(&loop);
    Calls run{AvahiLoopPollGet(adapter)};
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    ASSERT_EQ(write(fds[1], "x", 1), 1); // fds[0] is readable and writable at once

    // The writer frees itself and adds a watch on the same descriptor; the reader, called
    // later in the same dispatch, frees the watch just added and then itself.
    run.writer = run.api->watch_new(
        run.api, fds[0], AVAHI_WATCH_OUT,
        [](AvahiWatch* watch, int fd, AvahiWatchEvent events, void* data) {
            auto* run = static_cast<Calls*>(data);
            ++run->writerCalls;
            EXPECT_EQ(events, AVAHI_WATCH_OUT) << "a watch hears only of what it asked for";
            run->api->watch_free(watch);
            run->late = run->api->watch_new(
                run->api, fd, AVAHI_WATCH_IN,
                [](AvahiWatch*, int, AvahiWatchEvent, void* data) {
                    ++static_cast<Calls*>(data)->lateCalls;
                },
                data);
        },
        &run);
    run.reader = run.api->watch_new(
        run.api, fds[0], AVAHI_WATCH_IN,
        [](AvahiWatch* watch, int, AvahiWatchEvent events, void* data) {
            auto* run = static_cast<Calls*>(data);
            ++run->readerCalls;
            EXPECT_EQ(run->api->watch_get_events(watch), events);
            if (run->late) run->api->watch_free(run->late);
            run->api->watch_free(watch);
        },
        &run);
    ASSERT_NE(run.writer, nullptr);
    ASSERT_NE(run.reader, nullptr);

    // A timeout in the past fires at once and frees itself; one never armed is freed unfired.
    struct timeval past = {0, 0};
    run.api->timeout_new(
        run.api, &past,
        [](AvahiTimeout* timeout, void* data) {
            auto* run = static_cast<Calls*>(data);
            ++run->timeouts;
            run->api->timeout_free(timeout);
        },
        &run);
    AvahiTimeout* idle = run.api->timeout_new(
        run.api, nullptr, [](AvahiTimeout*, void*) { ADD_FAILURE() << "disarmed timeout fired"; },
        &run);
    run.api->timeout_free(idle);

    // Every handle is closed by the callbacks, so the loop runs out of work by itself.
    EXPECT_EQ(uv_run(&loop, UV_RUN_DEFAULT), 0);
    EXPECT_EQ(run.writerCalls, 1);
    EXPECT_EQ(run.readerCalls, 1);
    EXPECT_EQ(run.lateCalls, 0) << "a watch added during a dispatch was called in it";
    EXPECT_EQ(run.timeouts, 1);
    AvahiLoopPollFree(adapter);
    EXPECT_EQ(uv_loop_close(&loop), 0);
    close(fds[0]);
    close(fds[1]);
}

} // namespace
