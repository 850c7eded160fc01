// FittedJPEG.cpp - decode at the nearest step above the box, shrink exactly, encode.
#include "image/FittedJPEG.h"

#include "image/DecodedRows.h"
#include "image/JPEGStreams.h"
#include "image/Orientation.h"
#include "image/Resample.h"

#include <algorithm>
#include <cinttypes>
#include <cstring>
#include <jerror.h>
#include <optional>
#include <sstream>
#include <vector>

FittedSize fitInBox(uint32_t width, uint32_t height, uint32_t boxWidth, uint32_t boxHeight) {
    if (width <= boxWidth && height <= boxHeight) return {width, height};
    uint64_t w = width, h = height;
    if (w * boxHeight >= h * boxWidth) { // the width limits
        uint64_t other = (h * boxWidth * 2 + w) / (2 * w);
        return {boxWidth, uint32_t(std::max<uint64_t>(other, 1))};
    }
    uint64_t other = (w * boxHeight * 2 + h) / (2 * h);
    return {uint32_t(std::max<uint64_t>(other, 1)), boxHeight};
}

namespace {

// What outlives the decoding frame below (which may be left by a longjmp, so holds no object
// with a destructor): the rows, the shrink and the finished picture.
struct Work {
    FittedSize size{0, 0};
    std::vector<uint8_t> rgb;     // one decoded row as RGB
    std::vector<uint8_t> picture; // the fitted picture, size.width × size.height × 3
    std::optional<Resampler> shrink;
    std::shared_ptr<const SrgbTransform> colour; // the embedded profile's, when it needs one

    void begin(uint32_t decodedWidth, uint32_t decodedHeight, FittedSize fitted) {
        size = fitted;
        rgb.resize(size_t(decodedWidth) * 3);
        picture.resize(size_t(fitted.width) * fitted.height * 3);
        if (decodedWidth != fitted.width || decodedHeight != fitted.height)
            shrink.emplace(decodedWidth, decodedHeight, fitted.width, fitted.height,
                           [this](const uint8_t* row, uint32_t y) {
                               memcpy(&picture[size_t(y) * size.width * 3], row,
                                      size_t(size.width) * 3);
                           });
    }

    // One decoded row of `components` samples a pixel in the given ink (3 for RGB, 4 for CMYK
    // and YCCK decoded as CMYK).
    void push(const JSAMPLE* row, uint32_t y, unsigned components, Ink ink) {
        const uint8_t* from = row;
        if (ink != Ink::None) {
            toRGB(row, JDIMENSION(rgb.size() / 3), components, ink, rgb.data());
            from = rgb.data();
        }
        if (shrink)
            shrink->push(from);
        else
            memcpy(&picture[size_t(y) * size.width * 3], from, size_t(size.width) * 3);
    }

    // Turns the fitted picture by its EXIF orientation; orientations 5 to 8 swap its sides.
    void upright(int orientation) {
        // Converted once fitted: only the pixels kept are.
        if (colour) colour->apply(picture.data(), size_t(size.width) * size.height);
        if (orientation == 1) return;
        std::vector<uint8_t> turned(picture.size());
        orientPixels(orientation, picture.data(), size.width, size.height, 3, turned.data());
        picture.swap(turned);
        if (orientationSwapsSides(orientation)) std::swap(size.width, size.height);
    }
};

// Encodes height rows of width RGB pixels, row y at rows + y * stride. Only plain C objects
// live in this frame.
bool encodeRows(const uint8_t* rows, size_t stride, uint32_t width, uint32_t height, int quality,
                std::ostream* encoded) {
    struct jpeg_compress_struct cinfo;
    my_error_mgr jerr;
    memset(&cinfo, 0, sizeof cinfo);
    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    if (setjmp(jerr.setjmp_buffer)) {
        jpeg_destroy_compress(&cinfo);
        return false;
    }
    jpeg_create_compress(&cinfo);
    cinfo.image_width = width;
    cinfo.image_height = height;
    jpeg_stream_dest(&cinfo, encoded);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row[1] = {const_cast<JSAMPLE*>(rows + cinfo.next_scanline * stride)};
        jpeg_write_scanlines(&cinfo, row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

// Decodes stream, fits it and encodes into encoded. Only plain C objects live in this frame.
// orientation 0 takes the file's own.
bool fitAndEncode(CFReadStreamRef stream, const char* name, uint32_t boxWidth, uint32_t boxHeight,
                  int quality, int givenOrientation, std::ostream* encoded, Work* work) {
    struct jpeg_decompress_struct dinfo;
    struct jpeg_progress_mgr progress;
    my_error_mgr jerr;
    memset(&dinfo, 0, sizeof dinfo);
    memset(&progress, 0, sizeof progress);

    dinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    if (setjmp(jerr.setjmp_buffer)) {
        jpeg_destroy_decompress(&dinfo);
        return false;
    }

    jpeg_create_decompress(&dinfo);
    if (!readGuardedHeader(&dinfo, &progress, stream, name)) {
        jpeg_destroy_decompress(&dinfo);
        return false;
    }
    // The box is the upright picture's: a picture stored on its side meets it turned.
    const int orientation = givenOrientation ? givenOrientation : savedOrientation(&dinfo);
    const bool swaps = orientationSwapsSides(orientation);
    FittedSize fitted = fitInBox(dinfo.image_width, dinfo.image_height,
                                 swaps ? boxHeight : boxWidth, swaps ? boxWidth : boxHeight);
    dinfo.scale_denom = 8;
    for (unsigned eighths = 1; eighths <= 8; ++eighths) {
        dinfo.scale_num = eighths;
        jpeg_calc_output_dimensions(&dinfo);
        if (dinfo.output_width >= fitted.width && dinfo.output_height >= fitted.height) break;
    }
    requestRGBOrCMYK(&dinfo);
    jpeg_start_decompress(&dinfo);
    const Ink ink = decodedInk(&dinfo);
    work->colour = savedColourTransform(&dinfo, name);
    JSAMPARRAY row =
        (*dinfo.mem->alloc_sarray)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                   dinfo.output_width * JDIMENSION(dinfo.output_components), 1);
    work->begin(dinfo.output_width, dinfo.output_height, fitted);
    while (dinfo.output_scanline < dinfo.output_height) {
        JDIMENSION y = dinfo.output_scanline;
        jpeg_read_scanlines(&dinfo, row, 1);
        work->push(row[0], y, unsigned(dinfo.output_components), ink);
    }
    jpeg_finish_decompress(&dinfo);
    jpeg_destroy_decompress(&dinfo);

    work->upright(orientation);
    return encodeRows(work->picture.data(), size_t(work->size.width) * 3, work->size.width,
                      work->size.height, quality, encoded);
}

} // namespace

bool writeFittedJPEG(const CFURL_t& url, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out) {
    return writeFittedJPEGAt(url, 0, 0, boxWidth, boxHeight, quality, out);
}

bool writeFittedJPEGAt(const CFURL_t& url, uint64_t offset, int orientation, uint32_t boxWidth,
                       uint32_t boxHeight, int quality, std::ostream& out) {
    CFReadStream_t stream(url);
    if (offset > uint64_t(INT32_MAX) || !stream.seekAbsolute(int(offset))) return false;
    std::ostringstream encoded;
    Work work;
    if (!fitAndEncode(stream, CFURLGetPOSIXPath(url), std::max(boxWidth, 1u),
                      std::max(boxHeight, 1u), quality, orientation, &encoded, &work))
        return false;
    std::string_view bytes = encoded.view();
    out.write(bytes.data(), std::streamsize(bytes.size()));
    return true;
}

bool writeFittedRGB(const RGBPicture& picture, uint32_t boxWidth, uint32_t boxHeight, int quality,
                    std::ostream& out, const SrgbTransform* colour) {
    FittedSize fitted =
        fitInBox(picture.width, picture.height, std::max(boxWidth, 1u), std::max(boxHeight, 1u));
    std::vector<uint8_t> made;
    const uint8_t* rows = picture.pixels;
    size_t stride = picture.stride;
    if (fitted.width != picture.width || fitted.height != picture.height) {
        made.resize(size_t(fitted.width) * fitted.height * 3);
        Resampler shrink(picture.width, picture.height, fitted.width, fitted.height,
                         [&](const uint8_t* row, uint32_t y) {
                             memcpy(&made[size_t(y) * fitted.width * 3], row,
                                    size_t(fitted.width) * 3);
                         });
        for (uint32_t y = 0; y < picture.height; ++y)
            shrink.push(picture.pixels + y * picture.stride);
    } else if (colour) { // converted in a copy: the picture is the caller's
        made.resize(size_t(fitted.width) * fitted.height * 3);
        for (uint32_t y = 0; y < picture.height; ++y)
            memcpy(&made[size_t(y) * fitted.width * 3], picture.pixels + y * picture.stride,
                   size_t(fitted.width) * 3);
    }
    if (!made.empty()) {
        rows = made.data();
        stride = size_t(fitted.width) * 3;
        if (colour) colour->apply(made.data(), size_t(fitted.width) * fitted.height);
    }
    std::ostringstream encoded;
    if (!encodeRows(rows, stride, fitted.width, fitted.height, quality, &encoded)) return false;
    std::string_view bytes = encoded.view();
    out.write(bytes.data(), std::streamsize(bytes.size()));
    return true;
}
