// ScaledJPEG.cpp - the decode-scale-encode loop and the header size reader.
#include "image/ScaledJPEG.h"

#include "image/JPEGStreams.h"

#include <cstring>
#include <jerror.h>
#include <sstream>

// Progressive pictures are buffered whole as coefficients by the decoder. A header may claim
// any size up to 65500 × 65500, so cap what one decode may take (a 100-megapixel progressive
// picture needs about 300 MB) rather than let a bad file exhaust the machine.
constexpr long kDecoderMemoryLimit = 1024L * 1024 * 1024;
// Real progressive pictures have about ten scans; thousands of tiny ones only waste time.
constexpr int kMaxScans = 1000;

static void _scanLimit(j_common_ptr cinfo) {
    auto* dinfo = reinterpret_cast<j_decompress_ptr>(cinfo);
    if (dinfo->input_scan_number > kMaxScans) ERREXIT(cinfo, JERR_NOTIMPL);
}

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

// Decodes from stream and encodes into encoded. Only plain C objects live in this frame: the
// error exit longjmps back into it, past library frames only.
static bool _transcode(CFReadStreamRef stream, uint32_t maxWidth, uint32_t maxHeight, int quality,
                       std::ostream* encoded, int32_t scale) {
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
    dinfo.mem->max_memory_to_use = kDecoderMemoryLimit;
    progress.progress_monitor = _scanLimit;
    dinfo.progress = &progress;
    jpeg_stream_src(&dinfo, stream);
    jpeg_read_header(&dinfo, TRUE);
    _chooseScale(&dinfo, maxWidth, maxHeight, scale);
    // The encoder takes three samples a pixel whatever the decoder delivers. Grey rows hold one
    // sample a pixel and would be read past their end, so the decoder expands them to RGB; every
    // other colour space keeps the library's choice (CMYK rows hold four samples a pixel, of
    // which the encoder reads the first three quarters of each row: wrong colours, no harm).
    if (dinfo.jpeg_color_space == JCS_GRAYSCALE) dinfo.out_color_space = JCS_RGB;
    jpeg_start_decompress(&dinfo);
    JSAMPARRAY row =
        (*dinfo.mem->alloc_sarray)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                   dinfo.output_width * JDIMENSION(dinfo.output_components), 1);

    cinfo.err = jpeg_std_error(&jerr.pub);
    jerr.pub.error_exit = my_error_exit;
    jpeg_create_compress(&cinfo);
    cinfo.image_width = dinfo.output_width;
    cinfo.image_height = dinfo.output_height;
    jpeg_stream_dest(&cinfo, encoded);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);

    while (dinfo.output_scanline < dinfo.output_height) {
        jpeg_read_scanlines(&dinfo, row, 1);
        jpeg_write_scanlines(&cinfo, row, 1);
    }

    jpeg_finish_decompress(&dinfo);
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_decompress(&dinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

bool writeScaledJPEG(const CFURL_t& url, uint32_t maxWidth, uint32_t maxHeight, int quality,
                     std::ostream& out, int32_t scale) {
    CFReadStream_t stream(url);
    // The picture is encoded aside and handed over whole, so a decode that fails half-way
    // leaves nothing in the reply body.
    std::ostringstream encoded;
    if (!_transcode(stream, maxWidth, maxHeight, quality, &encoded, scale)) return false;
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
