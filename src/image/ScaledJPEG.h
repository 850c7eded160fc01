// ScaledJPEG.h - re-encoding a JPEG file at a reduced size, and reading a JPEG's stored size.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>
#include <ostream>

// Decodes the JPEG file at url with the decoder's built-in reduction and re-encodes it, baseline,
// at quality (0-100, clamped by the library), appending the result to out.
//
// scale is either a reduction denominator (1 re-encodes at full size; 2, 4, 8 reduce; larger
// values act as 8; 0 acts as 1) or -1, meaning: fit the box maxWidth × maxHeight. For -1 a
// picture not larger than the box keeps its size; a larger one is reduced by the denominator just
// before the first of 1, 2, 4, 8, 16 that puts it strictly inside the box (16 when none does),
// so the output is the smallest reduction still not strictly inside the box, never resampled
// further. The decoder's output size is the image size divided and rounded up.
//
// Returns true when the picture has been written to out. Returns false, with nothing written
// to out, for an empty, corrupt or unsupported file; the
// library's message then goes to standard error. A file that ends early still decodes up to a
// fake end-of-image after one "Premature end of JPEG file" warning and returns true. Grey
// pictures come out as three-component JPEGs.
//
// A header that claims more than 2000 pixels per byte of the file (a forged 65,500 × 65,500 on
// a few kilobytes) is refused before decoding, with one line naming the file: false.
//
// sizeLimit, when not 0, bounds the output: when the reduction chosen above would leave a side
// longer than sizeLimit, the picture is fitted inside sizeLimit × sizeLimit instead, by the
// largest of the decoder's reductions in eighths (1/8 to 8/8) that fits, and past an eighth by
// picking the nearest rows and columns.
//
// Throws std::runtime_error when the file cannot be opened.
bool writeScaledJPEG(const CFURL_t& url, uint32_t maxWidth, uint32_t maxHeight, int quality,
                     std::ostream& out, int32_t scale, uint32_t sizeLimit = 0);

// Reads the JPEG header of the file at url and stores the picture's size. Returns false, leaving
// width and height untouched, when the file cannot be opened or its header cannot be read.
bool getJPEGSize(const CFURL_t& url, int& width, int& height);
