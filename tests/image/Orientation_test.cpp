// Orientation_test.cpp - the eight pixel mappings, and shrunk pictures coming out upright.
#include "ImageFixtures.h"
#include "image/FittedJPEG.h"
#include "image/ImageInfo.h"
#include "image/Orientation.h"
#include "image/ScaledJPEG.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sstream>

namespace {

// One sample a pixel, the letters a-f stored as
//   a b c
//   d e f
struct MappingCase {
    int orientation;
    const char* upright; // rows separated by '/'
};

TEST(Orientation, EachValueTurnsTheStoredPixelsItsOwnWay) {
    const std::string stored = "abcdef";
    const MappingCase cases[] = {
        {1, "abc/def"},
        {2, "cba/fed"},
        {3, "fed/cba"},
        {4, "def/abc"},
        {5, "ad/be/cf"},
        {6, "da/eb/fc"},
        {7, "fc/eb/da"},
        {8, "cf/be/ad"},
        // Values outside 1-8 leave the picture as stored.
        {0, "abc/def"},
        {9, "abc/def"},
    };
    for (const MappingCase& c : cases) {
        std::string turned(6, '?');
        orientPixels(c.orientation, reinterpret_cast<const uint8_t*>(stored.data()), 3, 2, 1,
                     reinterpret_cast<uint8_t*>(turned.data()));
        std::string expected = c.upright;
        std::erase(expected, '/');
        EXPECT_EQ(turned, expected) << "orientation " << c.orientation;
        EXPECT_EQ(orientationSwapsSides(c.orientation), c.orientation >= 5 && c.orientation <= 8);
    }
}

// The picture people should see: 64 × 48, four differently coloured quarters.
constexpr int kWidth = 64, kHeight = 48;
const uint8_t kQuarters[4][3] = {{220, 30, 30}, {30, 200, 40}, {30, 40, 210}, {240, 240, 240}};

std::vector<uint8_t> uprightPicture() {
    std::vector<uint8_t> rgb(size_t(kWidth) * kHeight * 3);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            for (int c = 0; c < 3; ++c)
                rgb[size_t(y * kWidth + x) * 3 + size_t(c)] =
                    kQuarters[(y >= kHeight / 2) * 2 + (x >= kWidth / 2)][c];
    return rgb;
}

// The orientation whose turn undoes this one's: the quarter turns undo each other, the others
// undo themselves.
int undoing(int orientation) {
    return orientation == 6 ? 8 : orientation == 8 ? 6 : orientation;
}

std::string exifWithOrientation(unsigned value) {
    ExifBuilder exif(value % 2 == 0); // both byte orders
    exif.first(exif.directory({ExifBuilder::shortValue(274, uint16_t(value))}));
    return exif.payload();
}

// The picture stored as a camera on its side would store it, with the orientation that turns
// it back; values outside 1-8 are stored as the picture is.
std::string storedOnItsSide(unsigned value) {
    std::vector<uint8_t> upright = uprightPicture(), stored(upright.size());
    int orientation = validOrientation(long(value));
    bool swaps = orientationSwapsSides(orientation);
    orientPixels(undoing(orientation), upright.data(), kWidth, kHeight, 3, stored.data());
    return encodePixels(swaps ? kHeight : kWidth, swaps ? kWidth : kHeight, stored,
                        FileColours::RGB, false, exifWithOrientation(value));
}

// Checks that jpeg is the upright picture at width × height: each quarter in its colour.
void expectUpright(const std::string& jpeg, int expectWidth, int expectHeight, int tolerance,
                   const std::string& label) {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
    ASSERT_TRUE(decodeRGB(jpeg, width, height, rgb)) << label;
    ASSERT_EQ(width, expectWidth) << label;
    ASSERT_EQ(height, expectHeight) << label;
    for (int quarter = 0; quarter < 4; ++quarter) {
        int x = width / 4 + (quarter % 2) * width / 2;
        int y = height / 4 + (quarter / 2) * height / 2;
        for (int c = 0; c < 3; ++c)
            EXPECT_NEAR(rgb[size_t(y * width + x) * 3 + size_t(c)], kQuarters[quarter][c],
                        tolerance)
                << label << " quarter " << quarter << " sample " << c;
    }
}

TEST(Orientation, ProbedShrunkAndFittedPicturesAreUprightWithTheBoxAppliedUpright) {
    TempDir dir;
    for (unsigned value : {1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u}) {
        CFURL_t url = dir.write("turned.jpg", storedOnItsSide(value));
        ImageSize size;
        ASSERT_EQ(getImageInfo(url, &size, nullptr), kImageJPEG) << value;
        EXPECT_EQ(size.orientation, int(validOrientation(long(value)))) << value;
        EXPECT_EQ(uprightSize(size).width, kWidth) << "the probe's upright size, " << value;
        EXPECT_EQ(uprightSize(size).height, kHeight) << value;
        // The box holds the upright picture whole: a box taken as stored would halve it.
        for (int32_t scale : {-1, 1}) {
            std::ostringstream out;
            ASSERT_TRUE(writeScaledJPEG(url, 40, 30, 90, out, scale)) << value;
            expectUpright(out.str(), kWidth, kHeight, 12,
                          "orientation " + std::to_string(value) + " scale " +
                              std::to_string(scale));
        }
        std::ostringstream fitted;
        ASSERT_TRUE(writeFittedJPEG(url, kWidth / 2, kHeight / 2, 90, fitted)) << value;
        expectUpright(fitted.str(), kWidth / 2, kHeight / 2, 16,
                      "orientation " + std::to_string(value) + " fitted");
    }
}

} // namespace
