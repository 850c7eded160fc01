// EventLoop.cpp - the process's loop.
#include "http/EventLoop.h"

uv_loop_t* EventLoop() {
    return uv_default_loop();
}
