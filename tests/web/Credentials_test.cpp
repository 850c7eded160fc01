// Credentials_test.cpp - the "Authorization" check: scheme casing, right, wrong, empty and
// malformed credentials, and the byte comparison under it.
#include "web/Credentials.h"

#include <gtest/gtest.h>

namespace {

TEST(Credentials, BasicHeaderAgainstTheConfiguredPair) {
    struct Case {
        const char* name;
        const char* header; // null: no header
        const char* user;
        const char* password;
        bool matches;
    } cases[] = {
        {"right pair", "Basic dXNlcjpwYXNz", "user", "pass", true}, // user:pass
        {"scheme in lower case", "basic dXNlcjpwYXNz", "user", "pass", true},
        {"scheme in upper case", "BASIC dXNlcjpwYXNz", "user", "pass", true},
        {"scheme in mixed case", "bAsIc dXNlcjpwYXNz", "user", "pass", true},
        {"another scheme", "Bearer dXNlcjpwYXNz", "user", "pass", false},
        {"scheme without its space", "BasicdXNlcjpwYXNz", "user", "pass", false},
        {"scheme only", "Basic", "user", "pass", false},
        {"no header", nullptr, "user", "pass", false},
        {"wrong password", "Basic dXNlcjpvdGhlcg==", "user", "pass", false}, // user:other
        {"wrong user", "Basic YW5hOnBhc3M=", "user", "pass", false},         // ana:pass
        {"password with a byte more", "Basic dXNlcjpwYXNzMQ==", "user", "pass", false},
        {"password with a byte less", "Basic dXNlcjpwYXM=", "user", "pass", false},
        {"user and password swapped", "Basic cGFzczp1c2Vy", "user", "pass", false},
        {"empty credentials", "Basic ", "user", "pass", false},
        {"malformed credentials", "Basic !!!", "user", "pass", false},
        {"malformed credentials when both are empty", "Basic !!!", "", "", true},
        {"no header when both are empty", nullptr, "", "", false},
        {"password case matters", "Basic dXNlcjpQYXNz", "user", "pass", false}, // user:Pass
    };
    for (const Case& c : cases) {
        std::string header = c.header ? c.header : "";
        EXPECT_EQ(BasicCredentialsMatch(c.header ? &header : nullptr, c.user, c.password),
                  c.matches)
            << c.name;
    }
}

TEST(Credentials, ByteComparisonLooksAtEveryByte) {
    struct Case {
        std::string a, b;
        bool same;
    } cases[] = {
        {"secret", "secret", true},
        {"", "", true},
        {"secret", "secreT", false},
        {"secret", "Secret", false},
        {std::string("secret\0", 7), "secret", false}, // a trailing zero byte is not the end
        {"", "s", false},
        {"\xFF", "\x7F", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(SameBytesInConstantTime(c.a, c.b), c.same) << c.a << " / " << c.b;
}

} // namespace
