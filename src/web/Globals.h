// Globals.h - the process-wide statistics record and version text, set up once at start-up.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>

// Counters of what the server has delivered; start-up zeroes them and stamps startTime, the
// responders increment them. Nothing in the server reads them back.
struct Stats {
    uint32_t startTime;      // seconds since the epoch when the process started
    uint32_t pageCount;      // layout pages
    uint32_t thumbnailCount; // thumbnails
    uint32_t imageCount;     // pictures and the site icon
    uint32_t errorCount;     // error pages
};

extern Stats stats;

// The server's version as shown in every page header: "(unknown version)" until start-up sets it
// from the build's version.
extern CFString_t version;
