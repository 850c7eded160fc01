// Preferences.cpp - the preference readers and the SIGHUP re-synchronisation.
#include "server/Preferences.h"

#include "library/LibraryRegistry.h"
#include "server/PreferenceStore.h"

#include <cstdio>

volatile sig_atomic_t syncPrefs = 0;

void sigHup(int) {
    syncPrefs = 1;
}

void checkPrefSync() {
    if (!syncPrefs) return;
    syncPrefs = 0;
    puts("sync prefs");
    libSync();
}

// Reads key as the wrapper W; throws when absent or of another type.
template <class W> static W readPref(CFStringRef key) {
    return W(CFPreferencesCopyAppValue(key, appID), W::Create);
}

// Whether key holds a value of W's type. Readers ask first so that the common case of an
// absent setting costs no exception on every request.
template <class W> static bool hasPref(CFStringRef key, CFTypeID type) {
    CFTypeRef value = CFPreferencesCopyAppValue(key, appID);
    if (!value) return false;
    bool matches = CFGetTypeID(value) == type;
    CFRelease(value);
    return matches;
}

unsigned prefGetThumbnailQuality() {
    static const unsigned qualityValues[] = {30, 50, 70};
    checkPrefSync();
    if (!hasPref<CFNumber_t>(CFSTR("ThumbnailQuality"), CFNumberGetTypeID())) return 50;
    try {
        unsigned level = readPref<CFNumber_t>(CFSTR("ThumbnailQuality"));
        if (level < 3) return qualityValues[level];
    } catch (...) {
    }
    return 50;
}

unsigned prefGetImageQuality() {
    static const unsigned qualityValues[] = {50, 70, 90};
    checkPrefSync();
    if (!hasPref<CFNumber_t>(CFSTR("ImageQuality"), CFNumberGetTypeID())) return 90;
    try {
        unsigned level = readPref<CFNumber_t>(CFSTR("ImageQuality"));
        if (level < 3) return qualityValues[level];
    } catch (...) {
    }
    return 90;
}

int prefGetPortNumber() {
    static const CFStringRef key = CFSTR("port");
    checkPrefSync();
    try {
        return readPref<CFNumber_t>(key);
    } catch (...) {
        return 8080;
    }
}

CFString_t prefGetServerName() {
    checkPrefSync();
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
    checkPrefSync();
    try {
        return readPref<CFString_t>(key);
    } catch (...) {
        puts("setting layout to default");
        CFPreferencesSetAppValue(key, def, appID);
        CFPreferencesAppSynchronize(appID);
        return def;
    }
}

void prefGetAuthInfo(bool& enabled, std::string& user, std::string& pass) {
    static const CFString_t keyAuth("auth");
    static const CFStringRef keyUser = CFSTR("user");
    static const CFStringRef keyPass = CFSTR("pass");
    checkPrefSync();
    user.clear();
    pass.clear();
    if (!hasPref<CFBoolean_t>(keyAuth, CFBooleanGetTypeID())) {
        enabled = false;
        return;
    }
    try {
        CFBoolean_t auth = readPref<CFBoolean_t>(keyAuth);
        if (!CFBooleanGetValue(auth)) {
            enabled = false;
            return;
        }
        CFString_t userValue = readPref<CFString_t>(keyUser);
        CFString_t passValue = readPref<CFString_t>(keyPass);
        pass = toString(passValue);
        user = toString(userValue);
        enabled = true;
    } catch (...) {
        enabled = false;
    }
}
