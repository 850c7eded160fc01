// plist_test.cpp - reading and writing XML property lists.
#include "cf/CFPropertyList.h"
#include "cf/cftempl.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

namespace {

const std::string kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
const std::string kText = "caf\xC3\xA9 & \xE6\x97\xA5 <\xF0\x9F\x98\x80>";

TEST(PropertyList, ReadsAndWritesEveryValueType) {
    std::string error;
    CFTypeRef root = CFPropertyListCreateFromXMLData(
        kHeader + "<plist version=\"1.0\"><dict><key>s</key><string>caf&#233; &amp; "
                  "\xE6\x97\xA5 &lt;\xF0\x9F\x98\x80&gt;</string><key>i</key><integer>-42</integer>"
                  "<key>p</key><real>0.1</real><key>t</key><true/><key>f</key><false/>"
                  "<key>d</key><date>2001-01-01T00:01:00Z</date><key>b</key><data>aGVs\nbG8=</data>"
                  "<key>a</key><array><integer>1</integer><string/></array><key>e</key><dict/>"
                  "<key>c</key><string>a</string><key>c</key><string>last</string></dict></plist>",
        &error);
    ASSERT_NE(root, nullptr) << error;
    CFDictionary_t d(root, CFDictionary_t::Create);
    EXPECT_EQ(int(d.get<CFNumber_t>(CFSTR("i"))), -42);
    EXPECT_TRUE(CFBooleanGetValue(d.get<CFBoolean_t>(CFSTR("t"))));
    EXPECT_FALSE(CFBooleanGetValue(d.get<CFBoolean_t>(CFSTR("f"))));
    auto date = static_cast<CFDateRef>(CFDictionaryGetValue(d, CFSTR("d")));
    EXPECT_DOUBLE_EQ(CFDateGetAbsoluteTime(date), 60.0);
    auto data = static_cast<CFDataRef>(CFDictionaryGetValue(d, CFSTR("b")));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                          size_t(CFDataGetLength(data))),
              "hello");
    EXPECT_EQ(CFArrayGetCount(static_cast<CFArrayRef>(CFDictionaryGetValue(d, CFSTR("a")))), 2);
    EXPECT_EQ(CFDictionaryGetCount(d.get<CFDictionary_t>(CFSTR("e"))), 0);
    EXPECT_EQ(CFStringGetUTF8(d.get<CFString_t>(CFSTR("c"))), "last") << "the last value wins";

    // What the writer makes of it reads back to the same values (the same text is the fuzzer's).
    std::string text = CFPropertyListCreateXMLText(d);
    CFTypeRef again = CFPropertyListCreateFromXMLData(text);
    ASSERT_NE(again, nullptr) << text;
    CFDictionary_t copy(again, CFDictionary_t::Create);
    EXPECT_EQ(CFStringGetUTF8(copy.get<CFString_t>(CFSTR("s"))), kText);
    EXPECT_DOUBLE_EQ(double(copy.get<CFNumber_t>(CFSTR("p"))), 0.1) << "written with every digit";
    EXPECT_EQ(text.rfind(kHeader + "<plist version=\"1.0\">\n", 0), 0u)
        << "the declaration, then the root element: no document type line";
}

TEST(PropertyListReader, RefusesBrokenDocumentsAndAcceptsAForeignDocumentType) {
    std::string deep;
    for (int i = 0; i < 600; ++i)
        deep += "<array>";
    EXPECT_EQ(CFPropertyListCreateFromXMLData("<plist>" + deep + "</plist>"), nullptr);
    const char* bad[] = {"<dict><key>a</key></dict>",
                         "<dict><string>x</string></dict>",
                         "<integer>12x</integer>",
                         "<real>abc</real>",
                         "<date>yesterday</date>",
                         "<data>@@@@</data>",
                         "<unknown/>",
                         "<string>a</string><string/>",
                         "<array><string>a</string>",
                         "<key>a</key>"};
    for (const char* xml : bad)
        EXPECT_EQ(CFPropertyListCreateFromXMLData(std::string("<plist>") + xml + "</plist>"),
                  nullptr)
            << xml;
    for (std::string xml :
         {"", "<!DOCTYPE plist [<!ENTITY a \"aaaa\">]><plist><string>&a;</string></plist>"}) {
        std::string error;
        EXPECT_EQ(CFPropertyListCreateFromXMLData(xml, &error), nullptr) << xml;
        EXPECT_FALSE(error.empty()) << xml;
    }
    CFString_t ok(CFPropertyListCreateFromXMLData(
                      kHeader + "<!DOCTYPE plist SYSTEM \"file://localhost/plist.dtd\">\n"
                                "<plist version=\"1.0\"><string>ok</string></plist>"),
                  CFString_t::Create);
    EXPECT_EQ(CFStringGetUTF8(ok), "ok");
}

TEST(PropertyListReader, TokensSpanningManyReadsParseFromAStream) {
    testsupport::TempFolder folder;
    std::string path = folder.write(
        "big.plist", kHeader + "<!-- " + std::string(3 << 20, 'c') + " --><plist><dict><key>k" +
                         std::string(200000, 'x') + "</key><string>v</string></dict></plist>");
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    CFReadStream_t stream(url);
    std::string error;
    CFTypeRef root = CFPropertyListCreateFromStream(stream, &error);
    ASSERT_NE(root, nullptr) << error;
    CFDictionary_t dict(root, CFDictionary_t::Create);
    ASSERT_EQ(CFDictionaryGetCount(dict), 1);
    CFTypeRef key;
    CFDictionaryGetKeysAndValues(dict, &key, nullptr);
    EXPECT_EQ(CFStringGetLength(static_cast<CFStringRef>(key)), 200001);
}

} // namespace
