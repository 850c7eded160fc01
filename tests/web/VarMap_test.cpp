// VarMap_test.cpp - the query and cookie scanners, the typed getters and queryToVector.
#include "web/utility.h"

#include <gtest/gtest.h>

#include <map>

namespace {

typedef std::map<std::string, std::string> Pairs;

struct Scan {
    const char* name;
    std::string text;
    Pairs expected;
};
void PrintTo(const Scan& s, std::ostream* os) {
    *os << s.name;
}

class QueryToMap : public testing::TestWithParam<Scan> {};

TEST_P(QueryToMap, Scans) {
    VarMap vars;
    vars.queryToMap(GetParam().text);
    EXPECT_EQ(Pairs(vars), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, QueryToMap,
    testing::Values(
        Scan{"Empty", "", {}}, Scan{"TwoPairs", "a=1&b=2", {{"a", "1"}, {"b", "2"}}},
        Scan{"EmptyValue", "a=&b=2", {{"a", ""}, {"b", "2"}}}, Scan{"EmptyName", "=x", {{"", "x"}}},
        Scan{"NameAloneAddsNothing", "a", {}},
        Scan{"AmpersandDoesNotEndAName", "flag&a=1", {{"flag&a", "1"}}},
        Scan{"TrailingNameWithoutValueIsDropped", "a=1&flag", {{"a", "1"}}},
        Scan{"FirstValueWins", "a=1&a=2", {{"a", "1"}}},
        Scan{"EscapesAndPlusDecodeInValues", "q=caf%C3%A9+au+lait", {{"q", "caf\xC3\xA9 au lait"}}},
        Scan{"UpperAndLowerHex", "v=%41%42%6a%6A", {{"v", "ABjj"}}},
        Scan{"NamesAreNotDecoded", "a+b%41=c+d", {{"a+b%41", "c d"}}},
        Scan{
            "BadHexDigitsCountAsZero", "z=%zz&g=%4g", {{"z", std::string(1, '\0')}, {"g", "\x40"}}},
        Scan{"PercentAtTheVeryEndAppendsNothing", "a=x%", {{"a", "x"}}},
        Scan{"PercentAndOneDigitAtTheEndIsThatDigit", "a=x%4", {{"a", "x\x04"}}},
        Scan{"EscapeMayHideAnAmpersand", "a=%26b=1", {{"a", "&b=1"}}},
        Scan{"EscapeTakesTheNextTwoCharactersWhateverTheyAre", "a=%&b=1", {{"a", "\x0B=1"}}},
        Scan{"EqualsInValueIsKept", "a=b=c", {{"a", "b=c"}}},
        Scan{"TrailingAmpersand", "a=1&", {{"a", "1"}}}),
    [](const testing::TestParamInfo<Scan>& info) { return info.param.name; });

class CookiesToMap : public testing::TestWithParam<Scan> {};

TEST_P(CookiesToMap, Scans) {
    VarMap vars;
    vars.cookiesToMap(GetParam().text);
    EXPECT_EQ(Pairs(vars), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, CookiesToMap,
    testing::Values(
        Scan{"Empty", "", {}}, Scan{"OnlySpaces", " \t ", {}},
        Scan{"TwoCookies", "sid=abc; theme=dark", {{"sid", "abc"}, {"theme", "dark"}}},
        Scan{"SpaceBeforeSemicolonStaysInTheValue", " a=1 ;b=2", {{"a", "1 "}, {"b", "2"}}},
        Scan{"SpaceBeforeEqualsStaysInTheName", "a =1", {{"a ", "1"}}},
        Scan{"FirstValueWins", "a=1; a=2", {{"a", "1"}}},
        Scan{"ValuesAreNotDecoded", "a=x+y%20z; b=\"q\"", {{"a", "x+y%20z"}, {"b", "\"q\""}}},
        Scan{"NameWithoutEqualsEndsTheScan", "a=1; flag; b=2", {{"a", "1"}, {"flag; b", "2"}}},
        Scan{"TrailingNameIsDropped", "a=1; flag", {{"a", "1"}}},
        Scan{"HighBytesAreNotWhiteSpace",
             "\xA0"
             "a=1",
             {{"\xA0"
               "a",
               "1"}}}),
    [](const testing::TestParamInfo<Scan>& info) { return info.param.name; });

TEST(VarMap, QueryShadowsACookieOfTheSameName) {
    VarMap vars;
    vars.queryToMap("lib=1");
    vars.cookiesToMap("lib=2; album=7");
    EXPECT_EQ(Pairs(vars), (Pairs{{"lib", "1"}, {"album", "7"}}));
}

TEST(VarMap, GetIntReportsPresenceNotNumberhood) {
    VarMap vars;
    vars.queryToMap("empty=&abc=abc&mixed=12abc&signed=%2B7&spaced=%20-7&big=4294967297");
    struct {
        const char* name;
        bool present;
        int value;
    } cases[] = {{"missing", false, 5}, {"empty", true, 0},  {"abc", true, 0}, {"mixed", true, 12},
                 {"spaced", true, -7},  {"signed", true, 7}, {"big", true, 1}};
    for (const auto& c : cases) {
        int value = -99;
        EXPECT_EQ(vars.getInt(c.name, value, 5), c.present) << c.name;
        EXPECT_EQ(value, c.value) << c.name;
    }
}

TEST(VarMap, GetStringGivesTheValueOrTheDefault) {
    VarMap vars;
    vars.queryToMap("name=caf%C3%A9&empty=");
    std::string value;
    EXPECT_TRUE(vars.getString("name", value, "def"));
    EXPECT_EQ(value, "caf\xC3\xA9");
    EXPECT_TRUE(vars.getString("empty", value, "def"));
    EXPECT_EQ(value, "");
    EXPECT_FALSE(vars.getString("missing", value, "def"));
    EXPECT_EQ(value, "def");
}

TEST(VarMap, EatWhitespaceStopsAtTheEndGiven) {
    std::string text = "  \t\n x";
    std::string::const_iterator p = text.begin();
    VarMap::eatWhitespace(p, text.begin() + 2);
    EXPECT_EQ(p - text.begin(), 2);
    VarMap::eatWhitespace(p, text.end());
    EXPECT_EQ(*p, 'x');
}

TEST(QueryToVector, ParsesCommaLists) {
    struct {
        std::string text;
        std::vector<uint32_t> expected;
    } cases[] = {
        {"", {0}},
        {"5", {5}},
        {"1,2,3", {1, 2, 3}},
        {"1,,2", {1, 0, 2}},
        {"1,", {1, 0}},
        {"7,8x,9", {7, 8}},
        {",", {0, 0}},
        {"-1", {0}},
        {"4294967296", {0}},
        {"4294967295", {4294967295u}},
    };
    for (const auto& c : cases) {
        std::vector<uint32_t> list = {99, 98};
        queryToVector(list, c.text);
        EXPECT_EQ(list, c.expected) << '"' << c.text << '"';
    }
}

} // namespace
