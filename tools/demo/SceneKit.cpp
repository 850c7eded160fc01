// SceneKit.cpp - the shared drawing steps of the scene painters.
#include "demo/SceneKit.h"

#include <algorithm>
#include <cmath>

namespace demo {

void fillVertical(Canvas& c, int y0, int y1, const Rgb* stops, int count) {
    for (int y = std::max(0, y0); y < std::min(y1, c.height()); ++y) {
        Rgb colour = gradient(stops, count, float(y - y0) / float(std::max(1, y1 - y0 - 1)));
        for (int x = 0; x < c.width(); ++x)
            c.set(x, y, colour);
    }
}

void disc(Canvas& c, float cx, float cy, float radius, Rgb colour, float alpha) {
    int x0 = std::max(0, int(cx - radius - 2)), x1 = std::min(c.width(), int(cx + radius + 3));
    int y0 = std::max(0, int(cy - radius - 2)), y1 = std::min(c.height(), int(cy + radius + 3));
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
            float d = std::hypot(float(x) + 0.5f - cx, float(y) + 0.5f - cy);
            c.blend(x, y, colour, alpha * clamp01(radius - d + 0.5f));
        }
}

void glow(Canvas& c, float cx, float cy, float radius, Rgb colour, float strength) {
    float reach = radius * 6.0f;
    int x0 = std::max(0, int(cx - reach)), x1 = std::min(c.width(), int(cx + reach) + 1);
    int y0 = std::max(0, int(cy - reach)), y1 = std::min(c.height(), int(cy + reach) + 1);
    float floor = strength / 37.0f; // the value at the edge of the reach, taken off so it fades
    for (int y = y0; y < y1; ++y)
        for (int x = x0; x < x1; ++x) {
            float dx = (float(x) - cx) / radius, dy = (float(y) - cy) / radius;
            float k = strength / (1.0f + dx * dx + dy * dy) - floor;
            if (k > 0.0f) c.add(x, y, colour * k);
        }
}

void stars(Canvas& c, int bottom, int count, uint64_t seed) {
    Random random(seed);
    for (int i = 0; i < count; ++i) {
        int x = random.below(c.width()), y = random.below(std::max(1, bottom));
        float t = random.unit();
        float brightness = 0.15f + 0.85f * t * t * t * t;
        Rgb tone = mix(hex(0xAFC8FF), hex(0xFFE2B8), random.unit()) * brightness;
        c.add(x, y, tone);
        if (brightness > 0.45f) {
            Rgb halo = tone * 0.35f;
            c.add(x - 1, y, halo);
            c.add(x + 1, y, halo);
            c.add(x, y - 1, halo);
            c.add(x, y + 1, halo);
        }
        if (brightness > 0.8f) {
            for (int k = 2; k <= 3; ++k) {
                Rgb spike = tone * (0.3f / float(k));
                c.add(x - k, y, spike);
                c.add(x + k, y, spike);
                c.add(x, y - k, spike);
                c.add(x, y + k, spike);
            }
        }
    }
}

std::vector<float> ridge(const Canvas& c, float base, float amplitude, float scale, uint64_t seed) {
    Random random(seed);
    float s = shortSide(c) * scale;
    float f[3], p[3];
    const float weight[3] = {0.55f, 0.3f, 0.15f};
    for (int k = 0; k < 3; ++k) {
        f[k] = float(k * k + 1) * random.range(0.8f, 1.3f) * 6.2831853f / s;
        p[k] = random.range(0.0f, 6.2831853f);
    }
    std::vector<float> top(static_cast<size_t>(c.width()));
    for (int x = 0; x < c.width(); ++x) {
        float h = 0.0f;
        for (int k = 0; k < 3; ++k)
            h += weight[k] * std::sin(float(x) * f[k] + p[k]);
        top[size_t(x)] = base - amplitude * h;
    }
    return top;
}

void fillBelow(Canvas& c, const std::vector<float>& top, Rgb colour, float shade, float depth,
               int bottom) {
    int end = bottom < 0 ? c.height() : std::min(bottom, c.height());
    for (int x = 0; x < c.width(); ++x) {
        float edge = top[size_t(x)];
        for (int y = std::max(0, int(edge) - 1); y < end; ++y) {
            float below = float(y) + 0.5f - edge;
            float cover = clamp01(below + 0.5f);
            if (cover <= 0.0f) continue;
            Rgb shaded = colour * (1.0f - shade * clamp01(below / depth));
            if (cover >= 1.0f)
                c.set(x, y, shaded);
            else
                c.blend(x, y, shaded, cover);
        }
    }
}

void reflectBelow(Canvas& c, int horizon, Rgb tint, float strength, uint64_t seed) {
    int w = c.width(), h = c.height();
    if (horizon <= 0 || horizon >= h) return;
    float s = shortSide(c);
    for (int y = horizon; y < h; ++y) {
        float t = float(y - horizon) / float(h - horizon);
        int source = std::max(0, 2 * horizon - 1 - y);
        uint32_t noise = hash2(y, int32_t(seed));
        float jitter = float(noise & 0xFF) / 255.0f;
        int shift = int(std::lround((1.0f + 0.006f * s * t) *
                                    std::sin(float(y) * 0.9f + float(seed % 7) + jitter)));
        const uint8_t* from = c.row(source); // always above the horizon, never rewritten here
        float darken = 0.86f - 0.08f * jitter;
        float pull = strength * (0.35f + 0.65f * t);
        Rgb floor = tint * (pull * 255.0f);
        float keep = darken * (1.0f - pull);
        uint8_t* to = c.row(y);
        for (int x = 0; x < w; ++x) {
            const uint8_t* m = from + std::clamp(x + shift, 0, w - 1) * 3;
            to[x * 3] = uint8_t(std::min(255.0f, float(m[0]) * keep + floor.r + 0.5f));
            to[x * 3 + 1] = uint8_t(std::min(255.0f, float(m[1]) * keep + floor.g + 0.5f));
            to[x * 3 + 2] = uint8_t(std::min(255.0f, float(m[2]) * keep + floor.b + 0.5f));
        }
    }
}

} // namespace demo
