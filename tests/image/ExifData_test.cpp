// ExifData_test.cpp - the ten fields from EXIF blocks in both byte orders, the deliberate
// mappings, payloads that point outside themselves or loop, and the dates' locale and layout.
// The image tests run in en_US and UTC (see ImageFixtures.cpp).
#include "ImageFixtures.h"
#include "image/Dates.h"
#include "image/ExifData.h"

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

namespace {

using E = ExifBuilder;
using Entries = std::vector<E::Entry>;

// Every field of the payload, in declaration order.
std::vector<std::string> fields(const std::string& payload) {
    ExifData e(CFDataCreate(payload.data(), CFIndex(payload.size())));
    std::vector<std::string> all;
    for (const CFString_t* field :
         {&e.cameraMake, &e.cameraModel, &e.captureDate, &e.modifiedDate, &e.width, &e.height,
          &e.aperture, &e.shutter, &e.iso, &e.focalLength})
        all.push_back(toString(*field));
    return all;
}
enum { Make, Model, Captured, Modified, Width, Height, Aperture, Shutter, Iso, Focal };

// A payload whose one directory holds the entries entries() returns after adding its blocks.
std::string oneDirectory(bool little, const std::function<Entries(E&)>& entries) {
    E b(little);
    b.first(b.directory(entries(b)));
    return b.payload();
}

// The usual camera layout: IFD0 with Make, Model, DateTime and the EXIF pointer; the EXIF
// directory with the exposure values and the original date.
std::string cameraPayload(bool little) {
    E b(little);
    uint32_t make = b.text("Nikkon"), model = b.text("D-99"),
             modified = b.text("2007:12:24 18:05:09");
    uint32_t original = b.text("2006:05:01 12:30:00");
    uint32_t fnumber = b.fraction(28, 10), exposure = b.fraction(1, 60), focal = b.fraction(50, 1);
    uint32_t sub = b.directory({E::rational(33434, exposure), E::rational(33437, fnumber),
                                E::shortValue(34855, 100), E::ascii(36867, original, 20),
                                E::rational(37386, focal), E::longValue(40962, 3072),
                                E::longValue(40963, 2304)});
    b.first(b.directory({E::ascii(271, make, 7), E::ascii(272, model, 5),
                         E::ascii(306, modified, 20), E::pointer(sub)}));
    return b.payload();
}

class ExifByteOrder : public testing::TestWithParam<bool> {};

TEST_P(ExifByteOrder, CameraFieldsAsDisplayStrings) {
    EXPECT_EQ(fields(cameraPayload(GetParam())),
              (std::vector<std::string>{"Nikkon", "D-99", "May 1, 2006, 12:30:00\u202FPM",
                                        "Dec 24, 2007, 6:05:09\u202FPM", "2304", "", "2.8", "1/60",
                                        "100", "50"}));
}

TEST_P(ExifByteOrder, Rationals) {
    struct Case {
        uint16_t tag;
        int32_t numerator, denominator;
        size_t field;
        const char* expect;
    } cases[] = {
        {33434, 5, 2, Shutter, "2.5"},                   // longer than a second: decimal
        {33434, 2, 2, Shutter, "1/1"},                   // not greater: reduced fraction
        {33434, 0, 0, Shutter, ""},                      // nothing to divide by
        {33434, INT32_MIN, -1, Shutter, "2147483648/1"}, // signed, reduced without overflow
        {33437, 28, 0, Aperture, ""},                    // FNumber needs a positive denominator
        {37386, 47, 10, Focal, "4"},                     // focal length is truncated
        {37386, INT32_MAX, 1, Focal, "2147483648"},      // single precision rounds it up
    };
    for (const Case& c : cases) {
        auto got = fields(oneDirectory(GetParam(), [&](E& b) {
            return Entries{{c.tag, 10, 1, b.fraction(c.numerator, c.denominator)}};
        }));
        EXPECT_EQ(got[c.field], c.expect) << c.tag << " " << c.numerator << "/" << c.denominator;
    }
}

TEST_P(ExifByteOrder, OneDirectoryEntriesAndTheirTypes) {
    struct Case {
        const char* name;
        std::function<Entries(E&)> entries;
        size_t field;
        const char* expect;
    } cases[] = {
        {"pixel dimensions as LONG both write the width, never the height",
         [](E&) {
             return Entries{E::longValue(40962, 3072), E::longValue(40963, 2304)};
         },
         Width, "2304"},
        {"pixel dimensions as SHORT are ignored",
         [](E&) { return Entries{E::shortValue(40962, 3072)}; }, Width, ""},
        {"ISO as LONG is ignored", [](E&) { return Entries{E::longValue(34855, 100)}; }, Iso, ""},
        // TIFF would store "Leic" inline; the reader takes the value field as an offset.
        {"a short text is read from the offset its value bytes give",
         [](E& b) { return Entries{E::ascii(271, b.text("Leica Camera"), 4)}; }, Make, "Leic"},
        {"a text ends at its first zero byte",
         [](E& b) { return Entries{E::ascii(272, b.bytes(std::string("Canon\0junk", 10)), 10)}; },
         Model, "Canon"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(fields(oneDirectory(GetParam(), c.entries))[c.field], c.expect) << c.name;
}

TEST_P(ExifByteOrder, LoopsAreReadOnceAndWhatLiesOutsideIsSkipped) {
    // IFD0 -> sub -> IFD0 -> ...: each is read once and the walk ends.
    E loop(GetParam());
    uint32_t ifd0 = loop.end(), sub = ifd0 + 2 + 2 * 12 + 4;
    loop.directory({E::shortValue(34855, 200), E::pointer(sub)});
    loop.directory({E::longValue(40962, 99), E::pointer(ifd0)});
    loop.first(ifd0);
    auto got = fields(loop.payload());
    EXPECT_EQ(got[Iso] + " " + got[Width], "200 99");

    E b(GetParam());
    uint32_t make = b.text("Inside"), fnumber = b.fraction(35, 10), beyond = b.end() + 1000;
    sub = b.directory({E::rational(33434, beyond), E::rational(33437, fnumber),
                       E::ascii(272, make, 1000), E::ascii(36867, 0xFFFFFFF0u, 0x20),
                       E::pointer(0x7FFFFFF0u)});
    b.first(b.directory({E::ascii(271, make, 7), E::pointer(sub)}));
    EXPECT_EQ(fields(b.payload()),
              (std::vector<std::string>{"Inside", "", "", "", "", "", "3.5", "", "", ""}));

    // A directory whose entry count runs past the end: the entries inside are still read.
    E cut(GetParam());
    uint32_t at = cut.directory({E::shortValue(34855, 320), E::longValue(40962, 7)});
    cut.first(at);
    std::string payload = cut.payload();
    payload.replace(6 + at, 2, cut.u16(500));
    payload.resize(payload.size() - 4 - 6); // drop the link and half of the last entry
    got = fields(payload);
    EXPECT_EQ(got[Iso] + " " + got[Width], "320 ");
}

INSTANTIATE_TEST_SUITE_P(ExifData, ExifByteOrder, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) {
                             return info.param ? "II" : "MM";
                         });

TEST(ExifData, PayloadsThatAreNotExifLeaveEveryFieldEmptyAndBadTextsThrow) {
    std::string good = cameraPayload(false), noHeader = good, badOrder = good;
    noHeader[4] = 'x';
    badOrder.replace(6, 2, "MI");
    for (const std::string& payload :
         {std::string(), std::string("Exif\0\0M", 7), noHeader, badOrder, good.substr(0, 12)})
        EXPECT_EQ(fields(payload), std::vector<std::string>(10)) << payload.size();
    EXPECT_NO_THROW(ExifData none(nullptr));

    for (const char* date : {"0000:00:00 00:00:00", "2006-05-01 12:30:00"})
        EXPECT_THROW(fields(oneDirectory(
                         true, [&](E& b) { return Entries{E::ascii(36867, b.text(date), 20)}; })),
                     std::runtime_error)
            << date;
    EXPECT_THROW(fields(oneDirectory(
                     false, [](E& b) { return Entries{E::ascii(271, b.text("Caf\xE9"), 5)}; })),
                 std::runtime_error)
        << "a make that is not UTF-8";
}

// The orientation walk skips texts, so a date that breaks the full reader does not hide it.
// Values in both byte orders are the orientation tests' own.
TEST(ExifOrientation, ReadFromTheFirstDirectoryAsAShort) {
    auto only = [](Entries entries) { return oneDirectory(false, [&](E&) { return entries; }); };
    struct Case {
        const char* what;
        std::string payload;
        int expected;
    } cases[] = {
        {"stored as LONG", only({E::longValue(274, 6)}), 1},
        {"the first of two", only({E::shortValue(274, 5), E::shortValue(274, 7)}), 5},
        {"absent", only({E::shortValue(34855, 100)}), 1},
        {"not EXIF", "http://ns.adobe.com/xap/1.0/\0<x/>", 1},
        {"next to an unparsable date",
         oneDirectory(
             true,
             [](E& b) {
                 return Entries{E::ascii(306, b.text("not a date!"), 12), E::shortValue(274, 8)};
             }),
         8},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ExifData::readOrientation(reinterpret_cast<const uint8_t*>(c.payload.data()),
                                            c.payload.size()),
                  c.expected)
            << c.what;
}

// Sets LC_ALL, LC_TIME and LANG (null: unset). The image tests run with all three unset, as
// setLocale() leaves them.
void setLocale(const char* all = nullptr, const char* time = nullptr, const char* lang = nullptr) {
    for (auto [name, value] : {std::pair{"LC_ALL", all}, {"LC_TIME", time}, {"LANG", lang}})
        value ? setenv(name, value, 1) : unsetenv(name);
}

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
        setLocale(c.all, c.time, c.lang);
        EXPECT_EQ(currentDateLocale(), c.expect);
    }
    setLocale(nullptr, "de_DE.UTF-8");
    CFString_t text(formatDate(0.0, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle),
                    CFString_t::Create);
    EXPECT_EQ(CFStringGetUTF8(text), "01.01.2001, 00:00:00");
    setLocale();
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
        // Stored dates are Gregorian with ASCII digits whatever the locale's calendar and digits.
        {"th_TH", "2006:05:01 12:30:00", 168179400.0},
        {"ar_EG", "2006:05:01 12:30:00", 168179400.0},
    };
    for (const Case& c : cases) {
        setLocale(c.locale);
        CFAbsoluteTime time = -1.0;
        EXPECT_EQ(parseDate(c.text, "yyyy:MM:dd HH:mm:ss", &time), c.expect != -1) << c.text;
        EXPECT_EQ(time, c.expect) << c.text << " in " << (c.locale ? c.locale : "en_US");
    }
    setLocale();
}

} // namespace
