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
