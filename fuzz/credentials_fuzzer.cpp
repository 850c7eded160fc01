// credentials_fuzzer.cpp - libFuzzer entry point: the Basic credentials decoder.
//
// Any text after "Basic " must decode or be refused (both empty) without a crash. And any user
// (without ":") and password, base64-encoded with padding, decode back to themselves; without
// the padding, to the whole groups of three bytes, split at their first ":".
#include "web/base64.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace {

std::string encoded(const std::string& bytes, bool pad) {
    static const char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 3 <= bytes.size(); i += 3) {
        uint32_t group = uint32_t(uint8_t(bytes[i])) << 16 | uint32_t(uint8_t(bytes[i + 1])) << 8 |
                         uint8_t(bytes[i + 2]);
        for (int shift = 18; shift >= 0; shift -= 6)
            out.push_back(kAlphabet[(group >> shift) & 63]);
    }
    size_t left = bytes.size() - i;
    if (left) {
        uint32_t group = uint32_t(uint8_t(bytes[i])) << 16;
        if (left == 2) group |= uint32_t(uint8_t(bytes[i + 1])) << 8;
        out.push_back(kAlphabet[(group >> 18) & 63]);
        out.push_back(kAlphabet[(group >> 12) & 63]);
        if (left == 2) out.push_back(kAlphabet[(group >> 6) & 63]);
        if (pad) out.append(3 - left, '=');
    }
    return out;
}

void expectDecoded(const std::string& text, const std::string& plain) {
    size_t colon = plain.find(':');
    std::string wantUser = plain.substr(0, colon);
    std::string wantPass = colon == std::string::npos ? "" : plain.substr(colon + 1);
    std::string user = "(unset)", pass = "(unset)";
    decodeAuthentication(text, user, pass);
    if (user != wantUser || pass != wantPass) __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string input(reinterpret_cast<const char*>(data), size);
    std::string user = "(unset)", pass = "(unset)";
    decodeAuthentication(input, user, pass);
    if (user.size() + pass.size() > input.size()) __builtin_trap();

    size_t split = input.find('\0');
    std::string plain = input.substr(0, split);
    std::erase(plain, ':');
    if (split != std::string::npos) plain += ":" + input.substr(split + 1);
    expectDecoded(encoded(plain, true), plain);
    expectDecoded(encoded(plain, false), plain.substr(0, plain.size() / 3 * 3));
    return 0;
}
