// EncodeJPEG.h - JPEG bytes made with libjpeg for the tests' pictures.
#pragma once

#include <algorithm>
#include <cstdio> // jpeglib.h needs FILE declared first
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <jpeglib.h>

namespace testsupport {

struct JpegOptions {
    int components = 3; // 1 (grey), 3 (RGB) or 4 (CMYK)
    int quality = 75;
    bool jfif = true; // false: no APP0 segment, SOI is followed directly by the tables
    bool progressive = false;
    std::string app1;     // non-empty: written as an APP1 segment after the JFIF header
    bool gradient = true; // false: every sample is mid-grey (128)
    // Non-null: the samples, rows top-down (gradient is ignored), stored without subsampling.
    const std::vector<uint8_t>* samples = nullptr;
    bool ycck = false;         // four components stored as YCCK rather than CMYK
    std::optional<bool> adobe; // the Adobe marker; unset: libjpeg's default (CMYK only)
    std::string icc;           // non-empty: an ICC profile, in APP2 chunks
};

// The width × height picture, compressed in memory.
inline std::string encodeJPEG(int width, int height, const JpegOptions& options = {}) {
    const int components = options.components;
    jpeg_compress_struct cinfo;
    jpeg_error_mgr jerr;
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = JDIMENSION(width);
    cinfo.image_height = JDIMENSION(height);
    cinfo.input_components = components;
    cinfo.in_color_space = components == 1 ? JCS_GRAYSCALE : components == 4 ? JCS_CMYK : JCS_RGB;
    jpeg_set_defaults(&cinfo);
    if (options.ycck) jpeg_set_colorspace(&cinfo, JCS_YCCK);
    jpeg_set_quality(&cinfo, options.quality, TRUE);
    if (options.samples)
        for (int c = 0; c < cinfo.num_components; ++c)
            cinfo.comp_info[c].h_samp_factor = cinfo.comp_info[c].v_samp_factor = 1;
    if (options.adobe) cinfo.write_Adobe_marker = *options.adobe ? TRUE : FALSE;
    cinfo.write_JFIF_header = options.jfif ? TRUE : FALSE;
    if (options.progressive) jpeg_simple_progression(&cinfo);
    jpeg_start_compress(&cinfo, TRUE);
    if (!options.app1.empty())
        jpeg_write_marker(&cinfo, JPEG_APP0 + 1, (const JOCTET*)options.app1.data(),
                          unsigned(options.app1.size()));
    if (!options.icc.empty())
        jpeg_write_icc_profile(&cinfo, reinterpret_cast<const JOCTET*>(options.icc.data()),
                               unsigned(options.icc.size()));
    std::vector<JSAMPLE> row(size_t(width) * size_t(components), 128);
    while (cinfo.next_scanline < cinfo.image_height) {
        int y = int(cinfo.next_scanline);
        if (options.samples)
            std::copy_n(options.samples->data() + size_t(y) * row.size(), row.size(), row.data());
        else if (options.gradient)
            for (int x = 0; x < width; ++x)
                for (int c = 0; c < components; ++c)
                    row[size_t(x * components + c)] =
                        JSAMPLE((x * 255 / width + y * 255 / height + c * 85) & 0xFF);
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    std::string out(reinterpret_cast<const char*>(buffer), size);
    jpeg_destroy_compress(&cinfo);
    free(buffer);
    return out;
}

} // namespace testsupport
