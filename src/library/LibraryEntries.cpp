// LibraryEntries.cpp - parsing and caching the "libraries" preference.
#include "library/LibraryEntries.h"
#include "library/ThrownBy.h"

#include "settings/PreferenceStore.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <stdexcept>

namespace {

bool isA(CFTypeRef value, CFTypeID type) {
    return value && CFGetTypeID(value) == type;
}

} // namespace

bool LibraryEntry::publishes(unsigned album) const {
    return hasAlbums && std::find(albums.begin(), albums.end(), album) != albums.end();
}

std::optional<LibraryEntry> LibraryEntry::parse(CFTypeRef value) {
    if (!isA(value, kCFDictionaryTypeID)) return std::nullopt;
    auto dict = static_cast<CFDictionaryRef>(value);
    CFTypeRef id = CFDictionaryGetValue(dict, CFSTR("id"));
    if (!isA(id, kCFNumberTypeID)) return std::nullopt;
    LibraryEntry entry(CFDictionary_t(dict, CFDictionary_t::Get));
    entry.id = unsigned(CFNumber_t(id, CFNumber_t::Get));
    CFTypeRef name = CFDictionaryGetValue(dict, CFSTR("name"));
    if (isA(name, kCFStringTypeID)) entry.name = toString(static_cast<CFStringRef>(name));
    CFTypeRef path = CFDictionaryGetValue(dict, CFSTR("path"));
    if (isA(path, kCFStringTypeID)) {
        entry.hasPath = true;
        entry.path = toString(static_cast<CFStringRef>(path));
    }
    CFTypeRef albums = CFDictionaryGetValue(dict, CFSTR("albums"));
    if (isA(albums, kCFArrayTypeID)) {
        auto list = static_cast<CFArrayRef>(albums);
        entry.hasAlbums = true;
        for (CFIndex j = 0; j < CFArrayGetCount(list) && entry.hasAlbums; ++j) {
            CFTypeRef album = CFArrayGetValueAtIndex(list, j);
            entry.hasAlbums = isA(album, kCFNumberTypeID);
            if (entry.hasAlbums) entry.albums.push_back(CFNumber_t(album, CFNumber_t::Get));
        }
        if (!entry.hasAlbums) entry.albums.clear();
    }
    CFTypeRef full = CFDictionaryGetValue(dict, CFSTR("FullSizeDownload"));
    entry.fullSizeDownload =
        isA(full, kCFBooleanTypeID) && CFBooleanGetValue(static_cast<CFBooleanRef>(full));
    return entry;
}

const std::string& LibraryEntry::requirePath() const {
    if (!hasPath) (void)dict.get<CFString_t>(CFSTR("path")); // throws its message
    return path;
}

const std::vector<unsigned>& LibraryEntry::requireAlbums() const {
    if (!hasAlbums) { // throws the message of the array, or of its first element that is no number
        NumArray listed = dict.get<NumArray>(CFSTR("albums"));
        for (CFIndex i = 0; i < listed.count(); ++i)
            (void)unsigned(listed.elem(i));
    }
    return albums;
}

LibraryEntries::LibraryEntries(CFTypeRef libraries, uint64_t changeCount)
    : changeCount_(changeCount), libraries_(libraries ? CFRetain(libraries) : nullptr) {
    if (!isA(libraries, kCFArrayTypeID)) {
        arrayError_ =
            thrownBy([&] { CFArray_t<CFDictionary_t>(libraries, CFArray_t<CFDictionary_t>::Get); });
        return;
    }
    CFArray_t<CFDictionary_t> array(libraries, CFArray_t<CFDictionary_t>::Get);
    for (CFIndex i = 0; i < array.count(); ++i) {
        std::optional<LibraryEntry> entry = LibraryEntry::parse(CFArrayGetValueAtIndex(array, i));
        if (!entry) {
            // Every lookup of an id not found before this entry stops here.
            blockedError_ = thrownBy([&] { array.elem(i).get<CFNumber_t>(CFSTR("id")); });
            break;
        }
        byId_.emplace(entry->id, entries_.size());
        entries_.push_back(std::move(*entry));
    }
}

LibraryEntries::~LibraryEntries() {
    if (libraries_) CFRelease(libraries_);
}

std::shared_ptr<const LibraryEntries> LibraryEntries::current() {
    static std::mutex mutex;
    static std::shared_ptr<const LibraryEntries> cached;
    // Read before the preference: a change that lands in between moves the count again, so the
    // next call parses once more rather than keeping a stale parse.
    uint64_t count = CFPreferencesChangeCount();
    {
        std::lock_guard lock(mutex);
        if (cached && cached->changeCount_ == count) return cached;
    }
    CFTypeRef libraries = CFPreferencesCopyAppValue(CFSTR("libraries"), appID);
    auto parsed = std::make_shared<const LibraryEntries>(libraries, count);
    if (libraries) CFRelease(libraries);
    std::lock_guard lock(mutex);
    if (!cached || cached->changeCount_ <= count) cached = parsed;
    return parsed;
}

CFArray_t<CFDictionary_t> LibraryEntries::array() const {
    if (!arrayError_.empty()) throw std::runtime_error(arrayError_);
    return CFArray_t<CFDictionary_t>(libraries_, CFArray_t<CFDictionary_t>::Get);
}

const LibraryEntry& LibraryEntries::find(unsigned long id) const {
    if (!arrayError_.empty()) throw std::runtime_error(arrayError_);
    if (id <= std::numeric_limits<unsigned>::max()) {
        auto found = byId_.find(unsigned(id));
        if (found != byId_.end()) return entries_[found->second];
    }
    if (!blockedError_.empty()) throw std::runtime_error(blockedError_);
    throwRTE("withLibrary_do", "couldn't find library with id %u", unsigned(id));
}
