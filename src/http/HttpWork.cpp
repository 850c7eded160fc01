// HttpWork.cpp - the thread pool's size, the heavy work queue and its admission.
#include "http/HttpWork.h"

#include "cf/Assert.h"
#include "http/EventLoop.h"

#include <algorithm>
#include <cstdlib>
#include <sched.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

// Heavy work runs this much nicer than the loop, so the loop and light work get a processor
// as soon as they want one.
constexpr int kHeavyNice = 10;

static unsigned _heavyLimit = 0;
static unsigned _heavyRunning = 0;
static HttpWorkItem* _heavyFirst = nullptr;
static HttpWorkItem* _heavyLast = nullptr;

static unsigned _cores() {
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0 && CPU_COUNT(&set) > 0)
        return unsigned(CPU_COUNT(&set));
    long online = sysconf(_SC_NPROCESSORS_ONLN);
    return online > 0 ? unsigned(online) : 1;
}

void HttpWorkConfigure() {
    if (_heavyLimit) return;
    unsigned cores = _cores();
    _heavyLimit = cores;
    if (!getenv("UV_THREADPOOL_SIZE"))
        setenv("UV_THREADPOOL_SIZE", std::to_string(std::max(4u, cores + 2)).c_str(), 1);
}

unsigned HttpWorkHeavyLimit() {
    HttpWorkConfigure();
    return _heavyLimit;
}

static void _setThreadNice(int nice) {
    // Fails quietly without the privilege to raise a priority again: the thread then stays nice.
    setpriority(PRIO_PROCESS, id_t(syscall(SYS_gettid)), nice);
}

static void _WorkCallBack(uv_work_t* work) {
    auto* item = static_cast<HttpWorkItem*>(work->data);
    if (item->kind != HttpWorkKind::Heavy) return item->run(item);
    _setThreadNice(kHeavyNice);
    item->run(item);
    _setThreadNice(0);
}

static void _admit();

static void _AfterWorkCallBack(uv_work_t* work, int status) {
    auto* item = static_cast<HttpWorkItem*>(work->data);
    if (item->kind == HttpWorkKind::Heavy) {
        TS_ASSERT(_heavyRunning > 0, "HttpWork", 60);
        --_heavyRunning;
        _admit();
    }
    item->done(item, status == UV_ECANCELED);
}

static void _queue(HttpWorkItem* item) {
    item->_work.data = item;
    int status = uv_queue_work(EventLoop(), &item->_work, _WorkCallBack, _AfterWorkCallBack);
    TS_ASSERT(status == 0, "HttpWork", 69);
}

// Hands waiting heavy items to the pool while there is room.
static void _admit() {
    while (_heavyFirst && _heavyRunning < HttpWorkHeavyLimit()) {
        HttpWorkItem* item = _heavyFirst;
        _heavyFirst = item->_next;
        if (!_heavyFirst) _heavyLast = nullptr;
        item->_next = nullptr;
        item->_waiting = false;
        ++_heavyRunning;
        _queue(item);
    }
}

void HttpWorkSubmit(HttpWorkItem* item) {
    if (item->kind != HttpWorkKind::Heavy) return _queue(item);
    item->_waiting = true;
    item->_next = nullptr;
    if (_heavyLast) {
        _heavyLast->_next = item;
    } else {
        _heavyFirst = item;
    }
    _heavyLast = item;
    _admit();
}

bool HttpWorkCancel(HttpWorkItem* item) {
    if (!item->_waiting) {
        uv_cancel(reinterpret_cast<uv_req_t*>(&item->_work));
        return false;
    }
    HttpWorkItem** link = &_heavyFirst;
    HttpWorkItem* previous = nullptr;
    while (*link != item) {
        previous = *link;
        link = &(*link)->_next;
    }
    *link = item->_next;
    if (_heavyLast == item) _heavyLast = previous;
    item->_next = nullptr;
    item->_waiting = false;
    return true;
}
