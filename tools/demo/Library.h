// Library.h - the three steps that make the demo library: the picture files, the album file
// naming them, and the preferences publishing it.
#pragma once

#include "demo/Catalogue.h"

#include <string>

namespace demo {

// Where a photo's file and thumbnail live inside the library folder root (absolute):
// root/Masters/YEAR/slug.ext and root/Thumbnails/YEAR/slug.jpg.
std::string picturePath(const std::string& root, const PhotoSpec& photo);
std::string thumbnailPath(const std::string& root, const PhotoSpec& photo);

// Paints, encodes and writes every picture of the catalogue and its thumbnail (a JPEG that
// fits 240 × 240). Throws std::runtime_error when a file cannot be written.
void writePictures(const std::string& root);

// The AlbumData.xml document of the library at root: "Application Version", "List of
// Albums" and "Master Image List" with absolute paths under root.
std::string albumDataXml(const std::string& root);

// Throws std::runtime_error unless the preferences file is missing or holds a property-list
// dictionary: a file we cannot read is somebody else's, and is left alone.
void checkPreferencesFile(const std::string& file);

// Sets "title", "port" and "libraries" (one entry, id 0, for the library at root) in the
// preferences file, keeping every other key it holds. Throws std::runtime_error when the
// file fails checkPreferencesFile or cannot be written.
void writePreferences(const std::string& file, const std::string& root, const std::string& title,
                      int port);

} // namespace demo
