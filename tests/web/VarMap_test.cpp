// VarMap_test.cpp - the query and cookie scanners.
#include "web/utility.h"

#include <gtest/gtest.h>

#include <map>

namespace {

typedef std::map<std::string, std::string> Pairs;

// Encoded pairs reading back, first value winning, are the fuzzer's corpus; here, odd texts.
TEST(VarMap, QueryAndCookieScanning) {
    const struct {
        const char* name;
        bool cookies; // scanned as a Cookie header, else as a query
        std::string text;
        Pairs expected;
    } cases[] = {
        {"an ampersand does not end a name", false, "flag&a=1", {{"flag&a", "1"}}},
        {"a trailing name without value is dropped", false, "a=1&flag&", {{"a", "1"}}},
        {"names are not decoded", false, "a+b%41=c+d", {{"a+b%41", "c d"}}},
        {"bad hex is zero", false, "z=%zz&g=%4g", {{"z", std::string(1, '\0')}, {"g", "@"}}},
        {"an escape takes the next two characters", false, "a=%&b=1", {{"a", "\x0B=1"}}},
        {"an escape may hide an ampersand", false, "a=%26b=1", {{"a", "&b=1"}}},
        {"a space before the semicolon stays", true, " a=1 ;b=2", {{"a", "1 "}, {"b", "2"}}},
        {"cookie values are not decoded", true, "a=x+y%20z", {{"a", "x+y%20z"}}},
        {"no = ends the scan", true, "a=1; flag; b=2", {{"a", "1"}, {"flag; b", "2"}}},
    };
    for (const auto& c : cases) {
        VarMap vars;
        c.cookies ? vars.cookiesToMap(c.text) : vars.queryToMap(c.text);
        EXPECT_EQ(Pairs(vars), c.expected) << c.name;
    }
    VarMap vars;
    vars.queryToMap("lib=1");
    vars.cookiesToMap("lib=2; album=7");
    EXPECT_EQ(Pairs(vars), (Pairs{{"lib", "1"}, {"album", "7"}})) << "the query shadows a cookie";
}

} // namespace
