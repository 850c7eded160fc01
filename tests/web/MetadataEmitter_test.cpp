// MetadataEmitter_test.cpp - the date object (milliseconds since 1970 and display text) and the
// ten-member metadata object. The image tests run in en_US and UTC (see ImageFixtures.cpp).
#include "web/MetadataEmitter.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

namespace {

std::string dateObject(CFAbsoluteTime time) {
    std::ostringstream out;
    emit(out, time, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    return out.str();
}

TEST(MetadataEmitter, DateObjectCarriesMillisecondsAndDisplayText) {
    struct Case {
        const char* name;
        CFAbsoluteTime time;
        const char* expect;
    } cases[] = {
        {"afternoon in 2006", 168179400.0,
         "{ \"value\":1146486600000, \"string\":\"May 1, 2006, 12:30:00\\u202fPM\" }"},
        {"a day before 1970 is negative", -978307200.0 - 86400.0,
         "{ \"value\":-86400000, \"string\":\"Dec 31, 1969, 12:00:00\\u202fAM\" }"},
        {"fractions of a millisecond are cut", 0.0009,
         "{ \"value\":978307200000, \"string\":\"Jan 1, 2001, 12:00:00\\u202fAM\" }"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(dateObject(c.time), c.expect) << c.name;
}

TEST(MetadataEmitter, MillisecondsSaturateInsteadOfOverflowing) {
    EXPECT_EQ(millisecondsSince1970(1e300), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(-1e300), INT64_MIN);
    EXPECT_EQ(millisecondsSince1970(std::numeric_limits<double>::infinity()), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(std::nan("")), 0);
}

TEST(MetadataEmitter, EachFieldGoesUnderItsOwnNameEscaped) {
    ExifData exif(nullptr);
    exif.captureDate = makeString("c1");
    exif.modifiedDate = makeString("m2");
    exif.aperture = makeString("2.8");
    exif.shutter = makeString("1/250");
    exif.iso = makeString("100");
    exif.focalLength = makeString("50.0");
    exif.cameraMake = makeString("Caf\xC3\xA9 \"Cam\"");
    exif.cameraModel = makeString("X\\1");
    exif.width = makeString("640");
    exif.height = makeString("480");
    std::ostringstream out;
    emit(out, exif);
    EXPECT_EQ(out.str(), "{ \"captureDate\":\"c1\", \"modifiedDate\":\"m2\", \"aperture\":\"2.8\", "
                         "\"shutter\":\"1/250\", \"iso\":\"100\", \"focalLength\":\"50.0\", "
                         "\"cameraMake\":\"Caf\\u00e9 \\u0022Cam\\u0022\", "
                         "\"cameraModel\":\"X\\u005c1\", \"width\":\"640\", \"height\":\"480\" }");
}

} // namespace
