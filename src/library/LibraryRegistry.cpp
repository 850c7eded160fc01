// LibraryRegistry.cpp - the library registry and its facade.
#include "library/LibraryRegistry.h"

#include "library/LibraryEntries.h"

#include <cstdio>

namespace {

// The cached library of the entry's "path" (required); null when it has no loadable album file.
PhotoLibrary* libraryOf(const LibraryEntry& entry) {
    return PhotoLibrary::getLibrary(entry.requirePath());
}

// The snapshot of the entry's library when album is one of its published albums, else null
// (after "Couldn't find library" when the library has no album file). Every published album
// must exist: a missing one throws "couldn't find album with id %u".
std::shared_ptr<const AlbumSnapshot> publishedSnapshot(const LibraryEntry& entry, unsigned album) {
    PhotoLibrary* library = libraryOf(entry);
    if (!library) {
        printf("Couldn't find library '%s'\n", entry.path.c_str());
        return nullptr;
    }
    std::shared_ptr<const AlbumSnapshot> snapshot = library->snapshot();
    for (unsigned published : entry.requireAlbums())
        snapshot->requireAlbum(published);
    return entry.publishes(album) ? snapshot : nullptr;
}

// The snapshot of the library of entry after checking that album is published (an unpublished
// album throws what a missing one throws); null after the "doesn't exist" line when the
// library has no album file.
std::shared_ptr<const AlbumSnapshot> listedSnapshot(unsigned long id, unsigned album) {
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    const LibraryEntry& entry = entries->find(id);
    PhotoLibrary* library = libraryOf(entry);
    if (!library) {
        printf("Library %d doesn't exist! URL must have been invalid", int(id));
        return nullptr;
    }
    std::shared_ptr<const AlbumSnapshot> snapshot = library->snapshot();
    if (!entry.publishes(album)) snapshot->throwMissingAlbum(album);
    return snapshot;
}

} // namespace

CFDictionary_t libraryEntry(unsigned long id) {
    return LibraryEntries::current()->find(id).dict;
}

PhotoLibrary* PhotoLibrary::getLibrary(unsigned long id) {
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    return libraryOf(entries->find(id));
}

void libGetLibraryInfo(std::vector<LibraryInfo>& list) {
    CFArray_t<CFDictionary_t> libraries = LibraryEntries::current()->array();
    list.clear();
    for (CFIndex i = 0; i < libraries.count(); ++i) {
        CFDictionary_t entry = libraries.elem(i);
        CFString_t name = entry.get<CFString_t>(CFSTR("name"));
        unsigned id = entry.get<CFNumber_t>(CFSTR("id"));
        bool fullSizeDownload = false;
        CFTypeRef value;
        if (CFDictionaryGetValueIfPresent(entry, CFSTR("FullSizeDownload"), &value))
            fullSizeDownload = CFBooleanGetValue(CFBoolean_t(value, CFBoolean_t::Get));
        list.push_back(LibraryInfo(name, id, fullSizeDownload));
    }
}

void libGetAlbumsInLibrary(unsigned long library, std::vector<CFDictionary_t>& albums) {
    albums.clear();
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    const LibraryEntry& entry = entries->find(library);
    PhotoLibrary* photos = libraryOf(entry);
    if (!photos) {
        printf("Couldn't find library '%s'\n", entry.path.c_str());
        return;
    }
    std::shared_ptr<const AlbumSnapshot> snapshot = photos->snapshot();
    for (unsigned album : entry.requireAlbums())
        albums.push_back(snapshot->albumInfo(album));
}

bool libFullSizeDownload(unsigned long library) {
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    return CFBooleanGetValue(
        entries->find(library).dict.get<CFBoolean_t>(CFSTR("FullSizeDownload")));
}

CFString_t libGetAlbumName(unsigned long library, unsigned album) {
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    const LibraryEntry& entry = entries->find(library);
    PhotoLibrary* photos = libraryOf(entry);
    if (!photos) return CFString_t("");
    std::shared_ptr<const AlbumSnapshot> snapshot = photos->snapshot();
    if (!entry.publishes(album)) snapshot->throwMissingAlbum(album);
    return snapshot->albumInfo(album).get<CFString_t>(CFSTR("AlbumName"));
}

CFString_t libGetImagePath(unsigned long library, unsigned album, unsigned photo, bool thumbnail) {
    std::shared_ptr<const LibraryEntries> entries = LibraryEntries::current();
    std::shared_ptr<const AlbumSnapshot> snapshot =
        publishedSnapshot(entries->find(library), album);
    if (!snapshot) return CFString_t("");
    return snapshot->photoPath(album, photo, thumbnail);
}

void libGetPhotoList(unsigned long library, unsigned album, std::vector<PhotoInfo>& list) {
    std::shared_ptr<const AlbumSnapshot> snapshot = listedSnapshot(library, album);
    if (snapshot) snapshot->appendPhotoList(album, list);
}

std::optional<AlbumPhotos> libGetAlbumPhotos(unsigned long library, unsigned album) {
    std::shared_ptr<const AlbumSnapshot> snapshot = listedSnapshot(library, album);
    if (!snapshot) return std::nullopt;
    return AlbumSnapshot::photos(snapshot, album);
}
