// H264.cpp - the smallest H.264 stream a player decodes: one key frame of uncompressed
// macroblocks (I_PCM), then frames that repeat it (every macroblock skipped).
#include "demo/H264.h"

#include <algorithm>
#include <stdexcept>

namespace demo {

namespace {

// Bits of a raw byte sequence payload, most significant first.
class Bits {
  public:
    void bit(uint32_t b) {
        current_ = uint8_t(current_ << 1 | (b & 1));
        if (++count_ == 8) {
            bytes_ += char(current_);
            current_ = 0;
            count_ = 0;
        }
    }
    void u(int n, uint32_t v) {
        for (int i = n - 1; i >= 0; --i)
            bit(v >> i);
    }
    // Exp-Golomb codes.
    void ue(uint32_t v) {
        uint32_t coded = v + 1;
        int length = 0;
        while ((coded >> length) > 1)
            ++length;
        u(length, 0);
        u(length + 1, coded);
    }
    void se(int32_t v) { ue(v > 0 ? uint32_t(2 * v - 1) : uint32_t(-2 * v)); }
    void alignWithZeros() {
        while (count_ != 0)
            bit(0);
    }
    void byte(uint8_t b) { u(8, b); }
    // The stop bit and the zeros after it.
    std::string finish() {
        bit(1);
        alignWithZeros();
        return bytes_;
    }

  private:
    std::string bytes_;
    uint8_t current_ = 0;
    int count_ = 0;
};

// A NAL unit: its header byte and the payload with emulation prevention bytes, so that no
// start code appears inside it.
std::string nalUnit(int refIdc, int type, const std::string& payload) {
    std::string out(1, char(refIdc << 5 | type));
    int zeros = 0;
    for (char c : payload) {
        uint8_t b = uint8_t(c);
        if (zeros == 2 && b <= 3) {
            out += char(3);
            zeros = 0;
        }
        out += c;
        zeros = b == 0 ? zeros + 1 : 0;
    }
    return out;
}

constexpr int kLog2MaxFrameNum = 4;

uint8_t clampSample(float v) {
    return uint8_t(std::clamp(v + 0.5f, 1.0f, 254.0f));
}

} // namespace

H264Stream encodeStillH264(const Canvas& canvas, int frames) {
    H264Stream stream;
    stream.width = (canvas.width() / 2) & ~15;
    stream.height = (canvas.height() / 2) & ~15;
    if (stream.width < 16 || stream.height < 16 || frames < 1)
        throw std::runtime_error("the film's still is too small");
    const int mbWidth = stream.width / 16, mbHeight = stream.height / 16;

    Bits sps;
    sps.byte(66);   // profile: baseline
    sps.byte(0xC0); // constraint sets 0 and 1: decodable by baseline and main decoders
    sps.byte(30);   // level 3.0
    sps.ue(0);      // sequence parameter set 0
    sps.ue(kLog2MaxFrameNum - 4);
    sps.ue(2); // picture order follows decoding order
    sps.ue(1); // one reference frame
    sps.u(1, 0);
    sps.ue(uint32_t(mbWidth - 1));
    sps.ue(uint32_t(mbHeight - 1));
    sps.u(1, 1); // frames only
    sps.u(1, 1); // direct 8x8 inference
    sps.u(1, 0); // no cropping
    sps.u(1, 0); // no VUI
    stream.sps = nalUnit(3, 7, sps.finish());

    Bits pps;
    pps.ue(0);   // picture parameter set 0
    pps.ue(0);   // of sequence parameter set 0
    pps.u(1, 0); // CAVLC
    pps.u(1, 0);
    pps.ue(0); // one slice group
    pps.ue(0); // one reference index in each list
    pps.ue(0);
    pps.u(1, 0); // no weighted prediction
    pps.u(2, 0);
    pps.se(0); // QP 26
    pps.se(0);
    pps.se(0);
    pps.u(1, 1); // deblocking control present
    pps.u(1, 0);
    pps.u(1, 0);
    stream.pps = nalUnit(3, 8, pps.finish());

    // The key frame: every macroblock I_PCM, its samples in BT.601 studio range from the still
    // halved in each direction.
    std::vector<float> r(size_t(stream.width) * size_t(stream.height)), g(r.size()), b(r.size());
    for (int y = 0; y < stream.height; ++y) {
        for (int x = 0; x < stream.width; ++x) {
            Rgb sum = canvas.get(2 * x, 2 * y) + canvas.get(2 * x + 1, 2 * y) +
                      canvas.get(2 * x, 2 * y + 1) + canvas.get(2 * x + 1, 2 * y + 1);
            size_t i = size_t(y) * size_t(stream.width) + size_t(x);
            r[i] = sum.r / 4, g[i] = sum.g / 4, b[i] = sum.b / 4;
        }
    }
    auto luma = [&](int x, int y) {
        size_t i = size_t(y) * size_t(stream.width) + size_t(x);
        return clampSample(16 + 65.481f * r[i] + 128.553f * g[i] + 24.966f * b[i]);
    };
    auto chroma = [&](int cx, int cy, bool red) {
        float sum = 0;
        for (int dy = 0; dy < 2; ++dy) {
            for (int dx = 0; dx < 2; ++dx) {
                size_t i = size_t(2 * cy + dy) * size_t(stream.width) + size_t(2 * cx + dx);
                sum += red ? 112.0f * r[i] - 93.786f * g[i] - 18.214f * b[i]
                           : -37.797f * r[i] - 74.203f * g[i] + 112.0f * b[i];
            }
        }
        return clampSample(128 + sum / 4);
    };

    Bits idr;
    idr.ue(0);                  // first macroblock
    idr.ue(7);                  // I slice, as are all of the picture's
    idr.ue(0);                  // picture parameter set
    idr.u(kLog2MaxFrameNum, 0); // frame number
    idr.ue(0);                  // IDR picture id
    idr.u(1, 0);                // keep prior pictures' output
    idr.u(1, 0);                // short-term reference
    idr.se(0);                  // QP delta
    idr.ue(1);                  // no deblocking
    for (int my = 0; my < mbHeight; ++my) {
        for (int mx = 0; mx < mbWidth; ++mx) {
            idr.ue(25); // I_PCM
            idr.alignWithZeros();
            for (int y = 0; y < 16; ++y)
                for (int x = 0; x < 16; ++x)
                    idr.byte(luma(mx * 16 + x, my * 16 + y));
            for (bool red : {false, true})
                for (int y = 0; y < 8; ++y)
                    for (int x = 0; x < 8; ++x)
                        idr.byte(chroma(mx * 8 + x, my * 8 + y, red));
        }
    }
    stream.frames.push_back(nalUnit(3, 5, idr.finish()));

    for (int n = 1; n < frames; ++n) {
        Bits p;
        p.ue(0); // first macroblock
        p.ue(5); // P slice, as are all of the picture's
        p.ue(0);
        p.u(kLog2MaxFrameNum, uint32_t(n % (1 << kLog2MaxFrameNum)));
        p.u(1, 0); // default reference count
        p.u(1, 0); // reference list as it is
        p.u(1, 0); // sliding-window marking
        p.se(0);
        p.ue(1);
        p.ue(uint32_t(mbWidth * mbHeight)); // every macroblock skipped: the previous frame
        stream.frames.push_back(nalUnit(2, 1, p.finish()));
    }
    return stream;
}

} // namespace demo
