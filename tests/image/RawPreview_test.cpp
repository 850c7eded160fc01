// RawPreview_test.cpp - raw files built on the fly: the largest JPEG they carry is found, probed
// with the raw file's orientation and shrunk upright; damaged directories find nothing or the
// JPEGs that are whole.
#include "image/FittedJPEG.h"
#include "image/ImageFixtures.h"
#include "image/ImageInfo.h"
#include "image/RawPreview.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace {

using E = ExifBuilder;
constexpr uint16_t kSubIFDs = 330, kJpegOffset = 513, kJpegLength = 514, kOrientation = 274;

// The bytes of a TIFF-based raw file: a 160 × 120 preview in a SubIFD, a 32 × 24 thumbnail in
// the first directory, orientation 6; shape changes the directories to damage them.
enum class Shape { Whole, Strip, PastTheEnd, Loop, NoJpeg, BigEndian, CutPreview };

std::string rawFile(Shape shape) {
    const std::string preview = encodeJPEG(160, 120), thumbnail = encodeJPEG(32, 24);
    E tiff(shape != Shape::BigEndian);
    uint32_t previewAt = tiff.bytes(preview), thumbnailAt = tiff.bytes(thumbnail);
    uint32_t previewLength = uint32_t(preview.size());
    if (shape == Shape::PastTheEnd) previewAt += 1u << 20;
    if (shape == Shape::CutPreview) previewLength += 1u << 20;
    std::vector<E::Entry> sub = {E::longValue(kJpegOffset, previewAt),
                                 E::longValue(kJpegLength, previewLength)};
    if (shape == Shape::Strip) // plain JPEG compression in a single strip
        sub = {E::shortValue(259, 7), E::longValue(273, previewAt),
               E::longValue(279, previewLength)};
    uint32_t subAt = tiff.directory(sub);
    std::vector<E::Entry> first = {E::shortValue(kOrientation, 6), E::longValue(kSubIFDs, subAt)};
    if (shape != Shape::NoJpeg) {
        first.push_back(E::longValue(kJpegOffset, thumbnailAt));
        first.push_back(E::longValue(kJpegLength, uint32_t(thumbnail.size())));
    } else {
        first.pop_back();
    }
    // A loop: the first directory's chain leads back to itself.
    uint32_t firstAt = tiff.end();
    tiff.directory(first, shape == Shape::Loop ? firstAt : 0);
    tiff.first(firstAt);
    return tiff.payload().substr(6);
}

// The RAF layout: a 92-byte header naming the JPEG's offset and length, big-endian.
std::string rafFile() {
    std::string jpeg = encodeJPEG(160, 120);
    std::string head = "FUJIFILMCCD-RAW 0201FF129502" + std::string(56, '\0');
    E be(false);
    head += be.u32(100) + be.u32(uint32_t(jpeg.size()));
    head.resize(100, '\0');
    return head + jpeg;
}

TEST(RawPreview, TheLargestJpegIsThePreviewTurnedByTheRawFile) {
    struct Case {
        const char* name;
        std::string bytes;
        int probed;
        int width, height, orientation; // stored preview size and orientation, when probed
    } cases[] = {
        {"a SubIFD preview beats the thumbnail", rawFile(Shape::Whole), kImageRaw, 160, 120, 6},
        {"big-endian", rawFile(Shape::BigEndian), kImageRaw, 160, 120, 6},
        {"a single plain-JPEG strip", rawFile(Shape::Strip), kImageRaw, 160, 120, 6},
        {"a preview past the end: the thumbnail", rawFile(Shape::PastTheEnd), kImageRaw, 32, 24, 6},
        {"a preview longer than the file: the thumbnail", rawFile(Shape::CutPreview), kImageRaw, 32,
         24, 6},
        {"a directory chained to itself", rawFile(Shape::Loop), kImageRaw, 160, 120, 6},
        {"RAF", rafFile(), kImageRaw, 160, 120, 1},
        {"a TIFF without JPEG is unknown", rawFile(Shape::NoJpeg), kImageUnknown, 0, 0, 1},
        {"a TIFF header alone", std::string("II*\0\x08\0\0\0", 8) + std::string(24, '\0'),
         kImageUnknown, 0, 0, 1},
    };
    for (const Case& c : cases) {
        TempDir folder;
        CFURL_t url = folder.write("p.nef", c.bytes);
        ImageSize size = {0, 0};
        EXPECT_EQ(getImageInfo(url, &size, nullptr), c.probed) << c.name;
        EXPECT_EQ(size.width, c.width) << c.name;
        EXPECT_EQ(size.height, c.height) << c.name;
        EXPECT_EQ(size.orientation, c.orientation) << c.name;
        if (c.probed != kImageRaw) continue;

        // Shrunk upright: the box applies to the picture turned by the raw file.
        int fd = open(folder.path("p.nef").c_str(), O_RDONLY | O_CLOEXEC);
        RawPreview preview;
        ASSERT_TRUE(findRawPreview(fd, &preview)) << c.name;
        close(fd);
        std::ostringstream out;
        ASSERT_TRUE(writeFittedJPEGAt(url, preview.offset, preview.orientation, 60, 60, 90, out))
            << c.name;
        int w = 0, h = 0, components = 0;
        ASSERT_TRUE(jpegHeader(out.str(), w, h, components)) << c.name;
        bool turned = c.orientation == 6;
        int longSide = 60, shortSide = c.width > 60 ? 45 : c.height; // 4:3, never enlarged
        if (c.width <= 60) longSide = c.width;
        EXPECT_EQ(std::make_pair(w, h), turned ? std::make_pair(shortSide, longSide)
                                               : std::make_pair(longSide, shortSide))
            << c.name;
    }
}

} // namespace
