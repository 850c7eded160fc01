// base64_test.cpp - the Basic credential decoder: alphabet, padding and the colon split.
#include "web/base64.h"

#include <gtest/gtest.h>

namespace {

struct Credentials {
    const char* name;
    std::string input;
    std::string user;
    std::string password;
};

void PrintTo(const Credentials& c, std::ostream* os) {
    *os << c.name;
}

class DecodeAuthentication : public testing::TestWithParam<Credentials> {};

TEST_P(DecodeAuthentication, Decodes) {
    const Credentials& c = GetParam();
    std::string user = "stale", password = "stale";
    decodeAuthentication(c.input, user, password);
    EXPECT_EQ(user, c.user);
    EXPECT_EQ(password, c.password);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, DecodeAuthentication,
    testing::Values(Credentials{"WholeGroups", "dXNlcjpwYXNz", "user", "pass"},
                    Credentials{"TwoPadsGiveOneByte", "dXNlcjpwYXNzMQ==", "user", "pass1"},
                    Credentials{"OnePadGivesTwoBytes", "dXNlcjpwYXNzMTI=", "user", "pass12"},
                    Credentials{"SinglePadAfterTwoCharactersIsIllegal", "dXNlcjpwYXNzMQ=", "", ""},
                    Credentials{"AnythingAfterTwoPadsIsIllegal", "dXNlcjpwYXNzMQ==dXNl", "", ""},
                    Credentials{"AnythingAfterOnePadIsIllegal", "dXNlcjpwYXNzMTI=A", "", ""},
                    Credentials{"PadAfterOneCharacterIsIllegal", "dXNlcjpwYXNzM===", "", ""},
                    Credentials{"PadAtGroupStartIsIllegal", "dXNlcjpwYXNz====", "", ""},
                    Credentials{"UnpaddedTailIsDropped", "dXNlcjpwYXNzMQ", "user", "pass"},
                    Credentials{"UnpaddedTailOfThreeIsDropped", "dXNlcjpwYXNzMTI", "user", "pass"},
                    Credentials{"SpaceIsOutOfRange", "dXNl cjpwYXNz", "", ""},
                    Credentials{"ColonIsOutOfRange", "dXNl:cjpwYXNz", "", ""},
                    Credentials{"UrlSafeAlphabetIsOutOfRange", "dXNlcjpw-_Nz", "", ""},
                    Credentials{"HighByteIsOutOfRange", "dXNl\xC3\xA9pwYXNz", "", ""},
                    Credentials{"NoColonIsAllUser", "dXNlcg==", "user", ""},
                    Credentials{"ColonFirstIsEmptyUser", "OnBhc3M=", "", "pass"},
                    Credentials{"OnlyTheFirstColonSplits", "dTpwOnE=", "u", "p:q"}, // "u:p:q"
                    Credentials{"PlusAndSlashDecode", "+/+/", "\xFB\xFF\xBF", ""},
                    Credentials{"Empty", "", "", ""}),
    [](const testing::TestParamInfo<Credentials>& info) { return info.param.name; });

} // namespace
