// Site.h - what every request of the server shares: routes, statistics, version text, the
// password throttle and the caches. One is made at start-up and handed to the connection engine
// beside the request step (RequestHandler.h); responders reach it through their request's scope
// (RequestScope.h).
//
// Threads: rmap and version are set before the first request and only read afterwards; the
// counters of stats are atomics; throttle, made, gzip and files guard themselves with locks of
// their own (their headers), so workers use them at once. The preferences and the library registry
// are the process's own (settings/, library/) and guard themselves the same way.
#pragma once

#include "cf/cftempl.h"
#include "protocol/GuessThrottle.h"
#include "protocol/Gzip.h"
#include "protocol/StaticFiles.h"
#include "web/MadeCache.h"
#include "web/Routes.h"

#include <atomic>
#include <cstdint>
#include <string>

// Counters of what the server has delivered; start-up stamps startTime, the responders count.
struct Stats {
    std::atomic<uint32_t> startTime{0};      // seconds since the epoch when the process started
    std::atomic<uint32_t> pageCount{0};      // layout pages
    std::atomic<uint32_t> thumbnailCount{0}; // thumbnails
    std::atomic<uint32_t> imageCount{0};     // pictures and the site icon
    std::atomic<uint32_t> errorCount{0};     // error pages
};

struct Site {
    // cacheFolder: where made pictures are kept (see siteCacheFolder).
    explicit Site(std::string cacheFolder);
    Site(const Site&) = delete;
    Site& operator=(const Site&) = delete;

    RouteTable rmap = ServerRoutes();
    Stats stats;
    // Shown in every page header.
    CFString_t version{"(unknown version)"};
    GuessThrottle throttle;
    MadeCache made; // bounded by prefGetCacheSizeMB
    GzipCache gzip{8u << 20};
    StaticFileCache files; // layout files and the shipped JSON scripts
};

// $XDG_CACHE_HOME/tessellan, ~/.cache/tessellan when the variable is unset or not absolute.
std::string siteCacheFolder();
