// Catalogue.h - what the demo library holds: its pictures with their captions and camera
// settings, its albums, and which albums the preferences publish.
#pragma once

#include "demo/Encoders.h"
#include "demo/Exif.h"
#include "demo/Scenes.h"

#include <cstdint>
#include <string>
#include <vector>

namespace demo {

// PhoneFilm: an HEVC film as a phone writes it, whose thumbnail the library never made.
enum class Format { Jpeg, Png, Gif, Bmp, Movie, Heic, Raw, PhoneFilm };

// Whether the format is a film ("Movie" in the album file).
inline bool isFilm(Format format) {
    return format == Format::Movie || format == Format::PhoneFilm;
}

// A (fictional) camera; cameras differ in the byte order of their EXIF blocks and in
// whether their files start with a JFIF segment.
struct Camera {
    const char* make;
    const char* model;
    bool bigEndian;
    bool jfif;
};

struct PhotoSpec {
    const char* key;  // the key in "Master Image List"; its integer value is the photo id
    const char* slug; // the file name without extension
    Scene scene;
    int variant;
    int width, height;
    Format format; // for Movie, the scene is the still used as the thumbnail
    const char* caption;
    const char* comment;
    const char* taken; // "YYYY:MM:DD HH:MM:SS", taken as GMT for the album file's intervals
    int camera;        // index into kCameras (JPEG only)
    Rational exposure, fNumber, focalLength;
    uint16_t iso;
    // Test cards (JPEG only): width and height are the upright size; orientation 6 stores the
    // pixels turned a quarter anticlockwise with the EXIF tag saying so, and cmyk stores them
    // as inverted CMYK (see encodeJpeg).
    uint16_t orientation = 1;
    bool cmyk = false;
    // JPEG only: the colour space the pixels are stored in, with its profile (see Encoders.h).
    Gamut gamut = Gamut::Srgb;
};

struct AlbumSpec {
    int id;
    const char* name;
    const char* comments;
    std::vector<const char*> keys; // in album order
};

extern const Camera kCameras[4];
extern const char* const kApplicationVersion; // "6.0.5 (316)"
extern const char* const kLibraryName;
extern const char* const kMediaImage; // "Image"
extern const char* const kMediaMovie; // "Movie"

// When a picture was taken, last modified, and last had its metadata changed, in seconds
// since 1970-01-01 GMT. The later two follow from the first and the photo's key.
struct PhotoDates {
    int64_t taken, modified, metaModified;
};
PhotoDates photoDates(const PhotoSpec& photo);
// "YYYY:MM:DD HH:MM:SS" for seconds since 1970 (GMT).
std::string exifDate(int64_t seconds);

// Every picture, in the order they are written.
const std::vector<PhotoSpec>& catalogue();
// The albums as "List of Albums" lists them.
const std::vector<AlbumSpec>& albums();
// The album ids the preferences publish, in display order: all but one album.
const std::vector<int>& publishedAlbums();
// The album given a "theme" in the library entry's "albumConfig", and the theme.
extern const int kThemedAlbum;
extern const char* const kTheme;

} // namespace demo
