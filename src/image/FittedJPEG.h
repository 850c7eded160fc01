// FittedJPEG.h - re-encoding a JPEG file at exactly the size that fits a box.
#pragma once

#include "cf/cftempl.h"
#include "image/ColourProfile.h"

#include <cstdint>
#include <ostream>

struct FittedSize {
    uint32_t width, height;
    bool operator==(const FittedSize&) const = default;
};

// The size of a width × height picture fitted into boxWidth × boxHeight, keeping its aspect:
// the picture itself when it already fits (never enlarged), else the side that limits it
// touches the box and the other is rounded to the nearest pixel (at least 1).
// REQUIRES: all four values at least 1.
FittedSize fitInBox(uint32_t width, uint32_t height, uint32_t boxWidth, uint32_t boxHeight);

// Decodes the JPEG file at url and re-encodes it, baseline, at quality (0-100) and at
// fitInBox(its size, box), appending the result to out. The decoder reduces by the smallest
// of its steps in eighths (1/8 to 8/8) that leaves both sides at least the fitted size; the
// remaining reduction is a Catmull-Rom shrink (see Resampler). Grey pictures come out as RGB.
//
// The whole fitted picture is held in memory (width × height × 3 bytes) before it is encoded:
// callers bound the box. REQUIRES: boxWidth and boxHeight at least 1.
//
// Returns true when the picture has been written to out, false with nothing written for an
// empty, corrupt or unsupported file (the library's message goes to standard error) and for a
// header claiming an absurd pixel count (one line naming the file), as writeScaledJPEG does.
// Throws std::runtime_error when the file cannot be opened.
bool writeFittedJPEG(const CFURL_t& url, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out);
// The same for a JPEG stored inside the file from offset on (a camera raw file's preview),
// turned upright by orientation (1-8) instead of its own EXIF; 0 takes its own.
bool writeFittedJPEGAt(const CFURL_t& url, uint64_t offset, int orientation, uint32_t boxWidth,
                       uint32_t boxHeight, int quality, std::ostream& out);

// An upright 8-bit RGB picture in memory: height rows of width pixels, stride bytes apart.
struct RGBPicture {
    const uint8_t* pixels;
    uint32_t width, height;
    size_t stride;
};
// Encodes picture, baseline, at quality and at fitInBox(its size, box) (a Catmull-Rom shrink, or
// the picture as it is when it fits), appending the JPEG to out. colour, when given, converts
// the fitted pixels (see ColourProfile.h). False, with nothing written, when the encoder fails.
// REQUIRES: all sizes at least 1.
bool writeFittedRGB(const RGBPicture& picture, uint32_t boxWidth, uint32_t boxHeight, int quality,
                    std::ostream& out, const SrgbTransform* colour = nullptr);
