// Validators_test.cpp - HTTP-dates, entity-tag lists, If-None-Match and If-Modified-Since (the
// replies turned into 304 are RequestStepHttp_test's).
#include "protocol/Validators.h"

#include "support/ParsedRequest.h"

#include <gtest/gtest.h>
#include <thread>

namespace {

using testsupport::parsedRequest;

constexpr time_t k1994 = 784111777; // Sun, 06 Nov 1994 08:49:37 GMT

TEST(Validators, HttpDateTable) {
    const std::tuple<const char*, const char*, time_t> cases[] = {
        // name, text, time (-1: refused)
        {"IMF-fixdate", "Sun, 06 Nov 1994 08:49:37 GMT", k1994},
        {"obsolete long form", "Sunday, 06-Nov-94 08:49:37 GMT", k1994},
        {"asctime with a padded day", "Sun Nov  6 08:49:37 1994", k1994},
        {"leap day", "Thu, 29 Feb 2024 00:00:00 GMT", 1709164800},
        {"leap second names the second before", "Sat, 31 Dec 2016 23:59:60 GMT", 1483228799},
        {"no leap day in 2023", "Wed, 29 Feb 2023 00:00:00 GMT", -1},
        {"hour 24", "Sun, 06 Nov 1994 24:00:00 GMT", -1},
        {"other zone", "Sun, 06 Nov 1994 08:49:37 UTC", -1},
        {"trailing bytes", "Sun, 06 Nov 1994 08:49:37 GMT x", -1},
        {"two-digit year in the short form", "Sun, 06 Nov 94 08:49:37 GMT", -1},
    };
    for (auto [name, text, expected] : cases)
        EXPECT_EQ(ParseHttpDate(text).value_or(-1), expected) << name;
    EXPECT_EQ(HttpDate(k1994), "Sun, 06 Nov 1994 08:49:37 GMT");
    EXPECT_EQ(ParseHttpDate(HttpDate(1700000000)).value_or(0), 1700000000) << "round trip";
}

TEST(Validators, ETagListTable) {
    const std::tuple<const char*, const char*, const char*, bool> cases[] = {
        // name, list, tag
        {"same tag", "\"a1\"", "\"a1\"", true},
        {"in a list", "\"x\", \"a1\" ,\"y\"", "\"a1\"", true},
        {"weak given, strong held: weak comparison", "W/\"a1\"", "\"a1\"", true},
        {"strong given, weak held", "\"a1\"", "W/\"a1\"", true},
        {"star", "*", "\"a1\"", true},
        {"star in a list is not a tag", "\"x\", *", "\"a1\"", false},
        {"prefix of the tag", "\"a\"", "\"a1\"", false},
        {"garbage before a match ends the list", "\"x\" junk, \"a1\"", "\"a1\"", false},
        {"good members before garbage count", "\"a1\", junk", "\"a1\"", true},
        {"lower-case weak prefix is not one", "w/\"a1\"", "\"a1\"", false},
    };
    for (auto [name, list, etag, matches] : cases)
        EXPECT_EQ(ETagListMatches(list, etag), matches) << name;
}

TEST(Validators, NotModifiedTable) {
    Validator both{"\"v1\"", k1994}, tagOnly{"\"v1\"", 0}, dateOnly{"", k1994};
    std::string since = "If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT\r\n";
    struct Case {
        const char* name;
        std::string headers;
        const Validator& validator;
        bool notModified;
    } cases[] = {
        {"same tag", "If-None-Match: \"v1\"\r\n", both, true},
        {"compressed variant of the tag", "If-None-Match: \"v1-gz\"\r\n", both, true},
        {"other tag", "If-None-Match: \"v0\"\r\n", both, false},
        {"star without a tag", "If-None-Match: *\r\n", dateOnly, true},
        {"other tag wins over a matching date", "If-None-Match: \"v0\"\r\n" + since, both, false},
        {"date equal", since, both, true},
        {"date earlier", "If-Modified-Since: Sun, 06 Nov 1994 08:49:36 GMT\r\n", both, false},
        {"garbage date is ignored", "If-Modified-Since: tomorrow\r\n", both, false},
        {"date without Last-Modified", since, tagOnly, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(NotModified(*parsedRequest(c.headers), c.validator), c.notModified) << c.name;
}

} // namespace
