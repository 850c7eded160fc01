// ColourProfile_test.cpp - pictures with an embedded colour profile come out in sRGB through
// both shrinking paths; profiles that are sRGB, broken or too large leave the colours alone.
#include "demo/Gamut.h"
#include "image/ColourProfile.h"
#include "image/FittedJPEG.h"
#include "image/ImageFixtures.h"
#include "image/ScaledJPEG.h"

#include <gtest/gtest.h>
#include <lcms2.h>
#include <sstream>

namespace {

// The colour at the middle of a flat 32 × 16 picture of colour carrying profile, once shrunk to
// 16 × 8 by the path given.
std::vector<uint8_t> shrunk(const std::string& profile, std::vector<uint8_t> colour, bool fitted) {
    std::vector<uint8_t> samples;
    for (int i = 0; i < 32 * 16; ++i)
        samples.insert(samples.end(), colour.begin(), colour.end());
    TempDir folder;
    CFURL_t url = folder.write("p.jpg", encodeJPEG(32, 16, [&](auto& o) {
                                   o.samples = &samples;
                                   o.quality = 100;
                                   o.icc = profile;
                               }));
    std::ostringstream out;
    bool made =
        fitted ? writeFittedJPEG(url, 16, 8, 100, out) : writeScaledJPEG(url, 16, 8, 100, out, -1);
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
    if (!made || !decodeRGB(out.str(), width, height, rgb)) return {};
    size_t middle = (size_t(height / 2) * size_t(width) + size_t(width / 2)) * 3;
    return {rgb[middle], rgb[middle + 1], rgb[middle + 2]};
}

bool near(const std::vector<uint8_t>& got, const std::vector<uint8_t>& want, int tolerance) {
    if (got.size() != want.size()) return false;
    for (size_t i = 0; i < got.size(); ++i)
        if (std::abs(int(got[i]) - int(want[i])) > tolerance) return false;
    return true;
}

TEST(ColourProfile, WideGamutPicturesComeOutInSRGBAndOthersAsTheyAre) {
    // sRGB red as each space writes it (published conversions), and what must come out.
    const std::vector<uint8_t> srgbRed = {255, 0, 0}, p3Red = {234, 51, 35}, adobeRed = {219, 0, 0};
    struct Case {
        const char* name;
        std::string profile;
        std::vector<uint8_t> stored, shown;
    } cases[] = {
        {"Display P3 shown as sRGB", profileForPrimaries(12), p3Red, srgbRed},
        {"Adobe RGB shown as sRGB", demo::gamutProfile(demo::Gamut::AdobeRgb), adobeRed, srgbRed},
        {"an sRGB profile changes nothing", demo::savedProfile(cmsCreate_sRGBProfile()), p3Red,
         p3Red},
        {"a broken profile is taken as sRGB", "garbage that is not a profile", p3Red, p3Red},
        {"a 5 MB profile is taken as sRGB", profileForPrimaries(12) + std::string(5 << 20, 'x'),
         p3Red, p3Red},
        {"no profile", "", p3Red, p3Red},
    };
    for (const Case& c : cases)
        for (bool fitted : {false, true}) {
            std::vector<uint8_t> got = shrunk(c.profile, c.stored, fitted);
            EXPECT_TRUE(near(got, c.shown, 4))
                << c.name << (fitted ? " (exact fit)" : " (box)") << ": got "
                << (got.empty() ? "nothing"
                                : std::to_string(got[0]) + "," + std::to_string(got[1]) + "," +
                                      std::to_string(got[2]));
        }
}

TEST(ColourProfile, ChunksMakeOneProfileOnlyWhenWhole) {
    auto chunk = [](int number, int count, const std::string& bytes) {
        return std::string("ICC_PROFILE") + '\0' + char(number) + char(count) + bytes;
    };
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"in order", {chunk(1, 2, "ab"), chunk(2, 2, "cd")}},
        {"out of order", {chunk(2, 2, "cd"), chunk(1, 2, "ab")}},
        {"a chunk missing", {chunk(1, 3, "ab"), chunk(2, 3, "cd")}},
        {"a chunk twice", {chunk(1, 2, "ab"), chunk(1, 2, "ab"), chunk(2, 2, "cd")}},
        {"counts differ", {chunk(1, 2, "ab"), chunk(2, 3, "cd")}},
        {"number zero", {chunk(0, 1, "ab")}},
        {"another APP2", {"FPXR" + std::string(10, '\0')}},
    };
    const std::string expected[] = {"abcd", "abcd", "", "", "", "", ""};
    for (size_t i = 0; i < std::size(cases); ++i) {
        IccChunks chunks;
        for (const std::string& payload : cases[i].second)
            chunks.add(reinterpret_cast<const uint8_t*>(payload.data()), payload.size());
        EXPECT_EQ(chunks.profile(), expected[i]) << cases[i].first;
    }
}

} // namespace
