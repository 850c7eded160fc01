// Dates_test.cpp - the locale the process settings choose, and fixed-layout parsing in any
// locale. The image tests run in en_US and UTC (see ImageFixtures.cpp).
#include "cf/cftempl.h"
#include "image/Dates.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

// Sets LC_ALL, LC_TIME and LANG (null: unset) for one scope; the image tests run with all three
// unset, which is how the scope leaves them.
struct ScopedLocale {
    ScopedLocale(const char* all, const char* time = nullptr, const char* lang = nullptr) {
        for (auto [name, value] : {std::pair{"LC_ALL", all}, {"LC_TIME", time}, {"LANG", lang}})
            value ? setenv(name, value, 1) : unsetenv(name);
    }
    ~ScopedLocale() {
        for (const char* name : {"LC_ALL", "LC_TIME", "LANG"})
            unsetenv(name);
    }
};

TEST(Dates, LocaleComesFromTheProcessSettings) {
    struct Case {
        const char *all, *time, *lang, *expect;
    } cases[] = {
        {nullptr, nullptr, nullptr, "en_US"}, // ICU's default, set by the tests
        {nullptr, nullptr, "fr_FR.UTF-8", "fr_FR"},
        {nullptr, "de_DE.UTF-8", "fr_FR.UTF-8", "de_DE"},
        {"it_IT", "de_DE.UTF-8", "fr_FR", "it_IT"},
        {"", "de_DE@euro", "", "de_DE"}, // empty values do not count
        {nullptr, "C.UTF-8", nullptr, "en_US_POSIX"},
    };
    for (const Case& c : cases) {
        ScopedLocale env(c.all, c.time, c.lang);
        EXPECT_EQ(currentDateLocale(), c.expect);
    }
    ScopedLocale german(nullptr, "de_DE.UTF-8");
    CFString_t text(formatDate(0.0, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle),
                    CFString_t::Create);
    EXPECT_EQ(CFStringGetUTF8(text), "01.01.2001, 00:00:00");
}

TEST(Dates, ParseDateWithAFixedLayoutInAnyLocale) {
    struct Case {
        const char *locale, *text;
        CFAbsoluteTime expect; // -1: refused
    } cases[] = {
        {nullptr, "2006:05:01 12:30:00", 168179400.0},
        {nullptr, "2006:05:01 12:30:00 and more", 168179400.0}, // what follows is ignored
        {nullptr, "2006:13:01 12:30:00", -1},                   // fields are checked
        {nullptr, "2006-05-01 12:30:00", -1},
        {nullptr, "", -1},
        // Stored dates are Gregorian with ASCII digits whatever the locale's calendar and digits.
        {"th_TH", "2006:05:01 12:30:00", 168179400.0},
        {"ar_EG", "2006:05:01 12:30:00", 168179400.0},
    };
    for (const Case& c : cases) {
        ScopedLocale env(c.locale);
        CFAbsoluteTime time = -1.0;
        EXPECT_EQ(parseDate(c.text, "yyyy:MM:dd HH:mm:ss", &time), c.expect != -1) << c.text;
        EXPECT_EQ(time, c.expect) << c.text << " in " << (c.locale ? c.locale : "en_US");
    }
}

} // namespace
