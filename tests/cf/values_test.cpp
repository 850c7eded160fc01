// values_test.cpp - strings, file URLs, the value wrappers' errors and what they release, and
// the read stream.
#include "cf/CFString.h"
#include "cf/CFURL.h"
#include "cf/cftempl.h"
#include "support/TempFolder.h"
#include "support/ThrownText.h"

#include <functional>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

using testsupport::kNothingThrown;
using testsupport::thrownText;

// Which characters come out of either storage is the escaping tests' own; here, what is refused.
TEST(CFString, RefusesBytesThatAreNotTheirEncoding) {
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

TEST(CoreType, MissingOrWrongValuesThrowAndReleaseWhatWasTaken) {
    int32_t n = 7;
    CFNumberRef seven = CFNumberCreate(kCFNumberSInt32Type, &n);
    CFTypeRef keys[] = {CFSTR("n")}, values[] = {seven};
    CFDictionary_t dict(CFDictionaryCreate(keys, values, 1), CFDictionary_t::Create);
    CFTypeRef letters[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    StrArray array(CFArrayCreate(letters, 3), StrArray::Create);
    std::pair<const char*, std::function<void()>> cases[] = {
        {"a null pointer", [] { CFString_t(nullptr, CFString_t::Get); }},
        {"a value of another type", [&] { CFString_t(seven, CFString_t::Get); }},
        {"a missing key", [&] { dict.get<StrArray>(CFSTR("KeyList")); }},
        {"a key of another type, default or not", [&] { dict.get(CFSTR("n"), CFString_t("x")); }},
        {"an index at the end", [&] { array.elem(3); }},
        {"an index before the start", [&] { array.elem(-1); }},
    };
    for (auto& [name, call] : cases)
        EXPECT_NE(thrownText(call), kNothingThrown) << name;
    EXPECT_EQ(int(dict.get<CFNumber_t>(CFSTR("n"))), 7);
    EXPECT_EQ(CFStringGetUTF8(dict.get(CFSTR("missing"), CFString_t("fallback"))), "fallback");
    EXPECT_EQ(CFStringGetUTF8(array.elem(2)), "c");
    CFRetain(seven);
    EXPECT_NE(thrownText([&] { CFDictionary_t(seven, CFDictionary_t::Create); }), kNothingThrown);
    EXPECT_EQ(CFGetRetainCount(seven), 2) << "an adopted value of the wrong type must be released";
    CFRelease(seven);
}

TEST(Texts, LongErrorsAreCutToTheBufferAndToStringCutsWholeCharacters) {
    std::string longText(9000, 'm'); // cut to the message buffer, not written past it
    EXPECT_EQ(thrownText([&] { throwRTE(longText.c_str(), "message %d", 1); }).size(), 8191u);
    EXPECT_EQ(thrownText([&] { throwRTE("f", "%s", longText.c_str()); }).size(), 8191u);
    std::string accented, east;
    for (int i = 0; i < 750; ++i)
        accented += "\xC3\xA9", east += "\xE6\x97\xA5";
    EXPECT_EQ(toString(makeString(accented)).size(), 1024u);
    EXPECT_EQ(toString(makeString(east)).size(), 1023u) << "a character split at 1024 bytes";
}

TEST(CFReadStream_t, MissingFilesAndFifosAreRefusedNamingTheURL) {
    testsupport::TempFolder folder;
    auto open = [](const std::string& path) {
        CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), 0),
                    CFURL_t::Create);
        return thrownText([&] { CFReadStream_t stream(url); });
    };
    std::string fifo = folder.path("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(open(fifo), "(In CFReadStream_t) : couldn't open read stream URL 'file://" + fifo +
                              "' (file not found?)")
        << "a fifo must be refused without waiting for a writer";
    EXPECT_NE(open(folder.path("gone")), kNothingThrown);
}

} // namespace
