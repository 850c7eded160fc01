// Gif.cpp - GIF files with an exact colour table and a 9-bit LZW stream.
#include "demo/Bytes.h"
#include "demo/Encoders.h"

#include <stdexcept>
#include <unordered_map>
#include <vector>

namespace demo {

namespace {

constexpr uint32_t kClear = 256, kEnd = 257, kFirstFree = 258;
// The table starts over while its next code is still far below 512, where a decoder would
// widen its codes to 10 bits: every code of the stream stays 9 bits wide.
constexpr uint32_t kLastFree = 510;

// Packs 9-bit codes least significant bit first, as GIF wants.
class CodeWriter {
  public:
    void emit(uint32_t code) {
        bits_ |= code << count_;
        count_ += 9;
        while (count_ >= 8) {
            bytes_ += char(uint8_t(bits_));
            bits_ >>= 8;
            count_ -= 8;
        }
    }
    std::string finish() {
        if (count_ > 0) bytes_ += char(uint8_t(bits_));
        return bytes_;
    }

  private:
    uint32_t bits_ = 0;
    int count_ = 0;
    std::string bytes_;
};

std::string lzw(const std::vector<uint8_t>& pixels) {
    CodeWriter out;
    std::unordered_map<uint32_t, uint32_t> table; // (prefix code << 8 | byte) -> code
    uint32_t next = kFirstFree;
    out.emit(kClear);
    uint32_t prefix = pixels[0];
    for (size_t i = 1; i < pixels.size(); ++i) {
        uint32_t key = (prefix << 8) | pixels[i];
        auto found = table.find(key);
        if (found != table.end()) {
            prefix = found->second;
            continue;
        }
        out.emit(prefix);
        if (next < kLastFree) {
            table.emplace(key, next++);
        } else {
            out.emit(kClear);
            table.clear();
            next = kFirstFree;
        }
        prefix = pixels[i];
    }
    out.emit(prefix);
    out.emit(kEnd);
    return out.finish();
}

} // namespace

std::string encodeGif(const Canvas& canvas) {
    int w = canvas.width(), h = canvas.height();
    std::vector<uint8_t> pixels(static_cast<size_t>(w) * size_t(h));
    std::unordered_map<uint32_t, uint8_t> index;
    std::vector<uint32_t> colours; // in order of first appearance, so the file is stable
    for (int y = 0; y < h; ++y) {
        const uint8_t* row = canvas.row(y);
        for (int x = 0; x < w; ++x) {
            uint32_t rgb =
                uint32_t(row[x * 3]) << 16 | uint32_t(row[x * 3 + 1]) << 8 | row[x * 3 + 2];
            auto found = index.find(rgb);
            if (found == index.end()) {
                if (colours.size() == 256)
                    throw std::runtime_error("picture has more than 256 colours for GIF");
                found = index.emplace(rgb, uint8_t(colours.size())).first;
                colours.push_back(rgb);
            }
            pixels[size_t(y) * size_t(w) + size_t(x)] = found->second;
        }
    }
    colours.resize(256, 0);

    std::string out = "GIF89a";
    put16le(out, uint32_t(w));
    put16le(out, uint32_t(h));
    put8(out, 0xF7); // global colour table of 256 entries, 8 bits per primary
    put8(out, 0);    // background colour index
    put8(out, 0);    // square pixels
    for (uint32_t rgb : colours) {
        put8(out, rgb >> 16);
        put8(out, rgb >> 8);
        put8(out, rgb);
    }
    put8(out, 0x2C); // image descriptor: the whole screen, no local table, not interlaced
    put16le(out, 0);
    put16le(out, 0);
    put16le(out, uint32_t(w));
    put16le(out, uint32_t(h));
    put8(out, 0);
    put8(out, 8); // minimum code size: 8-bit indices, so codes start 9 bits wide
    std::string data = lzw(pixels);
    for (size_t at = 0; at < data.size(); at += 255) {
        size_t n = std::min<size_t>(255, data.size() - at);
        put8(out, uint32_t(n));
        out.append(data, at, n);
    }
    put8(out, 0);    // block terminator
    put8(out, 0x3B); // trailer
    return out;
}

} // namespace demo
