// jpeg_fuzzer.cpp - libFuzzer entry point: any bytes as a JPEG file through both shrinking
// paths, under their decoding guards (memory of one decode, scans, pixels a header may claim).
//
// A picture either comes out as a JPEG inside the box asked for, or is refused with nothing
// written; nothing crashes, hangs or grows past the guards. Keep -max_len moderate (some
// kilobytes): the pixels-per-byte guard lets a bigger file claim a bigger picture.
#include "FuzzFiles.h"
#include "image/FittedJPEG.h"
#include "image/ScaledJPEG.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <stdexcept>
#include <string>

namespace {

// The stored size of the JPEG made, or {0, 0} when its header cannot be read.
FittedSize sizeOf(const std::string& jpeg) {
    CFURL_t url(fuzzfiles::copyMemoryFileURL(reinterpret_cast<const uint8_t*>(jpeg.data()),
                                             jpeg.size(), "/home/ana/out.jpg"),
                CFURL_t::Create);
    int width = 0, height = 0;
    if (!getJPEGSize(url, width, height)) return {0, 0};
    return {uint32_t(width), uint32_t(height)};
}

CFURL_t input(const uint8_t* data, size_t size) {
    return CFURL_t(fuzzfiles::copyMemoryFileURL(data, size, "/home/ana/in.jpg"), CFURL_t::Create);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The last byte picks the boxes, so that one input reaches the several reductions.
    uint8_t pick = size ? data[size - 1] : 0;
    uint32_t box = 16u << (pick & 3);                         // 16 to 128
    int32_t scale = (pick & 4) ? -1 : 1 << ((pick >> 3) & 3); // the box, or 1, 2, 4, 8
    uint32_t limit = (pick & 0x20) ? box / 2 + 1 : 0;

    std::ostringstream scaled;
    if (writeScaledJPEG(input(data, size), box, box, 50, scaled, scale, limit)) {
        FittedSize made = sizeOf(scaled.str());
        if (made.width == 0 || made.height == 0) __builtin_trap(); // not a readable JPEG
        if (limit && (made.width > limit || made.height > limit)) __builtin_trap();
    } else if (!scaled.str().empty()) {
        __builtin_trap(); // refused, yet written
    }

    std::ostringstream fitted;
    uint32_t boxWidth = box, boxHeight = box * 3 / 4;
    if (writeFittedJPEG(input(data, size), boxWidth, boxHeight, 50, fitted)) {
        FittedSize made = sizeOf(fitted.str());
        if (made.width == 0 || made.height == 0) __builtin_trap();
        if (made.width > boxWidth || made.height > boxHeight) __builtin_trap();
    } else if (!fitted.str().empty()) {
        __builtin_trap();
    }
    return 0;
}
