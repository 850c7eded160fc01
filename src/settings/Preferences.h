// Preferences.h - the readers of the server's settings, each with its fixed default.
//
// Settings are read from the preferences domain on every call, never cached. A SIGHUP makes the
// domain be read again once (sigHup, checkPrefSync); readers never look at the signal. No reader
// throws: a value that is absent, of another type or unusable gives the default.
#pragma once

#include "cf/cftempl.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

// Whether a SIGHUP asked for the domain to be read again and no re-read has started since. Any
// thread (an atomic).
extern std::atomic<bool> syncPrefs;

// A SIGHUP was received (on the loop thread, which libuv delivers signals to): sets syncPrefs.
// Returns true when it was not set yet. The caller then has checkPrefSync run once, off the loop;
// SIGHUPs that come before that run starts ask for nothing more.
bool sigHup(int signal);
// When syncPrefs is set: clears it, prints "sync prefs" and reads the domain again.
void checkPrefSync();
// A number that moves on at every SIGHUP and whenever the domain changes
// (CFPreferencesChangeCount), so that what was derived from the settings before either is not
// used after it. Never goes back. Any thread.
uint64_t prefGeneration();

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
