// VarMap_test.cpp - the query and cookie scanners.
#include "web/utility.h"

#include <gtest/gtest.h>

#include <map>

namespace {

typedef std::map<std::string, std::string> Pairs;

TEST(VarMap, QueryAndCookieScanning) {
    const struct {
        const char* name;
        bool cookies; // scanned as a Cookie header, else as a query
        std::string text;
        Pairs expected;
    } cases[] = {
        {"two pairs", false, "a=1&b=2", {{"a", "1"}, {"b", "2"}}},
        {"an ampersand does not end a name", false, "flag&a=1", {{"flag&a", "1"}}},
        {"a trailing name without value is dropped", false, "a=1&flag&", {{"a", "1"}}},
        {"the first value wins", false, "a=1&a=2", {{"a", "1"}}},
        {"escapes and plus decode", false, "q=caf%C3%A9+au+lait", {{"q", "caf\xC3\xA9 au lait"}}},
        {"names are not decoded", false, "a+b%41=c+d", {{"a+b%41", "c d"}}},
        {"bad hex is zero", false, "z=%zz&g=%4g", {{"z", std::string(1, '\0')}, {"g", "@"}}},
        {"an escape takes the next two characters", false, "a=%&b=1", {{"a", "\x0B=1"}}},
        {"an escape may hide an ampersand", false, "a=%26b=1", {{"a", "&b=1"}}},
        {"two cookies", true, "sid=abc; theme=dark", {{"sid", "abc"}, {"theme", "dark"}}},
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
