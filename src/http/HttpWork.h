// HttpWork.h - request work on libuv's thread pool: light work at once, heavy work a few at a time.
//
// The loop thread hands each request to a worker so that it only parses, routes and writes.
// Light work (JSON, layout pages) goes to the pool at once. Heavy work (decoding, encoding, big
// reads) is admitted at most HttpWorkHeavyLimit() at a time from a queue of its own, in arrival
// order, so that the pool always keeps threads free for light work: a light request never waits
// behind a heavy one. Heavy work runs at a lower scheduling priority than the loop and light work.
// Everything here is called on the loop thread, except an item's run function.
#pragma once

#include <uv.h>

enum class HttpWorkKind {
    Light, // quick: answered by the next free worker
    Heavy, // long processor or disk work: admitted a few at a time
};

// One piece of work. The owner keeps the item alive and unchanged from HttpWorkSubmit until done
// is called (or HttpWorkCancel returns true).
struct HttpWorkItem {
    HttpWorkKind kind = HttpWorkKind::Light;
    void (*run)(HttpWorkItem* item) = nullptr; // on a worker thread
    // On the loop thread, exactly once after submitting (unless withdrawn by HttpWorkCancel):
    // cancelled is true when the pool dropped the work before it ran.
    void (*done)(HttpWorkItem* item, bool cancelled) = nullptr;

    // Private to HttpWork.cpp.
    uv_work_t _work;
    HttpWorkItem* _next = nullptr; // in the heavy queue
    bool _waiting = false;         // in the heavy queue, not yet handed to the pool
};

// Sizes the thread pool after the processors this process may use: UV_THREADPOOL_SIZE becomes
// cores + 2 (at least 4) unless the environment already sets it, and heavy work gets one thread
// per core. REQUIRES: called before the pool's first use (libuv reads the variable then), while
// the process has one thread. Safe to call more than once.
void HttpWorkConfigure();
// Heavy items allowed to run at once (the processors this process may use).
unsigned HttpWorkHeavyLimit();

// Queues the item. REQUIRES: run and done set; the item is not already submitted.
void HttpWorkSubmit(HttpWorkItem* item);
// Withdraws an item that has not started. True: it was still waiting in the heavy queue and done
// will never be called (the caller has the item back). False: it is in the pool or running; done
// follows as usual, with cancelled true when the pool could still drop it.
bool HttpWorkCancel(HttpWorkItem* item);
