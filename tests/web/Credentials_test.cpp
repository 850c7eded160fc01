// Credentials_test.cpp - the "Authorization" check: the Basic decoder's alphabet, padding and
// colon split, scheme casing, right, wrong, empty and malformed credentials.
#include "web/Credentials.h"
#include "web/base64.h"

#include <gtest/gtest.h>

namespace {

TEST(DecodeAuthentication, AlphabetPaddingAndTheColonSplit) {
    struct Case {
        const char* name;
        std::string input, user, password;
    } cases[] = {
        {"whole groups", "dXNlcjpwYXNz", "user", "pass"},
        {"two pads give one byte", "dXNlcjpwYXNzMQ==", "user", "pass1"},
        {"a single pad after two characters is illegal", "dXNlcjpwYXNzMQ=", "", ""},
        {"anything after the pads is illegal", "dXNlcjpwYXNzMQ==dXNl", "", ""},
        {"a pad at a group's start is illegal", "dXNlcjpwYXNz====", "", ""},
        {"an unpadded tail is dropped", "dXNlcjpwYXNzMTI", "user", "pass"},
        {"the URL-safe alphabet is out of range", "dXNlcjpw-_Nz", "", ""},
        {"a high byte is out of range", "dXNl\xC3\xA9pwYXNz", "", ""},
        {"no colon: all user", "dXNlcg==", "user", ""},
        {"only the first colon splits", "dTpwOnE=", "u", "p:q"},
        {"plus and slash decode", "+/+/", "\xFB\xFF\xBF", ""},
    };
    for (const Case& c : cases) {
        std::string user = "stale", password = "stale";
        decodeAuthentication(c.input, user, password);
        EXPECT_EQ(user, c.user) << c.name;
        EXPECT_EQ(password, c.password) << c.name;
    }
}

TEST(Credentials, BasicHeaderAgainstTheConfiguredPair) {
    struct Case {
        const char* name;
        const char* header; // null: no header
        const char* user;
        const char* password;
        bool matches;
    } cases[] = {
        {"right pair", "Basic dXNlcjpwYXNz", "user", "pass", true}, // user:pass
        {"scheme in mixed case", "bAsIc dXNlcjpwYXNz", "user", "pass", true},
        {"another scheme", "Bearer dXNlcjpwYXNz", "user", "pass", false},
        {"scheme without its space", "BasicdXNlcjpwYXNz", "user", "pass", false},
        {"no header", nullptr, "user", "pass", false},
        {"wrong user", "Basic YW5hOnBhc3M=", "user", "pass", false}, // ana:pass
        {"password with a byte more", "Basic dXNlcjpwYXNzMQ==", "user", "pass", false},
        {"password with a byte less", "Basic dXNlcjpwYXM=", "user", "pass", false},
        {"user and password swapped", "Basic cGFzczp1c2Vy", "user", "pass", false},
        {"malformed credentials when both are empty", "Basic !!!", "", "", true},
        {"no header when both are empty", nullptr, "", "", false},
    };
    for (const Case& c : cases) {
        std::string header = c.header ? c.header : "";
        EXPECT_EQ(BasicCredentialsMatch(c.header ? &header : nullptr, c.user, c.password),
                  c.matches)
            << c.name;
    }
    EXPECT_FALSE(SameBytesInConstantTime(std::string("secret\0", 7), "secret"))
        << "a trailing zero byte is not the end";
}

} // namespace
