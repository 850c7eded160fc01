// Orientation_test.cpp - the eight pixel mappings, and shrunk pictures coming out upright.
#include "ImageFixtures.h"
#include "image/FittedJPEG.h"
#include "image/ImageInfo.h"
#include "image/Orientation.h"
#include "image/ScaledJPEG.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

TEST(Orientation, EachValueTurnsTheStoredPixelsItsOwnWay) {
    // One sample a pixel, stored as the rows "abc" and "def"; values outside 1-8 leave it so.
    const std::string stored = "abcdef";
    const char* upright[] = {"abc/def",  "abc/def",  "cba/fed",  "fed/cba",  "def/abc",
                             "ad/be/cf", "da/eb/fc", "fc/eb/da", "cf/be/ad", "abc/def"};
    for (int orientation = 0; orientation <= 9; ++orientation) {
        std::string turned(6, '?'), expected = upright[orientation];
        orientPixels(orientation, reinterpret_cast<const uint8_t*>(stored.data()), 3, 2, 1,
                     reinterpret_cast<uint8_t*>(turned.data()));
        std::erase(expected, '/');
        EXPECT_EQ(turned, expected) << "orientation " << orientation;
        EXPECT_EQ(orientationSwapsSides(orientation), orientation >= 5 && orientation <= 8);
    }
}

// The picture people should see: 64 × 48, four differently coloured quarters.
constexpr int kWidth = 64, kHeight = 48;
const uint8_t kQuarters[4][3] = {{220, 30, 30}, {30, 200, 40}, {30, 40, 210}, {240, 240, 240}};

// The picture stored as a camera on its side would store it, with the orientation that turns
// it back (in either byte order); values outside 1-8 are stored as the picture is.
std::string storedOnItsSide(unsigned value) {
    std::vector<uint8_t> upright(size_t(kWidth) * kHeight * 3), stored(upright.size());
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            std::copy_n(kQuarters[(y >= kHeight / 2) * 2 + (x >= kWidth / 2)], 3,
                        &upright[size_t(y * kWidth + x) * 3]);
    int orientation = validOrientation(long(value));
    int undoing = orientation == 6 ? 8 : orientation == 8 ? 6 : orientation;
    bool swaps = orientationSwapsSides(orientation);
    orientPixels(undoing, upright.data(), kWidth, kHeight, 3, stored.data());
    ExifBuilder exif(value % 2 == 0);
    exif.first(exif.directory({ExifBuilder::shortValue(274, uint16_t(value))}));
    return encodeJPEG(swaps ? kHeight : kWidth, swaps ? kWidth : kHeight,
                      [&](testsupport::JpegOptions& o) {
                          o.quality = 95, o.app1 = exif.payload(), o.samples = &stored;
                          o.adobe = false;
                      });
}

// Checks that jpeg is the upright picture at width × height: each quarter in its colour.
void expectUpright(const std::string& jpeg, int expectWidth, int expectHeight, int tolerance) {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
    ASSERT_TRUE(decodeRGB(jpeg, width, height, rgb));
    ASSERT_EQ(std::pair(width, height), std::pair(expectWidth, expectHeight));
    for (int quarter = 0; quarter < 4; ++quarter) {
        int x = width / 4 + (quarter % 2) * width / 2, y = height / 4 + (quarter / 2) * height / 2;
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(rgb[size_t(y * width + x) * 3 + size_t(c)], kQuarters[quarter][c],
                        tolerance)
                << "quarter " << quarter << " sample " << c;
    }
}

TEST(Orientation, ProbedShrunkAndFittedPicturesAreUprightWithTheBoxAppliedUpright) {
    TempDir dir;
    for (unsigned value = 1; value <= 9; ++value) {
        SCOPED_TRACE("orientation " + std::to_string(value));
        CFURL_t url = dir.write("turned.jpg", storedOnItsSide(value));
        ImageSize size;
        ASSERT_EQ(getImageInfo(url, &size, nullptr), kImageJPEG);
        EXPECT_EQ(size.orientation, int(validOrientation(long(value))));
        EXPECT_EQ(uprightSize(size).width, kWidth) << "the probe's upright size";
        EXPECT_EQ(uprightSize(size).height, kHeight);
        // The box holds the upright picture whole: a box taken as stored would halve it.
        for (int32_t scale : {-1, 1}) {
            std::ostringstream out;
            ASSERT_TRUE(writeScaledJPEG(url, 40, 30, 90, out, scale));
            expectUpright(out.str(), kWidth, kHeight, 12);
        }
        std::ostringstream fitted;
        ASSERT_TRUE(writeFittedJPEG(url, kWidth / 2, kHeight / 2, 90, fitted));
        expectUpright(fitted.str(), kWidth / 2, kHeight / 2, 16);
    }
}

} // namespace
