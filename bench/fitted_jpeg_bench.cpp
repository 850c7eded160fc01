// fitted_jpeg_bench.cpp - exact fits and sized thumbnails against their references.
//
// 1. A 4000x3000 photo fitted exactly into 1920x1080 (writeFittedJPEG) against the
//    one-step-short shrink into the same box (writeScaledJPEG): target at most 1.5 times.
// 2. A 1024-pixel sized thumbnail of the same 12 MP photo at quality 85 against a bare loop:
//    libjpeg from a FILE decoding at the same scale, the same Resampler, libjpeg encoding into
//    memory row by row: target at most 1.3 times.
// Best processor time of several alternating runs; the machine is shared, so figures are noisy.
#include "BenchPictures.h"
#include "image/FittedJPEG.h"
#include "image/Resample.h"
#include "image/ScaledJPEG.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using namespace bench;

// Decode at scaleNum/8, shrink to width × height, encode at quality: bytes written.
static size_t bareFit(const std::string& path, unsigned scaleNum, uint32_t width, uint32_t height,
                      int quality) {
    FILE* file = fopen(path.c_str(), "rb");
    if (!file) exit(1);
    jpeg_decompress_struct dinfo;
    jpeg_compress_struct cinfo;
    jpeg_error_mgr derr, cerr;
    dinfo.err = jpeg_std_error(&derr);
    jpeg_create_decompress(&dinfo);
    jpeg_stdio_src(&dinfo, file);
    jpeg_read_header(&dinfo, TRUE);
    dinfo.scale_num = scaleNum;
    dinfo.scale_denom = 8;
    jpeg_start_decompress(&dinfo);

    cinfo.err = jpeg_std_error(&cerr);
    jpeg_create_compress(&cinfo);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&cinfo, &buffer, &size);
    cinfo.image_width = width;
    cinfo.image_height = height;
    cinfo.input_components = 3;
    cinfo.in_color_space = JCS_RGB;
    jpeg_set_defaults(&cinfo);
    jpeg_set_quality(&cinfo, quality, TRUE);
    jpeg_start_compress(&cinfo, TRUE);
    Resampler shrink(dinfo.output_width, dinfo.output_height, width, height,
                     [&](const uint8_t* row, uint32_t) {
                         JSAMPROW rows[1] = {const_cast<JSAMPLE*>(row)};
                         jpeg_write_scanlines(&cinfo, rows, 1);
                     });
    std::vector<JSAMPLE> row(size_t(dinfo.output_width) * 3);
    while (dinfo.output_scanline < dinfo.output_height) {
        JSAMPROW rows[1] = {row.data()};
        jpeg_read_scanlines(&dinfo, rows, 1);
        shrink.push(row.data());
    }
    jpeg_finish_decompress(&dinfo);
    jpeg_destroy_decompress(&dinfo);
    fclose(file);
    jpeg_finish_compress(&cinfo);
    jpeg_destroy_compress(&cinfo);
    free(buffer);
    return size;
}

int main() {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string dir = dirTemplate;
    std::string big = dir + "/big.jpg";
    writePicture(big, 4000, 3000, 90);
    CFURL_t bigURL = urlFor(big);
    const int runs = 9;

    double fitted = 1e9, stepShort = 1e9;
    size_t fittedSize = 0, stepSize = 0;
    for (int i = 0; i < runs; ++i) {
        fitted = std::min(fitted, cpuTime([&] {
                              std::ostringstream out;
                              if (!writeFittedJPEG(bigURL, 1920, 1080, 90, out)) exit(1);
                              fittedSize = size_t(out.tellp());
                          }));
        stepShort = std::min(stepShort, cpuTime([&] {
                                 std::ostringstream out;
                                 if (!writeScaledJPEG(bigURL, 1920, 1080, 90, out, -1)) exit(1);
                                 stepSize = size_t(out.tellp());
                             }));
    }
    printf("4000x3000 into 1920x1080 at quality 90, best processor time of %d runs "
           "(shared machine: noisy):\n",
           runs);
    printf("  fit=exact (3/8 -> 1500x1125, shrunk to 1440x1080) %8.2f ms  (%zu bytes)\n",
           fitted * 1000, fittedSize);
    printf("  one step short (1/2 -> 2000x1500)                 %8.2f ms  (%zu bytes)\n",
           stepShort * 1000, stepSize);
    printf("  ratio                                             %8.3f  (target <= 1.5)\n",
           fitted / stepShort);

    double sized = 1e9, bare = 1e9;
    size_t sizedSize = 0, bareSize = 0;
    for (int i = 0; i < runs; ++i) {
        sized = std::min(sized, cpuTime([&] {
                             std::ostringstream out;
                             if (!writeFittedJPEG(bigURL, 1024, 1024, 85, out)) exit(1);
                             sizedSize = size_t(out.tellp());
                         }));
        bare = std::min(bare, cpuTime([&] { bareSize = bareFit(big, 3, 1024, 768, 85); }));
    }
    printf("1024-px sized thumbnail of a 4000x3000 (12 MP) photo at quality 85, best of %d:\n",
           runs);
    printf("  writeFittedJPEG                                   %8.2f ms  (%zu bytes)\n",
           sized * 1000, sizedSize);
    printf("  bare libjpeg 3/8 + Resampler + encode             %8.2f ms  (%zu bytes)\n",
           bare * 1000, bareSize);
    printf("  ratio                                             %8.3f  (target <= 1.3)\n",
           sized / bare);
    unlink(big.c_str());
    rmdir(dir.c_str());
    return 0;
}
