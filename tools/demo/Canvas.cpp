// Canvas.cpp - the RGB canvas, colour helpers, box-filter shrinking and the random source.
#include "demo/Canvas.h"

#include <algorithm>
#include <cmath>

namespace demo {

Rgb hex(uint32_t rrggbb) {
    return {float((rrggbb >> 16) & 0xFF) / 255.0f, float((rrggbb >> 8) & 0xFF) / 255.0f,
            float(rrggbb & 0xFF) / 255.0f};
}

float smoothstep(float edge0, float edge1, float x) {
    float t = clamp01((x - edge0) / (edge1 - edge0));
    return t * t * (3.0f - 2.0f * t);
}

Rgb gradient(const Rgb* stops, int count, float t) {
    t = clamp01(t) * float(count - 1);
    int i = std::min(int(t), count - 2);
    return mix(stops[i], stops[i + 1], t - float(i));
}

Canvas::Canvas(int width, int height)
    : width_(width), height_(height), pixels_(size_t(width) * size_t(height) * 3) {}

Canvas Canvas::fitInside(int maxSide) const {
    int w = width_, h = height_;
    if (w > maxSide || h > maxSide) {
        if (w >= h) {
            h = std::max(1, int(int64_t(h) * maxSide / w));
            w = maxSide;
        } else {
            w = std::max(1, int(int64_t(w) * maxSide / h));
            h = maxSide;
        }
    }
    Canvas out(w, h);
    std::vector<uint32_t> sums(size_t(w) * 3);
    for (int ty = 0; ty < h; ++ty) {
        int y0 = int(int64_t(ty) * height_ / h), y1 = int(int64_t(ty + 1) * height_ / h);
        std::fill(sums.begin(), sums.end(), 0u);
        for (int y = y0; y < y1; ++y) {
            const uint8_t* src = row(y);
            for (int tx = 0; tx < w; ++tx) {
                int x0 = int(int64_t(tx) * width_ / w), x1 = int(int64_t(tx + 1) * width_ / w);
                for (int x = x0; x < x1; ++x)
                    for (int c = 0; c < 3; ++c)
                        sums[size_t(tx) * 3 + size_t(c)] += src[size_t(x) * 3 + size_t(c)];
            }
        }
        uint8_t* dst = out.row(ty);
        for (int tx = 0; tx < w; ++tx) {
            int x0 = int(int64_t(tx) * width_ / w), x1 = int(int64_t(tx + 1) * width_ / w);
            uint32_t area = uint32_t((x1 - x0) * (y1 - y0));
            for (int c = 0; c < 3; ++c)
                dst[tx * 3 + c] = uint8_t((sums[size_t(tx) * 3 + size_t(c)] + area / 2) / area);
        }
    }
    return out;
}

uint64_t Random::next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

float Random::unit() {
    return float(next() >> 40) / float(1u << 24);
}

uint32_t hash2(int32_t a, int32_t b) {
    uint64_t z = (uint64_t(uint32_t(a)) << 32) | uint32_t(b);
    z = (z ^ (z >> 33)) * 0xFF51AFD7ED558CCDull;
    z = (z ^ (z >> 33)) * 0xC4CEB9FE1A85EC53ull;
    return uint32_t(z ^ (z >> 33));
}

} // namespace demo
