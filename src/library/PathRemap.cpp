// PathRemap.cpp - resolving stored paths against the library folder.
#include "library/PathRemap.h"

#include <string_view>

namespace {

// The units of s, whichever way it is stored.
struct Units {
    explicit Units(CFStringRef s)
        : narrow(CFStringGetLatin1Ptr(s)), wide(CFStringGetCharactersPtr(s)),
          length(CFStringGetLength(s)) {}
    UniChar operator[](CFIndex i) const { return narrow ? narrow[i] : wide[i]; }

    const uint8_t* narrow;
    const UniChar* wide;
    CFIndex length;
};

std::u16string withoutTrailingSlashes(std::u16string text) {
    while (!text.empty() && text.back() == u'/')
        text.pop_back();
    return text;
}

} // namespace

PathRemap::PathRemap(CFStringRef archivePath, const std::string& folder)
    : hasArchive_(false), folderNarrow_(true) {
    if (archivePath && CFStringGetLength(archivePath) > 0) {
        Units units(archivePath);
        std::u16string text;
        for (CFIndex i = 0; i < units.length; ++i)
            text += char16_t(units[i]);
        archive_ = withoutTrailingSlashes(text);
        hasArchive_ = true;
    }
    CFString_t name = makeString(folder);
    Units units(name);
    std::u16string text;
    for (CFIndex i = 0; i < units.length; ++i)
        text += char16_t(units[i]);
    folder_ = withoutTrailingSlashes(text);
    for (char16_t unit : folder_)
        folderNarrow_ = folderNarrow_ && unit < 0x100;
}

CFStringRef PathRemap::copyResolved(CFStringRef stored) const {
    Units units(stored);
    if (units.length == 0) return static_cast<CFStringRef>(CFRetain(stored));
    if (units[0] != '/') return join(stored, 0, true);
    if (!hasArchive_) return static_cast<CFStringRef>(CFRetain(stored));
    CFIndex length = CFIndex(archive_.size());
    if (units.length < length) return static_cast<CFStringRef>(CFRetain(stored));
    for (CFIndex i = 0; i < length; ++i)
        if (units[i] != archive_[size_t(i)]) return static_cast<CFStringRef>(CFRetain(stored));
    if (units.length > length && units[length] != '/')
        return static_cast<CFStringRef>(CFRetain(stored));
    return join(stored, length, false);
}

CFStringRef PathRemap::join(CFStringRef stored, CFIndex from, bool slash) const {
    Units units(stored);
    size_t length = folder_.size() + (slash ? 1 : 0) + size_t(units.length - from);
    if (folderNarrow_ && units.narrow) {
        // Both halves are one byte a unit: build the string from Latin-1 bytes directly.
        thread_local std::string bytes;
        bytes.clear();
        bytes.reserve(length);
        for (char16_t unit : folder_)
            bytes += char(unit);
        if (slash) bytes += '/';
        bytes.append(reinterpret_cast<const char*>(units.narrow + from),
                     size_t(units.length - from));
        return CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()),
                                       kCFStringEncodingISOLatin1);
    }
    std::u16string text = folder_;
    text.reserve(length);
    if (slash) text += u'/';
    for (CFIndex i = from; i < units.length; ++i)
        text += char16_t(units[i]);
    return CFStringCreateWithCharacters(reinterpret_cast<const UniChar*>(text.data()),
                                        CFIndex(text.size()));
}
