// escaping_test.cpp - JavascriptString on ASCII, accented, East Asian and non-BMP text, and the
// JSON date object's edges.
#include "web/MetadataEmitter.h"
#include "web/utility.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <sstream>

namespace {

std::string repeat(const std::string& piece, int times) {
    std::string text;
    for (int i = 0; i < times; ++i)
        text += piece;
    return text;
}

struct Escape {
    const char* name;
    std::string input, expected;
};

TEST(JsonEscaping, EscapesEveryCharacterAJsonStringMayNotHold) {
    const Escape cases[] = {
        {"quote and backslash", "a\"b\\", "\"a\\u0022b\\u005c\""},
        {"controls and delete", "\t\n\x1F\x7F", "\"\\u0009\\u000a\\u001f\\u007f\""},
        {"accented and East Asian", "caf\xC3\xA9\xE6\x97\xA5", "\"caf\\u00e9\\u65e5\""},
        {"non-BMP as surrogates", "\xF0\x9F\x98\x80", "\"\\ud83d\\ude00\""},
        {"long text is written whole", repeat("\xC3\xA9x", 500),
         "\"" + repeat("\\u00e9x", 500) + "\""},
    };
    for (const Escape& c : cases) {
        std::ostringstream out;
        out << JavascriptString(makeString(c.input));
        EXPECT_EQ(out.str(), c.expected) << c.name;
    }
}

TEST(MetadataEmitter, DatesBefore1970AndMillisecondsThatWouldOverflow) {
    std::ostringstream out;
    emit(out, -978307200.0 - 86400.0, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    EXPECT_EQ(out.str(), "{ \"value\":-86400000, \"string\":\"Dec 31, 1969, 12:00:00\\u202fAM\" }");
    EXPECT_EQ(millisecondsSince1970(1e300), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(-1e300), INT64_MIN);
    EXPECT_EQ(millisecondsSince1970(std::numeric_limits<double>::infinity()), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(std::nan("")), 0);
}

} // namespace
