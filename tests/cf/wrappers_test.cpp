// wrappers_test.cpp - ownership and error texts of the value wrappers, and the read stream.
#include "cf/cftempl.h"
#include "support/TempFolder.h"
#include "support/ThrownText.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>

namespace {

using testsupport::kNothingThrown;
using testsupport::thrownText;

CFNumberRef newNumber(int32_t value) {
    return CFNumberCreate(kCFNumberSInt32Type, &value);
}

CFURL_t fileURL(const std::string& path) {
    return CFURL_t(
        CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
        CFURL_t::Create);
}

TEST(CoreType, GetRetainsCreateAdoptsAssignmentMovesOneCount) {
    CFNumberRef raw = newNumber(7);
    {
        CFNumber_t borrowed(raw, CFNumber_t::Get);
        CFNumber_t copy(borrowed);
        EXPECT_EQ(CFGetRetainCount(raw), 3);
        CFNumber_t other(newNumber(8), CFNumber_t::Create);
        copy = other;
        EXPECT_EQ(CFGetRetainCount(raw), 2) << "assignment must release the old value";
        EXPECT_EQ(CFGetRetainCount(other.get()), 2);
    }
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    CFNumber_t adopted(raw, CFNumber_t::Create);
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    EXPECT_EQ(int(adopted), 7);
}

TEST(CoreType, NullAndWrongTypeThrowAndReleaseWhatWasTaken) {
    EXPECT_EQ(thrownText([] { CFString_t(nullptr, CFString_t::Get); }),
              "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = const "
              "__CFString*, CFTypeID (* F)() = CFStringGetTypeID]) : Tried to create a "
              "PK10__CFString from a NULL pointer");
    CFNumberRef number = newNumber(1);
    EXPECT_EQ(thrownText([&] { CFString_t(number, CFString_t::Get); }),
              "(In CoreType) : Tried to convert a non-PK10__CFString type to PK10__CFString");
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRetain(number);
    EXPECT_NE(thrownText([&] { CFDictionary_t(number, CFDictionary_t::Create); }), kNothingThrown);
    EXPECT_EQ(CFGetRetainCount(number), 1) << "an adopted value of the wrong type must be released";
    CFRelease(number);
}

TEST(CFDictionary_t, LookupsByTypeAndTheirMessages) {
    CFNumberRef seven = newNumber(7);
    CFTypeRef keys[] = {CFSTR("n"), CFSTR("s")}, values[] = {seven, CFSTR("text")};
    CFDictionary_t dict(CFDictionaryCreate(keys, values, 2), CFDictionary_t::Create);
    CFRelease(seven);
    EXPECT_EQ(int(dict.get<CFNumber_t>(CFSTR("n"))), 7);
    EXPECT_EQ(CFStringGetUTF8(dict.get<CFString_t>(CFSTR("s"))), "text");
    EXPECT_EQ(thrownText([&] { dict.get<StrArray>(CFSTR("KeyList")); }),
              "(In T CFDictionary_t::get(const __CFString*) const [with T = StrArray]) : "
              "dictionary doesn't have key 'KeyList'");
    EXPECT_EQ(CFStringGetUTF8(dict.get(CFSTR("missing"), CFString_t("fallback"))), "fallback");
    EXPECT_NE(thrownText([&] { dict.get(CFSTR("n"), CFString_t("x")); }), kNothingThrown)
        << "a default does not excuse a value of the wrong type";
}

TEST(CFArray_t, ElemReportsIndexesAtOrPastTheEnd) {
    CFTypeRef values[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    StrArray array(CFArrayCreate(values, 3), StrArray::Create);
    EXPECT_EQ(CFStringGetUTF8(array.elem(2)), "c");
    EXPECT_EQ(thrownText([&] { array.elem(3); }),
              "(In elem) : tried to access element 3 of a 3 element array");
    EXPECT_NE(thrownText([&] { array.elem(-1); }), kNothingThrown);
}

TEST(Texts, LongErrorsAreCutToTheBufferAndToStringCutsWholeCharacters) {
    std::string longFunction(8200, 'f');
    EXPECT_EQ(thrownText([&] { throwRTE(longFunction.c_str(), "message %d", 1); }).size(), 8191u);
    std::string longMessage(9000, 'm');
    std::string text = thrownText([&] { throwRTE("f", "%s", longMessage.c_str()); });
    EXPECT_EQ(text.size(), 8191u);
    EXPECT_EQ(text.substr(0, 10), "(In f) : m");

    std::string accented, east;
    for (int i = 0; i < 750; ++i)
        accented += "\xC3\xA9";
    for (int i = 0; i < 500; ++i)
        east += "\xE6\x97\xA5";
    EXPECT_EQ(toString(makeString(accented)).size(), 1024u);
    EXPECT_EQ(toString(makeString(east)).size(), 1023u) << "a character split at 1024 bytes";
}

TEST(CFReadStream_t, CopiesTheWholeFileAndSeeks) {
    testsupport::TempFolder folder;
    std::string content;
    for (int i = 0; i < 70000; ++i)
        content += char('a' + i % 26);
    CFReadStream_t stream(fileURL(folder.write("f", content)));
    std::ostringstream out;
    stream.writeToStream(out);
    EXPECT_EQ(out.str(), content);
    uint8_t byte;
    ASSERT_TRUE(stream.seekAbsolute(26));
    ASSERT_EQ(CFReadStreamRead(stream, &byte, 1), 1);
    EXPECT_EQ(byte, 'a');
    ASSERT_TRUE(stream.seekRelative(2));
    ASSERT_EQ(CFReadStreamRead(stream, &byte, 1), 1);
    EXPECT_EQ(byte, 'd');
}

TEST(CFReadStream_t, MissingFilesAndFifosNameTheURL) {
    testsupport::TempFolder folder;
    std::string fifo = folder.path("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(thrownText([&] { CFReadStream_t stream(fileURL(fifo)); }),
              "(In CFReadStream_t) : couldn't open read stream URL 'file://" + fifo +
                  "' (file not found?)")
        << "a fifo must be refused without waiting for a writer";
    EXPECT_EQ(thrownText([&] { CFReadStream_t stream(fileURL(folder.path("no dir/x.html"))); }),
              "(In CFReadStream_t) : couldn't open read stream URL 'file://" + folder.path("") +
                  "no%20dir/x.html' (file not found?)");
    CFReadStreamRef raw = CFReadStreamCreateWithFile(fileURL(folder.path("gone")));
    EXPECT_EQ(thrownText([&] { CFReadStream_t stream(raw, CFReadStream_t::Create); }),
              "(In CFReadStream_t) : couldn't open read stream (file not found?)");
}

} // namespace
