// H264.h - a still picture as a short H.264 stream (baseline profile) for the demo film.
#pragma once

#include "demo/Canvas.h"

#include <string>
#include <vector>

namespace demo {

// NAL units without start codes or length prefixes.
struct H264Stream {
    int width = 0, height = 0;       // luma samples, multiples of 16
    std::string sps, pps;            // the parameter sets
    std::vector<std::string> frames; // one slice per frame: a key frame, then repeats
};

// The canvas halved in each direction (cut to whole macroblocks) as frames pictures: an IDR
// picture of uncompressed macroblocks, then P pictures that skip every macroblock. The same
// canvas gives the same bytes on every run. Throws std::runtime_error when the canvas is smaller
// than 32 x 32 or frames < 1.
H264Stream encodeStillH264(const Canvas& canvas, int frames);

} // namespace demo
