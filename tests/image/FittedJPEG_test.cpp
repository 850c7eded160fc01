// FittedJPEG_test.cpp - exact-fit sizes, and the shrink's sharpness against a box filter.
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
        EXPECT_EQ(width, c.expectWidth) << c.name;
        EXPECT_EQ(height, c.expectHeight) << c.name;
        EXPECT_EQ(components, 3) << c.name;
    }
}

// An area-average (box) shrink of one row of grey samples, for comparison.
std::vector<double> boxShrink(const std::vector<double>& in, size_t out) {
    std::vector<double> result(out);
    double scale = double(in.size()) / double(out);
    for (size_t o = 0; o < out; ++o) {
        double from = double(o) * scale, to = from + scale, sum = 0;
        for (size_t i = size_t(from); i < in.size() && double(i) < to; ++i)
            sum += in[i] * (std::min(to, double(i + 1)) - std::max(from, double(i)));
        result[o] = sum / scale;
    }
    return result;
}

// Peak-to-peak of the middle half of a row (away from the edges).
double swing(const std::vector<double>& row) {
    double low = 255, high = 0;
    for (size_t i = row.size() / 4; i < row.size() * 3 / 4; ++i) {
        low = std::min(low, row[i]);
        high = std::max(high, row[i]);
    }
    return high - low;
}

TEST(Resampler, KeepsFineDetailBetterThanABoxFilter) {
    // Stripes five output pixels apart, shrunk by whole and non-whole factors. A box filter
    // keeps about 93.5% of their contrast, a Catmull-Rom shrink about 97%: ask for more than
    // 95.5% of the contrast the stripes have when sampled at the output's pixel centres.
    const double period = 5;
    for (double factor : {2.0, 2.5, 3.7, 8.0}) {
        SCOPED_TRACE(factor);
        const uint32_t outWidth = 100, inWidth = uint32_t(outWidth * factor);
        auto stripes = [&](double x, double scale) {
            return 127.5 + 100 * std::sin(2 * M_PI * x / (period * scale));
        };
        std::vector<double> grey(inWidth), ideal(outWidth);
        std::vector<uint8_t> rgb(size_t(inWidth) * 3);
        for (uint32_t x = 0; x < inWidth; ++x) {
            grey[x] = stripes(x + 0.5, factor);
            rgb[x * 3] = rgb[x * 3 + 1] = rgb[x * 3 + 2] = uint8_t(std::lround(grey[x]));
        }
        for (uint32_t x = 0; x < outWidth; ++x)
            ideal[x] = stripes(x + 0.5, 1);
        std::vector<double> shrunk;
        Resampler resampler(inWidth, 1, outWidth, 1, [&](const uint8_t* row, uint32_t) {
            for (uint32_t x = 0; x < outWidth; ++x)
                shrunk.push_back(row[x * 3]);
        });
        resampler.push(rgb.data());
        ASSERT_EQ(shrunk.size(), outWidth);
        double box = swing(boxShrink(grey, outWidth)) / swing(ideal);
        double ours = swing(shrunk) / swing(ideal);
        EXPECT_LT(box, 0.955) << "the reference itself blurs";
        EXPECT_GT(ours, 0.955) << "box " << box << ", ours " << ours;
        EXPECT_LT(ours, 1.03) << "no more than a little overshoot";
    }
}

} // namespace
