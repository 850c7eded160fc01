// HeifPicture.h - HEIF pictures (a phone's HEIC, AVIF): their facts read without decoding, and
// JPEGs made from them.
//
// A HEIF file stores a primary picture (often as a grid of tiles) and the transforms it is shown
// with (turns, mirrors, a crop). Sizes are the picture's once those are applied, and decoding
// applies them, so pictures come out upright. The EXIF orientation a HEIF file may also carry
// describes the same turn: it is never applied on top.
//
// Files are untrusted: a truncated file, a primary picture claiming more than kMaxHeifPixels, a
// grid with missing tiles or a broken colour profile fails cleanly (or, for the profile, is
// shrunk as sRGB); nothing is decoded before the claimed size has been checked.
//
// Threads: every call works on a decoder context of its own; any number may run at once.
#pragma once

#include "image/FittedJPEG.h"

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

// The largest primary picture decoded (a 100 MP picture takes 300 MB as RGB).
constexpr uint64_t kMaxHeifPixels = 100'000'000;
// The largest EXIF item read; larger ones are left out.
constexpr size_t kMaxHeifExifBytes = 256 * 1024;

// Whether the first length bytes of a file begin with a "ftyp" box whose major or compatible
// brands (those within length) name a HEIF still picture: heic, heix, heim, heis, mif1, avif.
bool looksLikeHeif(const uint8_t* head, size_t length);

struct HeifFacts {
    uint32_t width = 0, height = 0; // the primary picture, upright
    // The EXIF item as a JPEG's APP1 payload carries it ("Exif" 00 00, then the TIFF header);
    // empty when the file has none, or asked for none.
    std::string exif;
};

// Reads the primary picture's facts from the HEIF file open on fd (read at absolute offsets;
// the descriptor's own offset is left alone). False when the file cannot be parsed, has no
// primary picture or claims more than kMaxHeifPixels; facts is then unspecified.
bool readHeifFacts(int fd, HeifFacts* facts, bool wantExif);

// Decodes the primary picture of the HEIF file open on fd, upright and converted to sRGB from
// its colour profile (an ICC profile, or the primaries of its colour box), and appends it to out
// as a JPEG fitted into the box at quality (see writeFittedRGB). False, with nothing written and
// one line naming name, when it cannot be decoded.
bool writeFittedHeif(int fd, const char* name, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out);
