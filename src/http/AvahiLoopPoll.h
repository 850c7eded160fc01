// AvahiLoopPoll.h - an AvahiPoll that runs Avahi's watches and timeouts on a libuv loop, so
// the advertisement needs no thread of its own.
#pragma once

#include <avahi-common/watch.h>
#include <uv.h>

struct AvahiLoopPoll;

// Creates the adapter on loop. The caller must free it with AvahiLoopPollFree, after every
// Avahi object using it has been freed.
AvahiLoopPoll* AvahiLoopPollNew(uv_loop_t* loop);
// The AvahiPoll to hand to avahi_client_new. Borrowed.
const AvahiPoll* AvahiLoopPollGet(AvahiLoopPoll* poll);
void AvahiLoopPollFree(AvahiLoopPoll* poll);
