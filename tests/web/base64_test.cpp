// base64_test.cpp - the Basic credential decoder: alphabet, padding and the colon split.
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

} // namespace
