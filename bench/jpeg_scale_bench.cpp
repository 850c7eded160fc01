// jpeg_scale_bench.cpp - writeScaledJPEG against a bare libjpeg decode-encode loop, and the
// thumbnail re-encoding rate.
//
// Makes a 4000x3000 photo-like JPEG, shrinks it into a 1024x768 box with writeScaledJPEG, and
// does the same decode (same scale_denom) and encode with libjpeg alone from a FILE into memory.
// The ratio of the two is what our stream managers, error handling and buffering cost (target:
// at most 1.15). Then re-encodes a 160x120 thumbnail at quality 50 as the thumbnail responder does.
#include "image/ScaledJPEG.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <jpeglib.h>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// A gradient with texture and noise, so the entropy coder has a camera picture's work to do.
void writePicture(const std::string& path, int width, int height, int quality) {
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
size_t bareTranscode(const std::string& path, unsigned denom, int quality) {
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

CFURL_t urlFor(const std::string& path) {
    return CFURL_t(
        CFURLCreateFromFileSystemRepresentation(path.c_str(), CFIndex(path.size()), false),
        CFURL_t::Create);
}

// Processor time of this process (user and system), which other programs on a busy machine
// disturb far less than wall-clock time.
double cpuSeconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

template <class F> double cpuTime(F work) {
    double start = cpuSeconds();
    work();
    return cpuSeconds() - start;
}

} // namespace

int main() {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string dir = dirTemplate;
    std::string big = dir + "/big.jpg", thumb = dir + "/thumb.jpg";
    writePicture(big, 4000, 3000, 90);
    writePicture(thumb, 160, 120, 75);

    CFURL_t bigURL = urlFor(big);
    size_t ourSize = 0, bareSize = 0;
    const int runs = 15;
    double ours = 1e9, bare = 1e9;
    for (int i = 0; i < runs; ++i) {
        // Alternating the two sides, so both see the same machine state.
        ours = std::min(ours, cpuTime([&] {
                            std::ostringstream out;
                            if (!writeScaledJPEG(bigURL, 1024, 768, 75, out, -1)) exit(1);
                            ourSize = size_t(out.tellp());
                        }));
        // 4000x3000 into 1024x768: 1/4 is the first reduction inside the box, so 1/2 is used.
        bare = std::min(bare, cpuTime([&] { bareSize = bareTranscode(big, 2, 75); }));
    }
    printf("4000x3000 into 1024x768 (decoded at 1/2 to 2000x1500, quality 75),\nbest processor "
           "time of %d runs:\n",
           runs);
    printf("  writeScaledJPEG     %8.2f ms  (%zu bytes)\n", ours * 1000, ourSize);
    printf("  bare libjpeg loop   %8.2f ms  (%zu bytes)\n", bare * 1000, bareSize);
    printf("  ratio               %8.3f  (target <= 1.15)\n", ours / bare);

    CFURL_t thumbURL = urlFor(thumb);
    int count = 0, bareCount = 0;
    double oursCPU = cpuTime([&] {
        for (; count < 2000; ++count) {
            std::ostringstream out;
            if (!writeScaledJPEG(thumbURL, 0, 0, 50, out, 1)) exit(1);
        }
    });
    double bareCPU = cpuTime([&] {
        for (; bareCount < 2000; ++bareCount)
            bareTranscode(thumb, 1, 50);
    });
    printf("160x120 thumbnail re-encoded at quality 50, per processor second:\n");
    printf("  writeScaledJPEG     %8.0f\n  bare libjpeg loop   %8.0f\n", count / oursCPU,
           bareCount / bareCPU);

    unlink(big.c_str());
    unlink(thumb.c_str());
    rmdir(dir.c_str());
    return 0;
}
