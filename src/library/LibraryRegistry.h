// LibraryRegistry.h - which photo libraries are published, and the lib... facade over them.
//
// The "libraries" preference is an array of entry dictionaries with "id", "name", "path",
// "albums", "FullSizeDownload", "albumConfig". Entries are found by their "id" number, never by
// position; when two entries share an id the first wins. The parsed preference is cached until
// the preferences change (see LibraryEntries). Errors are std::runtime_error from throwRTE: no
// preference gives the array wrapper's null message, an unknown id "(In withLibrary_do) :
// couldn't find library with id N", a missing required key "dictionary doesn't have key '...'".
//
// Access rule: the facade sees only the albums listed in the entry's "albums". An album that is
// not published is answered exactly as an album the library does not have: photo lists, album
// names and the records of libGetAlbumPhotos throw what a missing album throws, paths are
// empty and media types throw "couldn't find album with id %u".
//
// Threads: every function may be called from any thread at once, also while another thread
// re-reads the preferences or an album file reloads.
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

// The first entry whose "id" is id (a copy the caller keeps). An entry before it without "id"
// throws that key's message; no such entry throws "(In withLibrary_do) : couldn't find library
// with id %u".
CFDictionary_t libraryEntry(unsigned long id);

// Replaces list with one row per entry, in preference order. On a failure to read the
// preference the list is untouched.
void libGetLibraryInfo(std::vector<LibraryInfo>& list);
// Replaces albums with the library's published album dictionaries, in their order. The entry's
// "path" and "albums" are required (their messages are thrown). When the library's folder has
// no album file, prints "Couldn't find library '<path>'\n" and leaves albums empty. An album id
// the library lacks throws "couldn't find album with id %u".
void libGetAlbumsInLibrary(unsigned long library, std::vector<CFDictionary_t>& albums);
// The entry's "FullSizeDownload"; throws when the key is absent.
bool libFullSizeDownload(unsigned long library);
// The published album's "AlbumName"; empty when the library has no album file.
CFString_t libGetAlbumName(unsigned long library, unsigned album);
// The photo's "ThumbPath" (thumbnail) or "ImagePath", resolved (see PathRemap); empty when the
// album is not published or the library has no album file (after printing "Couldn't find
// library '<path>'\n").
CFString_t libGetImagePath(unsigned long library, unsigned album, unsigned photo, bool thumbnail);
// Appends the published album's records (the list is not cleared). When the library has no
// album file, prints "Library <id> doesn't exist! URL must have been invalid" (no line end)
// and leaves the list alone.
void libGetPhotoList(unsigned long library, unsigned album, std::vector<PhotoInfo>& list);
// The published album's records without copying them: what libGetPhotoList would append, with
// the same errors and the same printed line (then nullopt) when the library has no album
// file. Costs the same for 20 photos as for 50,000; the records stay valid while the result
// lives, whatever reloads happen meanwhile.
std::optional<AlbumPhotos> libGetAlbumPhotos(unsigned long library, unsigned album);
