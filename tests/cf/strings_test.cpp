// strings_test.cpp - string storage, conversion, comparison and file URLs.
#include "cf/CFString.h"
#include "cf/CFURL.h"
#include "cf/cftempl.h"

#include <gtest/gtest.h>

namespace {

TEST(CFString, KeepsUTF16UnitsWhateverTheStorage) {
    struct Case {
        const char* utf8;
        std::vector<UniChar> units;
        bool narrow;
    } cases[] = {
        {"abc", {'a', 'b', 'c'}, true},
        {"caf\xC3\xA9", {'c', 'a', 'f', 0xE9}, true},
        {"\xE6\x97\xA5\xE6\x9C\xAC", {0x65E5, 0x672C}, false},
        {"\xF0\x9F\x98\x80", {0xD83D, 0xDE00}, false},
        {"", {}, true},
    };
    for (auto& c : cases) {
        CFString_t s = makeString(c.utf8);
        ASSERT_EQ(CFStringGetLength(s), CFIndex(c.units.size())) << c.utf8;
        for (size_t i = 0; i < c.units.size(); ++i)
            EXPECT_EQ(CFStringGetCharacterAtIndex(s, CFIndex(i)), c.units[i]);
        EXPECT_EQ(CFStringGetLatin1Ptr(s) != nullptr, c.narrow) << c.utf8;
        EXPECT_EQ(CFStringGetUTF8(s), c.utf8);
    }
    const char* bad[] = {"\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"};
    for (const char* bytes : bad)
        EXPECT_EQ(CFStringCreateWithBytes(bytes, CFIndex(strlen(bytes)), kCFStringEncodingUTF8),
                  nullptr);
    EXPECT_EQ(CFStringCreateWithBytes("caf\xC3\xA9", 5, kCFStringEncodingASCII), nullptr);
}

TEST(CFString, GetBytesConvertsWholeCharactersThatFit) {
    uint8_t buffer[8];
    CFIndex used = 0;
    CFString_t s = makeString("a\xE6\x97\xA5\xE6\x9C\xAC");
    EXPECT_EQ(
        CFStringGetBytes(s, CFRangeMake(0, 3), kCFStringEncodingUTF8, 0, false, buffer, 5, &used),
        2);
    EXPECT_EQ(used, 4);
    CFString_t smile = makeString("\xF0\x9F\x98\x80");
    EXPECT_EQ(CFStringGetBytes(smile, CFRangeMake(0, 2), kCFStringEncodingUTF8, 0, false, buffer, 4,
                               &used),
              2);
    EXPECT_EQ(used, 4);
    UniChar lone = 0xD800;
    CFString_t broken(CFStringCreateWithCharacters(&lone, 1), CFString_t::Create);
    EXPECT_EQ(CFStringGetBytes(broken, CFRangeMake(0, 1), kCFStringEncodingUTF8, 0, false, buffer,
                               8, &used),
              0);
}

TEST(CFString, CompareIsLiteralAndCaseSensitive) {
    EXPECT_EQ(CFStringCompare(CFSTR("B"), CFSTR("a"), 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(CFSTR("ab"), CFSTR("a"), 0), kCFCompareGreaterThan);
    EXPECT_EQ(CFStringCompare(makeString("\xC3\xA9"), makeString("\xE6\x97\xA5"), 0),
              kCFCompareLessThan);
    EXPECT_TRUE(CFStringHasSuffix(CFSTR("page.xhtml"), CFSTR("html")));
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("x.json"), CFSTR("js")));
}

TEST(CFString, LeadingIntegerValue) {
    struct Case {
        const char* text;
        int32_t value;
    } cases[] = {{"0042", 42},      {"  -7x", -7}, {"+3", 3},
                 {"abc", 0},        {"", 0},       {"99999999999", INT32_MAX},
                 {"6.0.5 (316)", 6}};
    for (auto& c : cases)
        EXPECT_EQ(CFStringGetIntValue(makeString(c.text)), c.value) << c.text;
}

TEST(CFURL, PathsAreBytesAndComponentsAreSplit) {
    CFString_t path = makeString("/photos/\xC3\xA9t\xC3\xA9/IMG 1.jpg");
    CFURL_t url(CFURLCreateWithFileSystemPath(path, kCFURLPOSIXPathStyle, false), CFURL_t::Create);
    EXPECT_STREQ(CFURLGetPOSIXPath(url), "/photos/\xC3\xA9t\xC3\xA9/IMG 1.jpg");
    EXPECT_EQ(CFStringGetUTF8(CFString_t(CFURLCopyLastPathComponent(url), CFString_t::Create)),
              "IMG 1.jpg");
    EXPECT_EQ(CFStringGetUTF8(CFURLGetString(url)), "file:///photos/%C3%A9t%C3%A9/IMG%201.jpg");
    CFURL_t dir(CFURLCreateFromFileSystemRepresentation("/a/b", 4, true), CFURL_t::Create);
    CFURL_t joined(CFURLCreateCopyAppendingPathComponent(dir, CFSTR("c/d.css"), false),
                   CFURL_t::Create);
    EXPECT_STREQ(CFURLGetPOSIXPath(joined), "/a/b/c/d.css");
}

} // namespace
