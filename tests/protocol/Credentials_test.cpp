// Credentials_test.cpp - the "Authorization" check: the Basic decoder's alphabet, padding and
// colon split, scheme casing, right, wrong, empty and malformed credentials.
#include "protocol/Credentials.h"
#include "protocol/base64.h"

#include <gtest/gtest.h>

namespace {

// Round trips and the colon split are the fuzzer's (its corpus replays them); here, refusals.
TEST(DecodeAuthentication, AlphabetPaddingAndTheColonSplit) {
    const std::string cases[][4] = {
        // what would be wrong, input, user, password
        {"two pads give one byte", "dXNlcjpwYXNzMQ==", "user", "pass1"},
        {"a single pad after two characters is illegal", "dXNlcjpwYXNzMQ=", "", ""},
        {"anything after the pads is illegal", "dXNlcjpwYXNzMQ==dXNl", "", ""},
        {"a pad at a group's start is illegal", "dXNlcjpwYXNz====", "", ""},
        {"the URL-safe alphabet is out of range", "dXNlcjpw-_Nz", "", ""},
        {"a high byte is out of range", "dXNl\xC3\xA9pwYXNz", "", ""},
        {"only the first colon splits", "dTpwOnE=", "u", "p:q"},
    };
    for (auto& c : cases) {
        std::string user = "stale", password = "stale";
        decodeAuthentication(c[1], user, password);
        EXPECT_EQ(user + ":" + password, c[2] + ":" + c[3]) << c[0];
    }
}

TEST(Credentials, BasicHeaderAgainstTheConfiguredPair) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        // against user:pass; null: no header
        {"right pair", "Basic dXNlcjpwYXNz", true},
        {"scheme in mixed case", "bAsIc dXNlcjpwYXNz", true},
        {"another scheme", "Bearer dXNlcjpwYXNz", false},
        {"scheme without its space", "BasicdXNlcjpwYXNz", false},
        {"no header", nullptr, false},
        {"wrong user", "Basic YW5hOnBhc3M=", false}, // ana:pass
        {"password with a byte more", "Basic dXNlcjpwYXNzMQ==", false},
        {"password with a byte less", "Basic dXNlcjpwYXM=", false},
        {"user and password swapped", "Basic cGFzczp1c2Vy", false}};
    for (auto [name, header, matches] : cases) {
        std::string text = header ? header : "";
        EXPECT_EQ(BasicCredentialsMatch(header ? &text : nullptr, "user", "pass"), matches) << name;
    }
    std::string malformed = "Basic !!!";
    EXPECT_TRUE(BasicCredentialsMatch(&malformed, "", "")) << "malformed when both are empty";
    EXPECT_FALSE(BasicCredentialsMatch(nullptr, "", "")) << "no header when both are empty";
    EXPECT_FALSE(SameBytesInConstantTime(std::string("secret\0", 7), "secret"))
        << "a trailing zero byte is not the end";
}

} // namespace
