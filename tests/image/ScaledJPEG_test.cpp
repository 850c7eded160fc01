// ScaledJPEG_test.cpp - the reduction rule and exact fits, the shrink's sharpness, and what bad,
// short, grey and CMYK files give to both shrinking paths.
#include "ImageFixtures.h"
#include "image/FittedJPEG.h"
#include "image/Resample.h"
#include "image/ScaledJPEG.h"

#include <cmath>
#include <gtest/gtest.h>
#include <sstream>

namespace {

TEST(ScaledJPEG, DecodedSizeFollowsTheReductionRuleAndFittedSizeIsExact) {
    const int32_t kFitted = 0; // writeFittedJPEG rather than writeScaledJPEG
    struct Case {
        const char* name;
        int width, height, components;
        uint32_t maxWidth, maxHeight;
        int32_t scale;
        int expectWidth, expectHeight;
        uint32_t limit = 0;
    } cases[] = {
        // 1/1 and 1/2 are not strictly inside 800x600, 1/4 is: one step short of it is 1/2.
        {"one step short of fitting", 3072, 2304, 3, 800, 600, -1, 1536, 1152},
        {"half fits, so no reduction", 1000, 700, 3, 800, 600, -1, 1000, 700},
        {"a grey picture comes out as RGB", 333, 222, 1, 100, 100, -1, 167, 111},
        {"a zero box gives an eighth rounded up", 1001, 750, 3, 0, 0, -1, 126, 94},
        {"scale one ignores the box", 1200, 900, 3, 10, 10, 1, 1200, 900},
        {"scale sixteen acts as eight", 1200, 900, 3, 0, 0, 16, 150, 113},
        // A limit only matters when the rule above would pass it.
        {"a limit above the result changes nothing", 3072, 2304, 3, 800, 600, -1, 1536, 1152, 2048},
        {"a limit takes the largest eighth that fits", 3000, 2000, 3, 2048, 2048, -1, 1875, 1250,
         2048},
        {"a limit also bounds a huge box", 4000, 3000, 3, ~0u, ~0u, -1, 2000, 1500, 2048},
        {"a limit past an eighth picks rows and columns", 2000, 90, 3, 100, 100, -1, 100, 4, 100},
        {"fitted landscape touches the box height", 2000, 1500, 3, 1920, 1080, kFitted, 1440, 1080},
        {"fitted smaller than the box is not enlarged", 640, 480, 3, 800, 600, kFitted, 640, 480},
        {"fitted other side rounds to nearest", 1001, 751, 3, 333, 333, kFitted, 333, 250},
        {"fitted narrow side never rounds to zero", 1000, 3, 3, 100, 100, kFitted, 100, 1},
        {"fitted past an eighth still exact", 1600, 1200, 3, 50, 50, kFitted, 50, 38},
        {"fitted zero box acts as one", 640, 480, 3, 0, 0, kFitted, 1, 1},
    };
    TempDir dir;
    for (const Case& c : cases) {
        CFURL_t url = dir.write(
            "in.jpg", encodeJPEG(c.width, c.height, [&](auto& o) { o.components = c.components; }));
        std::ostringstream out;
        ASSERT_TRUE(c.scale == kFitted
                        ? writeFittedJPEG(url, c.maxWidth, c.maxHeight, 85, out)
                        : writeScaledJPEG(url, c.maxWidth, c.maxHeight, 75, out, c.scale, c.limit))
            << c.name;
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

TEST(ScaledJPEG, UnusableFilesFailWithNothingWrittenByEitherPath) {
    std::string good = encodeJPEG(64, 48), forged = good;
    // The frame header rewritten to claim 65,500 × 65,500 pixels.
    forged.replace(forged.find("\xFF\xC0") + 5, 4, "\xFF\xDC\xFF\xDC");
    // A second frame header after the scan data is found only when the decoder finishes, after
    // every row has gone to the encoder.
    std::string lateError =
        good.substr(0, good.size() - 2) +
        std::string("\xFF\xC0\x00\x0B\x08\x00\x10\x00\x10\x01\x01\x11\x00\xFF\xD9", 15);
    // A progressive picture claiming 60000 x 60000: gigabytes of coefficient buffers.
    std::string huge = encodeJPEG(16, 16, [](auto& o) { o.progressive = true; });
    huge.replace(huge.find("\xFF\xC2") + 5, 4, "\xEA\x60\xEA\x60");
    std::pair<const char*, std::string> cases[] = {
        {"huge progressive picture", huge},
        {"forged 65500 x 65500", forged},
        {"empty file", ""},
        {"cut inside the header", good.substr(0, good.find("\xFF\xDA") - 20)},
        {"error found after the last row", lateError},
    };
    TempDir dir;
    for (auto& [what, file] : cases) {
        CFURL_t url = dir.write("bad.jpg", file);
        for (bool fitted : {false, true}) {
            SCOPED_TRACE(std::string(what) + (fitted ? " fitted" : " scaled"));
            std::ostringstream out("previous reply bytes", std::ios::ate);
            testing::internal::CaptureStdout();
            testing::internal::CaptureStderr();
            bool ok = fitted ? writeFittedJPEG(url, 100, 100, 85, out)
                             : writeScaledJPEG(url, 800, 600, 75, out, -1);
            std::string messages = testing::internal::GetCapturedStderr();
            messages += testing::internal::GetCapturedStdout();
            EXPECT_FALSE(ok);
            EXPECT_EQ(out.str(), "previous reply bytes");
            EXPECT_FALSE(messages.empty()) << "a refusal says why";
        }
    }
    std::ostringstream out;
    EXPECT_THROW(writeScaledJPEG(dir.url("absent.jpg"), 1, 1, 75, out, -1), std::runtime_error);
}

TEST(ScaledJPEG, TruncatedScanEndsAtAFakeEndOfImage) {
    std::string good = encodeJPEG(200, 160);
    TempDir dir;
    std::ostringstream out;
    testing::internal::CaptureStderr();
    bool ok = writeScaledJPEG(dir.write("cut.jpg", good.substr(0, good.find("\xFF\xDA") + 200)), 0,
                              0, 75, out, 1);
    std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(ok);
    int width = 0, height = 0, components = 0;
    ASSERT_TRUE(jpegHeader(out.str(), width, height, components));
    EXPECT_EQ(std::make_pair(width, height), std::make_pair(200, 160));
    size_t first = messages.find("Premature end of JPEG file");
    ASSERT_NE(first, std::string::npos) << messages;
    EXPECT_EQ(messages.find("Premature end of JPEG file", first + 1), std::string::npos)
        << messages;
}

// With the Adobe marker the samples are inverted, as Adobe writes them (255: no ink), so red is
// C * K / 255; without it 255 is full ink.
TEST(ScaledJPEG, CmykAndYcckPicturesComeOutInTheirColours) {
    struct Case {
        const char* what;
        bool ycck, adobe;
        uint8_t cmyk[4]; // as stored in the file
        uint8_t rgb[3];  // what should come out
    } cases[] = {
        {"inverted CMYK, full magenta", false, true, {255, 0, 255, 255}, {255, 0, 255}},
        {"inverted CMYK, mixed inks", false, true, {200, 100, 50, 128}, {100, 50, 25}},
        {"inverted YCCK, mixed inks", true, true, {200, 100, 50, 128}, {100, 50, 25}},
        {"plain CMYK without the marker", false, false, {0, 255, 0, 0}, {255, 0, 255}},
        {"plain CMYK, some black", false, false, {55, 155, 205, 127}, {100, 50, 25}},
    };
    TempDir dir;
    for (const Case& c : cases) {
        std::vector<uint8_t> samples;
        for (int i = 0; i < 32 * 32; ++i)
            samples.insert(samples.end(), c.cmyk, c.cmyk + 4);
        CFURL_t url = dir.write("ink.jpg", encodeJPEG(32, 32, [&](auto& o) {
                                    o.components = 4, o.quality = 95, o.samples = &samples,
                                    o.ycck = c.ycck;
                                    o.adobe = c.adobe;
                                }));
        for (int32_t scale : {1, 2}) {
            SCOPED_TRACE(std::string(c.what) + " scale " + std::to_string(scale));
            std::ostringstream out;
            ASSERT_TRUE(writeScaledJPEG(url, 0, 0, 95, out, scale));
            int width = 0, height = 0;
            std::vector<uint8_t> rgb;
            ASSERT_TRUE(decodeRGB(out.str(), width, height, rgb));
            EXPECT_EQ(width, 32 / scale);
            for (size_t at : {size_t(0), rgb.size() / 2 + 3 * 5})
                for (int i = 0; i < 3; ++i)
                    EXPECT_NEAR(rgb[at + size_t(i)], c.rgb[i], 8) << "sample " << i;
        }
    }
}

} // namespace
