// MetadataEmitter_test.cpp - the date object's edges: dates before 1970 and milliseconds that
// saturate. The image tests run in en_US and UTC (see ImageFixtures.cpp).
#include "web/MetadataEmitter.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>

namespace {

TEST(MetadataEmitter, DatesBefore1970AndMillisecondsThatWouldOverflow) {
    std::ostringstream out;
    emit(out, -978307200.0 - 86400.0, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    EXPECT_EQ(out.str(), "{ \"value\":-86400000, \"string\":\"Dec 31, 1969, 12:00:00\\u202fAM\" }");
    EXPECT_EQ(millisecondsSince1970(1e300), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(-1e300), INT64_MIN);
    EXPECT_EQ(millisecondsSince1970(std::numeric_limits<double>::infinity()), INT64_MAX);
    EXPECT_EQ(millisecondsSince1970(std::nan("")), 0);
}

} // namespace
