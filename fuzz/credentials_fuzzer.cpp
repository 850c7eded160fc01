// credentials_fuzzer.cpp - libFuzzer entry point: the Basic credentials decoder.
//
// Any text after "Basic " must decode or be refused (both empty) without a crash. And any user
// (without ":") and password, base64-encoded with padding, decode back to themselves; without
// the padding, to the whole groups of three bytes, split at their first ":".
#include "protocol/base64.h"

#include <cstdint>
#include <string>

namespace {

std::string encoded(const std::string& bytes, bool pad) {
    static const char k[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    uint32_t bits = 0;
    int held = 0; // bits not yet written
    for (unsigned char c : bytes)
        for (bits = bits << 8 | c, held += 8; held >= 6;)
            out.push_back(k[(bits >> (held -= 6)) & 63]);
    if (held) out.push_back(k[(bits << (6 - held)) & 63]);
    while (pad && out.size() % 4)
        out.push_back('=');
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
