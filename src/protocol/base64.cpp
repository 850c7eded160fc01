// base64.cpp - the Basic credential decoder: base64 to bytes, then a split at the first colon.
#include "protocol/base64.h"

#include "cf/Assert.h"
#include "cf/cftempl.h"

#include <cstdint>

// The six-bit value of a base64 character, or -1 when it is not one (padding included).
static int _sextet(unsigned char c) {
    if (c >= 'A' && c <= 'Z') return c - 'A';
    if (c >= 'a' && c <= 'z') return c - 'a' + 26;
    if (c >= '0' && c <= '9') return c - '0' + 52;
    if (c == '+') return 62;
    if (c == '/') return 63;
    return -1;
}

// The decoded bytes of input. Throws "illegal input" for misplaced padding and "character out of
// range" for anything outside the alphabet.
static std::string _decode(const std::string& input) {
    std::string output;
    output.reserve(input.size() / 3);
    uint32_t accumulator = 0;
    unsigned quad = 0; // characters of the current group of four seen so far
    for (size_t i = 0; i < input.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(input[i]);
        if (c == '=') {
            bool last = i + 1 == input.size();
            if (quad < 2) throwRTE("decodeAuthentication", "illegal input");
            if (quad == 2 && !(i + 2 == input.size() && input[i + 1] == '='))
                throwRTE("decodeAuthentication", "illegal input");
            if (quad == 3 && !last) throwRTE("decodeAuthentication", "illegal input");
            TS_ASSERT(quad < 4, "base64", 64);
            accumulator <<= 24 - 6 * quad;
            output.push_back(char((accumulator >> 16) & 0xFF));
            if (quad == 3) output.push_back(char((accumulator >> 8) & 0xFF));
            break;
        }
        int value = _sextet(c);
        if (value < 0) throwRTE("decodeAuthentication", "character out of range");
        accumulator = accumulator * 64 + uint32_t(value);
        if (++quad == 4) {
            output.push_back(char((accumulator >> 16) & 0xFF));
            output.push_back(char((accumulator >> 8) & 0xFF));
            output.push_back(char(accumulator & 0xFF));
            accumulator = 0;
            quad = 0;
        }
    }
    // An unfinished group without padding is dropped on purpose: some clients cut the padding.
    return output;
}

void decodeAuthentication(const std::string& input, std::string& user, std::string& password) {
    try {
        std::string decoded = _decode(input);
        size_t colon = decoded.find(':');
        if (colon == std::string::npos) {
            user = std::move(decoded);
            password.clear();
        } else {
            user = decoded.substr(0, colon);
            password = decoded.substr(colon + 1);
        }
    } catch (...) {
        user.clear();
        password.clear();
    }
}
