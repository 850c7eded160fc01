// DecodedRows.cpp - EXIF orientation of a decoded JPEG and the conversion of its rows to RGB.
#include "image/DecodedRows.h"

#include "image/ExifData.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <jerror.h>

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

static void _scanLimit(j_common_ptr cinfo) {
    auto* dinfo = reinterpret_cast<j_decompress_ptr>(cinfo);
    if (dinfo->input_scan_number > kMaxScans) ERREXIT(cinfo, JERR_NOTIMPL);
}

bool readGuardedHeader(j_decompress_ptr dinfo, jpeg_progress_mgr* progress, CFReadStreamRef stream,
                       const char* name) {
    dinfo->mem->max_memory_to_use = kDecoderMemoryLimit;
    progress->progress_monitor = _scanLimit;
    dinfo->progress = progress;
    jpeg_stream_src(dinfo, stream);
    jpeg_save_markers(dinfo, JPEG_APP0 + 1, 0xFFFF);
    jpeg_save_markers(dinfo, JPEG_APP0 + 2, 0xFFFF); // colour profile chunks
    jpeg_read_header(dinfo, TRUE);
    uint64_t fileBytes = uint64_t(std::max<int64_t>(_CFReadStreamGetFileSize(stream), 0));
    if (uint64_t(dinfo->image_width) * dinfo->image_height <= fileBytes * kMaxPixelsPerByte)
        return true;
    printf("picture '%s' claims %u x %u pixels in %" PRIu64 " bytes; not decoded\n", name,
           unsigned(dinfo->image_width), unsigned(dinfo->image_height), fileBytes);
    return false;
}

int savedOrientation(j_decompress_ptr dinfo) {
    for (jpeg_saved_marker_ptr m = dinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 1 && m->data_length >= 6 &&
            memcmp(m->data, "Exif\0\0", 6) == 0)
            return ExifData::readOrientation(m->data, m->data_length);
    return 1;
}

std::shared_ptr<const SrgbTransform> savedColourTransform(j_decompress_ptr dinfo,
                                                          const char* name) {
    if (dinfo->out_color_space != JCS_RGB || dinfo->output_components != 3) return nullptr;
    IccChunks chunks;
    for (jpeg_saved_marker_ptr m = dinfo->marker_list; m; m = m->next)
        if (m->marker == JPEG_APP0 + 2) chunks.add(m->data, m->data_length);
    return srgbTransformFor(chunks.profile(), name);
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
