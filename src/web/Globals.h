// Globals.h - the process-wide statistics record and version text, set up once at start-up.
#pragma once

#include "cf/cftempl.h"

#include <atomic>
#include <cstdint>

// Counters of what the server has delivered; start-up zeroes them and stamps startTime, the
// responders increment them, from whichever thread answers the request. Nothing in the server
// reads them back.
struct Stats {
    std::atomic<uint32_t> startTime{0};      // seconds since the epoch when the process started
    std::atomic<uint32_t> pageCount{0};      // layout pages
    std::atomic<uint32_t> thumbnailCount{0}; // thumbnails
    std::atomic<uint32_t> imageCount{0};     // pictures and the site icon
    std::atomic<uint32_t> errorCount{0};     // error pages
};

extern Stats stats;

// The server's version as shown in every page header: "(unknown version)" until start-up sets it
// from the build's version.
extern CFString_t version;
