// Pictures.cpp - paints each picture of the catalogue and writes it with its thumbnail.
#include "demo/Encoders.h"
#include "demo/Files.h"
#include "demo/Library.h"

namespace demo {

namespace {

constexpr int kQuality = 85;
constexpr int kThumbnailQuality = 80;
constexpr int kThumbnailSide = 240;

const char* extension(Format format) {
    switch (format) {
    case Format::Jpeg:
        return ".jpg";
    case Format::Png:
        return ".png";
    case Format::Gif:
        return ".gif";
    case Format::Bmp:
        return ".bmp";
    case Format::Movie:
    case Format::PhoneFilm:
        return ".mp4";
    case Format::Heic:
        return ".heic";
    case Format::Raw:
        return ".nef";
    }
    return "";
}

std::string year(const PhotoSpec& photo) {
    return std::string(photo.taken, 4);
}

// The upright canvas as an orientation 6 picture stores it: the visual top is the first
// column, the visual right side the first row.
Canvas turnedAnticlockwise(const Canvas& upright) {
    Canvas stored(upright.height(), upright.width());
    for (int y = 0; y < stored.height(); ++y)
        for (int x = 0; x < stored.width(); ++x)
            stored.set(x, y, upright.get(upright.width() - 1 - y, x));
    return stored;
}

// The picture's file; canvas is as stored (turned already for an orientation other than 1).
std::string encode(const PhotoSpec& photo, const Canvas& canvas) {
    switch (photo.format) {
    case Format::Jpeg: {
        const Camera& camera = kCameras[photo.camera];
        PhotoDates dates = photoDates(photo);
        ExifFields fields{camera.make,
                          camera.model,
                          exifDate(dates.modified),
                          exifDate(dates.taken),
                          photo.exposure,
                          photo.fNumber,
                          photo.iso,
                          photo.focalLength,
                          uint32_t(canvas.width()),
                          uint32_t(canvas.height()),
                          photo.orientation};
        if (photo.gamut != Gamut::Srgb) {
            Canvas stored = canvas;
            convertFromSrgb(stored, photo.gamut);
            return encodeJpeg(stored, kQuality, camera.jfif, exifPayload(fields, camera.bigEndian),
                              false, gamutProfile(photo.gamut));
        }
        return encodeJpeg(canvas, kQuality, camera.jfif, exifPayload(fields, camera.bigEndian),
                          photo.cmyk);
    }
    case Format::Heic:
        return encodeHeic(canvas, kQuality);
    case Format::Raw:
        return rawFile(canvas, kQuality);
    case Format::Png:
        return encodePng(canvas);
    case Format::Gif:
        return encodeGif(canvas);
    case Format::Bmp:
        return encodeBmp(canvas);
    case Format::Movie:
        return movieFile(canvas, 10);
    case Format::PhoneFilm:
        break; // written by writePhoneFilm
    }
    return std::string();
}

} // namespace

std::string picturePath(const std::string& root, const PhotoSpec& photo) {
    return root + "/Masters/" + year(photo) + "/" + photo.slug + extension(photo.format);
}

std::string thumbnailPath(const std::string& root, const PhotoSpec& photo) {
    return root + "/Thumbnails/" + year(photo) + "/" + photo.slug + ".jpg";
}

void writePictures(const std::string& root) {
    for (const PhotoSpec& photo : catalogue()) {
        Canvas canvas(photo.width, photo.height);
        paintScene(canvas, photo.scene, photo.variant);
        if (photo.format == Format::PhoneFilm) { // no thumbnail: the server makes its poster
            writePhoneFilm(picturePath(root, photo), canvas);
            continue;
        }
        writeFileAtomically(
            picturePath(root, photo),
            encode(photo, photo.orientation == 6 ? turnedAnticlockwise(canvas) : canvas));
        // Thumbnails are upright RGB; a movie's is the still that stands for its first frame.
        writeFileAtomically(
            thumbnailPath(root, photo),
            encodeJpeg(canvas.fitInside(kThumbnailSide), kThumbnailQuality, true, std::string()));
    }
}

} // namespace demo
