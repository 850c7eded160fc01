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
    for (const char* bytes : {"\xC3", "\xC0\x80", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF"})
        EXPECT_EQ(CFStringCreateWithBytes(bytes, CFIndex(strlen(bytes)), kCFStringEncodingUTF8),
                  nullptr);
    EXPECT_EQ(CFStringCreateWithBytes("caf\xC3\xA9", 5, kCFStringEncodingASCII), nullptr);
}

TEST(CFString, CompareIsLiteralAndIntegersAreLeading) {
    EXPECT_EQ(CFStringCompare(CFSTR("B"), CFSTR("a"), 0), kCFCompareLessThan);
    EXPECT_EQ(CFStringCompare(CFSTR("ab"), CFSTR("a"), 0), kCFCompareGreaterThan);
    EXPECT_EQ(CFStringCompare(makeString("\xC3\xA9"), makeString("\xE6\x97\xA5"), 0),
              kCFCompareLessThan);
    EXPECT_FALSE(CFStringHasSuffix(CFSTR("x.json"), CFSTR("js")));
    std::pair<const char*, int32_t> cases[] = {
        {"0042", 42}, {"  -7x", -7}, {"+3", 3}, {"abc", 0}, {"99999999999", INT32_MAX}};
    for (auto [text, value] : cases)
        EXPECT_EQ(CFStringGetIntValue(makeString(text)), value) << text;
}

TEST(CFURL, PathsAreBytesAndTheTextIsEncoded) {
    CFURL_t dir(CFURLCreateFromFileSystemRepresentation("/a/\xC3\xA9t\xC3\xA9", 8, true),
                CFURL_t::Create);
    CFURL_t url(CFURLCreateCopyAppendingPathComponent(dir, CFSTR("c/IMG 1.jpg"), false),
                CFURL_t::Create);
    EXPECT_STREQ(CFURLGetPOSIXPath(url), "/a/\xC3\xA9t\xC3\xA9/c/IMG 1.jpg");
    EXPECT_EQ(CFStringGetUTF8(CFURLGetString(url)), "file:///a/%C3%A9t%C3%A9/c/IMG%201.jpg");
}

} // namespace
