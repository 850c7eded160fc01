// Credentials.cpp - the Basic scheme, decoding, and comparison without an early exit.
#include "protocol/Credentials.h"

#include "protocol/base64.h"

bool SameBytesInConstantTime(std::string_view a, std::string_view b) {
    size_t longer = a.size() > b.size() ? a.size() : b.size();
    unsigned difference = a.size() == b.size() ? 0 : 1;
    // Past its end a string reads as zero bytes: the loop's work depends on lengths alone.
    for (size_t i = 0; i < longer; ++i) {
        unsigned char x = i < a.size() ? static_cast<unsigned char>(a[i]) : 0;
        unsigned char y = i < b.size() ? static_cast<unsigned char>(b[i]) : 0;
        difference |= unsigned(x ^ y);
    }
    return difference == 0;
}

bool BasicCredentialsMatch(const std::string* header, const std::string& user,
                           const std::string& password) {
    static constexpr std::string_view kScheme = "basic ";
    if (!header || header->size() < kScheme.size()) return false;
    for (size_t i = 0; i < kScheme.size(); ++i) {
        char c = (*header)[i];
        if (char(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c) != kScheme[i]) return false;
    }
    std::string givenUser, givenPassword;
    decodeAuthentication(header->substr(kScheme.size()), givenUser, givenPassword);
    // Both comparisons run whatever the first answers.
    bool sameUser = SameBytesInConstantTime(givenUser, user);
    bool samePassword = SameBytesInConstantTime(givenPassword, password);
    return sameUser & samePassword;
}
