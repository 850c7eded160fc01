// AlbumFile.cpp - the only place tessellanctl uses the album data store (PhotoLibrary).
#include "ctl/AlbumFile.h"

#include "ctl/Failure.h"
#include "library/PhotoLibrary.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace ctl {

namespace {

PhotoLibrary* load(const std::string& folder) {
    std::string file = albumFilePath(folder);
    int fd = open(file.c_str(), O_RDONLY | O_NONBLOCK);
    if (fd < 0)
        throw Refused("no album file in " + folder + " (" + file + ": " + strerror(errno) + ")");
    close(fd);
    if (PhotoLibrary* library = PhotoLibrary::getLibrary(folder)) return library;
    std::string why = PhotoLibrary::loadFailure(folder);
    if (why.empty()) throw Refused("no album file in " + folder + " (" + file + ")");
    throw Refused(file + " is not a readable album file (" + why + ")");
}

template <class Work> auto reading(const std::string& folder, Work work) {
    PhotoLibrary* library = load(folder);
    try {
        return work(*library);
    } catch (const std::exception& error) {
        throw Refused(albumFilePath(folder) + " is not a usable album file (" + error.what() + ")");
    }
}

} // namespace

std::string albumFilePath(const std::string& folder) {
    return folder + PhotoLibrary::baseName;
}

std::vector<AlbumSummary> readAlbums(const std::string& folder) {
    return reading(folder, [](PhotoLibrary& library) {
        std::vector<AlbumSummary> albums;
        CFArray_t<CFDictionary_t> list = library.getAlbumList();
        for (CFIndex i = 0; i < list.count(); ++i) {
            CFDictionary_t album = list.elem(i);
            AlbumSummary summary;
            summary.id = unsigned(album.get<CFNumber_t>(CFSTR("AlbumId")));
            summary.name = toString(album.get<CFString_t>(CFSTR("AlbumName")));
            summary.photos = size_t(album.get<StrArray>(CFSTR("KeyList")).count());
            albums.push_back(std::move(summary));
        }
        return albums;
    });
}

std::vector<PhotoFiles> albumPhotos(const std::string& folder, uint32_t album) {
    return reading(folder, [album](PhotoLibrary& library) {
        std::vector<PhotoInfo> list;
        library.getPhotoList(album, list);
        std::vector<PhotoFiles> photos;
        for (const PhotoInfo& info : list)
            photos.push_back(
                {toString(info.imagePath.resolved()), toString(info.thumbPath.resolved()),
                 CFStringCompare(info.mediaType, CFSTR("Movie"), 0) == kCFCompareEqualTo});
        return photos;
    });
}

} // namespace ctl
