// TestCards.cpp - painters of the two test cards: one that shows which way is up, and a chart of
// flat ink patches whose colours are known.
#include "demo/SceneKit.h"
#include "demo/Scenes.h"

#include <algorithm>
#include <cmath>

namespace demo {

const uint32_t kUprightTop = 0xD62828;
const uint32_t kUprightBottom = 0x2850C8;
const uint32_t kInkPatches[6] = {0xD62828, 0x2A9D3F, 0x2850C8, 0x10B0C8, 0xC8308C, 0xF0C818};

void paintUprightCard(Canvas& c, int) {
    const int w = c.width(), h = c.height();
    const int band = h / 5;
    const Rgb top = hex(kUprightTop), bottom = hex(kUprightBottom), paper = hex(0xF2F0EA),
              ink = hex(0x1E1E1E);
    // The arrow: a head from the top band down to the middle, then a shaft to the bottom band.
    const float cx = float(w) / 2.0f, headTop = float(band) * 1.25f, headBottom = float(h) * 0.5f;
    const float headHalf = float(w) * 0.32f, shaftHalf = float(w) * 0.09f;
    const float shaftBottom = float(h - band) - float(band) * 0.25f;
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            if (y < band) {
                c.set(x, y, top);
                continue;
            }
            if (y >= h - band) {
                c.set(x, y, bottom);
                continue;
            }
            float px = float(x) + 0.5f, py = float(y) + 0.5f, dx = std::fabs(px - cx);
            // Signed distance (in pixels, roughly) inside the arrow; positive is inside.
            float inside = -1.0f;
            if (py >= headTop && py <= headBottom)
                inside = std::min((py - headTop) / (headBottom - headTop) * headHalf - dx,
                                  headBottom - py + 1.0f);
            if (py > headBottom - 1.0f && py <= shaftBottom)
                inside = std::max(inside, std::min(shaftHalf - dx, shaftBottom - py));
            c.set(x, y, mix(paper, ink, clamp01(inside + 0.5f)));
        }
    }
}

void paintInkChart(Canvas& c, int) {
    const int w = c.width(), h = c.height();
    const int gap = std::max(4, int(shortSide(c) / 40.0f));
    const Rgb paper = hex(0xF4F4F4);
    for (int y = 0; y < h; ++y) {
        for (int x = 0; x < w; ++x) {
            int col = x * 3 / w, row = y * 2 / h;
            int left = col * w / 3, right = (col + 1) * w / 3, upper = row * h / 2,
                lower = (row + 1) * h / 2;
            bool edge = x < left + gap || x >= right - gap || y < upper + gap || y >= lower - gap;
            c.set(x, y, edge ? paper : hex(kInkPatches[row * 3 + col]));
        }
    }
}

} // namespace demo
