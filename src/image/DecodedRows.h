// DecodedRows.h - what a decoded JPEG needs before it is encoded again: its EXIF orientation and
// its rows in RGB, whatever inks it was stored in.
#pragma once

#include "image/ColourProfile.h"
#include "image/JPEGStreams.h"

#include <cstdint>
#include <memory>

// How decoded rows become RGB.
enum class Ink {
    None,     // three samples a pixel: as they are
    Plain,    // CMYK, 255 meaning full ink
    Inverted, // CMYK as Adobe writes it, 255 meaning no ink (files with the Adobe marker)
    Other,    // any other count of samples: the first one repeated (or the first three taken)
};

// Points a created decoder at stream under the decoding guards (memory of one decode, scans of
// a progressive picture, pixels a header may claim per byte; progress becomes its
// progress monitor and must outlive the decode), keeps its APP1 (EXIF) and APP2 (colour
// profile) markers and reads its header.
// False, after one line naming the picture, when the header claims more pixels than the file's
// bytes could hold; the caller then destroys the decoder. A libjpeg error longjmps past this
// frame, which holds nothing to clean up. REQUIRES: dinfo created with an error manager.
bool readGuardedHeader(j_decompress_ptr dinfo, jpeg_progress_mgr* progress, CFReadStreamRef stream,
                       const char* name);

// The EXIF orientation of the first saved APP1 marker that holds EXIF; 1 without one.
// REQUIRES: jpeg_save_markers(dinfo, JPEG_APP0 + 1, 0xFFFF) before the header was read.
int savedOrientation(j_decompress_ptr dinfo);

// The transform to sRGB of the picture's embedded colour profile (its saved APP2 chunks; see
// ColourProfile.h); null when none is needed or the rows are not RGB. REQUIRES: the header was
// read by readGuardedHeader and decompression started.
std::shared_ptr<const SrgbTransform> savedColourTransform(j_decompress_ptr dinfo, const char* name);
// Asks the decoder for rows the encoder can take after toRGB: grey expanded to RGB, CMYK and
// YCCK decoded as CMYK. REQUIRES: the header is read, decompression not started.
void requestRGBOrCMYK(j_decompress_ptr dinfo);

// The ink of the rows the started decoder delivers.
Ink decodedInk(j_decompress_ptr dinfo);

// Writes width RGB pixels into out from a decoded row of components samples a pixel.
void toRGB(const JSAMPLE* in, JDIMENSION width, unsigned components, Ink ink, JSAMPLE* out);
