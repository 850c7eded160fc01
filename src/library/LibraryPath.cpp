// LibraryPath.cpp - putting a resolved path together when it is asked for.
#include "library/LibraryPath.h"

#include <string>

namespace {

// The last component of a POSIX path as a file URL names it.
CFString_t lastPathComponent(CFStringRef path) {
    CFIndex end = CFStringGetLength(path);
    while (end > 1 && CFStringGetCharacterAtIndex(path, end - 1) == '/')
        --end;
    CFIndex start = end;
    while (start > 0 && CFStringGetCharacterAtIndex(path, start - 1) != '/')
        --start;
    if (start == end && end > 0) return CFString_t("/");
    if (const uint8_t* narrow = CFStringGetLatin1Ptr(path))
        return CFString_t(
            CFStringCreateWithBytes(narrow + start, end - start, kCFStringEncodingISOLatin1),
            CFString_t::Create);
    return CFString_t(
        CFStringCreateWithCharacters(CFStringGetCharactersPtr(path) + start, end - start),
        CFString_t::Create);
}

} // namespace

CFString_t LibraryPath::resolved() const {
    if (!folder_) return stored_;
    CFStringRef folder = *folder_;
    size_t head = size_t(CFStringGetLength(folder));
    size_t rest = size_t(CFStringGetLength(stored_)) - from_;
    const uint8_t* narrowFolder = CFStringGetLatin1Ptr(folder);
    const uint8_t* narrow = CFStringGetLatin1Ptr(stored_);
    if (narrowFolder && narrow) {
        // Both halves are one byte a unit: the string is made from Latin-1 bytes directly.
        std::string bytes;
        bytes.reserve(head + 1 + rest);
        bytes.append(reinterpret_cast<const char*>(narrowFolder), head);
        if (slash_) bytes += '/';
        bytes.append(reinterpret_cast<const char*>(narrow + from_), rest);
        return CFString_t(CFStringCreateWithBytes(bytes.data(), CFIndex(bytes.size()),
                                                  kCFStringEncodingISOLatin1),
                          CFString_t::Create);
    }
    std::u16string text(head + (slash_ ? 1 : 0) + rest, u'/');
    auto* units = reinterpret_cast<UniChar*>(text.data());
    CFStringGetCharacters(folder, CFRange{0, CFIndex(head)}, units);
    CFStringGetCharacters(stored_, CFRange{CFIndex(from_), CFIndex(rest)},
                          units + head + (slash_ ? 1 : 0));
    return CFString_t(CFStringCreateWithCharacters(units, CFIndex(text.size())),
                      CFString_t::Create);
}

CFString_t LibraryPath::lastComponent() const {
    // The tail after the folder starts at a "/" (one stored or one put between), so when it
    // holds anything but slashes its last component is the stored path's own.
    CFIndex length = CFStringGetLength(stored_);
    for (CFIndex i = CFIndex(from_); i < length; ++i)
        if (CFStringGetCharacterAtIndex(stored_, i) != '/') return lastPathComponent(stored_);
    return lastPathComponent(resolved());
}
