// Bmp.cpp - 24-bit BMP bitmaps.
#include "demo/Bytes.h"
#include "demo/Encoders.h"

namespace demo {

std::string encodeBmp(const Canvas& canvas) {
    uint32_t w = uint32_t(canvas.width()), h = uint32_t(canvas.height());
    uint32_t stride = (w * 3 + 3) & ~3u;
    uint32_t imageSize = stride * h, offset = 14 + 40;
    std::string out = "BM";
    put32le(out, offset + imageSize);
    put32le(out, 0); // reserved
    put32le(out, offset);
    put32le(out, 40); // BITMAPINFOHEADER
    put32le(out, w);
    put32le(out, h); // positive: rows run bottom-up
    put16le(out, 1); // planes
    put16le(out, 24);
    put32le(out, 0); // no compression
    put32le(out, imageSize);
    put32le(out, 2835); // 72 dpi, in pixels per metre
    put32le(out, 2835);
    put32le(out, 0);
    put32le(out, 0);
    for (int y = int(h) - 1; y >= 0; --y) {
        const uint8_t* row = canvas.row(y);
        for (uint32_t x = 0; x < w; ++x) {
            out += char(row[x * 3 + 2]);
            out += char(row[x * 3 + 1]);
            out += char(row[x * 3]);
        }
        out.append(stride - w * 3, '\0');
    }
    return out;
}

} // namespace demo
