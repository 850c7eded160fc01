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
// The picture comes out upright: the EXIF orientation (1-8) of the file's first APP1 segment
// holding EXIF turns the decoded pixels before they are encoded, the box above applies to the
// upright picture, and the output carries no orientation. Other values act as 1, and with 1 the
// output is what it would be without EXIF. CMYK and YCCK files come out in their colours: their
// samples are taken as inverted (255 meaning no ink, as Adobe writes them) when the file
// carries an Adobe marker, as plain ink otherwise.
//
// Returns true when the picture has been written to out. Returns false, with nothing written
// to out, for an empty, corrupt or unsupported file, or one whose turned copy (width × height × 3
// bytes, taken only for orientations other than 1) cannot be allocated; the library's message
// then goes to standard error. A file that ends early still decodes up to a fake end-of-image
// after one "Premature end of JPEG file" warning and returns true. Grey pictures come out as
// three-component JPEGs.
//
// A header that claims more than 2000 pixels per byte of the file (a forged 65,500 × 65,500 on
// a few kilobytes) is refused before decoding, with one line naming the file: false.
//
// sizeLimit, when not 0, bounds the (upright) output: when the reduction chosen above would leave a
// side longer than sizeLimit, the picture is fitted inside sizeLimit × sizeLimit instead, by the
// largest of the decoder's reductions in eighths (1/8 to 8/8) that fits, and past an eighth by
// picking the nearest rows and columns.
//
// Throws std::runtime_error when the file cannot be opened.
bool writeScaledJPEG(const CFURL_t& url, uint32_t maxWidth, uint32_t maxHeight, int quality,
                     std::ostream& out, int32_t scale, uint32_t sizeLimit = 0);

// Reads the JPEG header of the file at url and stores the picture's size. Returns false, leaving
// width and height untouched, when the file cannot be opened or its header cannot be read.
bool getJPEGSize(const CFURL_t& url, int& width, int& height);
