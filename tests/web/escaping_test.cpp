// escaping_test.cpp - HtmlString and JavascriptString on ASCII, accented, East Asian and
// non-BMP text, with the HTML escaper's kept quirks; the JSON date object's edges.
#include "web/MetadataEmitter.h"
#include "web/utility.h"

#include <gtest/gtest.h>

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>

namespace {

template <class Escaper> std::string escaped(const std::string& utf8) {
    std::ostringstream out;
    out << Escaper(makeString(utf8));
    return out.str();
}

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

TEST(HtmlEscaping, KeptQuirksAndTheRoomEachStretchHas) {
    const Escape cases[] = {
        {"all four", "a\"b&c<d>e", "a&quot;b&amp;c&lt;d&gt;e"},
        {"a special first is written raw", "&", "&"},
        {"a tag at the start", "<b>", "<b&gt;"},
        {"a special after a special is written raw", "a<>", "a&lt;>"},
        // 日本: four bytes of room, the second character does not fit.
        {"East Asian is cut per stretch", "a\xE6\x97\xA5\xE6\x9C\xAC<\xE6\x97\xA5",
         "a\xE6\x97\xA5&lt;"},
        // 😀 is two units and four bytes: it fits exactly.
        {"non-BMP fits", "\xF0\x9F\x98\x80<\xF0\x9F\x98\x80",
         "\xF0\x9F\x98\x80&lt;\xF0\x9F\x98\x80"},
        {"a long accented stretch is written whole", repeat("\xC3\xA9", 600) + "&x",
         repeat("\xC3\xA9", 600) + "&amp;x"},
        // 300 units give 600 bytes of room: 200 characters of three bytes.
        {"a long East Asian stretch keeps two thirds", repeat("\xE6\x97\xA5", 300) + "<",
         repeat("\xE6\x97\xA5", 200) + "&lt;"},
    };
    for (const Escape& c : cases)
        EXPECT_EQ(escaped<HtmlString>(c.input), c.expected) << c.name;
}

TEST(JsonEscaping, EscapesAndTheStreamStateTheyLeave) {
    const Escape cases[] = {
        {"quote and backslash", "a\"b\\", "\"a\\u0022b\\u005c\""},
        {"controls and delete", "\t\n\x1F\x7F", "\"\\u0009\\u000a\\u001f\\u007f\""},
        {"accented and East Asian", "caf\xC3\xA9\xE6\x97\xA5", "\"caf\\u00e9\\u65e5\""},
        {"non-BMP as surrogates", "\xF0\x9F\x98\x80", "\"\\ud83d\\ude00\""},
        {"long text is written whole", repeat("\xC3\xA9x", 500),
         "\"" + repeat("\\u00e9x", 500) + "\""},
    };
    for (const Escape& c : cases)
        EXPECT_EQ(escaped<JavascriptString>(c.input), c.expected) << c.name;
    // A kept quirk: an escape leaves the stream in decimal with zero fill.
    const Escape stream[] = {{"after an escape", "\xC3\xA9", "\"\\u00e9\"255 007"},
                             {"without one", "a", "\"a\"ff   7"}};
    for (const Escape& c : stream) {
        std::ostringstream out;
        out << std::hex << JavascriptString(makeString(c.input)) << 255 << ' ' << std::setw(3) << 7;
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
