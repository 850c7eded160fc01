// ExifData_test.cpp - the ten fields from EXIF blocks in both byte orders, the deliberate
// mappings, and payloads that point outside themselves or loop.
#include "ImageFixtures.h"
#include "image/ExifData.h"
#include "image/ImageInfo.h"

#include <functional>
#include <gtest/gtest.h>

namespace {

using E = ExifBuilder;

std::string str(const CFString_t& s) {
    return toString(s);
}

// Every field, so a test can compare all ten at once.
std::vector<std::string> fields(const ExifData& e) {
    return {str(e.cameraMake), str(e.cameraModel), str(e.captureDate), str(e.modifiedDate),
            str(e.width),      str(e.height),      str(e.aperture),    str(e.shutter),
            str(e.iso),        str(e.focalLength)};
}
const std::vector<std::string> kEmpty(10, "");

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

CFDataRef dataOf(const std::string& payload) {
    return CFDataCreate(payload.data(), CFIndex(payload.size()));
}

// A payload with one directory holding the entries, plus the extra blocks made by addBlocks.
template <class F> std::vector<std::string> parseOne(bool little, F addBlocks) {
    E b(little);
    b.first(b.directory(addBlocks(b)));
    ExifData e(b.data());
    return fields(e);
}

class ExifByteOrder : public testing::TestWithParam<bool> {};

TEST_P(ExifByteOrder, CameraFieldsAsDisplayStrings) {
    ExifData e(dataOf(cameraPayload(GetParam())));
    EXPECT_EQ(fields(e),
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
        {33434, 5, 2, 7, "2.5"},                   // longer than a second: decimal
        {33434, 2, 2, 7, "1/1"},                   // not greater: reduced fraction
        {33434, 0, 0, 7, ""},                      // nothing to divide by
        {33434, INT32_MIN, -1, 7, "2147483648/1"}, // signed, reduced without overflow
        {33437, 28, 10, 6, "2.8"},
        {33437, 28, 0, 6, ""},                  // FNumber needs a positive denominator
        {37386, 47, 10, 9, "4"},                // focal length is truncated
        {37386, INT32_MAX, 1, 9, "2147483648"}, // single precision rounds it up
    };
    for (const Case& c : cases) {
        auto got = parseOne(GetParam(), [&](E& b) {
            uint32_t at = b.fraction(c.numerator, c.denominator);
            return std::vector<E::Entry>{{c.tag, 10, 1, at}};
        });
        EXPECT_EQ(got[c.field], c.expect) << c.tag << " " << c.numerator << "/" << c.denominator;
    }
}

TEST_P(ExifByteOrder, OneDirectoryEntriesAndTheirTypes) {
    using Entries = std::vector<E::Entry>;
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
         4, "2304"},
        {"pixel dimensions as SHORT are ignored",
         [](E&) { return Entries{E::shortValue(40962, 3072)}; }, 4, ""},
        {"ISO as LONG is ignored", [](E&) { return Entries{E::longValue(34855, 100)}; }, 8, ""},
        // TIFF would store "Leic" inline; the reader takes the value field as an offset.
        {"a short text is read from the offset its value bytes give",
         [](E& b) { return Entries{E::ascii(271, b.text("Leica Camera"), 4)}; }, 0, "Leic"},
        {"a text ends at its first zero byte",
         [](E& b) { return Entries{E::ascii(272, b.bytes(std::string("Canon\0junk", 10)), 10)}; },
         1, "Canon"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(parseOne(GetParam(), c.entries)[c.field], c.expect) << c.name;
}

TEST_P(ExifByteOrder, LoopingDirectoriesAreReadOnce) {
    // IFD0 -> sub -> IFD0 -> ...: each is read once and the walk ends.
    E b(GetParam());
    uint32_t ifd0 = b.end();
    uint32_t sub = ifd0 + 2 + 2 * 12 + 4;
    b.directory({E::shortValue(34855, 200), E::pointer(sub)});
    b.directory({E::longValue(40962, 99), E::pointer(ifd0)});
    b.first(ifd0);
    ExifData e(b.data());
    EXPECT_EQ(str(e.iso), "200");
    EXPECT_EQ(str(e.width), "99");
}

TEST_P(ExifByteOrder, WhatLiesOutsideThePayloadIsSkipped) {
    E b(GetParam());
    uint32_t make = b.text("Inside");
    uint32_t fnumber = b.fraction(35, 10);
    uint32_t beyond = b.end() + 1000;
    uint32_t sub = b.directory({E::rational(33434, beyond), E::rational(33437, fnumber),
                                E::ascii(272, make, 1000), E::ascii(36867, 0xFFFFFFF0u, 0x20),
                                E::pointer(0x7FFFFFF0u)});
    b.first(b.directory({E::ascii(271, make, 7), E::pointer(sub)}));
    ExifData e(b.data());
    EXPECT_EQ(str(e.cameraMake), "Inside");
    EXPECT_EQ(str(e.aperture), "3.5");
    EXPECT_EQ(str(e.shutter), "");
    EXPECT_EQ(str(e.cameraModel), "");
    EXPECT_EQ(str(e.captureDate), "");

    // A directory whose entry count runs past the end: the entries inside are still read.
    E cut(GetParam());
    uint32_t at = cut.directory({E::shortValue(34855, 320), E::longValue(40962, 7)});
    cut.first(at);
    std::string payload = cut.payload();
    payload.replace(6 + at, 2, cut.u16(500));
    payload.resize(payload.size() - 4 - 6); // drop the link and half of the last entry
    ExifData c(dataOf(payload));
    EXPECT_EQ(str(c.iso), "320");
    EXPECT_EQ(str(c.width), "");
}

INSTANTIATE_TEST_SUITE_P(ExifData, ExifByteOrder, testing::Values(false, true),
                         [](const testing::TestParamInfo<bool>& info) {
                             return info.param ? "II" : "MM";
                         });

TEST(ExifData, PayloadsThatAreNotExifLeaveEveryFieldEmpty) {
    std::string good = cameraPayload(false);
    std::string noHeader = good, badOrder = good;
    noHeader[4] = 'x';
    badOrder.replace(6, 2, "MI");
    const std::string cases[] = {"", std::string("Exif\0\0M", 7), noHeader, badOrder,
                                 good.substr(0, 12)};
    {
        ExifData none(nullptr);
        EXPECT_EQ(fields(none), kEmpty);
    }
    for (const std::string& payload : cases) {
        ExifData e(dataOf(payload));
        EXPECT_EQ(fields(e), kEmpty) << payload.size();
    }
}

TEST(ExifData, DatesThatDoNotParseAndTextsThatAreNotUtf8Throw) {
    for (const char* date : {"0000:00:00 00:00:00", "2006-05-01 12:30:00"}) {
        E b(true);
        uint32_t at = b.text(date);
        b.first(b.directory({E::ascii(36867, at, uint32_t(strlen(date) + 1))}));
        EXPECT_THROW(ExifData e(b.data()), std::runtime_error) << date;
    }
    E b(false);
    b.first(b.directory({E::ascii(271, b.text("Caf\xE9"), 5)}));
    EXPECT_THROW(ExifData e(b.data()), std::runtime_error) << "a make that is not UTF-8";
}

// The orientation walk skips texts, so a date that breaks the full reader does not hide it.
TEST(ExifOrientation, ReadFromTheFirstDirectoryAsAShortInOneToEight) {
    struct Case {
        const char* what;
        std::string payload;
        int expected;
    };
    auto withEntries = [](bool little, std::vector<E::Entry> entries) {
        E b(little);
        b.first(b.directory(entries));
        return b.payload();
    };
    E badDate(true);
    uint32_t garbage = badDate.text("not a date at all!!");
    badDate.first(badDate.directory({E::ascii(306, garbage, 20), E::shortValue(274, 8)}));
    const Case cases[] = {
        {"big-endian 6", withEntries(false, {E::shortValue(274, 6)}), 6},
        {"little-endian 3", withEntries(true, {E::shortValue(274, 3)}), 3},
        {"out of range", withEntries(true, {E::shortValue(274, 9)}), 1},
        {"stored as LONG", withEntries(false, {E::longValue(274, 6)}), 1},
        {"the first of two", withEntries(false, {E::shortValue(274, 5), E::shortValue(274, 7)}), 5},
        {"absent", withEntries(true, {E::shortValue(34855, 100)}), 1},
        {"next to an unparsable date", badDate.payload(), 8},
        {"not EXIF", "http://ns.adobe.com/xap/1.0/\0<x/>", 1},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ExifData::readOrientation(reinterpret_cast<const uint8_t*>(c.payload.data()),
                                            c.payload.size()),
                  c.expected)
            << c.what;
}

} // namespace
