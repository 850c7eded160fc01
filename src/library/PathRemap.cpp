// PathRemap.cpp - resolving stored paths against the library folder.
//
// Album files hold tens of thousands of paths and every one is mapped at load, so the work per
// path is kept to a block comparison of the archive path: no string is made until a path is
// read.
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

// folder without trailing slashes.
CFString_t folderString(const std::string& folder) {
    std::u16string units = unitsWithoutTrailingSlashes(makeString(folder));
    return CFString_t(CFStringCreateWithCharacters(reinterpret_cast<const UniChar*>(units.data()),
                                                   CFIndex(units.size())),
                      CFString_t::Create);
}

} // namespace

PathRemap::PathRemap(CFStringRef archivePath, const std::string& folder)
    : hasArchive_(archivePath && CFStringGetLength(archivePath) > 0),
      folder_(folderString(folder)) {
    if (hasArchive_) {
        archive_ = unitsWithoutTrailingSlashes(archivePath);
        archiveNarrow_ = narrowed(archive_, archiveBytes_);
    }
}

LibraryPath PathRemap::map(CFStringRef stored) const {
    const uint8_t* narrow = CFStringGetLatin1Ptr(stored);
    const UniChar* wide = narrow ? nullptr : CFStringGetCharactersPtr(stored);
    size_t length = size_t(CFStringGetLength(stored));
    if (length == 0) return LibraryPath(stored);
    if ((narrow ? narrow[0] : wide[0]) != '/') return LibraryPath(stored, folder_, 0, true);
    if (!hasArchive_) return LibraryPath(stored);
    size_t prefix = archive_.size();
    if (length < prefix) return LibraryPath(stored);
    // A narrow string can only begin with an archive path whose units all fit in a byte.
    bool same = narrow ? archiveNarrow_ && memcmp(narrow, archiveBytes_.data(), prefix) == 0
                       : memcmp(wide, archive_.data(), prefix * sizeof(UniChar)) == 0;
    if (!same) return LibraryPath(stored);
    if (length > prefix && (narrow ? narrow[prefix] : wide[prefix]) != '/')
        return LibraryPath(stored);
    return LibraryPath(stored, folder_, uint32_t(prefix), false);
}
