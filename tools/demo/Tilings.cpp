// Tilings.cpp - painters of tessellations: hexagonal tiles, a low-poly triangle tiling,
// tumbling blocks, the seigaiha wave pattern and Truchet tiles.
#include "demo/SceneKit.h"
#include "demo/Scenes.h"

#include <algorithm>
#include <cmath>

namespace demo {

namespace {

constexpr float kRoot3 = 1.7320508f;

// The pointy-top hexagon of side `size` that holds (px, py): its axial coordinates, its
// centre, and how far the point lies from the centre (0) toward the border (1).
struct HexCell {
    int q, r;
    float cx, cy;
    float edge;
};

HexCell hexCell(float px, float py, float size) {
    float q = (kRoot3 / 3.0f * px - py / 3.0f) / size, r = (2.0f / 3.0f * py) / size;
    float s = -q - r;
    float rq = std::round(q), rr = std::round(r), rs = std::round(s);
    float dq = std::fabs(rq - q), dr = std::fabs(rr - r), ds = std::fabs(rs - s);
    if (dq > dr && dq > ds)
        rq = -rr - rs;
    else if (dr > ds)
        rr = -rq - rs;
    else
        rs = -rq - rr;
    float fq = q - rq, fr = r - rr, fs = s - rs;
    HexCell cell;
    cell.q = int(rq);
    cell.r = int(rr);
    cell.cx = size * kRoot3 * (rq + rr / 2.0f);
    cell.cy = size * 1.5f * rr;
    cell.edge = std::max({std::fabs(fq - fr), std::fabs(fr - fs), std::fabs(fs - fq)});
    return cell;
}

int mod(int a, int n) {
    return ((a % n) + n) % n;
}

} // namespace

void paintHexagons(Canvas& c, int variant) {
    static const uint32_t palettes[3][5] = {{0x1F4E79, 0x2E86C1, 0xEAF2F8, 0xD35400, 0xF4F1EA},
                                            {0x8E5B2E, 0xC98B2B, 0x6B7A2E, 0x9E2A2B, 0x2B2118},
                                            {0x264653, 0x2A9D8F, 0xE9C46A, 0xE76F51, 0x1B1B1B}};
    variant %= 3;
    bool flat = variant == 2; // hard edges and plain colours: a handful of colours in all
    Rgb tone[5];
    for (int k = 0; k < 5; ++k)
        tone[k] = hex(palettes[variant][k]);
    float size = shortSide(c) / 11.0f;
    float grout = 0.09f, aa = 1.0f / (size * 0.866f);
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float px = float(x) + 0.5f, py = float(y) + 0.5f;
            HexCell cell = hexCell(px, py, size);
            // (q - r) mod 3 colours the tiling with no two neighbours alike; a few accents.
            Rgb tile = tone[mod(cell.q - cell.r, 3)];
            if (hash2(cell.q, cell.r + 977 * variant) % 9 == 0) tile = tone[3];
            if (flat) {
                c.set(x, y, cell.edge > 1.0f - grout ? tone[4] : tile);
                continue;
            }
            float light = 1.0f + 0.1f * ((cell.cx - px) + (cell.cy - py)) / size;
            tile = tile * (light * (1.0f - 0.15f * smoothstep(0.7f, 0.95f, cell.edge)));
            c.set(x, y,
                  mix(tile, tone[4], smoothstep(1.0f - grout - aa, 1.0f - grout + aa, cell.edge)));
        }
}

void paintTriangles(Canvas& c, int variant) {
    static const uint32_t palettes[2][4] = {{0x2B2D6E, 0x8E3B76, 0xE4686A, 0xF7B267},
                                            {0x0B3C5D, 0x1D6A96, 0x45A5C5, 0xA8DADC}};
    variant %= 2;
    Rgb stops[4];
    for (int k = 0; k < 4; ++k)
        stops[k] = hex(palettes[variant][k]);
    float side = shortSide(c) / 9.0f, height = side * kRoot3 / 2.0f;
    float w = float(c.width()), h = float(c.height());
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float px = float(x) + 0.5f, py = float(y) + 0.5f;
            float v = py / height, u = px / side - v * 0.5f;
            float iu = std::floor(u), iv = std::floor(v), fu = u - iu, fv = v - iv;
            bool upper = fu + fv > 1.0f;
            float third = upper ? 2.0f / 3.0f : 1.0f / 3.0f;
            float cu = iu + third, cv = iv + third;
            float cx = (cu + cv * 0.5f) * side, cy = cv * height;
            float t = variant == 0 ? 0.6f * cx / w + 0.4f * cy / h : 0.3f * cx / w + 0.7f * cy / h;
            uint32_t noise = hash2(int(iu) * 2 + (upper ? 1 : 0), int(iv));
            float jitter = 0.9f + 0.2f * float(noise & 0xFF) / 255.0f;
            Rgb facet = gradient(stops, 4, t) * (jitter * (upper ? 1.04f : 0.97f));
            float inner = upper ? std::min({1.0f - fu, 1.0f - fv, fu + fv - 1.0f})
                                : std::min({fu, fv, 1.0f - fu - fv});
            float line = 1.0f - smoothstep(0.3f, 1.2f, inner * height);
            c.set(x, y, mix(facet, facet * 1.15f + Rgb{0.03f, 0.03f, 0.03f}, 0.5f * line));
        }
}

void paintCubes(Canvas& c, int variant) {
    static const uint32_t palettes[2][4] = {{0xC89F6D, 0x9C6B3F, 0xE3C9A0, 0xB5835A},
                                            {0xF4A7B9, 0xA7C7E7, 0xB8E0B0, 0xF9E79F}};
    variant %= 2;
    float size = shortSide(c) / 9.0f, aa = 1.0f / (size * 0.866f);
    Rgb lineColour = variant == 0 ? hex(0x3B2A1A) : hex(0x6D6875);
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float px = float(x) + 0.5f, py = float(y) + 0.5f;
            HexCell cell = hexCell(px, py, size);
            float ux = px - cell.cx, uy = cell.cy - py; // y up
            // Each hexagon is three rhombi, one facing each of these directions: the block's
            // top, its left and its right side.
            float faces[3] = {uy, -0.866f * ux - 0.5f * uy, 0.866f * ux - 0.5f * uy};
            int face = faces[0] >= faces[1] ? (faces[0] >= faces[2] ? 0 : 2)
                                            : (faces[1] >= faces[2] ? 1 : 2);
            float best = faces[face], second = -1e9f;
            for (int k = 0; k < 3; ++k)
                if (k != face) second = std::max(second, faces[k]);
            static const float shade[3] = {1.0f, 0.78f, 0.56f};
            Rgb block = hex(palettes[variant][hash2(cell.q, cell.r) % 4]) * shade[face];
            float seam = 1.0f - smoothstep(0.4f, 1.4f, (best - second) / kRoot3);
            float rim = smoothstep(1.0f - 2.0f * aa, 1.0f, cell.edge);
            c.set(x, y, mix(block, lineColour, 0.6f * std::max(seam, rim)));
        }
}

void paintSeigaiha(Canvas& c, int variant) {
    static const uint32_t palettes[2][3] = {{0x1F3A68, 0xF5EFE0, 0x4A6FA5},
                                            {0x0F6E6E, 0xE8C170, 0x2F9C95}};
    variant %= 2;
    Rgb dark = hex(palettes[variant][0]), light = hex(palettes[variant][1]),
        middle = hex(palettes[variant][2]);
    float radius = shortSide(c) / 7.0f, ring = radius / 5.0f;
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float px = float(x) + 0.5f, py = float(y) + 0.5f;
            int row = int(std::floor(py / (radius / 2.0f)));
            // Rows are laid from the top down, each over the one before: the lowest circle
            // that holds the point is the one seen.
            for (int j = row + 2; j >= row - 2; --j) {
                float cy = float(j) * radius / 2.0f, offset = (j & 1) ? radius : 0.0f;
                float cx = std::round((px - offset) / (2.0f * radius)) * 2.0f * radius + offset;
                float d = std::hypot(px - cx, py - cy);
                if (d >= radius) continue;
                float k = d / ring;
                int band = int(k);
                float f = k - float(band);
                Rgb colour = band % 2 == 0 ? (band == 0 ? middle : dark) : light;
                float line = 1.0f - smoothstep(0.0f, 1.2f, std::min(f, 1.0f - f) * ring);
                float rim = smoothstep(radius - 1.5f, radius, d);
                c.set(x, y, mix(mix(colour, dark, 0.5f * line), dark, rim));
                break;
            }
        }
}

void paintTruchet(Canvas& c, int variant) {
    static const uint32_t palettes[2][4] = {{0x264653, 0x2A9D8F, 0xF4A261, 0xE9C46A},
                                            {0x3D405B, 0x81B29A, 0xE07A5F, 0xF2CC8F}};
    variant %= 2;
    Rgb a0 = hex(palettes[variant][0]), a1 = hex(palettes[variant][1]);
    Rgb b0 = hex(palettes[variant][2]), b1 = hex(palettes[variant][3]);
    Rgb lineColour = hex(0xFDF6E3);
    float cell = shortSide(c) / 8.0f;
    float w = float(c.width()), h = float(c.height());
    for (int y = 0; y < c.height(); ++y)
        for (int x = 0; x < c.width(); ++x) {
            float px = float(x) + 0.5f, py = float(y) + 0.5f;
            int i = int(std::floor(px / cell)), j = int(std::floor(py / cell));
            float fx = px / cell - float(i), fy = py / cell - float(j);
            bool turned = hash2(i, j + 1000 * variant) & 1;
            // Two quarter circles round opposite corners. Every region takes the colour of the
            // lattice corner it touches, by parity, so neighbouring tiles always agree.
            int ax = turned ? 1 : 0, bx = 1 - ax;
            float dA = std::hypot(fx - float(ax), fy), dB = std::hypot(fx - float(bx), fy - 1.0f);
            int cornerX, cornerY;
            if (dA < 0.5f) {
                cornerX = ax;
                cornerY = 0;
            } else if (dB < 0.5f) {
                cornerX = bx;
                cornerY = 1;
            } else {
                cornerX = bx;
                cornerY = 0;
            }
            bool odd = (i + j + cornerX + cornerY) & 1;
            float t = 0.5f * (px / w + py / h);
            Rgb colour = odd ? mix(a0, a1, t) : mix(b0, b1, t);
            float toArc = std::min(std::fabs(dA - 0.5f), std::fabs(dB - 0.5f)) * cell;
            float line = 1.0f - smoothstep(cell * 0.03f, cell * 0.03f + 1.2f, toArc);
            c.set(x, y, mix(colour, lineColour, line));
        }
}

} // namespace demo
