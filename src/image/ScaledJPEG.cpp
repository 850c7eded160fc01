// ScaledJPEG.cpp - the decode-scale-encode loop and the header size reader.
#include "image/ScaledJPEG.h"

#include "image/DecodedRows.h"
#include "image/JPEGStreams.h"
#include "image/Orientation.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <jerror.h>
#include <sstream>
#include <vector>

// Chooses the reduction for a box; see writeScaledJPEG.
static void _chooseScale(j_decompress_ptr dinfo, uint32_t maxWidth, uint32_t maxHeight,
                         int32_t scale) {
    if (scale != -1) {
        if (scale != 0) dinfo->scale_denom = unsigned(scale);
        return;
    }
    if (dinfo->image_height <= maxHeight && dinfo->image_width <= maxWidth) return;
    for (unsigned d = 1; d <= 16; d *= 2) {
        if (dinfo->image_width / d < maxWidth && dinfo->image_height / d < maxHeight) break;
        dinfo->scale_denom = d;
    }
}

// The picture's output size once the decoder's reduction is chosen.
static void _outputSize(j_decompress_ptr dinfo, JDIMENSION& width, JDIMENSION& height) {
    jpeg_calc_output_dimensions(dinfo);
    width = dinfo->output_width;
    height = dinfo->output_height;
}

// Keeps the output within limit × limit: the largest of the decoder's reductions in eighths that
// fits, else an eighth, resampled by picking rows and columns down to *width × *height (which
// stay the decoder's output size when no resampling is needed).
static void _applyLimit(j_decompress_ptr dinfo, uint32_t limit, JDIMENSION& width,
                        JDIMENSION& height) {
    _outputSize(dinfo, width, height);
    if (limit == 0 || (width <= limit && height <= limit)) return;
    for (unsigned eighths = 8; eighths >= 1; --eighths) {
        dinfo->scale_num = eighths;
        dinfo->scale_denom = 8;
        _outputSize(dinfo, width, height);
        if (width <= limit && height <= limit) return;
    }
    // Even an eighth is too large (a panorama): the longer side gets the limit.
    uint64_t w = width, h = height;
    if (w >= h) {
        h = h * limit / w;
        w = limit;
    } else {
        w = w * limit / h;
        h = limit;
    }
    width = JDIMENSION(w ? w : 1);
    height = JDIMENSION(h ? h : 1);
}

// Decodes from stream and encodes into encoded. Only plain C objects live in this frame: the
// error exit longjmps back into it, past library frames only.
static bool _transcode(CFReadStreamRef stream, const char* name, uint32_t maxWidth,
                       uint32_t maxHeight, int quality, std::ostream* encoded, int32_t scale,
                       uint32_t sizeLimit, JSAMPLE** picked,
                       std::shared_ptr<const SrgbTransform>* colour) {
    struct jpeg_decompress_struct dinfo;
    struct jpeg_compress_struct cinfo;
    struct jpeg_progress_mgr progress;
    my_error_mgr jerr;
    memset(&dinfo, 0, sizeof dinfo);
    memset(&cinfo, 0, sizeof cinfo);
    memset(&progress, 0, sizeof progress);

    dinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    if (setjmp(jerr.setjmp_buffer)) {
        // Destroying a codec that was never created is a no-op (its memory manager is null).
        jpeg_destroy_decompress(&dinfo);
        jpeg_destroy_compress(&cinfo);
        return false;
    }

    jpeg_create_decompress(&dinfo);
    if (!readGuardedHeader(&dinfo, &progress, stream, name)) {
        jpeg_destroy_decompress(&dinfo);
        return false;
    }
    // The box is the upright picture's: a picture stored on its side meets it turned.
    const int orientation = savedOrientation(&dinfo);
    const bool turn = orientation != 1, swaps = orientationSwapsSides(orientation);
    _chooseScale(&dinfo, swaps ? maxHeight : maxWidth, swaps ? maxWidth : maxHeight, scale);
    JDIMENSION width, height;
    _applyLimit(&dinfo, sizeLimit, width, height);
    // The encoder takes three samples a pixel. Grey rows are expanded to RGB by the decoder;
    // CMYK and YCCK ones are decoded as CMYK and converted by their ink here.
    requestRGBOrCMYK(&dinfo);
    jpeg_start_decompress(&dinfo);
    const unsigned components = unsigned(dinfo.output_components);
    const Ink ink = decodedInk(&dinfo);
    *colour = savedColourTransform(&dinfo, name);
    JSAMPARRAY row = (*dinfo.mem->alloc_sarray)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                                dinfo.output_width * JDIMENSION(components), 1);
    // The decoded row in RGB, when it is not RGB already.
    JSAMPLE* rgbRow = nullptr;
    if (ink != Ink::None)
        rgbRow = static_cast<JSAMPLE*>((*dinfo.mem->alloc_large)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                                                 size_t(dinfo.output_width) * 3));
    // A picture to be turned is gathered whole, then encoded row by row in its new order.
    JSAMPLE* whole = nullptr;
    JSAMPLE* turned = nullptr;
    if (turn) {
        whole = static_cast<JSAMPLE*>((*dinfo.mem->alloc_large)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                                                size_t(width) * height * 3));
        turned = static_cast<JSAMPLE*>((*dinfo.mem->alloc_large)(
            j_common_ptr(&dinfo), JPOOL_IMAGE, size_t(swaps ? height : width) * 3));
    }

    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    jpeg_create_compress(&cinfo);
    cinfo.image_width = swaps ? height : width;
    cinfo.image_height = swaps ? width : height;
    jpeg_stream_dest(&cinfo, encoded);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);

    const bool resample = width != dinfo.output_width || height != dinfo.output_height;
    if (resample) {
        *picked = static_cast<JSAMPLE*>(malloc(size_t(width) * 3));
        if (!*picked) ERREXIT1(&dinfo, JERR_OUT_OF_MEMORY, 0);
    }
    for (JDIMENSION y = 0; y < height; ++y) {
        if (!resample) {
            jpeg_read_scanlines(&dinfo, row, 1);
        } else {
            // Nearest rows and columns: output row y is decoded row y * height_in / height.
            JDIMENSION wanted = JDIMENSION(uint64_t(y) * dinfo.output_height / height);
            while (dinfo.output_scanline <= wanted)
                jpeg_read_scanlines(&dinfo, row, 1);
        }
        JSAMPLE* line = row[0];
        if (ink != Ink::None) {
            toRGB(row[0], dinfo.output_width, components, ink, rgbRow);
            line = rgbRow;
        }
        if (resample) {
            for (JDIMENSION x = 0; x < width; ++x)
                memcpy(*picked + size_t(x) * 3,
                       line + size_t(uint64_t(x) * dinfo.output_width / width) * 3, 3);
            line = *picked;
        }
        // After the pick: only the pixels kept are converted.
        if (*colour) (*colour)->apply(line, width);
        if (turn) {
            memcpy(whole + size_t(y) * width * 3, line, size_t(width) * 3);
        } else {
            JSAMPROW out[1] = {line};
            jpeg_write_scanlines(&cinfo, out, 1);
        }
    }
    if (turn) {
        JSAMPROW out[1] = {turned};
        for (JDIMENSION y = 0; y < cinfo.image_height; ++y) {
            orientedRow(orientation, whole, width, height, 3, y, turned);
            jpeg_write_scanlines(&cinfo, out, 1);
        }
    }

    if (resample)
        jpeg_abort_decompress(&dinfo); // the rows below the last one picked are not needed
    else
        jpeg_finish_decompress(&dinfo);
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_decompress(&dinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

bool writeScaledJPEG(const CFURL_t& url, uint32_t maxWidth, uint32_t maxHeight, int quality,
                     std::ostream& out, int32_t scale, uint32_t sizeLimit) {
    CFReadStream_t stream(url);
    // The picture is encoded aside and handed over whole, so a decode that fails half-way
    // leaves nothing in the reply body.
    std::ostringstream encoded;
    JSAMPLE* picked = nullptr; // the resampled row, when there is one (freed after a failure too)
    std::shared_ptr<const SrgbTransform> colour; // held here: the decoding frame holds no object
    bool done = _transcode(stream, CFURLGetPOSIXPath(url), maxWidth, maxHeight, quality, &encoded,
                           scale, sizeLimit, &picked, &colour);
    free(picked);
    if (!done) return false;
    std::string_view bytes = encoded.view();
    out.write(bytes.data(), std::streamsize(bytes.size()));
    return true;
}

static bool _readSize(CFReadStreamRef stream, int& width, int& height) {
    struct jpeg_decompress_struct dinfo;
    my_error_mgr jerr;
    memset(&dinfo, 0, sizeof dinfo);
    dinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    if (setjmp(jerr.setjmp_buffer)) {
        jpeg_destroy_decompress(&dinfo);
        return false;
    }
    jpeg_create_decompress(&dinfo);
    jpeg_stream_src(&dinfo, stream);
    bool found = false;
    if (jpeg_read_header(&dinfo, TRUE) == JPEG_HEADER_OK) {
        width = int(dinfo.image_width);
        height = int(dinfo.image_height);
        found = true;
    }
    jpeg_destroy_decompress(&dinfo);
    return found;
}

bool getJPEGSize(const CFURL_t& url, int& width, int& height) {
    try {
        CFReadStream_t stream(url);
        return _readSize(stream, width, height);
    } catch (const std::exception&) {
        return false;
    }
}
