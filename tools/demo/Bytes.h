// Bytes.h - appending fixed-width integers to a byte string, in either byte order.
#pragma once

#include <cstdint>
#include <string>

namespace demo {

inline void put8(std::string& out, uint32_t v) {
    out += char(uint8_t(v));
}
inline void put16le(std::string& out, uint32_t v) {
    put8(out, v);
    put8(out, v >> 8);
}
inline void put32le(std::string& out, uint32_t v) {
    put16le(out, v);
    put16le(out, v >> 16);
}
inline void put16be(std::string& out, uint32_t v) {
    put8(out, v >> 8);
    put8(out, v);
}
inline void put32be(std::string& out, uint32_t v) {
    put16be(out, v >> 16);
    put16be(out, v);
}
inline void put16(std::string& out, uint32_t v, bool bigEndian) {
    bigEndian ? put16be(out, v) : put16le(out, v);
}
inline void put32(std::string& out, uint32_t v, bool bigEndian) {
    bigEndian ? put32be(out, v) : put32le(out, v);
}

} // namespace demo
