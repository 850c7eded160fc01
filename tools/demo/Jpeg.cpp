// Jpeg.cpp - JPEG encoding through libjpeg into memory, in RGB or inverted CMYK, with the EXIF
// block placed before the frame header.
#include "demo/Encoders.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <stdexcept>
#include <vector>

#include <jpeglib.h>

namespace demo {

namespace {

constexpr size_t kChunk = 64 * 1024;

// The destination manager: libjpeg fills a chunk at the end of the output string, which is
// grown as it asks for more room and cut to length at the end.
struct Destination {
    jpeg_destination_mgr manager;
    std::string* out;
};

void _initDestination(j_compress_ptr cinfo) {
    auto* dest = reinterpret_cast<Destination*>(cinfo->dest);
    dest->out->resize(kChunk);
    dest->manager.next_output_byte = reinterpret_cast<JOCTET*>(dest->out->data());
    dest->manager.free_in_buffer = kChunk;
}

boolean _emptyOutputBuffer(j_compress_ptr cinfo) {
    auto* dest = reinterpret_cast<Destination*>(cinfo->dest);
    size_t used = dest->out->size(); // a full buffer: every byte is in use
    dest->out->resize(used + kChunk);
    dest->manager.next_output_byte = reinterpret_cast<JOCTET*>(dest->out->data() + used);
    dest->manager.free_in_buffer = kChunk;
    return TRUE;
}

void _termDestination(j_compress_ptr cinfo) {
    auto* dest = reinterpret_cast<Destination*>(cinfo->dest);
    dest->out->resize(dest->out->size() - dest->manager.free_in_buffer);
}

struct ErrorManager {
    jpeg_error_mgr manager;
    jmp_buf escape;
    char message[JMSG_LENGTH_MAX];
};

void _errorExit(j_common_ptr cinfo) {
    auto* errors = reinterpret_cast<ErrorManager*>(cinfo->err);
    (*cinfo->err->format_message)(cinfo, errors->message);
    longjmp(errors->escape, 1);
}

// "Adobe", version 100, no flags, transform 0: the four components are stored as they are.
const unsigned char kAdobe[12] = {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, 0};

// One row of RGB pixels as inverted CMYK: black takes what the three channels share, and each
// stored value is 255 minus its ink, so that red = stored C × stored K / 255 again.
JSAMPROW toInvertedInks(const uint8_t* rgb, int width, JSAMPLE* out) {
    for (int x = 0; x < width; ++x, rgb += 3, out += 4) {
        int most = std::max({rgb[0], rgb[1], rgb[2]}); // 255 minus the black ink
        for (int c = 0; c < 3; ++c)
            out[c] = JSAMPLE(most == 0 ? 255 : (rgb[c] * 255 + most / 2) / most);
        out[3] = JSAMPLE(most);
    }
    return out - size_t(width) * 4;
}

// The libjpeg work, in a frame that holds nothing with a destructor, since an error leaves it
// by longjmp; with inks (room for one row of four components) the picture is stored as
// inverted CMYK. Returns false with errors->message set on failure.
bool compress(const Canvas& canvas, int quality, bool jfif, const std::string& app1,
              const std::string& icc, JSAMPLE* inks, std::string* out, ErrorManager* errors) {
    const bool cmyk = inks != nullptr;
    jpeg_compress_struct cinfo;
    Destination dest;
    cinfo.err = jpeg_std_error(&errors->manager);
    errors->manager.error_exit = _errorExit;
    if (setjmp(errors->escape)) {
        jpeg_destroy_compress(&cinfo);
        return false;
    }
    jpeg_create_compress(&cinfo);
    dest.manager.init_destination = _initDestination;
    dest.manager.empty_output_buffer = _emptyOutputBuffer;
    dest.manager.term_destination = _termDestination;
    dest.out = out;
    cinfo.dest = &dest.manager;

    cinfo.image_width = JDIMENSION(canvas.width());
    cinfo.image_height = JDIMENSION(canvas.height());
    cinfo.input_components = cmyk ? 4 : 3;
    cinfo.in_color_space = cmyk ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    // The Adobe segment is written by hand below, after APP1: libjpeg would put it first.
    cinfo.write_Adobe_marker = FALSE;
    jpeg_set_quality(&cinfo, quality, TRUE);
    cinfo.write_JFIF_header = jfif ? TRUE : FALSE;
    cinfo.density_unit = 1; // dots per inch
    cinfo.X_density = 72;
    cinfo.Y_density = 72;
    jpeg_start_compress(&cinfo, TRUE);
    // Markers written now land after SOI (and APP0) and before the tables and the frame
    // header, which libjpeg writes with the first scanlines.
    if (!app1.empty())
        jpeg_write_marker(&cinfo, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(app1.data()),
                          unsigned(app1.size()));
    if (cmyk)
        jpeg_write_marker(&cinfo, JPEG_APP0 + 14, reinterpret_cast<const JOCTET*>(kAdobe),
                          sizeof kAdobe);
    if (!icc.empty())
        jpeg_write_icc_profile(&cinfo, reinterpret_cast<const JOCTET*>(icc.data()),
                               unsigned(icc.size()));
    while (cinfo.next_scanline < cinfo.image_height) {
        JSAMPROW row = const_cast<JSAMPROW>(canvas.row(int(cinfo.next_scanline)));
        if (cmyk) row = toInvertedInks(row, canvas.width(), inks);
        jpeg_write_scanlines(&cinfo, &row, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    return true;
}

} // namespace

std::string encodeJpeg(const Canvas& canvas, int quality, bool jfif, const std::string& app1,
                       bool cmyk, const std::string& icc) {
    if (app1.size() > 65533) throw std::runtime_error("APP1 payload longer than 65533 bytes");
    std::string out;
    ErrorManager errors;
    std::vector<JSAMPLE> inks(cmyk ? size_t(canvas.width()) * 4 : 0);
    if (!compress(canvas, quality, jfif, app1, icc, cmyk ? inks.data() : nullptr, &out, &errors))
        throw std::runtime_error(std::string("JPEG encoding failed: ") + errors.message);
    return out;
}

} // namespace demo
