// LibraryRegistry.cpp - the library registry and its facade.
#include "library/LibraryRegistry.h"

#include "settings/PreferenceStore.h"

#include <cstdio>

bool libInit() {
    return true;
}

void libTerm() {}

bool libSync() {
    return CFPreferencesAppSynchronize(appID);
}

CFArray_t<CFDictionary_t> getLibArray() {
    return CFArray_t<CFDictionary_t>(CFPreferencesCopyAppValue(CFSTR("libraries"), appID),
                                     CFArray_t<CFDictionary_t>::Create);
}

void getLD(CFDictionary_t entry, std::optional<CFDictionary_t>& details) {
    details.emplace(entry);
}

void getPL(CFDictionary_t entry, PhotoLibrary*& library) {
    library = PhotoLibrary::getLibrary(toString(entry.get<CFString_t>(CFSTR("path"))));
}

void getFSD(CFDictionary_t entry, bool& fullSizeDownload) {
    fullSizeDownload = CFBooleanGetValue(entry.get<CFBoolean_t>(CFSTR("FullSizeDownload")));
}

void getAIL(CFDictionary_t entry, std::vector<CFDictionary_t>& albums) {
    std::string path = toString(entry.get<CFString_t>(CFSTR("path")));
    PhotoLibrary* library = PhotoLibrary::getLibrary(path);
    if (!library) {
        printf("Couldn't find library '%s'\n", path.c_str());
        return;
    }
    NumArray published = entry.get<NumArray>(CFSTR("albums"));
    for (CFIndex i = 0; i < published.count(); ++i)
        albums.push_back(library->getAlbumInfo(unsigned(published.elem(i))));
}

PhotoLibrary* PhotoLibrary::getLibrary(unsigned long id) {
    PhotoLibrary* library = nullptr;
    withLibrary_do(id, getPL, library);
    return library;
}

CFDictionary_t getLibraryDetails(unsigned long library) {
    std::optional<CFDictionary_t> details;
    withLibrary_do(library, getLD, details);
    return *details;
}

void libGetLibraryInfo(std::vector<LibraryInfo>& list) {
    CFArray_t<CFDictionary_t> libraries = getLibArray();
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
    withLibrary_do(library, getAIL, albums);
}

bool libFullSizeDownload(unsigned long library) {
    bool fullSizeDownload = false;
    withLibrary_do(library, getFSD, fullSizeDownload);
    return fullSizeDownload;
}

CFString_t libGetAlbumName(unsigned long library, unsigned album) {
    PhotoLibrary* photos = PhotoLibrary::getLibrary(library);
    if (!photos) return CFString_t("");
    return photos->getAlbumName(album);
}

// The library object when album is one of the library's published albums, else null.
static PhotoLibrary* _publishedLibrary(unsigned long library, unsigned album) {
    std::vector<CFDictionary_t> albums;
    libGetAlbumsInLibrary(library, albums);
    PhotoLibrary* photos = nullptr;
    for (const CFDictionary_t& info : albums) {
        if (unsigned(info.get<CFNumber_t>(CFSTR("AlbumId"))) != album) continue;
        withLibrary_do(library, getPL, photos);
        if (photos) break;
    }
    return photos;
}

CFString_t libGetImagePath(unsigned long library, unsigned album, unsigned photo, bool thumbnail) {
    PhotoLibrary* photos = _publishedLibrary(library, album);
    if (!photos) return CFString_t("");
    CFDictionary_t info = photos->getPhotoInfo(album, photo);
    return info.get<CFString_t>(thumbnail ? CFSTR("ThumbPath") : CFSTR("ImagePath"));
}

CFString_t libGetMediaType(unsigned long library, unsigned album, unsigned photo) {
    PhotoLibrary* photos = _publishedLibrary(library, album);
    if (!photos) throwRTE("libGetMediaType", "couldn't find album with id %u", album);
    return photos->getPhotoInfo(album, photo).get<CFString_t>(CFSTR("MediaType"));
}

void libGetPhotoList(unsigned long library, unsigned album, std::vector<PhotoInfo>& list) {
    PhotoLibrary* photos = PhotoLibrary::getLibrary(library);
    if (!photos) {
        printf("Library %d doesn't exist! URL must have been invalid", int(library));
        return;
    }
    photos->getPhotoList(album, list);
}

unsigned libGetMajorVersion(unsigned long library) {
    PhotoLibrary* photos = PhotoLibrary::getLibrary(library);
    return photos ? photos->majorVersion() : 0;
}
