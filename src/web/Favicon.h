// Favicon.h - the site icon: a 22 by 22 ICO file built into the server.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// One icon image of 22 by 22 pixels in 32-bit BGRA with its 1-bit mask: a 6-byte header, one
// 16-byte directory entry and a 2064-byte bitmap.
constexpr size_t kFaviconSize = 2086;
extern const std::array<uint8_t, kFaviconSize> favicon;
