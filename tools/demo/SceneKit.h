// SceneKit.h - drawing steps the scene painters share: gradients, discs, glows, stars, ridge
// lines and water reflections.
#pragma once

#include "demo/Canvas.h"

#include <cstdint>
#include <vector>

namespace demo {

// The shorter side: painters size their features by it so every format looks alike.
inline float shortSide(const Canvas& c) {
    return float(c.width() < c.height() ? c.width() : c.height());
}

// Fills rows [y0, y1) with a vertical gradient through count stops, top to bottom.
void fillVertical(Canvas& c, int y0, int y1, const Rgb* stops, int count);
// A disc with a one-pixel soft edge, laid over the canvas with the given opacity.
void disc(Canvas& c, float cx, float cy, float radius, Rgb colour, float alpha);
// Adds light falling off as 1 / (1 + (d / radius)^2) around (cx, cy), within 6 radii.
void glow(Canvas& c, float cx, float cy, float radius, Rgb colour, float strength);
// Scatters count stars over rows [0, bottom): mostly faint, a few bright ones with a halo.
void stars(Canvas& c, int bottom, int count, uint64_t seed);
// A skyline height (y coordinate) per column: base minus a sum of three seeded sine waves of
// the given amplitude; wavelength grows with scale (in short sides).
std::vector<float> ridge(const Canvas& c, float base, float amplitude, float scale, uint64_t seed);
// Covers each column from top[x] down to row bottom (the last row when -1) with colour,
// anti-aliased along the edge, darkening by up to `shade` toward `depth` pixels below it.
void fillBelow(Canvas& c, const std::vector<float>& top, Rgb colour, float shade, float depth,
               int bottom = -1);
// Mirrors the picture above row horizon into the rows below it, as calm water: rippled,
// darkened and drawn toward tint with depth.
void reflectBelow(Canvas& c, int horizon, Rgb tint, float strength, uint64_t seed);

} // namespace demo
