// LibraryRegistry.h - which photo libraries are published, and the lib... facade over them.
//
// The registry keeps nothing: every call copies the "libraries" preference again (an array of
// entry dictionaries with "id", "name", "path", "albums", "FullSizeDownload", "albumConfig")
// and finds the entry by its "id" number, never by position; when two entries share an id the
// first wins. Errors are std::runtime_error from throwRTE: no preference gives the array
// wrapper's null message, an unknown id "(In withLibrary_do) : couldn't find library with id
// N", a missing required key "dictionary doesn't have key '...'".
//
// Access rule: thumbnail paths and media types are served only for albums listed in the
// entry's "albums"; photo lists and album names for any album of the library.
#pragma once

#include "cf/cftempl.h"
#include "library/PhotoLibrary.h"

#include <cstdint>
#include <optional>
#include <vector>

// One row of the library listing.
struct LibraryInfo {
    LibraryInfo() : name(""), id(0), fullSizeDownload(false) {}
    LibraryInfo(const CFString_t& name, uint32_t id, bool fullSizeDownload)
        : name(name), id(id), fullSizeDownload(fullSizeDownload) {}

    CFString_t name;       // "name"
    uint32_t id;           // "id"
    bool fullSizeDownload; // "FullSizeDownload", false when absent
};

// Prepares the registry; always true.
bool libInit();
// Releases the registry; nothing to do.
void libTerm();
// Re-reads the preferences domain (after a SIGHUP). Returns whether it could be read.
bool libSync();

// A fresh copy of the "libraries" preference.
CFArray_t<CFDictionary_t> getLibArray();

// Calls callback(copy of the entry, output) for the first entry whose "id" is id. An entry
// before it without "id" throws that key's message; no such entry throws "couldn't find
// library with id %u".
template <class Callback, class Output>
void withLibrary_do(unsigned long id, Callback callback, Output& output) {
    CFArray_t<CFDictionary_t> libraries = getLibArray();
    for (CFIndex i = 0; i < libraries.count(); ++i) {
        CFDictionary_t entry = libraries.elem(i);
        if (unsigned(entry.get<CFNumber_t>(CFSTR("id"))) == id) {
            callback(entry, output);
            return;
        }
    }
    throwRTE("withLibrary_do", "couldn't find library with id %u", unsigned(id));
}

// The callbacks of withLibrary_do.
// Hands out the entry itself (retained by the optional, so it outlives the array copy).
void getLD(CFDictionary_t entry, std::optional<CFDictionary_t>& details);
// The cached library of the entry's "path" (required), or null when it has no album file.
void getPL(CFDictionary_t entry, PhotoLibrary*& library);
// The entry's "FullSizeDownload" (required).
void getFSD(CFDictionary_t entry, bool& fullSizeDownload);
// Appends the album dictionaries of the entry's "albums" (required) in their order. When the
// library's folder has no album file, prints "Couldn't find library '<path>'\n" and appends
// nothing. An album id the library lacks throws "couldn't find album with id %u".
void getAIL(CFDictionary_t entry, std::vector<CFDictionary_t>& albums);

// The library entry with this id.
CFDictionary_t getLibraryDetails(unsigned long library);
// Replaces list with one row per entry, in preference order. On a failure to read the
// preference the list is untouched.
void libGetLibraryInfo(std::vector<LibraryInfo>& list);
// Replaces albums with the library's published album dictionaries (see getAIL).
void libGetAlbumsInLibrary(unsigned long library, std::vector<CFDictionary_t>& albums);
// The entry's "FullSizeDownload"; throws when the key is absent.
bool libFullSizeDownload(unsigned long library);
// The album's "AlbumName", published or not; empty when the library has no album file.
CFString_t libGetAlbumName(unsigned long library, unsigned album);
// The photo's "ThumbPath" (thumbnail) or "ImagePath"; empty when the album is not published
// or the library has no album file.
CFString_t libGetImagePath(unsigned long library, unsigned album, unsigned photo, bool thumbnail);
// The photo's "MediaType". Throws "(In libGetMediaType) : couldn't find album with id %u" when
// the album is not published or the library has no album file.
CFString_t libGetMediaType(unsigned long library, unsigned album, unsigned photo);
// Appends the album's records (any album of the library; the list is not cleared). When the
// library has no album file, prints "Library <id> doesn't exist! URL must have been invalid"
// (no line end) and leaves the list alone.
void libGetPhotoList(unsigned long library, unsigned album, std::vector<PhotoInfo>& list);
// The library's major version; 0 when it has no album file.
unsigned libGetMajorVersion(unsigned long library);
