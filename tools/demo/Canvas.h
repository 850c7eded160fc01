// Canvas.h - an RGB picture in memory, the colour arithmetic the painters share, and a seeded
// random source, so that every picture comes out the same on every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace demo {

// A colour with channels from 0 to 1 (values outside are clamped when stored).
struct Rgb {
    float r, g, b;
};

inline Rgb operator+(Rgb a, Rgb b) {
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}
inline Rgb operator*(Rgb a, float k) {
    return {a.r * k, a.g * k, a.b * k};
}
// The colour from a (t = 0) to b (t = 1).
inline Rgb mix(Rgb a, Rgb b, float t) {
    return {a.r + (b.r - a.r) * t, a.g + (b.g - a.g) * t, a.b + (b.b - a.b) * t};
}
// A colour from 8-bit channels written as 0xRRGGBB.
Rgb hex(uint32_t rrggbb);
// v limited to [0, 1]; NaN gives 0.
inline float clamp01(float v) {
    return v > 0.0f ? (v < 1.0f ? v : 1.0f) : 0.0f;
}
// A pixel's three bytes from a colour (clamped) and back.
inline void store(uint8_t* p, Rgb c) {
    p[0] = uint8_t(clamp01(c.r) * 255.0f + 0.5f);
    p[1] = uint8_t(clamp01(c.g) * 255.0f + 0.5f);
    p[2] = uint8_t(clamp01(c.b) * 255.0f + 0.5f);
}
inline Rgb load(const uint8_t* p) {
    return {float(p[0]) * (1.0f / 255.0f), float(p[1]) * (1.0f / 255.0f),
            float(p[2]) * (1.0f / 255.0f)};
}
// 0 below edge0, 1 above edge1, a smooth step between.
float smoothstep(float edge0, float edge1, float x);
// The colour at t (0 to 1) along a list of equally spaced stops.
Rgb gradient(const Rgb* stops, int count, float t);

// Width × height pixels, 3 bytes each (R, G, B), rows from the top.
class Canvas {
  public:
    Canvas(int width, int height);

    int width() const { return width_; }
    int height() const { return height_; }
    const uint8_t* row(int y) const { return pixels_.data() + size_t(y) * size_t(width_) * 3; }
    uint8_t* row(int y) { return pixels_.data() + size_t(y) * size_t(width_) * 3; }

    // Inline, as the painters call them for every pixel.
    // REQUIRES: 0 <= x < width, 0 <= y < height.
    void set(int x, int y, Rgb c) { store(row(y) + size_t(x) * 3, c); }
    Rgb get(int x, int y) const { return load(row(y) + size_t(x) * 3); }
    // Lays c over the pixel with coverage alpha (0 to 1); pixels outside are ignored.
    void blend(int x, int y, Rgb c, float alpha) {
        if (inside(x, y) && alpha > 0.0f) set(x, y, mix(get(x, y), c, alpha < 1.0f ? alpha : 1.0f));
    }
    // Adds light to the pixel (pixels outside are ignored).
    void add(int x, int y, Rgb c) {
        if (inside(x, y)) set(x, y, get(x, y) + c);
    }
    bool inside(int x, int y) const {
        return unsigned(x) < unsigned(width_) && unsigned(y) < unsigned(height_);
    }

    // A copy shrunk to fit inside maxSide × maxSide, keeping the shape, by averaging the
    // source pixels each target pixel covers. A picture already inside is copied as it is.
    Canvas fitInside(int maxSide) const;

  private:
    int width_, height_;
    std::vector<uint8_t> pixels_;
};

// splitmix64: small, fast, and the same numbers for the same seed everywhere.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t next();
    // Uniform in [0, 1).
    float unit();
    // Uniform in [lo, hi).
    float range(float lo, float hi) { return lo + (hi - lo) * unit(); }
    // Uniform integer in [0, n). REQUIRES: n > 0.
    int below(int n) { return int(next() % uint64_t(n)); }

  private:
    uint64_t state_;
};

// A well-mixed hash of two integers (for per-tile colours that need no state).
uint32_t hash2(int32_t a, int32_t b);

} // namespace demo
