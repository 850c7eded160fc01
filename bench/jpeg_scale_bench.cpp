// jpeg_scale_bench.cpp - writeScaledJPEG against a bare libjpeg decode-encode loop, and the
// thumbnail re-encoding rate.
//
// Makes a 4000x3000 photo-like JPEG, shrinks it into a 1024x768 box with writeScaledJPEG, and
// does the same decode (same scale_denom) and encode with libjpeg alone from a FILE into memory.
// The ratio of the two is what our stream managers, error handling and buffering cost (target:
// at most 1.15). Then re-encodes a 160x120 thumbnail at quality 50 as the thumbnail responder does.
#include "BenchPictures.h"
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

using namespace bench;

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
