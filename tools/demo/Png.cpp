// Png.cpp - PNG files with stored (uncompressed) deflate blocks, so no zlib is needed.
#include "demo/Bytes.h"
#include "demo/Encoders.h"

#include <algorithm>
#include <array>

namespace demo {

namespace {

uint32_t crc32(const std::string& bytes, size_t from) {
    static const std::array<uint32_t, 256> table = [] {
        std::array<uint32_t, 256> t{};
        for (uint32_t n = 0; n < 256; ++n) {
            uint32_t c = n;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[n] = c;
        }
        return t;
    }();
    uint32_t c = 0xFFFFFFFFu;
    for (size_t i = from; i < bytes.size(); ++i)
        c = table[(c ^ uint8_t(bytes[i])) & 0xFF] ^ (c >> 8);
    return c ^ 0xFFFFFFFFu;
}

// Appends a chunk: length, type, data, and the CRC of type and data.
void chunk(std::string& out, const char* type, const std::string& data) {
    put32be(out, uint32_t(data.size()));
    size_t start = out.size();
    out += type;
    out += data;
    put32be(out, crc32(out, start));
}

} // namespace

std::string encodePng(const Canvas& canvas) {
    int w = canvas.width(), h = canvas.height();
    // The filtered image: each row led by filter type 0 (none).
    std::string raw;
    raw.reserve(size_t(h) * (size_t(w) * 3 + 1));
    for (int y = 0; y < h; ++y) {
        raw += '\0';
        raw.append(reinterpret_cast<const char*>(canvas.row(y)), size_t(w) * 3);
    }
    // zlib stream: header (deflate, 32K window, no dictionary, check bits), stored blocks of
    // at most 65535 bytes, then the Adler-32 of the uncompressed data.
    std::string z = "\x78\x01";
    for (size_t at = 0; at < raw.size();) {
        size_t n = std::min<size_t>(65535, raw.size() - at);
        put8(z, at + n == raw.size() ? 1 : 0); // BFINAL on the last block, BTYPE 00 (stored)
        put16le(z, uint32_t(n));
        put16le(z, uint32_t(~n & 0xFFFF));
        z.append(raw, at, n);
        at += n;
    }
    uint32_t a = 1, b = 0;
    for (unsigned char byte : raw) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    put32be(z, (b << 16) | a);

    std::string header;
    put32be(header, uint32_t(w));
    put32be(header, uint32_t(h));
    header += "\x08\x02";           // 8 bits per channel, truecolour
    header += std::string(3, '\0'); // deflate, adaptive filtering, no interlace
    std::string out = "\x89PNG\r\n\x1a\n";
    chunk(out, "IHDR", header);
    chunk(out, "IDAT", z);
    chunk(out, "IEND", std::string());
    return out;
}

} // namespace demo
