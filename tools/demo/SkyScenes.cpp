// SkyScenes.cpp - painters whose subject is the sky: sunset over the sea, the night sky, the
// northern lights, and out-of-focus lights.
#include "demo/SceneKit.h"
#include "demo/Scenes.h"

#include <algorithm>
#include <cmath>

namespace demo {

namespace {

// Thin streaks of cloud lit from below, across the sky above row horizon.
void streakClouds(Canvas& c, int horizon, Rgb tone, int count, uint64_t seed) {
    Random random(seed);
    float s = shortSide(c);
    for (int k = 0; k < count; ++k) {
        float cy = float(horizon) * random.range(0.15f, 0.8f);
        float thick = s * random.range(0.006f, 0.016f);
        float length = float(c.width()) * random.range(0.2f, 0.5f);
        float cx = float(c.width()) * random.unit();
        float frequency = random.range(8.0f, 20.0f) / length, phase = random.range(0.0f, 6.3f);
        int y0 = std::max(0, int(cy - 3 * thick)), y1 = std::min(horizon, int(cy + 3 * thick));
        int x0 = std::max(0, int(cx - length)), x1 = std::min(c.width(), int(cx + length));
        std::vector<float> along(size_t(std::max(0, x1 - x0)));
        for (int x = x0; x < x1; ++x) {
            float u = (float(x) - cx) / length;
            along[size_t(x - x0)] =
                (1.0f - u * u) * (0.7f + 0.3f * std::sin(float(x) * frequency + phase));
        }
        for (int y = y0; y < y1; ++y) {
            float v = (float(y) - cy) / thick;
            float across = 0.6f / ((1.0f + v * v) * (1.0f + v * v));
            for (int x = x0; x < x1; ++x)
                c.blend(x, y, tone, across * along[size_t(x - x0)]);
        }
    }
}

// Pine trees standing on the ridge line top, in colour.
void pines(Canvas& c, const std::vector<float>& top, Rgb colour, uint64_t seed) {
    Random random(seed);
    float s = shortSide(c);
    int count = int(float(c.width()) / (0.035f * s));
    for (int k = 0; k < count; ++k) {
        int xk = random.below(c.width());
        float height = s * random.range(0.03f, 0.09f);
        float base = top[size_t(xk)] + 2.0f, tip = base - height;
        for (int y = std::max(0, int(tip)); y < int(base) && y < c.height(); ++y) {
            float down = (float(y) - tip) / height;
            float tier = down * 4.0f - std::floor(down * 4.0f);
            float half = height * 0.3f * down * (0.7f + 0.3f * tier);
            for (int x = int(float(xk) - half) - 1; x <= int(float(xk) + half) + 1; ++x)
                c.blend(x, y, colour, half + 0.5f - std::fabs(float(x) + 0.5f - float(xk)));
        }
    }
}

} // namespace

void paintSunset(Canvas& c, int variant) {
    static const uint32_t palettes[3][5] = {
        {0x1D2B64, 0x6B3F8F, 0xD9577A, 0xF89B4A, 0xFCD98A},
        {0x2B4C7E, 0x7C6A9E, 0xE8A15A, 0xF6C453, 0xFFF0B3},
        {0x241E4E, 0x5B2A86, 0xB8447A, 0xE87D8F, 0xF9C6B0},
    };
    variant %= 3;
    Rgb sky[5];
    for (int k = 0; k < 5; ++k)
        sky[k] = hex(palettes[variant][k]);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.58f);
    float sx = float(w) * (0.5f + 0.14f * float(variant - 1)), sy = float(horizon) - 0.05f * s;
    float radius = 0.045f * s;
    // The sky and the sun's wide and near glow, in one pass over the sky's pixels.
    Rgb warm = hex(0xFFE9B0);
    float wide = 1.0f / (radius * 5.0f), near = 1.0f / (radius * 1.5f);
    for (int y = 0; y < horizon; ++y) {
        Rgb base = gradient(sky, 5, float(y) / float(horizon - 1));
        float dy = float(y) - sy;
        uint8_t* p = c.row(y);
        for (int x = 0; x < w; ++x) {
            float dx = float(x) - sx, d2 = dx * dx + dy * dy;
            float k1 = 0.22f / (1.0f + d2 * wide * wide), k2 = 0.5f / (1.0f + d2 * near * near);
            store(p + x * 3, base + sky[3] * k1 + warm * k2);
        }
    }
    streakClouds(c, horizon, mix(sky[2], sky[4], 0.55f), 6, 11 + uint64_t(variant));
    disc(c, sx, sy, radius, hex(0xFFF6DC), 1.0f);

    // A headland on the far shore, so the sea has something to mirror besides the sky.
    std::vector<float> land(static_cast<size_t>(w));
    float hx = float(w) * (variant == 1 ? 0.8f : 0.18f);
    for (int x = 0; x < w; ++x) {
        float u = (float(x) - hx) / (0.28f * float(w));
        float bump = std::max(0.0f, 1.0f - u * u);
        land[size_t(x)] =
            float(horizon) -
            0.06f * float(h) * bump * (0.8f + 0.2f * std::sin(float(x) / float(w) * 19.0f));
    }
    fillBelow(c, land, mix(sky[0], hex(0x120A1E), 0.6f), 0.0f, 1.0f, horizon);
    reflectBelow(c, horizon, hex(0x1A2340), 0.45f, 5 + uint64_t(variant));

    // The sun's glitter path on the water.
    Rgb glitter = mix(sky[4], hex(0xFFFFFF), 0.3f);
    for (int y = horizon; y < h; ++y) {
        float t = float(y - horizon) / float(h - horizon);
        float half = radius * (0.8f + 5.0f * t);
        int block = std::max(2, int(s * 0.012f * (0.3f + t)));
        for (int x = std::max(0, int(sx - half)); x < std::min(w, int(sx + half)); ++x) {
            uint32_t noise = hash2(y / 2, x / block + variant * 7919);
            if ((noise & 0xFF) < 140) continue;
            float across = 1.0f - std::fabs(float(x) - sx) / half;
            c.add(x, y, glitter * (0.55f * across * across * (1.0f - 0.5f * t)));
        }
    }
}

void paintNightSky(Canvas& c, int variant) {
    static const uint32_t stopsHex[4] = {0x020309, 0x0A1233, 0x1B2E5A, 0x34507A};
    Rgb stops[4];
    for (int k = 0; k < 4; ++k)
        stops[k] = hex(stopsHex[k]);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.86f);
    fillVertical(c, 0, horizon, stops, 4);

    Random random(23 + uint64_t(variant));
    float ax = 0.15f * float(w), ay = float(h) * 0.8f, bx = 0.95f * float(w), by = 0.0f;
    float lx = bx - ax, ly = by - ay, length = std::hypot(lx, ly);
    if (variant == 0) {
        // The Milky Way: a faint textured band with a dark dust lane and crowded stars. The
        // texture's waves come from tables over the band's coordinates, not from sin per pixel.
        constexpr int kSteps = 4096;
        constexpr float kAlongLow = -1.0f, kAlongSpan = 3.0f, kAcross = 0.3f;
        std::vector<float> waveA(kSteps), sinA(kSteps), cosA(kSteps), sinD(kSteps), cosD(kSteps);
        for (int i = 0; i < kSteps; ++i) {
            float a = kAlongLow + kAlongSpan * float(i) / float(kSteps - 1);
            float d = kAcross * (2.0f * float(i) / float(kSteps - 1) - 1.0f);
            waveA[size_t(i)] = std::sin(a * 23.0f + std::sin(a * 7.0f) * 2.0f);
            sinA[size_t(i)] = std::sin(a * 11.0f);
            cosA[size_t(i)] = std::cos(a * 11.0f);
            sinD[size_t(i)] = std::sin(d * 45.0f);
            cosD[size_t(i)] = std::cos(d * 45.0f);
        }
        Rgb dust = {0.46f, 0.42f, 0.58f};
        for (int y = 0; y < horizon; ++y)
            for (int x = 0; x < w; ++x) {
                float px = float(x) - ax, py = float(y) - ay;
                float d = (px * ly - py * lx) / length / s;
                if (std::fabs(d) >= kAcross) continue; // the band has faded to nothing
                float along = (px * lx + py * ly) / (length * length);
                size_t ia = size_t(std::clamp((along - kAlongLow) / kAlongSpan, 0.0f, 1.0f) *
                                   float(kSteps - 1));
                size_t id = size_t((d / kAcross + 1.0f) * 0.5f * float(kSteps - 1));
                float q = d / 0.1f, lane = (d - 0.012f) / 0.012f;
                float k = 1.0f / ((1.0f + q * q) * (1.0f + q * q));
                float dark = 1.0f - 0.6f / (1.0f + lane * lane);
                // sin(45 d + 11 a) = sin(45 d) cos(11 a) + cos(45 d) sin(11 a)
                float texture =
                    0.6f + 0.4f * waveA[ia] * (sinD[id] * cosA[ia] + cosD[id] * sinA[ia]);
                c.add(x, y, dust * (0.32f * k * dark * texture));
            }
        int crowd = int(float(w) * float(h) / 900.0f);
        for (int i = 0; i < crowd; ++i) {
            float t = random.unit();
            float n = (random.unit() + random.unit() + random.unit() - 1.5f) * 0.09f * s;
            int x = int(ax + lx * t + n * ly / length), y = int(ay + ly * t - n * lx / length);
            float b = 0.1f + 0.4f * random.unit();
            if (y < horizon) c.add(x, y, mix(hex(0xCFD8FF), hex(0xFFE8D0), random.unit()) * b);
        }
    }
    stars(c, horizon, int(float(w) * float(h) / 700.0f), 101 + uint64_t(variant));

    if (variant != 0) {
        // A crescent moon with its glow; the dark part faintly lit by the earth.
        float mx = 0.74f * float(w), my = 0.24f * float(h), r = 0.06f * s;
        glow(c, mx, my, r * 2.2f, hex(0x8FA6D8), 0.35f);
        for (int y = std::max(0, int(my - r - 2)); y < std::min(h, int(my + r + 3)); ++y)
            for (int x = std::max(0, int(mx - r - 2)); x < std::min(w, int(mx + r + 3)); ++x) {
                float d1 = std::hypot(float(x) - mx, float(y) - my);
                float d2 = std::hypot(float(x) - (mx + 0.42f * r), float(y) - (my - 0.2f * r));
                float inside = clamp01(r - d1 + 0.5f);
                c.blend(x, y, hex(0x2B3140), 0.6f * inside);
                c.blend(x, y, hex(0xF6EDCB), inside * clamp01(d2 - 0.93f * r + 0.5f));
            }
    }

    std::vector<float> hills = ridge(c, float(h) * 0.88f, float(h) * 0.035f, 1.4f, 7);
    Rgb ground = hex(0x04060B);
    fillBelow(c, hills, ground, 0.0f, 1.0f);
    pines(c, hills, ground, 31 + uint64_t(variant));
}

void paintAurora(Canvas& c, int variant) {
    static const uint32_t stopsHex[3] = {0x01030A, 0x061530, 0x0D2C48};
    Rgb stops[3];
    for (int k = 0; k < 3; ++k)
        stops[k] = hex(stopsHex[k]);
    int w = c.width(), h = c.height();
    int horizon = int(float(h) * 0.68f);
    fillVertical(c, 0, horizon, stops, 3);
    stars(c, horizon, int(float(w) * float(h) / 1500.0f), 211 + uint64_t(variant));

    // Curtains: each column glows above a wavy lower edge, fading slowly upward and fast
    // downward; the fall-offs come from tables so no pixel needs an exponential.
    std::vector<float> up(size_t(h) + 1), down(size_t(h) + 1);
    for (int d = 0; d <= h; ++d) {
        up[size_t(d)] = std::exp(-float(d) / (0.2f * float(h)));
        down[size_t(d)] = std::exp(-float(d) / (0.012f * float(h)));
    }
    Random random(41 + uint64_t(variant));
    Rgb green = hex(0x3BFF9A), upper = variant == 0 ? hex(0xA35CFF) : hex(0x4FD8FF);
    float s = shortSide(c);
    for (int curtain = 0; curtain < 2; ++curtain) {
        float f1 = random.range(3.0f, 5.0f) / float(w), p1 = random.range(0.0f, 6.3f);
        float f2 = random.range(9.0f, 14.0f) / float(w), p2 = random.range(0.0f, 6.3f);
        float f3 = random.range(4.0f, 8.0f) / float(w), p3 = random.range(0.0f, 6.3f);
        float f4 = random.range(0.08f, 0.14f) * 640.0f / s, p4 = random.range(0.0f, 6.3f);
        float base = float(h) * (curtain == 0 ? 0.42f : 0.3f);
        float strength = curtain == 0 ? 0.85f : 0.45f;
        for (int x = 0; x < w; ++x) {
            float fx = float(x);
            float edge = base + 0.1f * float(h) * std::sin(fx * f1 * 6.2832f + p1) +
                         0.04f * float(h) * std::sin(fx * f2 * 6.2832f + p2);
            float intensity = clamp01(0.5f + 0.5f * std::sin(fx * f3 * 6.2832f + p3)) *
                              (0.72f + 0.28f * std::sin(fx * f4 + p4)) * strength;
            if (intensity <= 0.01f) continue;
            for (int y = 0; y < horizon; ++y) {
                float d = float(y) - edge;
                Rgb light;
                if (d < 0.0f) {
                    float t = clamp01(-d / (0.35f * float(h)));
                    light = mix(green, upper, t * t) * up[size_t(int(-d))];
                } else {
                    light = green * down[size_t(int(d))];
                }
                c.add(x, y, light * intensity);
            }
        }
    }
    std::vector<float> range = ridge(c, float(h) * 0.64f, float(h) * 0.035f, 0.9f, 43);
    fillBelow(c, range, hex(0x060A12), 0.0f, 1.0f, horizon);
    reflectBelow(c, horizon, hex(0x03101C), 0.3f, 47 + uint64_t(variant));
}

void paintBokeh(Canvas& c, int variant) {
    static const uint32_t stopsHex[3] = {0x0B0A1A, 0x201433, 0x3A1E2E};
    static const uint32_t lights[2][4] = {{0xFFC45C, 0xFF8A3D, 0xFF5E5B, 0xFFE3A3},
                                          {0xFFB347, 0xFFD27A, 0x7FB8FF, 0xFF9E6B}};
    Rgb stops[3];
    for (int k = 0; k < 3; ++k)
        stops[k] = hex(stopsHex[k]);
    fillVertical(c, 0, c.height(), stops, 3);
    Random random(61 + uint64_t(variant));
    float s = shortSide(c);
    for (int i = 0; i < 60; ++i) {
        float cx = random.range(-0.05f, 1.05f) * float(c.width());
        float cy = random.range(-0.05f, 1.05f) * float(c.height());
        float r = s * random.range(0.02f, 0.085f);
        Rgb colour = hex(lights[variant % 2][random.below(4)]);
        float alpha = random.range(0.12f, 0.32f);
        int x0 = std::max(0, int(cx - r - 2)), x1 = std::min(c.width(), int(cx + r + 3));
        int y0 = std::max(0, int(cy - r - 2)), y1 = std::min(c.height(), int(cy + r + 3));
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x) {
                float d = std::hypot(float(x) - cx, float(y) - cy);
                float inside = clamp01(r - d + 0.5f);
                if (inside <= 0.0f) continue;
                float rim = 0.7f + 0.3f * smoothstep(0.7f * r, r, d);
                c.add(x, y, colour * (alpha * inside * rim));
            }
    }
}

} // namespace demo
