// LandScenes.cpp - painters of landscapes: hills, a mountain lake, dunes, a beach, a city at
// dusk and a lavender field.
#include "demo/SceneKit.h"
#include "demo/Scenes.h"

#include <algorithm>
#include <cmath>

namespace demo {

namespace {

void loadStops(Rgb* stops, const uint32_t* hexes, int count) {
    for (int k = 0; k < count; ++k)
        stops[k] = hex(hexes[k]);
}

// A rainbow arc laid over the sky, centred below the picture.
void rainbow(Canvas& c) {
    static const uint32_t bands[6] = {0x7F5FD0, 0x4F8FEF, 0x5FD07F, 0xF7E35F, 0xF7A24F, 0xE8574F};
    Rgb colours[6];
    loadStops(colours, bands, 6);
    float s = shortSide(c);
    float cx = 0.58f * float(c.width()), cy = 1.05f * float(c.height());
    float inner = 0.78f * float(c.height()), width = 0.07f * s;
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float t = (std::hypot(float(x) - cx, float(y) - cy) - inner) / width;
            if (t <= 0.0f || t >= 1.0f) continue;
            c.blend(x, y, gradient(colours, 6, t), 0.32f * std::sin(3.14159f * t));
        }
}

} // namespace

void paintHills(Canvas& c, int variant) {
    static const uint32_t skies[3][3] = {{0x4F93DB, 0x8CC0EC, 0xD8ECF8},
                                         {0xE9B98F, 0xF6D7B5, 0xFCEEDC},
                                         {0x5D7896, 0x9FB4C6, 0xE1E8EC}};
    static const uint32_t greens[5] = {0xA9C98F, 0x8DBB68, 0x6FA84A, 0x4D8F3A, 0x2F6B2F};
    variant %= 3;
    Rgb sky[3];
    loadStops(sky, skies[variant], 3);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    fillVertical(c, 0, h, sky, 3);
    if (variant == 0) {
        glow(c, 0.8f * float(w), 0.15f * float(h), 0.05f * s, hex(0xFFF4D0), 0.6f);
        disc(c, 0.8f * float(w), 0.15f * float(h), 0.035f * s, hex(0xFFFBEA), 1.0f);
    }
    if (variant == 2) rainbow(c);
    Random random(71 + uint64_t(variant));
    float haze = variant == 1 ? 0.85f : 0.55f;
    for (int i = 0; i < 5; ++i) {
        std::vector<float> top =
            ridge(c, float(h) * (0.48f + 0.09f * float(i)), float(h) * (0.03f + 0.015f * float(i)),
                  1.6f - 0.2f * float(i), 73 + uint64_t(i) * 5 + uint64_t(variant));
        Rgb colour = mix(hex(greens[i]), sky[2], haze * (1.0f - float(i) / 4.0f));
        fillBelow(c, top, colour, 0.25f, 0.25f * float(h));
        if (i == 2 || i == 3) {
            int trees = int(float(w) / s * 9.0f);
            for (int k = 0; k < trees; ++k) {
                int x = random.below(w);
                float r = s * random.range(0.008f, 0.018f) * (1.0f + 0.4f * float(i - 2));
                Rgb crown = colour * 0.72f;
                disc(c, float(x), top[size_t(x)] - r * 0.5f, r, crown, 1.0f);
                disc(c, float(x) - r * 0.3f, top[size_t(x)] - r * 0.8f, r * 0.6f,
                     mix(crown, hex(0xFFFFFF), 0.08f), 1.0f);
            }
        }
    }
}

void paintMountainLake(Canvas& c, int variant) {
    static const uint32_t skies[2][3] = {{0x2F6FB8, 0x6FA6DB, 0xCFE3F2},
                                         {0x3B3F7A, 0xB9789E, 0xF6C7A5}};
    static const uint32_t rocks[2][5] = {{0x8A7B70, 0x4C4A5C, 0xF7F8FC, 0xAEBBD9, 0x1E3A2C},
                                         {0xB5746A, 0x4F4060, 0xFFD9C7, 0xA99BC4, 0x2A2440}};
    variant %= 2;
    Rgb sky[3], tone[5];
    loadStops(sky, skies[variant], 3);
    loadStops(tone, rocks[variant], 5);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.66f);
    fillVertical(c, 0, horizon, sky, 3);

    // The range: the highest of five tent-shaped peaks at each column, roughened. Each peak's
    // ridge runs down from its summit, leaning by skew; the light comes from the left, so the
    // face left of a ridge is lit and the face right of it in shade.
    Random random(83 + uint64_t(variant));
    float px[5], py[5], left[5], right[5], skew[5];
    for (int k = 0; k < 5; ++k) {
        px[k] = float(w) * (0.08f + 0.21f * float(k) + random.range(-0.05f, 0.05f));
        py[k] = float(h) * random.range(0.13f, 0.3f);
        left[k] = random.range(0.45f, 0.85f);
        right[k] = random.range(0.55f, 1.0f);
        skew[k] = random.range(-0.3f, 0.3f);
    }
    std::vector<float> rough = ridge(c, 0.0f, 0.012f * float(h), 0.12f, 89);
    std::vector<float> fine = ridge(c, 0.0f, 0.004f * float(h), 0.03f, 97);
    std::vector<float> top(static_cast<size_t>(w));
    std::vector<int> owner(static_cast<size_t>(w)); // the peak each column belongs to
    for (int x = 0; x < w; ++x) {
        float best = 1e9f;
        for (int k = 0; k < 5; ++k) {
            float dx = float(x) - px[k];
            float y = py[k] + (dx < 0.0f ? -dx * left[k] : dx * right[k]);
            if (y < best) {
                best = y;
                owner[size_t(x)] = k;
            }
        }
        top[size_t(x)] = best + rough[size_t(x)] + fine[size_t(x)];
    }
    // Gullies and a ragged snow line: slanted waves, sin(a x + b y) and sin(c x - d y), built
    // from per-column and per-row tables.
    float a = 6.2832f / (0.021f * s), b = a * 0.4f, cw = 6.2832f / (0.053f * s), d = cw * 0.7f;
    size_t columns = size_t(w), rows = size_t(h);
    std::vector<float> sa(columns), ca(columns), sc(columns), cc(columns);
    std::vector<float> sb(rows), cb(rows), sd(rows), cd(rows);
    for (int x = 0; x < w; ++x) {
        sa[size_t(x)] = std::sin(a * float(x));
        ca[size_t(x)] = std::cos(a * float(x));
        sc[size_t(x)] = std::sin(cw * float(x));
        cc[size_t(x)] = std::cos(cw * float(x));
    }
    for (int y = 0; y < h; ++y) {
        sb[size_t(y)] = std::sin(b * float(y));
        cb[size_t(y)] = std::cos(b * float(y));
        sd[size_t(y)] = std::sin(d * float(y));
        cd[size_t(y)] = std::cos(d * float(y));
    }
    std::vector<float> snowLine = ridge(c, float(h) * 0.33f, 0.03f * float(h), 0.2f, 101);
    Rgb lowland = mix(tone[4], tone[1], 0.5f);
    for (int x = 0; x < w; ++x) {
        float edge = top[size_t(x)];
        int k = owner[size_t(x)];
        size_t ix = size_t(x);
        for (int y = std::max(0, int(edge) - 1); y < horizon; ++y) {
            float fy = float(y);
            float cover = clamp01(fy + 1.0f - edge);
            if (cover <= 0.0f) continue;
            size_t iy = size_t(y);
            float gully = sa[ix] * cb[iy] + ca[ix] * sb[iy];
            float broad = sc[ix] * cd[iy] - cc[ix] * sd[iy];
            float side = (float(x) - px[k]) - (fy - py[k]) * skew[k];
            float light = clamp01(0.3f + 0.55f * smoothstep(4.0f, -4.0f, side) + 0.06f * gully);
            float ragged = snowLine[ix] + 0.035f * float(h) * broad + 0.01f * float(h) * gully;
            float snowy = smoothstep(ragged + 1.5f, ragged - 1.5f, fy);
            float depth = clamp01((fy - edge) / (float(horizon) - edge + 1.0f));
            Rgb rock = mix(tone[1], tone[0], light), snow = mix(tone[3], tone[2], light);
            Rgb colour = mix(rock, snow, snowy);
            colour = mix(colour, lowland, smoothstep(0.5f, 1.0f, depth) * (1.0f - snowy));
            c.blend(x, y, mix(colour, sky[2], 0.25f * depth), cover);
        }
    }

    // A forested shore in front, its edge toothed by the tips of the firs.
    std::vector<float> shore = ridge(c, float(h) * 0.62f, float(h) * 0.015f, 0.8f, 103);
    float tooth = std::max(3.0f, 0.009f * s);
    for (int x = 0; x < w; ++x) {
        float u = float(x) / tooth;
        int cell = int(std::floor(u));
        float f = u - float(cell);
        uint32_t tree = hash2(cell, 7);
        float tall = 0.25f + 0.75f * float(tree & 0xFF) / 255.0f;
        float tip = 0.3f + 0.4f * float((tree >> 8) & 0xFF) / 255.0f; // where in the cell
        float spread = f < tip ? f / tip : (1.0f - f) / (1.0f - tip);
        shore[size_t(x)] -= 0.025f * s * tall * spread;
    }
    fillBelow(c, shore, tone[4], 0.3f, 0.1f * float(h), horizon);
    reflectBelow(c, horizon, hex(0x1C3A4A), 0.35f, 107 + uint64_t(variant));
}

void paintDunes(Canvas& c, int variant) {
    static const uint32_t skies[2][3] = {{0x3E6FB0, 0x9DB7CF, 0xF3CD92},
                                         {0x503A7A, 0xD08A7A, 0xF7C27E}};
    variant %= 2;
    Rgb sky[3];
    loadStops(sky, skies[variant], 3);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    fillVertical(c, 0, h, sky, 3);
    glow(c, 0.75f * float(w), 0.42f * float(h), 0.08f * s, hex(0xFFE1A8), 0.35f);
    disc(c, 0.75f * float(w), 0.42f * float(h), 0.03f * s, hex(0xFFF3D6), 0.95f);
    Rgb lit = hex(0xE7A961), shade = hex(0xB8693A);
    Random random(113 + uint64_t(variant));
    for (int i = 0; i < 4; ++i) {
        float base = float(h) * (0.52f + 0.12f * float(i)),
              amp = float(h) * (0.05f + 0.02f * float(i));
        float wave = s * (0.9f - 0.15f * float(i)), phase = random.unit();
        float haze = 0.6f * (1.0f - float(i) / 3.0f);
        Rgb sunny = mix(lit, sky[2], haze), shadowed = mix(shade, sky[2], haze);
        for (int x = 0; x < w; ++x) {
            // Each wave rises steeply to its crest at 30% (a slip face turned away from the
            // sun, in shade) and falls gently after it (lit, and rippled by the wind).
            float u = float(x) / wave + phase + 0.15f * std::sin(float(x) / (2.3f * wave));
            float t = u - std::floor(u);
            float height = t < 0.3f ? smoothstep(0.0f, 0.3f, t) : 1.0f - smoothstep(0.3f, 1.0f, t);
            float edge = base - amp * height;
            float inShade = clamp01((0.3f - t) * wave + 0.5f) * clamp01(t * wave + 0.5f);
            for (int y = std::max(0, int(edge) - 1); y < h; ++y) {
                float cover = clamp01(float(y) + 1.0f - edge);
                if (cover <= 0.0f) continue;
                float below = float(y) - edge;
                float ripple =
                    0.94f + 0.06f * std::sin((float(x) * 0.35f + float(y) * 1.1f) * 160.0f / s);
                // The slip face's shadow is deepest under the crest and fades down the face.
                float face = inShade * (1.0f - smoothstep(0.0f, 1.2f * amp, below));
                Rgb colour = mix(sunny * ripple, shadowed, face);
                c.blend(x, y, colour * (1.0f - 0.15f * clamp01(below / (0.3f * float(h)))), cover);
            }
        }
    }
}

void paintBeach(Canvas& c, int variant) {
    static const uint32_t skyHex[3] = {0x2C7FD0, 0x74B4E6, 0xCDEBF7};
    static const uint32_t seaHex[3] = {0x0E5C8A, 0x1FA5B0, 0x5FD3C7};
    Rgb sky[3], sea[3];
    loadStops(sky, skyHex, 3);
    loadStops(sea, seaHex, 3);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.45f);
    fillVertical(c, 0, horizon, sky, 3);
    Random random(127 + uint64_t(variant));
    if (variant == 0) {
        for (int cloud = 0; cloud < 4; ++cloud) {
            float cx = random.range(0.05f, 0.95f) * float(w),
                  cy = random.range(0.12f, 0.32f) * float(h);
            float size = s * random.range(0.03f, 0.06f);
            for (int puff = 0; puff < 9; ++puff) {
                float ox = random.range(-2.2f, 2.2f) * size, oy = random.range(-0.8f, 0.3f) * size;
                float r = size * random.range(0.6f, 1.1f);
                disc(c, cx + ox, cy + oy + r * 0.15f, r, hex(0xC9D6E3), 0.9f);
                disc(c, cx + ox - r * 0.1f, cy + oy, r * 0.9f, hex(0xFBFCFF), 0.95f);
            }
        }
    } else {
        float bx = 0.3f * float(w), by = float(horizon), size = 0.03f * s;
        for (int y = int(by - size * 1.6f); y < int(by); ++y)
            for (int x = int(bx - size); x < int(bx + size); ++x) {
                float up = (by - float(y)) / (size * 1.6f);
                if (float(x) >= bx - size * 0.05f && float(x) - bx < size * (1.0f - up) * 0.9f)
                    c.blend(x, y, hex(0xFFFFFF), 0.95f);
            }
    }
    float f1 = random.range(5.0f, 8.0f) / float(w), f2 = random.range(15.0f, 25.0f) / float(w);
    float p1 = random.range(0.0f, 6.3f), p2 = random.range(0.0f, 6.3f);
    float foam = 0.008f * float(h);
    for (int y = horizon; y < h; ++y) {
        float rowJitter = 0.03f * (float(hash2(y, 3) & 0xFF) / 255.0f - 0.5f);
        for (int x = 0; x < w; ++x) {
            float shore = float(h) * 0.72f +
                          0.025f * float(h) * std::sin(float(x) * f1 * 6.28f + p1) +
                          0.01f * float(h) * std::sin(float(x) * f2 * 6.28f + p2);
            float fy = float(y);
            Rgb colour;
            if (fy < shore - foam) {
                float toShore = clamp01((fy - float(horizon)) / (shore - float(horizon)));
                colour = gradient(sea, 3, toShore * toShore) * (1.0f + rowJitter);
                if ((hash2(x / 6, y) & 0x3FF) < 3) colour = mix(colour, hex(0xFFFFFF), 0.6f);
            } else if (fy < shore) {
                float lace = float(hash2(x / 2, y / 2) & 0xFF) / 255.0f;
                colour = mix(sea[2], hex(0xFBFFFF), 0.6f + 0.4f * lace);
            } else {
                float dry = clamp01((fy - shore) / (0.06f * float(h)));
                float grain = 0.04f * (float(hash2(x, y) & 0xFF) / 255.0f - 0.5f);
                colour = mix(hex(0xC9A877), hex(0xEED8A8), dry) * (1.0f + grain);
            }
            c.set(x, y, colour);
        }
    }
}

void paintCityDusk(Canvas& c, int variant) {
    static const uint32_t skies[2][4] = {{0x1B1F4A, 0x5A2F73, 0xC2567A, 0xF39A5E},
                                         {0x13254D, 0x2F4F87, 0x8A6F9E, 0xE8A37A}};
    variant %= 2;
    Rgb sky[4];
    loadStops(sky, skies[variant], 4);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.74f);
    fillVertical(c, 0, horizon, sky, 4);
    glow(c, 0.3f * float(w), float(horizon), 0.12f * s, hex(0xFFB070), 0.25f);
    Random random(131 + uint64_t(variant));
    // Far towers, hazy.
    for (int x = 0; x < w;) {
        int width = int(s * random.range(0.04f, 0.1f));
        int top = horizon - int(float(h) * random.range(0.08f, 0.26f));
        Rgb colour = mix(hex(0x3A2C58), sky[3], 0.15f);
        for (int y = std::max(0, top); y < horizon; ++y)
            for (int xx = x; xx < std::min(w, x + width); ++xx)
                c.set(xx, y, colour);
        x += width;
    }
    // Near towers with lit windows.
    float cell = std::max(4.0f, s * 0.014f);
    for (int x = int(-s * 0.02f); x < w;) {
        int width = int(s * random.range(0.05f, 0.13f));
        int top = horizon - int(float(h) * random.range(0.12f, 0.44f));
        int gap = int(s * random.range(0.0f, 0.03f));
        Rgb body = hex(0x15122A);
        if (random.unit() < 0.3f) { // a spire
            int spire = std::max(1, width / 12);
            int sx = x + width / 2;
            for (int y = std::max(0, top - int(0.06f * float(h))); y < top; ++y)
                for (int xx = sx; xx < std::min(w, sx + spire); ++xx)
                    if (xx >= 0) c.set(xx, y, body);
        }
        uint32_t building = hash2(x, variant);
        for (int y = std::max(0, top); y < horizon; ++y)
            for (int xx = std::max(0, x); xx < std::min(w, x + width); ++xx) {
                Rgb colour = body;
                float fx = float(xx - x) / cell, fy = float(y - top) / cell;
                int col = int(fx), row = int(fy);
                bool window = fx - float(col) > 0.3f && fy - float(row) > 0.35f && col > 0 &&
                              float(xx - x) < float(width) - cell * 0.7f && row > 0;
                if (window) {
                    uint32_t lit = hash2(col * 131 + row, int32_t(building));
                    if ((lit & 0xFF) < 90)
                        colour =
                            mix(hex(0xFFD27A), hex(0xFFF1C7), float((lit >> 8) & 0xFF) / 255.0f);
                    else
                        colour = hex(0x221D3A);
                }
                c.set(xx, y, colour);
            }
        x += width + gap;
    }
    reflectBelow(c, horizon, hex(0x0C1024), 0.35f, 137 + uint64_t(variant));
}

void paintLavender(Canvas& c, int variant) {
    static const uint32_t skyHex[3] = {0x6E9FD8, 0xB9D3EC, 0xF7E6C8};
    Rgb sky[3];
    loadStops(sky, skyHex, 3);
    int w = c.width(), h = c.height();
    float s = shortSide(c);
    int horizon = int(float(h) * 0.42f);
    fillVertical(c, 0, horizon, sky, 3);
    glow(c, 0.3f * float(w), float(horizon) - 0.05f * float(h), 0.06f * s, hex(0xFFF0C8), 0.4f);

    std::vector<float> trees =
        ridge(c, float(horizon) - 0.012f * float(h), 0.008f * float(h), 0.3f, 139);
    float step = std::max(4.0f, 0.02f * s);
    for (int x = 0; x < w; ++x) {
        float u = float(x) / step;
        int cell = int(u);
        float f = u - float(cell);
        float a = float(hash2(cell, 5) & 0xFF) / 255.0f,
              b = float(hash2(cell + 1, 5) & 0xFF) / 255.0f;
        trees[size_t(x)] -= 0.018f * float(h) * (a + (b - a) * f * f * (3.0f - 2.0f * f));
    }
    fillBelow(c, trees, mix(hex(0x3C5A3A), sky[2], 0.35f), 0.0f, 1.0f);
    if (variant == 1) {
        float tx = 0.7f * float(w), ty = float(horizon) + 0.01f * float(h), r = 0.05f * s;
        for (int y = int(ty - r * 1.2f); y < int(ty); ++y)
            for (int x = int(tx - r * 0.08f); x < int(tx + r * 0.08f); ++x)
                c.set(x, y, hex(0x3A2E25));
        disc(c, tx, ty - r * 1.8f, r, hex(0x2D4A2A), 1.0f);
        disc(c, tx - r * 0.6f, ty - r * 1.5f, r * 0.7f, hex(0x34552F), 1.0f);
        disc(c, tx + r * 0.6f, ty - r * 1.55f, r * 0.75f, hex(0x29442A), 1.0f);
    }

    float vx = float(w) * (variant == 1 ? 0.62f : 0.45f);
    float density = float(h - horizon) / (0.06f * float(w));
    Rgb nearFlower = hex(0x6B3FA0), farFlower = hex(0x9C8FD0);
    Rgb nearSoil = hex(0x5E6B3A), farSoil = hex(0x8A9A7A);
    int fieldTop = variant == 1 ? int(float(horizon) + 0.01f * float(h)) : horizon;
    for (int y = fieldTop; y < h; ++y) {
        float dy = float(y - horizon) + 0.5f;
        float t = dy / float(h - horizon);
        float footprint = density / dy * 0.5f;
        Rgb flower = mix(farFlower, nearFlower, std::sqrt(t));
        Rgb soil = mix(farSoil, nearSoil, std::sqrt(t));
        float mist = 0.7f * std::pow(1.0f - t, 6.0f);
        int blob = std::max(1, int(t * 4.0f));
        for (int x = 0; x < w; ++x) {
            float u = (float(x) - vx) / dy * density;
            float f = u - std::floor(u);
            float e = std::min(0.25f, footprint);
            float inRow =
                smoothstep(0.05f - e, 0.05f + e, f) * (1.0f - smoothstep(0.68f - e, 0.68f + e, f));
            float speck = float(hash2(x / blob, y / blob) & 0xFF) / 255.0f;
            Rgb colour = mix(soil, flower * (0.9f + 0.2f * speck * t), inRow);
            c.set(x, y, mix(colour, sky[2], mist));
        }
    }
}

} // namespace demo
