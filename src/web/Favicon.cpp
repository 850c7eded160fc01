// Favicon.cpp - the site icon's bytes, drawn at compile time: a three by three mosaic of bevelled
// tiles in four colours, set in dark grout, with rounded corners.
#include "web/Favicon.h"

namespace {

constexpr int kSide = 22;
constexpr int kTilePitch = 7; // one grout line and six tile pixels

struct Rgb {
    uint8_t r, g, b;
};
constexpr Rgb kGrout = {0x30, 0x30, 0x30};
constexpr Rgb kTiles[4] = {
    {0xF4, 0xA2, 0x61}, // amber
    {0x2A, 0x9D, 0x8F}, // teal
    {0x26, 0x46, 0x93}, // blue
    {0xE9, 0xC4, 0x6A}, // yellow
};

// The three pixels at each corner that round it off are left out.
constexpr bool _transparent(int x, int y) {
    int cx = x < kSide / 2 ? x : kSide - 1 - x;
    int cy = y < kSide / 2 ? y : kSide - 1 - y;
    return cx + cy < 2;
}

constexpr uint8_t _shade(uint8_t value, int delta) {
    int shaded = value + delta;
    return uint8_t(shaded < 0 ? 0 : shaded > 255 ? 255 : shaded);
}

// The colour at (x, y), y counted from the top. Tiles are lighter along their top and left
// edges and darker along the bottom and right, and the colours shift by two every row of tiles.
constexpr Rgb _pixel(int x, int y) {
    int tx = x % kTilePitch, ty = y % kTilePitch;
    if (tx == 0 || ty == 0) return kGrout;
    Rgb c = kTiles[(x / kTilePitch + 2 * (y / kTilePitch)) % 4];
    int delta = (tx == 1 || ty == 1)                             ? 40
                : (tx == kTilePitch - 1 || ty == kTilePitch - 1) ? -30
                                                                 : 0;
    return {_shade(c.r, delta), _shade(c.g, delta), _shade(c.b, delta)};
}

constexpr std::array<uint8_t, kFaviconSize> _makeFavicon() {
    std::array<uint8_t, kFaviconSize> ico{};
    size_t at = 0;
    auto put = [&](uint32_t value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            ico[at++] = uint8_t(value >> (8 * i));
    };
    constexpr uint32_t pixelBytes = kSide * kSide * 4;
    constexpr uint32_t maskRowBytes = ((kSide + 31) / 32) * 4; // rows padded to 32 bits
    constexpr uint32_t imageBytes = 40 + pixelBytes + kSide * maskRowBytes;

    put(0, 2), put(1, 2), put(1, 2);                           // reserved, type icon, one image
    put(kSide, 1), put(kSide, 1), put(0, 1), put(0, 1);        // width, height, colours, reserved
    put(1, 2), put(32, 2), put(imageBytes, 4), put(6 + 16, 4); // planes, bits, size, offset

    // BITMAPINFOHEADER: the height counts the pixel rows and the mask rows.
    put(40, 4), put(kSide, 4), put(2 * kSide, 4), put(1, 2), put(32, 2);
    put(0, 4), put(pixelBytes + kSide * maskRowBytes, 4); // no compression, data size
    put(0, 4), put(0, 4), put(0, 4), put(0, 4);           // resolution, colours used and important

    for (int y = kSide - 1; y >= 0; --y) { // rows bottom-up, pixels as B, G, R, A
        for (int x = 0; x < kSide; ++x) {
            if (_transparent(x, y)) {
                put(0, 4);
            } else {
                Rgb c = _pixel(x, y);
                put(c.b, 1), put(c.g, 1), put(c.r, 1), put(0xFF, 1);
            }
        }
    }
    for (int y = kSide - 1; y >= 0; --y) { // the AND mask: a set bit lets the background through
        for (uint32_t byte = 0; byte < maskRowBytes; ++byte) {
            uint8_t bits = 0;
            for (int bit = 0; bit < 8; ++bit) {
                int x = int(byte) * 8 + bit;
                if (x < kSide && _transparent(x, y)) bits |= uint8_t(0x80 >> bit);
            }
            put(bits, 1);
        }
    }
    if (at != kFaviconSize || imageBytes != 2064) throw "the icon's layout does not add up";
    return ico;
}

} // namespace

constinit const std::array<uint8_t, kFaviconSize> favicon = _makeFavicon();
