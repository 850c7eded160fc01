// FittedJPEG_test.cpp - exact-fit sizes, and the shrink's sharpness.
#include "ImageFixtures.h"
#include "image/FittedJPEG.h"
#include "image/Resample.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

namespace {

TEST(FittedJPEG, OutputFitsTheBoxExactly) {
    struct Case {
        const char* name;
        int width, height;
        uint32_t boxWidth, boxHeight;
        int expectWidth, expectHeight;
    } cases[] = {
        {"landscape touches the box height", 2000, 1500, 1920, 1080, 1440, 1080},
        {"wide landscape touches the box width", 2000, 500, 1920, 1080, 1920, 480},
        {"smaller than the box is not enlarged", 640, 480, 800, 600, 640, 480},
        {"the other side rounds to nearest", 1001, 751, 333, 333, 333, 250},
        {"a narrow side never rounds to zero", 1000, 3, 100, 100, 100, 1},
        {"past an eighth still exact", 1600, 1200, 50, 50, 50, 38},
        {"a zero box acts as one", 640, 480, 0, 0, 1, 1},
    };
    TempDir dir;
    for (const Case& c : cases) {
        CFURL_t url = dir.write("in.jpg", encodeJPEG(c.width, c.height));
        std::ostringstream out;
        ASSERT_TRUE(writeFittedJPEG(url, c.boxWidth, c.boxHeight, 85, out)) << c.name;
        int width = 0, height = 0, components = 0;
        ASSERT_TRUE(jpegHeader(out.str(), width, height, components)) << c.name;
        EXPECT_EQ(std::make_pair(width, height), std::make_pair(c.expectWidth, c.expectHeight))
            << c.name;
        EXPECT_EQ(components, 3) << c.name;
    }
}

TEST(Resampler, KeepsFineDetailBetterThanABoxFilter) {
    // Stripes five output pixels apart, shrunk by whole and non-whole factors. A box filter
    // keeps about 93.5% of their contrast, a Catmull-Rom shrink about 97%: ask for more than
    // 95.5% of the contrast the stripes have when sampled at the output's pixel centres.
    const uint32_t outWidth = 100;
    for (double factor : {2.0, 2.5, 3.7, 8.0}) {
        const uint32_t inWidth = uint32_t(outWidth * factor);
        auto stripe = [](double x) { return 127.5 + 100 * std::sin(2 * M_PI * x / 5); };
        std::vector<uint8_t> rgb;
        for (uint32_t x = 0; x < inWidth; ++x)
            rgb.insert(rgb.end(), 3, uint8_t(std::lround(stripe((x + 0.5) / factor))));
        double low = 255, high = 0, idealLow = 255, idealHigh = 0;
        uint32_t rows = 0;
        Resampler resampler(inWidth, 1, outWidth, 1, [&](const uint8_t* row, uint32_t) {
            ++rows;
            for (uint32_t x = outWidth / 4; x < outWidth * 3 / 4; ++x) { // away from the edges
                low = std::min(low, double(row[x * 3]));
                high = std::max(high, double(row[x * 3]));
                idealLow = std::min(idealLow, stripe(x + 0.5));
                idealHigh = std::max(idealHigh, stripe(x + 0.5));
            }
        });
        resampler.push(rgb.data());
        ASSERT_EQ(rows, 1u);
        double kept = (high - low) / (idealHigh - idealLow);
        EXPECT_GT(kept, 0.955) << "factor " << factor;
        EXPECT_LT(kept, 1.03) << "factor " << factor << ": no more than a little overshoot";
    }
}

} // namespace
