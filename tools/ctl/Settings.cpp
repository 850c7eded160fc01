// Settings.cpp - the preferences session: checking the file, library entries, saving, and
// telling the running server.
#include "ctl/Settings.h"

#include "app/RuntimeRecord.h"
#include "cf/CFPropertyList.h"
#include "ctl/Failure.h"
#include "ctl/Values.h"
#include "settings/PreferenceStore.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace ctl {

namespace {

std::vector<std::string>& storeLines() {
    static std::vector<std::string> lines;
    return lines;
}

void collect(const std::string& line) {
    storeLines().push_back(line);
}

// Refuses a file that exists but does not hold a dictionary property list.
void checkReadable(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) {
        if (errno == ENOENT) return;
        throw Refused("preferences file " + path + ": " + strerror(errno));
    }
    std::string why;
    if (S_ISDIR(info.st_mode)) {
        why = "it is a folder";
    } else if (std::ifstream in{path, std::ios::binary}; !in) {
        why = strerror(errno);
    } else {
        std::stringstream bytes;
        bytes << in.rdbuf();
        CFTypeRef root = CFPropertyListCreateFromXMLData(bytes.str(), &why);
        if (root && CFGetTypeID(root) != CFDictionaryGetTypeID())
            why = "the property list is not a dictionary";
        else if (root)
            why.clear();
        if (root) CFRelease(root);
    }
    if (!why.empty())
        throw Refused("preferences file " + path + " cannot be read (" + why +
                      "); it is left as it is");
}

template <class W> std::optional<W> typed(CFStringRef key, CFTypeID type) {
    CFTypeRef value = CFPreferencesCopyAppValue(key, appID);
    if (value && CFGetTypeID(value) == type) return W(value, W::Create);
    if (value) CFRelease(value);
    return std::nullopt;
}

} // namespace

Settings::Settings(const std::string& path) : path_(path) {
    checkReadable(path);
    CFPreferencesSetReporter(collect);
    CFPreferencesSetPath(path);
    CFTypeRef probe = CFPreferencesCopyAppValue(CFSTR("title"), appID);
    if (probe) CFRelease(probe);
    storeLines().clear();
}

std::optional<CFString_t> Settings::string(CFStringRef key) const {
    return typed<CFString_t>(key, CFStringGetTypeID());
}

std::optional<int> Settings::integer(CFStringRef key) const {
    std::optional<CFNumber_t> number = typed<CFNumber_t>(key, CFNumberGetTypeID());
    if (!number) return std::nullopt;
    return int(*number);
}

std::optional<bool> Settings::boolean(CFStringRef key) const {
    std::optional<CFBoolean_t> value = typed<CFBoolean_t>(key, CFBooleanGetTypeID());
    if (!value) return std::nullopt;
    return CFBooleanGetValue(*value);
}

LibraryEntry readLibraryEntry(const CFDictionary_t& dict) {
    std::optional<LibraryEntry> entry = LibraryEntry::parse(dict);
    if (!entry)
        throw Refused("a library entry has no numeric \"id\"; fix the preferences file by hand");
    return std::move(*entry);
}

CFDictionary_t withAlbums(const LibraryEntry& entry) {
    std::vector<CFTypeRef> albums;
    for (uint32_t album : entry.albums)
        albums.push_back(newInteger(album));
    return CFDictionary_t(newDictionaryWith(entry.dict, {{"albums", newArray(albums)}}),
                          CFDictionary_t::Create);
}

std::vector<LibraryEntry> Settings::libraries() const {
    std::vector<LibraryEntry> entries;
    CFTypeRef value = CFPreferencesCopyAppValue(CFSTR("libraries"), appID);
    if (!value) return entries;
    bool isArray = CFGetTypeID(value) == CFArrayGetTypeID();
    for (CFIndex i = 0; isArray && i < CFArrayGetCount(static_cast<CFArrayRef>(value)); ++i) {
        CFTypeRef entry = CFArrayGetValueAtIndex(static_cast<CFArrayRef>(value), i);
        if (CFGetTypeID(entry) != CFDictionaryGetTypeID()) {
            isArray = false;
            break;
        }
        try {
            entries.push_back(readLibraryEntry(CFDictionary_t(entry, CFDictionary_t::Get)));
        } catch (...) {
            CFRelease(value);
            throw;
        }
    }
    CFRelease(value);
    if (!isArray)
        throw Refused("\"libraries\" in " + path_ +
                      " is not an array of dictionaries; fix it by hand");
    return entries;
}

LibraryEntry Settings::library(uint32_t id) const {
    for (LibraryEntry& entry : libraries())
        if (entry.id == id) return entry;
    throw Refused("there is no library " + std::to_string(id) + " (see tessellanctl library list)");
}

void Settings::set(CFStringRef key, CFTypeRef value) {
    CFPreferencesSetAppValue(key, value, appID);
    if (value) CFRelease(value);
}

void Settings::setLibraries(const std::vector<LibraryEntry>& entries) {
    std::vector<CFTypeRef> values;
    for (const LibraryEntry& entry : entries)
        values.push_back(CFRetain(entry.dict.get()));
    set(CFSTR("libraries"), newArray(values));
}

void Settings::replaceLibrary(const LibraryEntry& changed) {
    std::vector<LibraryEntry> entries = libraries();
    bool first = true; // the first entry with the id is the one the server uses
    for (LibraryEntry& entry : entries) {
        if (entry.id == changed.id && first) {
            entry.dict = withAlbums(changed);
            first = false;
        }
    }
    setLibraries(entries);
}

void Settings::save(std::ostream& out) {
    storeLines().clear();
    if (!CFPreferencesAppSynchronize(appID)) {
        throw Refused(storeLines().empty() ? "preferences file " + path_ +
                                                 " could not be written; it is left as it was"
                                           : storeLines().back());
    }
    std::optional<RuntimeRecord> server = RuntimeRecordFind(path_);
    if (!server) {
        out << "tessellan is not running with " << path_
            << "; it reads the change when it starts\n";
    } else if (kill(server->pid, SIGHUP) != 0) {
        out << "tessellan (process " << server->pid << ") could not be told to read the change ("
            << strerror(errno) << "); restart it\n";
    } else {
        out << "tessellan (process " << server->pid << ") reads the change now\n";
    }
}

CFTypeRef newDictionaryWith(CFDictionaryRef base,
                            const std::vector<std::pair<std::string_view, CFTypeRef>>& changes) {
    std::vector<CFTypeRef> keys, values;
    size_t count = base ? size_t(CFDictionaryGetCount(base)) : 0;
    std::vector<CFTypeRef> oldKeys(count), oldValues(count);
    if (base) CFDictionaryGetKeysAndValues(base, oldKeys.data(), oldValues.data());
    for (size_t i = 0; i < oldKeys.size(); ++i) {
        std::string key = CFStringGetUTF8(static_cast<CFStringRef>(oldKeys[i]));
        bool changed = false;
        for (const auto& change : changes)
            changed = changed || change.first == key;
        if (changed) continue;
        keys.push_back(CFRetain(oldKeys[i]));
        values.push_back(CFRetain(oldValues[i]));
    }
    for (const auto& [key, value] : changes) {
        if (!value) continue;
        keys.push_back(newString(key));
        values.push_back(value);
    }
    return _CFDictionaryCreateTakingPairs(keys.data(), values.data(), CFIndex(keys.size()));
}

} // namespace ctl
