// HeifPicture_test.cpp - HEIC files made with libheif's encoder are probed upright with their
// EXIF item, shrunk into upright sRGB JPEGs, and broken ones fail cleanly.
#include "image/ColourProfile.h"
#include "image/ExifData.h"
#include "image/HeifPicture.h"
#include "image/ImageFixtures.h"
#include "image/ImageInfo.h"
#include "support/EncodeHEIF.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace {

using testsupport::encodeHEIF;
using testsupport::HeifOptions;

// An EXIF block saying orientation o.
std::string exifWithOrientation(uint16_t o) {
    ExifBuilder exif(false);
    exif.first(exif.directory({ExifBuilder::shortValue(0x0112, o)}));
    return exif.payload();
}

// The JPEG made from the HEIC bytes, fitted into the box, decoded; false when none was made.
bool fitted(const std::string& heic, uint32_t box, int& width, int& height,
            std::vector<uint8_t>& rgb) {
    TempDir folder;
    folder.write("p.heic", heic);
    int fd = open(folder.path("p.heic").c_str(), O_RDONLY | O_CLOEXEC);
    std::ostringstream out;
    bool made = writeFittedHeif(fd, "p.heic", box, box, 95, out);
    close(fd);
    return made && decodeRGB(out.str(), width, height, rgb);
}

std::string pixel(const std::vector<uint8_t>& rgb, int width, int x, int y) {
    size_t at = (size_t(y) * size_t(width) + size_t(x)) * 3;
    return std::to_string(rgb[at]) + "," + std::to_string(rgb[at + 1]) + "," +
           std::to_string(rgb[at + 2]);
}

bool near(const std::vector<uint8_t>& rgb, int width, int x, int y, std::vector<int> want,
          int tolerance) {
    size_t at = (size_t(y) * size_t(width) + size_t(x)) * 3;
    for (size_t i = 0; i < 3; ++i)
        if (std::abs(int(rgb[at + i]) - want[i]) > tolerance) return false;
    return true;
}

class HeifPicture : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!testsupport::canEncodeHEIF()) GTEST_SKIP() << "libheif has no HEIC encoder here";
    }
};

TEST_F(HeifPicture, SizesAndPicturesAreUprightByTheTransformsAlone) {
    // A 64 × 48 gradient: red grows to the right, green downwards. The top-left corner shown is
    // the stored picture's bottom-left once turned a quarter clockwise.
    struct Case {
        const char* name;
        heif_orientation transform;
        int exifOrientation; // 0: no EXIF item
        int width, height;   // probed and fitted into 32 × 32
        std::vector<int> topLeft;
    } cases[] = {
        {"as stored", heif_orientation_normal, 0, 64, 48, {0, 0, 96}},
        {"turned by its transform", heif_orientation_rotate_90_cw, 0, 48, 64, {0, 255, 96}},
        {"EXIF orientation is not applied again",
         heif_orientation_rotate_90_cw,
         6,
         48,
         64,
         {0, 255, 96}},
        {"EXIF orientation alone changes nothing", heif_orientation_normal, 6, 64, 48, {0, 0, 96}},
    };
    for (const Case& c : cases) {
        HeifOptions options;
        options.orientation = c.transform;
        if (c.exifOrientation) options.exif = exifWithOrientation(uint16_t(c.exifOrientation));
        std::string heic = encodeHEIF(64, 48, options);
        ASSERT_FALSE(heic.empty()) << c.name;

        TempDir folder;
        CFURL_t url = folder.write("p.heic", heic);
        ImageSize size = {0, 0};
        CFDataRef block = nullptr;
        EXPECT_EQ(getImageInfo(url, &size, &block), kImageHEIF) << c.name;
        EXPECT_EQ(size.width, c.width) << c.name;
        EXPECT_EQ(size.height, c.height) << c.name;
        EXPECT_EQ(size.orientation, 1) << c.name;
        if (c.exifOrientation) {
            ASSERT_NE(block, nullptr) << c.name;
            EXPECT_EQ(
                ExifData::readOrientation(CFDataGetBytePtr(block), size_t(CFDataGetLength(block))),
                c.exifOrientation)
                << c.name;
        } else {
            EXPECT_EQ(block, nullptr) << c.name;
        }
        if (block) CFRelease(block);

        int width = 0, height = 0;
        std::vector<uint8_t> rgb;
        ASSERT_TRUE(fitted(heic, 32, width, height, rgb)) << c.name;
        EXPECT_EQ(width, c.width / 2) << c.name;
        EXPECT_EQ(height, c.height / 2) << c.name;
        EXPECT_TRUE(near(rgb, width, 0, 0, c.topLeft, 24))
            << c.name << ": top left " << pixel(rgb, width, 0, 0);
    }
}

TEST_F(HeifPicture, WideGamutPicturesComeOutInSRGB) {
    const std::vector<uint8_t> p3Red = {234, 51, 35};
    struct Case {
        const char* name;
        std::string icc;
        int primaries;
        std::vector<int> shown;
    } cases[] = {
        {"a Display P3 ICC profile", profileForPrimaries(12), 0, {255, 0, 0}},
        {"a colour box of P3 primaries", "", 12, {255, 0, 0}},
        {"sRGB primaries", "", 1, {234, 51, 35}},
        {"a garbage profile is taken as sRGB", "garbage that is not a profile", 0, {234, 51, 35}},
        {"no profile", "", 0, {234, 51, 35}},
    };
    for (const Case& c : cases) {
        std::vector<uint8_t> samples;
        for (int i = 0; i < 32 * 32; ++i)
            samples.insert(samples.end(), p3Red.begin(), p3Red.end());
        HeifOptions options;
        options.samples = &samples;
        options.icc = c.icc;
        options.primaries = c.primaries;
        std::string heic = encodeHEIF(32, 32, options);
        ASSERT_FALSE(heic.empty()) << c.name;
        int width = 0, height = 0;
        std::vector<uint8_t> rgb;
        ASSERT_TRUE(fitted(heic, 16, width, height, rgb)) << c.name;
        EXPECT_TRUE(near(rgb, width, 8, 8, c.shown, 8))
            << c.name << ": got " << pixel(rgb, width, 8, 8);
    }
}

// The bytes with the first "ispe" box's sides replaced.
std::string claimingSize(std::string heic, uint32_t side) {
    size_t at = heic.find("ispe");
    if (at == std::string::npos) return {};
    for (size_t i = 0; i < 8; ++i)
        heic[at + 8 + i] = char(side >> (24 - 8 * (i % 4)));
    return heic;
}

TEST_F(HeifPicture, BrokenFilesAreUnknownAndMakeNothing) {
    std::string heic = encodeHEIF(64, 48);
    ASSERT_FALSE(heic.empty());
    const std::pair<const char*, std::string> cases[] = {
        {"truncated", heic.substr(0, heic.size() / 2)},
        {"claiming 65,535 × 65,535", claimingSize(heic, 65535)},
        {"the type box alone", heic.substr(0, heic.find("meta") - 4)},
        {"its picture data cut off", heic.substr(0, heic.size() - 40)},
    };
    for (const auto& [name, bytes] : cases) {
        TempDir folder;
        CFURL_t url = folder.write("p.heic", bytes);
        ImageSize size = {0, 0};
        int probed = getImageInfo(url, &size, nullptr);
        int width = 0, height = 0;
        std::vector<uint8_t> rgb;
        bool made = fitted(bytes, 32, width, height, rgb);
        // A file cut in its picture data still has all its boxes: it probes, but makes nothing.
        if (std::string_view(name) != "its picture data cut off") {
            EXPECT_EQ(probed, kImageUnknown) << name;
        }
        EXPECT_FALSE(made) << name;
    }
}

TEST(HeifBrands, OnlyStillPictureBrandsLookLikeHeif) {
    auto box = [](const char* major, const char* compatible) {
        std::string b = std::string("\0\0\0\x18", 4) + "ftyp" + major + std::string(4, '\0');
        return b + compatible;
    };
    const std::pair<std::string, bool> cases[] = {
        {box("heic", "mif1heic"), true},
        {box("mif1", "heic"), true},
        {box("avif", "mif1"), true},
        {box("mp42", "isommif1"), true},
        {box("mp42", "isomavc1"), false},
        {box("crx ", "isom"), false},
        {box("qt  ", "qt  "), false},
        {std::string("\0\0\0\x08"
                     "ftyp",
                     8),
         false},
    };
    for (const auto& [bytes, heif] : cases)
        EXPECT_EQ(looksLikeHeif(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()), heif)
            << bytes.substr(8, 4);
}

} // namespace
