// EventLoop.h - the one libuv loop the whole server runs on.
#pragma once

#include <uv.h>

// The process's loop (libuv's default loop).
uv_loop_t* EventLoop();
