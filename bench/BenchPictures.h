// BenchPictures.h - what the picture benchmarks share: a camera-like JPEG generator, the bare
// libjpeg decode-encode loop they are measured against, and processor-time helpers.
#pragma once

#include "cf/cftempl.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <jpeglib.h>
#include <string>
#include <vector>

namespace bench {

// A gradient with texture and noise, so the entropy coder has a camera picture's work to do.
inline void writePicture(const std::string& path, int width, int height, int quality) {
    FILE* file = fopen(path.c_str(), "wb");
    if (!file) {
        perror(path.c_str());
        exit(1);
    }
    struct jpeg_compress_struct cinfo;
    struct jpeg_error_mgr jerr;
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_compress(&cinfo);
    jpeg_stdio_dest(&cinfo, file);
    cinfo.image_width = JDIMENSION(width);
    cinfo.image_height = JDIMENSION(height);
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    std::vector<JSAMPLE> row(size_t(width) * 3);
    uint32_t noise = 12345;
    while (cinfo.next_scanline < cinfo.image_height) {
        int y = int(cinfo.next_scanline);
        for (int x = 0; x < width; ++x) {
            noise = noise * 1103515245u + 12345u;
            int n = int((noise >> 16) & 31) - 16;
            int texture = ((x / 7) ^ (y / 5)) & 15;
            row[size_t(x) * 3 + 0] = JSAMPLE(std::clamp(x * 255 / width + n + texture, 0, 255));
            row[size_t(x) * 3 + 1] = JSAMPLE(std::clamp(y * 255 / height + n, 0, 255));
            row[size_t(x) * 3 + 2] = JSAMPLE(std::clamp(128 + n * 2 - texture, 0, 255));
        }
        JSAMPROW rows[1] = {row.data()};
        jpeg_write_scanlines(&cinfo, rows, 1);
    }
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    fclose(file);
}

// The same work as writeScaledJPEG with nothing around libjpeg: returns the encoded size.
inline size_t bareTranscode(const std::string& path, unsigned denom, int quality) {
    FILE* file = fopen(path.c_str(), "rb");
    struct jpeg_decompress_struct dinfo;
    struct jpeg_compress_struct cinfo;
    struct jpeg_error_mgr jerr;
    dinfo.err = jpeg_std_error(&jerr);
    jpeg_create_decompress(&dinfo);
    jpeg_stdio_src(&dinfo, file);
    jpeg_read_header(&dinfo, TRUE);
    dinfo.scale_denom = denom;
    dinfo.out_color_space = JCS_RGB;
    jpeg_start_decompress(&dinfo);
    JSAMPARRAY row =
        (*dinfo.mem->alloc_sarray)(j_common_ptr(&dinfo), JPOOL_IMAGE,
                                   dinfo.output_width * JDIMENSION(dinfo.output_components), 1);
    cinfo.err = jpeg_std_error(&jerr);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = dinfo.output_width;
    cinfo.image_height = dinfo.output_height;
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
    free(buffer);
    fclose(file);
    return size;
}

inline CFURL_t urlFor(const std::string& path) {
    return CFURL_t(
        CFURLCreateFromFileSystemRepresentation(path.c_str(), CFIndex(path.size()), false),
        CFURL_t::Create);
}

// Processor time of this process (user and system), which other programs on a busy machine
// disturb far less than wall-clock time.
inline double cpuSeconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

template <class F> inline double cpuTime(F work) {
    double start = cpuSeconds();
    work();
    return cpuSeconds() - start;
}

} // namespace bench
