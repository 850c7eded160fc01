// wrappers_test.cpp - ownership and error texts of the value wrappers.
#include "cf/cftempl.h"
#include "support/TempFolder.h"
#include "support/ThrownText.h"

#include <gtest/gtest.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using testsupport::kNothingThrown;
using testsupport::thrownText;

CFNumberRef newNumber(int32_t value) {
    return CFNumberCreate(kCFNumberSInt32Type, &value);
}

CFDictionaryRef newDictionary(std::initializer_list<std::pair<const char*, CFTypeRef>> pairs) {
    std::vector<CFTypeRef> keys, values;
    for (auto& [key, value] : pairs) {
        keys.push_back(CFStringCreateWithBytes(key, CFIndex(strlen(key)), kCFStringEncodingUTF8));
        values.push_back(value);
    }
    CFDictionaryRef dict = CFDictionaryCreate(keys.data(), values.data(), CFIndex(keys.size()));
    for (CFTypeRef key : keys)
        CFRelease(key);
    return dict;
}

TEST(CoreType, GetRetainsCreateAdoptsAndDestructionReleases) {
    CFNumberRef raw = newNumber(7);
    {
        CFNumber_t borrowed(raw, CFNumber_t::Get);
        EXPECT_EQ(CFGetRetainCount(raw), 2);
        CFNumber_t copy(borrowed);
        EXPECT_EQ(CFGetRetainCount(raw), 3);
    }
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    CFNumber_t adopted(raw, CFNumber_t::Create);
    EXPECT_EQ(CFGetRetainCount(raw), 1);
    EXPECT_EQ(int(adopted), 7);
}

TEST(CoreType, AssignmentMovesOneCountFromOldToNew) {
    CFDictionaryRef a = newDictionary({});
    CFDictionaryRef b = newDictionary({});
    CFDictionary_t first(a, CFDictionary_t::Get), second(b, CFDictionary_t::Get);
    EXPECT_EQ(CFGetRetainCount(a), 2);
    first = second;
    EXPECT_EQ(first.get(), b);
    EXPECT_EQ(CFGetRetainCount(a), 1);
    EXPECT_EQ(CFGetRetainCount(b), 3);
    CFRelease(a);
    CFRelease(b);
}

TEST(CoreType, NullReferenceThrowsTheNullMessageForEachType) {
    struct Case {
        std::function<void()> make;
        const char* text;
    } cases[] = {
        {[] { CFString_t(nullptr, CFString_t::Get); },
         "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = const "
         "__CFString*, CFTypeID "
         "(* F)() = CFStringGetTypeID]) : Tried to create a PK10__CFString from a NULL pointer"},
        {[] { NumArray(nullptr, NumArray::Create); },
         "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = const "
         "__CFArray*, CFTypeID (* "
         "F)() = CFArrayGetTypeID]) : Tried to create a PK9__CFArray from a NULL pointer"},
        {[] { CFMutableString_t(nullptr, CFMutableString_t::Get); },
         "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = __CFString*, "
         "CFTypeID (* F)() "
         "= CFStringGetTypeID]) : Tried to create a P10__CFString from a NULL pointer"},
        {[] { CFReadStream_t(nullptr, CFReadStream_t::Create); },
         "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = "
         "__CFReadStream*, CFTypeID (* "
         "F)() = CFReadStreamGetTypeID]) : Tried to create a P14__CFReadStream from a NULL "
         "pointer"},
        {[] { CFBoolean_t(nullptr, CFBoolean_t::Get); },
         "(In CoreType<T, F>::CoreType(const void*, CoreType<T, F>::Rule) [with T = const "
         "__CFBoolean*, CFTypeID "
         "(* F)() = CFBooleanGetTypeID]) : Tried to create a PK11__CFBoolean from a NULL pointer"},
    };
    for (auto& c : cases)
        EXPECT_EQ(thrownText(c.make), c.text);
}

TEST(CoreType, WrongTypeReleasesWhatItTookAndThrows) {
    CFNumberRef number = newNumber(1);
    EXPECT_EQ(thrownText([&] { CFString_t(number, CFString_t::Get); }),
              "(In CoreType) : Tried to convert a non-PK10__CFString type to PK10__CFString");
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRetain(number);
    EXPECT_EQ(
        thrownText([&] { CFDictionary_t(number, CFDictionary_t::Create); }),
        "(In CoreType) : Tried to convert a non-PK14__CFDictionary type to PK14__CFDictionary");
    EXPECT_EQ(CFGetRetainCount(number), 1);
    CFRelease(number);
}

TEST(CFDictionary_t, LookupsByTypeAndTheirMessages) {
    CFNumberRef seven = newNumber(7);
    CFDictionary_t dict(newDictionary({{"n", seven}, {"s", CFSTR("text")}}),
                        CFDictionary_t::Create);
    CFRelease(seven);
    EXPECT_EQ(int(dict.get<CFNumber_t>(CFSTR("n"))), 7);
    EXPECT_EQ(CFStringGetUTF8(dict.get<CFString_t>(CFSTR("s"))), "text");
    EXPECT_EQ(thrownText([&] { dict.get<CFString_t>(CFSTR("Caption")); }),
              "(In T CFDictionary_t::get(const __CFString*) const [with T = CFString_t]) : "
              "dictionary doesn't "
              "have key 'Caption'");
    EXPECT_EQ(thrownText([&] { dict.get<StrArray>(CFSTR("KeyList")); }),
              "(In T CFDictionary_t::get(const __CFString*) const [with T = StrArray]) : "
              "dictionary doesn't have "
              "key 'KeyList'");
    EXPECT_EQ(CFStringGetUTF8(dict.get(CFSTR("missing"), CFString_t("fallback"))), "fallback");
    EXPECT_EQ(thrownText([&] { dict.get(CFSTR("n"), CFString_t("x")); }),
              "(In CoreType) : Tried to convert a non-PK10__CFString type to PK10__CFString");
}

TEST(CFArray_t, ElemReportsIndexesAtOrPastTheEnd) {
    CFTypeRef values[] = {CFSTR("a"), CFSTR("b"), CFSTR("c")};
    StrArray array(CFArrayCreate(values, 3), StrArray::Create);
    EXPECT_EQ(CFStringGetUTF8(array.elem(2)), "c");
    EXPECT_EQ(thrownText([&] { array.elem(3); }),
              "(In elem) : tried to access element 3 of a 3 element array");
    EXPECT_NE(thrownText([&] { array.elem(-1); }), kNothingThrown);
}

TEST(CFNumber_t, IntegerViewsShareTheSigned32BitValue) {
    CFNumber_t negative(newNumber(-1), CFNumber_t::Create);
    EXPECT_EQ(int(negative), -1);
    EXPECT_EQ(unsigned(negative), 0xFFFFFFFFu);
    double real = 2.75;
    CFNumber_t fraction(CFNumberCreate(kCFNumberDoubleType, &real), CFNumber_t::Create);
    EXPECT_EQ(int(fraction), 2);
    EXPECT_DOUBLE_EQ(double(fraction), 2.75);
}

TEST(ThrowRTE, LongTextsAreCutToTheBuffer) {
    std::string longFunction(8200, 'f');
    std::string text = thrownText([&] { throwRTE(longFunction.c_str(), "message %d", 1); });
    EXPECT_EQ(text.size(), 8191u);
    EXPECT_EQ(text.substr(0, 4), "(In ");
    std::string longMessage(9000, 'm');
    text = thrownText([&] { throwRTE("f", "%s", longMessage.c_str()); });
    EXPECT_EQ(text.size(), 8191u);
    EXPECT_EQ(text.substr(0, 10), "(In f) : m");
}

TEST(ToString, CutsAfterTheLastWholeCharacterWithin1024Bytes) {
    std::string accented;
    for (int i = 0; i < 750; ++i)
        accented += "\xC3\xA9"; // 1500 bytes of é
    CFString_t s = makeString(accented);
    std::string cut = toString(s);
    EXPECT_EQ(cut.size(), 1024u);
    std::string east;
    for (int i = 0; i < 500; ++i)
        east += "\xE6\x97\xA5"; // 日
    EXPECT_EQ(toString(makeString(east)).size(), 1023u);
    EXPECT_EQ(toString(makeString("short")), "short");
}

class ReadStreamTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char name[] = "/tmp/tessellan-streamXXXXXX";
        int fd = mkstemp(name);
        ASSERT_GE(fd, 0);
        std::string content;
        for (int i = 0; i < 70000; ++i)
            content += char('a' + i % 26);
        ASSERT_EQ(write(fd, content.data(), content.size()), ssize_t(content.size()));
        close(fd);
        path = name;
        expected = content;
    }
    void TearDown() override { unlink(path.c_str()); }
    CFURL_t url() const {
        return CFURL_t(
            CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
            CFURL_t::Create);
    }
    std::string path, expected;
};

TEST_F(ReadStreamTest, CopiesTheWholeFileAndSeeks) {
    CFReadStream_t stream(url());
    std::ostringstream out;
    stream.writeToStream(out);
    EXPECT_EQ(out.str(), expected);
    ASSERT_TRUE(stream.seekAbsolute(26));
    uint8_t byte;
    ASSERT_EQ(CFReadStreamRead(stream, &byte, 1), 1);
    EXPECT_EQ(byte, 'a');
    ASSERT_TRUE(stream.seekRelative(2));
    ASSERT_EQ(CFReadStreamRead(stream, &byte, 1), 1);
    EXPECT_EQ(byte, 'd');
}

TEST_F(ReadStreamTest, MissingFileNamesTheURL) {
    std::string missing = path + "-missing dir/x.html";
    CFURL_t bad(
        CFURLCreateFromFileSystemRepresentation(missing.data(), CFIndex(missing.size()), false),
        CFURL_t::Create);
    EXPECT_EQ(thrownText([&] { CFReadStream_t stream(bad); }),
              "(In CFReadStream_t) : couldn't open read stream URL 'file://" + path +
                  "-missing%20dir/x.html' (file not found?)");
    CFReadStreamRef raw = CFReadStreamCreateWithFile(bad);
    EXPECT_EQ(thrownText([&] { CFReadStream_t stream(raw, CFReadStream_t::Create); }),
              "(In CFReadStream_t) : couldn't open read stream (file not found?)");
}

TEST(CFReadStream_tDeathTest, BorrowedStreamIsAProgrammingError) {
    CFURL_t url(CFURLCreateFromFileSystemRepresentation("/dev/null", 9, false), CFURL_t::Create);
    CFReadStreamRef raw = CFReadStreamCreateWithFile(url);
    // Assertions print on standard output; the death test reads standard error.
    EXPECT_DEATH(
        {
            dup2(2, 1);
            CFReadStream_t(raw, CFReadStream_t::Get);
        },
        "cftempl:125: failed assertion `rule == Create'");
    CFRelease(raw);
}

TEST(CFStringCmp, OrdersLiterallyAndCaseSensitively) {
    CFStringCmp less;
    EXPECT_TRUE(less(CFString_t("/Thumbnail/"), CFString_t("/thumbnail/")));
    EXPECT_FALSE(less(CFString_t("/json/"), CFString_t("/json/")));
    EXPECT_TRUE(less(CFString_t("/"), CFString_t("/image/")));
}

} // namespace

namespace {

TEST(CFReadStream_t, RefusesAFifoWithoutWaitingForAWriter) {
    testsupport::TempFolder folder;
    std::string fifo = folder.path("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(fifo.data(), CFIndex(fifo.size()), false),
                CFURL_t::Create);
    EXPECT_EQ(testsupport::thrownText([&] { CFReadStream_t stream(url); }),
              "(In CFReadStream_t) : couldn't open read stream URL 'file://" + fifo +
                  "' (file not found?)");
}

} // namespace
