// Startup.cpp - the start-up sequence, the responder table, and accepting connections.
#include "app/Startup.h"

#include "app/RuntimeRecord.h"
#include "http/EventLoop.h"
#include "http/HttpContext.h"
#include "http/Server.h"
#include "library/LibraryRegistry.h"
#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"
#include "version.h"
#include "web/Bundle.h"
#include "web/RequestHandler.h"
#include "web/Site.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <sys/resource.h>
#include <unistd.h>

void AcceptConnection(Server* server, int nativeSocket, const CFStreamError* error, void*) {
    if (nativeSocket == -1) {
        fprintf(stderr, "AcceptConnection - Received an error (%d, %d)\n", int(error->domain),
                int(error->error));
        ServerInvalidate(server);
        ServerRelease(server);
        uv_stop(EventLoop());
        return;
    }
    HttpContext* context = HttpContextCreate(nativeSocket);
    if (!context) {
        close(nativeSocket);
        return;
    }
    if (!HttpContextOpen(context)) HttpContextRelease(context);
}

// The preferences are read again off the loop, one re-read at a time; SIGHUPs that arrive while
// one runs are answered by one more once it is done.
static uv_work_t _syncWork;
static bool _syncing = false; // _syncWork is queued or running (loop thread only)

static void _queueSync();

static void _SyncWorkCallBack(uv_work_t*) {
    checkPrefSync();
}

static void _SyncDoneCallBack(uv_work_t*, int) {
    _syncing = false;
    if (syncPrefs) _queueSync();
}

static void _queueSync() {
    if (_syncing) return;
    _syncing = uv_queue_work(EventLoop(), &_syncWork, _SyncWorkCallBack, _SyncDoneCallBack) == 0;
}

// SIGHUPs sent together (a burst from a script, a reload beside a tool's change) are answered
// by one re-read: it is queued this long after the first of them.
constexpr uint64_t kHangupGatherMs = 20;
static uv_timer_t _hangupTimer;

static void _HangupTimerCallBack(uv_timer_t*) {
    _queueSync();
}

static void _SignalCallBack(uv_signal_t*, int signal) {
    // The settings generation moves at once: no kept reply made before the signal is used.
    sigHup(signal);
    if (!uv_is_active(reinterpret_cast<uv_handle_t*>(&_hangupTimer)))
        uv_timer_start(&_hangupTimer, _HangupTimerCallBack, kHangupGatherMs, 0);
}

// SIGINT and SIGTERM end the loop, so that the server shuts down cleanly.
static void _StopCallBack(uv_signal_t*, int) {
    uv_stop(EventLoop());
}

void RaiseOpenFileLimit() {
    rlimit limit;
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= limit.rlim_max) return;
    limit.rlim_cur = limit.rlim_max;
    if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
        printf("setrlimit(RLIMIT_NOFILE) failed: %s\n", strerror(errno));
}

int TessellanMain(const CommandLine& line) {
    RaiseOpenFileLimit();
    static uv_signal_t hangup;
    uv_signal_init(EventLoop(), &hangup);
    uv_signal_start(&hangup, _SignalCallBack, SIGHUP);
    uv_unref(reinterpret_cast<uv_handle_t*>(&hangup));
    uv_timer_init(EventLoop(), &_hangupTimer);
    uv_unref(reinterpret_cast<uv_handle_t*>(&_hangupTimer));
    static uv_signal_t stops[2];
    for (int i = 0; i < 2; ++i) {
        uv_signal_init(EventLoop(), &stops[i]);
        uv_signal_start(&stops[i], _StopCallBack, i == 0 ? SIGINT : SIGTERM);
        uv_unref(reinterpret_cast<uv_handle_t*>(&stops[i]));
    }

    // Never destroyed: when the loop ends, workers may still be answering requests with it.
    Site& site = *new Site(siteCacheFolder());
    site.stats.startTime = uint32_t(time(nullptr));

    if (BundleResourcesPath().empty()) {
        puts("Can't locate main bundle");
        return -1;
    }
    site.version = makeString(TESSELLAN_VERSION);

    ServerContext context = {};
    Server* server = ServerCreate(AcceptConnection, &context);
    CFString_t defaultLayoutDir = prefGetLayout();

    puts("Server Startup...");
    HttpEngineConfig engine = SiteEngineConfig(site);
    engine.idleSeconds = line.idleSeconds;
    engine.headerSeconds = line.headerSeconds;
    HttpContextConfigure(engine);

    if (!server) return 0;
    CFString_t title = prefGetServerName();
    int port = prefGetPortNumber();
    // AcceptConnection gives up a reference of its own if the advertisement fails.
    ServerRetain(server);
    if (ServerConnect(server, title, CFSTR("_http._tcp."), uint32_t(port))) {
        // The port as bound: with port 0 the system picked it, and this line is how a test
        // or a script starting the server learns which.
        printf("serving on port %u\n", unsigned(ServerGetPort(server)));
        RuntimeRecordPublish(int(ServerGetPort(server)), toString(title));
        uv_run(EventLoop(), UV_RUN_DEFAULT);
        RuntimeRecordWithdraw();
    } else {
        printf("could not serve on port %d\n", port);
        ServerRelease(server);
    }
    ServerRelease(server);
    return 0;
}
