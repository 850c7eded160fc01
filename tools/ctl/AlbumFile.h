// AlbumFile.h - what tessellanctl reads from a library's album file, read by the server's own
// album data store so that both see the same albums, photos and resolved paths.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ctl {

struct AlbumSummary {
    uint32_t id = 0;   // "AlbumId"
    std::string name;  // "AlbumName"
    size_t photos = 0; // entries of its "KeyList"
};

// The files of one photo, as the server resolves them.
struct PhotoFiles {
    std::string picture;   // what /image/ serves
    std::string thumbnail; // what /thumbnail/ serves
    bool film = false;     // "MediaType" is "Movie"
};

// The album file's name inside a library folder.
std::string albumFilePath(const std::string& folder);

// Every album of the library in folder, in the file's order. Throws Refused naming the album
// file and what is wrong with it (missing, unreadable, not a property list, not an album file).
std::vector<AlbumSummary> readAlbums(const std::string& folder);

// The photos of one album of the library in folder. Throws Refused as readAlbums does.
std::vector<PhotoFiles> albumPhotos(const std::string& folder, uint32_t album);

} // namespace ctl
