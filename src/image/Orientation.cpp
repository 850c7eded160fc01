// Orientation.cpp - the eight pixel mappings from the upright picture back to the stored one.
#include "image/Orientation.h"

#include <cstring>

int validOrientation(long value) {
    return value >= 1 && value <= 8 ? int(value) : 1;
}

bool orientationSwapsSides(int orientation) {
    return orientation >= 5 && orientation <= 8;
}

void orientedRow(int orientation, const uint8_t* from, uint32_t width, uint32_t height,
                 unsigned channels, uint32_t y, uint8_t* to) {
    const ptrdiff_t pixel = ptrdiff_t(channels), row = ptrdiff_t(width) * pixel;
    const ptrdiff_t right = ptrdiff_t(width) - 1, bottom = ptrdiff_t(height) - 1, ty = y;
    // Upright pixel (x, y) comes from stored column sx + x * dx, row sy + x * dy.
    ptrdiff_t sx = 0, sy = ty, dx = 1, dy = 0;
    switch (validOrientation(orientation)) {
    case 2:
        sx = right, sy = ty, dx = -1, dy = 0;
        break;
    case 3:
        sx = right, sy = bottom - ty, dx = -1, dy = 0;
        break;
    case 4:
        sx = 0, sy = bottom - ty, dx = 1, dy = 0;
        break;
    case 5:
        sx = ty, sy = 0, dx = 0, dy = 1;
        break;
    case 6:
        sx = ty, sy = bottom, dx = 0, dy = -1;
        break;
    case 7:
        sx = right - ty, sy = bottom, dx = 0, dy = -1;
        break;
    case 8:
        sx = right - ty, sy = 0, dx = 0, dy = 1;
        break;
    default:
        break;
    }
    const uint32_t outWidth = orientationSwapsSides(orientation) ? height : width;
    for (uint32_t x = 0; x < outWidth; ++x) {
        const ptrdiff_t at = ptrdiff_t(x);
        memcpy(to + size_t(x) * channels, from + (sy + at * dy) * row + (sx + at * dx) * pixel,
               channels);
    }
}

void orientPixels(int orientation, const uint8_t* from, uint32_t width, uint32_t height,
                  unsigned channels, uint8_t* to) {
    const bool swaps = orientationSwapsSides(orientation);
    const uint32_t outWidth = swaps ? height : width, outHeight = swaps ? width : height;
    for (uint32_t y = 0; y < outHeight; ++y)
        orientedRow(orientation, from, width, height, channels, y,
                    to + size_t(y) * outWidth * channels);
}
