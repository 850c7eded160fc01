// escaping_test.cpp - HtmlString and JavascriptString on ASCII, accented, East Asian and
// non-BMP text, with the HTML escaper's kept quirks.
#include "web/utility.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <unistd.h>

namespace {

std::string html(const std::string& utf8) {
    std::ostringstream out;
    out << HtmlString(makeString(utf8));
    return out.str();
}

std::string json(const std::string& utf8) {
    std::ostringstream out;
    out << JavascriptString(makeString(utf8));
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
    std::string input;
    std::string expected;
};
void PrintTo(const Escape& e, std::ostream* os) {
    *os << e.name;
}

class HtmlEscaping : public testing::TestWithParam<Escape> {};

TEST_P(HtmlEscaping, Writes) {
    EXPECT_EQ(html(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, HtmlEscaping,
    testing::Values(Escape{"Empty", "", ""}, Escape{"Plain", "Summer 2009", "Summer 2009"},
                    Escape{"Ampersand", "Tom & Jerry", "Tom &amp; Jerry"},
                    Escape{"AllFour", "a\"b&c<d>e", "a&quot;b&amp;c&lt;d&gt;e"},
                    Escape{"ApostropheIsNotSpecial", "it's", "it's"},
                    Escape{"SpecialFirstIsWrittenRaw", "&", "&"},
                    Escape{"TagAtStart", "<b>", "<b&gt;"},
                    Escape{"SpecialAfterSpecialIsWrittenRaw", "a<>", "a&lt;>"},
                    Escape{"DoubledAmpersand", "a&&b", "a&amp;&b"},
                    Escape{"DoubledQuoteAtEnd", "x\"\"", "x&quot;\""},
                    Escape{"AccentedFitsTwoBytesAUnit", "caf\xC3\xA9 & cr\xC3\xA8me",
                           "caf\xC3\xA9 &amp; cr\xC3\xA8me"},
                    Escape{"AccentedOnly", "\xC3\xA9\xC3\xA8", "\xC3\xA9\xC3\xA8"},
                    // 日本: four bytes of room, the second character does not fit.
                    Escape{"EastAsianIsCut", "\xE6\x97\xA5\xE6\x9C\xAC", "\xE6\x97\xA5"},
                    Escape{"EastAsianCutPerStretch", "a\xE6\x97\xA5\xE6\x9C\xAC<\xE6\x97\xA5",
                           "a\xE6\x97\xA5&lt;"},
                    // 😀 is two units and four bytes: it fits exactly.
                    Escape{"NonBmpFits", "\xF0\x9F\x98\x80<\xF0\x9F\x98\x80",
                           "\xF0\x9F\x98\x80&lt;\xF0\x9F\x98\x80"}),
    [](const testing::TestParamInfo<Escape>& info) { return info.param.name; });

TEST(HtmlEscaping, LongStretchesAreWrittenWhole) {
    std::string accented = repeat("\xC3\xA9", 600); // 1200 bytes of pending text
    EXPECT_EQ(html(accented + "&x"), accented + "&amp;x");
    std::string ascii = repeat("abcdefgh", 100);
    EXPECT_EQ(html(ascii + ">" + ascii), ascii + "&gt;" + ascii);
}

TEST(HtmlEscaping, LongEastAsianStretchKeepsTwoThirds) {
    // 300 units give 600 bytes of room: 200 characters of three bytes.
    EXPECT_EQ(html(repeat("\xE6\x97\xA5", 300) + "<"), repeat("\xE6\x97\xA5", 200) + "&lt;");
}

TEST(WritePendingText, EqualIndicesWriteNothingNotEvenTheReplacement) {
    CFString_t s = makeString("abc");
    std::ostringstream out;
    long last = 1, current = 1;
    writePendingText(out, s, last, current, "&amp;");
    EXPECT_EQ(out.str(), "");
    EXPECT_EQ(last, 1);
    current = 2;
    writePendingText(out, s, last, current, "&amp;");
    EXPECT_EQ(out.str(), "b&amp;");
    EXPECT_EQ(last, 3);
}

TEST(WritePendingTextDeathTest, CurrentBeforeLastIsABrokenInvariant) {
    CFString_t s = makeString("abc");
    std::ostringstream out;
    long last = 2, current = 1;
    // The assertion line goes to standard output; send it where the death test looks.
    EXPECT_DEATH((dup2(2, 1), writePendingText(out, s, last, current, nullptr)),
                 "utility:161: failed assertion `current >= last'");
}

class JsonEscaping : public testing::TestWithParam<Escape> {};

TEST_P(JsonEscaping, Writes) {
    EXPECT_EQ(json(GetParam().input), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Rules, JsonEscaping,
    testing::Values(Escape{"Empty", "", "\"\""},
                    Escape{"Printable", "Album </b> 'x' & y", "\"Album </b> 'x' & y\""},
                    Escape{"Quote", "a\"b", "\"a\\u0022b\""},
                    Escape{"Controls", "\t\n\x1F", "\"\\u0009\\u000a\\u001f\""},
                    Escape{"Delete", "\x7F", "\"\\u007f\""},
                    Escape{"BackslashIsEscaped", "a\\b", "\"a\\u005cb\""},
                    Escape{"Accented", "caf\xC3\xA9", "\"caf\\u00e9\""},
                    Escape{"EastAsian", "\xE6\x97\xA5\xE6\x9C\xAC", "\"\\u65e5\\u672c\""},
                    Escape{"NonBmpAsSurrogates", "\xF0\x9F\x98\x80", "\"\\ud83d\\ude00\""}),
    [](const testing::TestParamInfo<Escape>& info) { return info.param.name; });

TEST(JsonEscaping, LongTextIsWrittenWhole) {
    std::string text = repeat("\xC3\xA9x", 500);
    EXPECT_EQ(json(text), "\"" + repeat("\\u00e9x", 500) + "\"");
}

TEST(JsonEscaping, AnEscapeLeavesZeroFillAndDecimalBase) {
    CFString_t accented = makeString("\xC3\xA9");
    std::ostringstream out;
    out << std::hex << JavascriptString(accented) << 255 << ' ' << std::setw(3) << 7;
    EXPECT_EQ(out.str(), "\"\\u00e9\"255 007");
}

TEST(JsonEscaping, NoEscapeLeavesTheStreamAlone) {
    CFString_t plain = makeString("a");
    std::ostringstream out;
    out << std::hex << JavascriptString(plain) << 255 << ' ' << std::setw(3) << 7;
    EXPECT_EQ(out.str(), "\"a\"ff   7");
}

} // namespace
