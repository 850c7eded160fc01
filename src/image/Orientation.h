// Orientation.h - turning decoded pixels upright by their EXIF orientation (1-8).
//
// The eight values say how the stored rows are to be turned for display: 1 as stored,
// 2 mirrored left-right, 3 turned half round, 4 mirrored top-bottom, 5 mirrored along the
// top-left diagonal (transpose), 6 turned a quarter clockwise, 7 mirrored along the other
// diagonal (transverse), 8 turned a quarter counter-clockwise.
#pragma once

#include <cstddef>
#include <cstdint>

// The orientation a stored value stands for: 1-8 themselves, anything else 1 (as stored).
int validOrientation(long value);

// Whether the upright picture's width is the stored height (orientations 5-8).
bool orientationSwapsSides(int orientation);

// Writes row y of the upright picture into to: orientationSwapsSides ? height : width pixels of
// channels samples each, taken from the stored picture from (width × height pixels, rows top
// down, channels interleaved samples a pixel, no padding). Orientations outside 1-8 act as 1.
// REQUIRES: y below the upright height; to does not overlap from.
void orientedRow(int orientation, const uint8_t* from, uint32_t width, uint32_t height,
                 unsigned channels, uint32_t y, uint8_t* to);

// The whole upright picture, written into to (width × height × channels bytes; its rows are
// height pixels wide when orientationSwapsSides). Same REQUIRES as orientedRow.
void orientPixels(int orientation, const uint8_t* from, uint32_t width, uint32_t height,
                  unsigned channels, uint8_t* to);
