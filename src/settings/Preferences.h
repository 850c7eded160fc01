// Preferences.h - the readers of the server's settings, each with its fixed default.
//
// Settings are read from the preferences domain on every call, never cached, after
// checkPrefSync has had the chance to re-read the domain following a SIGHUP. No reader throws:
// a value that is absent, of another type or unusable gives the default.
#pragma once

#include "cf/cftempl.h"

#include <csignal>
#include <cstdint>
#include <string>
#include <string_view>

// Set to 1 by the SIGHUP handler; checkPrefSync clears it.
extern volatile sig_atomic_t syncPrefs;

// The SIGHUP handler: sets syncPrefs and nothing else.
void sigHup(int signal);
// When syncPrefs is set: clears it, prints "sync prefs" and re-synchronises the domain.
void checkPrefSync();

// JPEG quality of thumbnails: "ThumbnailQuality" 0, 1, 2 give 30, 50, 70; anything else 50.
unsigned prefGetThumbnailQuality();
// JPEG quality of shrunk pictures: "ImageQuality" 0, 1, 2 give 50, 70, 90; anything else 90.
unsigned prefGetImageQuality();
// The size bound of the cache of made pictures, in megabytes: "CacheSizeMB", a whole number
// from 0 (nothing is kept) to 1048576 (larger values act as that); 512 when absent, negative or
// not a number.
uint64_t prefGetCacheSizeMB();
// "port", taken as a signed integer with no range check; 8080 by default.
int prefGetPortNumber();
// "title"; "Tessellan - untitled" when absent, empty or not a string.
CFString_t prefGetServerName();
// "siteLayout", a usable layout name (see prefLayoutNameUsable). When absent, not a string or
// unusable, prints "setting layout to default", stores "Default" in the domain, writes it out,
// and returns "Default".
CFString_t prefGetLayout();
// Whether name (UTF-8) can name a layout folder: a single path component, so not empty, not
// "." or "..", and without "/" or a NUL byte.
bool prefLayoutNameUsable(std::string_view name);
// "auth", "user", "pass": enabled only when "auth" is true and both strings are present. On a
// failure the enabled flag is false and user and pass are left empty.
void prefGetAuthInfo(bool& enabled, std::string& user, std::string& pass);
