// Encoders.h - the picture files of the demo library, as bytes: JPEG (libjpeg) with an
// optional EXIF block, PNG, GIF and BMP written by hand, and a short film.
#pragma once

#include "demo/Canvas.h"
#include "demo/Gamut.h"

#include <string>

namespace demo {

// The canvas as a baseline JPEG at quality (1-100). With jfif, the file starts with a JFIF
// APP0 segment; a non-empty app1 (the payload after the length bytes, e.g. from
// exifPayload) is written as an APP1 segment right after it, before the frame header.
// With cmyk, the pixels are stored as four inks, inverted as Adobe's applications write them
// (each stored value is 255 minus the ink), and an Adobe APP14 segment follows the APP1 one.
// A non-empty icc is written as the picture's colour profile (APP2 chunks).
// Throws std::runtime_error with libjpeg's message when encoding fails.
std::string encodeJpeg(const Canvas& canvas, int quality, bool jfif, const std::string& app1,
                       bool cmyk = false, const std::string& icc = std::string());
// The canvas as a phone saves it: a HEIC file (libheif's HEVC encoder) at quality.
// Throws std::runtime_error when this machine's libheif cannot write HEIC.
std::string encodeHeic(const Canvas& canvas, int quality);
// A camera raw file as far as a viewer sees it: a little-endian TIFF whose first directory
// names the canvas, as a JPEG at quality, as its preview (no sensor data).
std::string rawFile(const Canvas& canvas, int quality);
// The canvas (drawn in sRGB) converted into a wide-gamut space (see Gamut.h), so that a viewer
// honouring the space's profile shows the colours drawn.
void convertFromSrgb(Canvas& canvas, Gamut gamut);

// The canvas as an 8-bit RGB PNG. The image data is zlib-wrapped but not compressed
// (stored deflate blocks), with its CRC-32 and Adler-32 sums.
std::string encodePng(const Canvas& canvas);

// The canvas as a GIF89a with one global colour table. The LZW stream starts over with a
// clear code before its codes would need more than 9 bits. Throws std::runtime_error when
// the canvas holds more than 256 distinct colours.
std::string encodeGif(const Canvas& canvas);

// The canvas as a 24-bit BMP (bottom-up rows, padded to 4 bytes).
std::string encodeBmp(const Canvas& canvas);

// A film of the given length in seconds showing the still (halved in each direction): an
// MPEG-4 file ("ftyp", "moov", then "mdat") with one H.264 video track that browsers play.
// Throws std::runtime_error when the still is smaller than 32 x 32.
std::string movieFile(const Canvas& still, int seconds);

// Writes a three-second HEVC film of the canvas panning slowly, as a phone would (falling back
// to MPEG-4 video where the system has no HEVC encoder). Throws std::runtime_error on failure.
void writePhoneFilm(const std::string& path, const Canvas& canvas);

} // namespace demo
