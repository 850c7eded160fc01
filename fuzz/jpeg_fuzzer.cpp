// jpeg_fuzzer.cpp - libFuzzer entry point: any bytes as a JPEG file through both shrinking
// paths, under their decoding guards (memory of one decode, scans, pixels a header may claim).
//
// A picture either comes out as a JPEG inside the box asked for, or is refused with nothing
// written; nothing crashes, hangs or grows past the guards. Keep -max_len moderate (some
// kilobytes): the pixels-per-byte guard lets a bigger file claim a bigger picture.
#include "FuzzFiles.h"
#include "image/FittedJPEG.h"
#include "image/ScaledJPEG.h"

#include <cstdint>
#include <sstream>
#include <string>

using fuzzfiles::expectMade;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The last byte picks the boxes, so that one input reaches the several reductions.
    uint8_t pick = size ? data[size - 1] : 0;
    uint32_t box = 16u << (pick & 3);                         // 16 to 128
    int32_t scale = (pick & 4) ? -1 : 1 << ((pick >> 3) & 3); // the box, or 1, 2, 4, 8
    uint32_t limit = (pick & 0x20) ? box / 2 + 1 : 0;
    std::ostringstream scaled, fitted;
    bool made = writeScaledJPEG(fuzzfiles::memoryFile(data, size, "/home/ana/in.jpg"), box, box, 50,
                                scaled, scale, limit);
    expectMade(made, scaled.str(), limit ? limit : UINT32_MAX, limit ? limit : UINT32_MAX);
    made = writeFittedJPEG(fuzzfiles::memoryFile(data, size, "/home/ana/in.jpg"), box, box * 3 / 4,
                           50, fitted);
    expectMade(made, fitted.str(), box, box * 3 / 4);
    return 0;
}
