// PathRemap.cpp - resolving stored paths against the library folder.
//
// Album files hold tens of thousands of paths and every one is resolved at load, so the work per
// path is kept to a block comparison of the archive path and one allocation, the new string's
// own: the joined units are gathered in a per-thread buffer that keeps its room between calls.
#include "library/PathRemap.h"

#include <cstring>

namespace {

// The units of s as UTF-16, without trailing slashes.
std::u16string unitsWithoutTrailingSlashes(CFStringRef s) {
    CFIndex length = CFStringGetLength(s);
    std::u16string text(size_t(length), u'\0');
    if (length > 0)
        CFStringGetCharacters(s, CFRange{0, length}, reinterpret_cast<UniChar*>(text.data()));
    while (!text.empty() && text.back() == u'/')
        text.pop_back();
    return text;
}

// text as one byte a unit, or false when some unit is above 0xFF.
bool narrowed(const std::u16string& text, std::string& bytes) {
    bytes.resize(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] > 0xFF) return false;
        bytes[i] = char(text[i]);
    }
    return true;
}

CFStringRef retained(CFStringRef s) {
    return static_cast<CFStringRef>(CFRetain(s));
}

} // namespace

PathRemap::PathRemap(CFStringRef archivePath, const std::string& folder)
    : hasArchive_(archivePath && CFStringGetLength(archivePath) > 0) {
    if (hasArchive_) {
        archive_ = unitsWithoutTrailingSlashes(archivePath);
        archiveNarrow_ = narrowed(archive_, archiveBytes_);
    }
    folder_ = unitsWithoutTrailingSlashes(makeString(folder));
    folderNarrow_ = narrowed(folder_, folderBytes_);
}

CFStringRef PathRemap::copyResolved(CFStringRef stored) const {
    const uint8_t* narrow = CFStringGetLatin1Ptr(stored);
    const UniChar* wide = narrow ? nullptr : CFStringGetCharactersPtr(stored);
    size_t length = size_t(CFStringGetLength(stored));
    if (length == 0) return retained(stored);
    if ((narrow ? narrow[0] : wide[0]) != '/') return join(stored, 0, true);
    if (!hasArchive_) return retained(stored);
    size_t prefix = archive_.size();
    if (length < prefix) return retained(stored);
    // A narrow string can only begin with an archive path whose units all fit in a byte.
    bool same = narrow ? archiveNarrow_ && memcmp(narrow, archiveBytes_.data(), prefix) == 0
                       : memcmp(wide, archive_.data(), prefix * sizeof(UniChar)) == 0;
    if (!same) return retained(stored);
    if (length > prefix && (narrow ? narrow[prefix] : wide[prefix]) != '/') return retained(stored);
    return join(stored, CFIndex(prefix), false);
}

CFStringRef PathRemap::join(CFStringRef stored, CFIndex from, bool slash) const {
    const uint8_t* narrow = CFStringGetLatin1Ptr(stored);
    size_t rest = size_t(CFStringGetLength(stored) - from);
    if (folderNarrow_ && narrow) {
        // Both halves are one byte a unit: the string is made from Latin-1 bytes directly.
        thread_local std::string bytes;
        bytes.assign(folderBytes_);
        if (slash) bytes += '/';
        bytes.append(reinterpret_cast<const char*>(narrow + from), rest);
        return CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()),
                                       kCFStringEncodingISOLatin1);
    }
    thread_local std::u16string text;
    text.assign(folder_);
    if (slash) text += u'/';
    size_t start = text.size();
    text.resize(start + rest);
    CFStringGetCharacters(stored, CFRange{from, CFIndex(rest)},
                          reinterpret_cast<UniChar*>(text.data() + start));
    return CFStringCreateWithCharacters(reinterpret_cast<const UniChar*>(text.data()),
                                        CFIndex(text.size()));
}
