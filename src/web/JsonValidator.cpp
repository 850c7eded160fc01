// JsonValidator.cpp - one tag for the JSON API, from the files its replies are made of.
#include "web/JsonValidator.h"

#include "library/LibraryRegistry.h"
#include "settings/PreferenceStore.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// FNV-1a over the bytes of values, one after another.
struct Hash {
    uint64_t value = 1469598103934665603ull;
    void add(uint64_t number) {
        for (int i = 0; i < 8; ++i) {
            value ^= (number >> (8 * i)) & 0xFF;
            value *= 1099511628211ull;
        }
    }
};

// Adds the file's version to hash; returns its modification time (0 when absent).
time_t addFile(Hash& hash, const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        hash.add(0);
        return 0;
    }
    hash.add(info.st_dev);
    hash.add(info.st_ino);
    hash.add(uint64_t(info.st_size));
    hash.add(uint64_t(info.st_mtim.tv_sec) * 1000000000ull + uint64_t(info.st_mtim.tv_nsec));
    return info.st_mtim.tv_sec;
}

// When this server started: a reply made by an earlier run may differ (another version, locale
// or time zone).
time_t started() {
    static const time_t when = time(nullptr);
    return when;
}

} // namespace

Validator JsonValidator() {
    Hash hash;
    time_t newest = std::max(started(), addFile(hash, CFPreferencesGetPath()));
    std::vector<LibraryInfo> libraries;
    try {
        libGetLibraryInfo(libraries);
    } catch (const std::exception&) {
    }
    for (const LibraryInfo& library : libraries) {
        hash.add(library.id);
        try {
            CFDictionary_t entry = libraryEntry(library.id);
            std::string folder = CFStringGetUTF8(entry.get<CFString_t>(CFSTR("path")));
            newest = std::max(newest, addFile(hash, folder + PhotoLibrary::baseName));
        } catch (const std::exception&) {
            hash.add(1);
        }
    }
    char tag[48];
    snprintf(tag, sizeof tag, "\"j%llx-%016llx\"", (unsigned long long)started(),
             (unsigned long long)hash.value);
    Validator validator;
    validator.etag = tag;
    validator.lastModified = newest;
    return validator;
}
