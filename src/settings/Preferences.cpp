// Preferences.cpp - the preference readers and the SIGHUP re-synchronisation.
#include "settings/Preferences.h"

#include "settings/PreferenceStore.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <stdexcept>

std::atomic<bool> syncPrefs{false};

namespace {

std::atomic<uint64_t> hangups{0}; // SIGHUPs received

} // namespace

bool sigHup(int) {
    ++hangups;
    return !syncPrefs.exchange(true);
}

void checkPrefSync() {
    if (!syncPrefs.exchange(false)) return;
    puts("sync prefs");
    CFPreferencesAppSynchronize(appID);
}

uint64_t prefGeneration() {
    // Both counts only grow, so their sum moves on with either: at the SIGHUP, and again once
    // the file has been read.
    return CFPreferencesChangeCount() + hangups.load();
}

// Reads key as the wrapper W; throws when absent or of another type.
template <class W> static W readPref(CFStringRef key) {
    return W(CFPreferencesCopyAppValue(key, appID), W::Create);
}

// The value of key when it is of W's type (whose type id is type), or nothing. Readers of settings
// read on every request use it, so that an absent setting costs no exception.
template <class W> static std::optional<W> findPref(CFStringRef key, CFTypeID type) {
    CFTypeRef value = CFPreferencesCopyAppValue(key, appID);
    if (value && CFGetTypeID(value) == type) return W(value, W::Create);
    if (value) CFRelease(value);
    return std::nullopt;
}

// The quality for the level stored under key: values[level] for levels 0 to 2, else def.
static unsigned qualityFor(CFStringRef key, const unsigned (&values)[3], unsigned def) {
    std::optional<CFNumber_t> level = findPref<CFNumber_t>(key, CFNumberGetTypeID());
    return level && unsigned(*level) < 3 ? values[unsigned(*level)] : def;
}

unsigned prefGetThumbnailQuality() {
    static const unsigned qualityValues[] = {30, 50, 70};
    return qualityFor(CFSTR("ThumbnailQuality"), qualityValues, 50);
}

unsigned prefGetImageQuality() {
    static const unsigned qualityValues[] = {50, 70, 90};
    return qualityFor(CFSTR("ImageQuality"), qualityValues, 90);
}

uint64_t prefGetCacheSizeMB() {
    try {
        int megabytes = readPref<CFNumber_t>(CFSTR("CacheSizeMB"));
        return megabytes < 0 ? 512 : uint64_t(std::min(megabytes, 1 << 20));
    } catch (...) {
        return 512;
    }
}

int prefGetPortNumber() {
    static const CFStringRef key = CFSTR("port");
    try {
        return readPref<CFNumber_t>(key);
    } catch (...) {
        return 8080;
    }
}

CFString_t prefGetServerName() {
    try {
        CFString_t title = readPref<CFString_t>(CFSTR("title"));
        if (CFStringGetLength(title) >= 1) return title;
    } catch (...) {
    }
    return CFString_t("Tessellan - untitled");
}

CFString_t prefGetLayout() {
    static const CFString_t key("siteLayout");
    static const CFString_t def("Default");
    try {
        CFString_t layout = readPref<CFString_t>(key);
        if (prefLayoutNameUsable(CFStringGetUTF8(layout))) return layout;
        throw std::invalid_argument("unusable layout name");
    } catch (...) {
        puts("setting layout to default");
        CFPreferencesSetAppValue(key, def, appID);
        CFPreferencesAppSynchronize(appID);
        return def;
    }
}

bool prefLayoutNameUsable(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

void prefGetAuthInfo(bool& enabled, std::string& user, std::string& pass) {
    static const CFString_t keyAuth("auth");
    static const CFStringRef keyUser = CFSTR("user");
    static const CFStringRef keyPass = CFSTR("pass");
    user.clear();
    pass.clear();
    std::optional<CFBoolean_t> auth = findPref<CFBoolean_t>(keyAuth, CFBooleanGetTypeID());
    if (!auth || !CFBooleanGetValue(*auth)) {
        enabled = false;
        return;
    }
    try {
        CFString_t userValue = readPref<CFString_t>(keyUser);
        CFString_t passValue = readPref<CFString_t>(keyPass);
        pass = toString(passValue);
        user = toString(userValue);
        enabled = true;
    } catch (...) {
        enabled = false;
    }
}
