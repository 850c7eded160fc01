// VarMap_test.cpp - the query and cookie scanners.
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

TEST(VarMap, QueryScanning) {
    const Scan cases[] = {
        {"two pairs", "a=1&b=2", {{"a", "1"}, {"b", "2"}}},
        {"an ampersand does not end a name", "flag&a=1", {{"flag&a", "1"}}},
        {"a trailing name without value is dropped", "a=1&flag&", {{"a", "1"}}},
        {"the first value wins", "a=1&a=2", {{"a", "1"}}},
        {"escapes and plus decode in values",
         "q=caf%C3%A9+au+lait",
         {{"q", "caf\xC3\xA9 au lait"}}},
        {"names are not decoded", "a+b%41=c+d", {{"a+b%41", "c d"}}},
        {"bad hex digits count as zero",
         "z=%zz&g=%4g",
         {{"z", std::string(1, '\0')}, {"g", "\x40"}}},
        {"an escape takes the next two characters whatever they are", "a=%&b=1", {{"a", "\x0B=1"}}},
        {"an escape may hide an ampersand", "a=%26b=1", {{"a", "&b=1"}}},
    };
    for (const Scan& c : cases) {
        VarMap vars;
        vars.queryToMap(c.text);
        EXPECT_EQ(Pairs(vars), c.expected) << c.name;
    }
}

TEST(VarMap, CookieScanning) {
    const Scan cases[] = {
        {"two cookies", "sid=abc; theme=dark", {{"sid", "abc"}, {"theme", "dark"}}},
        {"a space before the semicolon stays in the value", " a=1 ;b=2", {{"a", "1 "}, {"b", "2"}}},
        {"values are not decoded", "a=x+y%20z", {{"a", "x+y%20z"}}},
        {"a name without equals ends the scan", "a=1; flag; b=2", {{"a", "1"}, {"flag; b", "2"}}},
    };
    for (const Scan& c : cases) {
        VarMap vars;
        vars.cookiesToMap(c.text);
        EXPECT_EQ(Pairs(vars), c.expected) << c.name;
    }
    VarMap vars;
    vars.queryToMap("lib=1");
    vars.cookiesToMap("lib=2; album=7");
    EXPECT_EQ(Pairs(vars), (Pairs{{"lib", "1"}, {"album", "7"}})) << "the query shadows a cookie";
}

} // namespace
