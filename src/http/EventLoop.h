// EventLoop.h - the one libuv loop the whole server runs on.
//
// Threads: the loop and every handle on it belong to the loop thread; workers reach it only
// through the done callbacks of their work (HttpWork.h).
#pragma once

#include <uv.h>

// The process's loop (libuv's default loop).
uv_loop_t* EventLoop();
