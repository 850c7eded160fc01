// Resample.h - shrinking RGB pictures row by row with a Catmull-Rom filter.
//
// The filter is separable: each incoming row is shrunk across at once, and an output row is
// made as soon as the incoming rows it needs have arrived, so memory stays a few rows wide
// (about four input rows per output row's reach, at the output width). Weights are worked out
// once per picture, in fixed point. Samples are 8-bit RGB, three bytes a pixel.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

class Resampler {
  public:
    // Receives each output row (outWidth × 3 bytes, valid during the call) with its index.
    using RowSink = std::function<void(const uint8_t* row, uint32_t y)>;

    // REQUIRES: all sizes at least 1, outWidth <= inWidth and outHeight <= inHeight (it only
    // shrinks; equal sizes copy).
    Resampler(uint32_t inWidth, uint32_t inHeight, uint32_t outWidth, uint32_t outHeight,
              RowSink sink);

    // Feeds the next input row (inWidth × 3 bytes). Output rows are handed to the sink
    // as soon as they can be made; after the last input row all of them have been.
    // REQUIRES: fewer than inHeight rows pushed so far.
    void push(const uint8_t* row);

  private:
    // The taps of one output sample: `count` weights from input index `first`.
    struct Taps {
        uint32_t first;
        uint32_t count;
        uint32_t offset; // into weights_
    };
    static void plan(uint32_t in, uint32_t out, std::vector<Taps>& taps,
                     std::vector<int16_t>& weights);
    void across(const uint8_t* in, uint8_t* out) const;
    void emitReady();

    uint32_t inWidth_, inHeight_, outWidth_, outHeight_;
    RowSink sink_;
    std::vector<Taps> xTaps_, yTaps_;
    std::vector<int16_t> xWeights_, yWeights_;
    uint32_t ringRows_;           // rows kept: the widest vertical reach
    std::vector<uint8_t> ring_;   // horizontally shrunk input rows, row r at r % ringRows_
    std::vector<uint8_t> outRow_; // the output row being made
    std::vector<int32_t> sums_;   // its sums before rounding
    uint32_t pushed_ = 0, emitted_ = 0;
};

// The filter's kernel at distance x (in output pixels): Catmull-Rom, support 2.
double catmullRom(double x);
