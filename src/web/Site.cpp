// Site.cpp - making the record every request shares.
#include "web/Site.h"

#include "settings/Preferences.h"

#include <cstdlib>

Site::Site(std::string cacheFolder)
    : made(std::move(cacheFolder), [] { return prefGetCacheSizeMB() * 1024 * 1024; }) {}

std::string siteCacheFolder() {
    const char* cache = getenv("XDG_CACHE_HOME");
    if (cache && *cache == '/') return std::string(cache) + "/tessellan";
    const char* home = getenv("HOME");
    return std::string(home && *home ? home : "/tmp") + "/.cache/tessellan";
}
