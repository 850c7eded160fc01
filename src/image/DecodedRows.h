// DecodedRows.h - what a decoded JPEG needs before it is encoded again: its EXIF orientation and
// its rows in RGB, whatever inks it was stored in.
#pragma once

#include "image/JPEGStreams.h"

#include <cstdint>

// Progressive pictures are buffered whole as coefficients by the decoder. A header may claim
// any size up to 65500 x 65500, so cap what one decode may take (a 100-megapixel progressive
// picture needs about 300 MB) rather than let a bad file exhaust the machine.
constexpr long kDecoderMemoryLimit = 1024L * 1024 * 1024;
// Real progressive pictures have about ten scans; thousands of tiny ones only waste time.
constexpr int kMaxScans = 1000;
// A JPEG whose header claims more pixels than this per byte of its file is refused before
// decoding. Huffman coding spends at least one bit on every 8 x 8 block, so even a picture of
// one flat colour stays below 512 pixels a byte; a claim four times that comes from a forged
// or cut header, whose decode would only turn made-up data into pixels for seconds.
constexpr uint64_t kMaxPixelsPerByte = 2000;

// How decoded rows become RGB.
enum class Ink {
    None,     // three samples a pixel: as they are
    Plain,    // CMYK, 255 meaning full ink
    Inverted, // CMYK as Adobe writes it, 255 meaning no ink (files with the Adobe marker)
    Other,    // any other count of samples: the first one repeated (or the first three taken)
};

// The EXIF orientation of the first saved APP1 marker that holds EXIF; 1 without one.
// REQUIRES: jpeg_save_markers(dinfo, JPEG_APP0 + 1, 0xFFFF) before the header was read.
int savedOrientation(j_decompress_ptr dinfo);

// Asks the decoder for rows the encoder can take after toRGB: grey expanded to RGB, CMYK and
// YCCK decoded as CMYK. REQUIRES: the header is read, decompression not started.
void requestRGBOrCMYK(j_decompress_ptr dinfo);

// The ink of the rows the started decoder delivers.
Ink decodedInk(j_decompress_ptr dinfo);

// Writes width RGB pixels into out from a decoded row of components samples a pixel.
void toRGB(const JSAMPLE* in, JDIMENSION width, unsigned components, Ink ink, JSAMPLE* out);
