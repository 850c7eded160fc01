// Exif.h - the EXIF block of a demo picture: the APP1 payload a camera would write.
#pragma once

#include <cstdint>
#include <string>

namespace demo {

struct Rational {
    uint32_t numerator, denominator;
};

// What the block records. Texts are ASCII; dates are "YYYY:MM:DD HH:MM:SS".
struct ExifFields {
    std::string make, model;
    std::string dateTime;         // tag 306, when the file was last changed
    std::string dateTimeOriginal; // tag 36867, when the picture was taken
    Rational exposureTime;        // seconds
    Rational fNumber;
    uint16_t iso;
    Rational focalLength;             // millimetres
    uint32_t pixelWidth, pixelHeight; // as stored
    uint16_t orientation = 1;         // tag 274: 1 as stored, 6 turn a quarter clockwise to show
};

// The APP1 payload: "Exif" 00 00, then a TIFF structure in the chosen byte order ("MM" when
// bigEndian, else "II") holding IFD0 (Make, Model, Orientation, resolution, DateTime and the
// pointer to the EXIF sub-directory) and the EXIF sub-directory (ExposureTime, FNumber,
// ISOSpeedRatings as SHORT, ExifVersion, DateTimeOriginal, DateTimeDigitized, FocalLength,
// ColorSpace, PixelXDimension and PixelYDimension as LONG). Values longer than four bytes sit
// after their directory, at even offsets, as TIFF requires.
std::string exifPayload(const ExifFields& fields, bool bigEndian);

} // namespace demo
