// DecodedRows.cpp - EXIF orientation of a decoded JPEG and the conversion of its rows to RGB.
#include "image/DecodedRows.h"

#include "image/ExifData.h"

#include <cstring>

int savedOrientation(j_decompress_ptr dinfo) {
    for (jpeg_saved_marker_ptr m = dinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 1 && m->data_length >= 6 &&
            memcmp(m->data, "Exif\0\0", 6) == 0)
            return ExifData::readOrientation(m->data, m->data_length);
    return 1;
}

void requestRGBOrCMYK(j_decompress_ptr dinfo) {
    if (dinfo->jpeg_color_space == JCS_GRAYSCALE) dinfo->out_color_space = JCS_RGB;
    if (dinfo->jpeg_color_space == JCS_CMYK || dinfo->jpeg_color_space == JCS_YCCK)
        dinfo->out_color_space = JCS_CMYK;
}

Ink decodedInk(j_decompress_ptr dinfo) {
    if (dinfo->out_color_space == JCS_CMYK && dinfo->output_components == 4)
        return dinfo->saw_Adobe_marker ? Ink::Inverted : Ink::Plain;
    return dinfo->output_components == 3 ? Ink::None : Ink::Other;
}

static inline JSAMPLE _times(unsigned a, unsigned b) {
    return JSAMPLE((a * b + 127) / 255);
}

void toRGB(const JSAMPLE* in, JDIMENSION width, unsigned components, Ink ink, JSAMPLE* out) {
    for (JDIMENSION x = 0; x < width; ++x, in += components, out += 3) {
        if (ink == Ink::Other) {
            for (unsigned c = 0; c < 3; ++c)
                out[c] = in[c < components ? c : 0];
            continue;
        }
        unsigned c = in[0], m = in[1], y = in[2], k = in[3];
        if (ink == Ink::Plain) c = 255 - c, m = 255 - m, y = 255 - y, k = 255 - k;
        out[0] = _times(c, k);
        out[1] = _times(m, k);
        out[2] = _times(y, k);
    }
}
