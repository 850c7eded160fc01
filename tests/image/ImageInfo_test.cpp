// ImageInfo_test.cpp - header probing of every type, the JPEG marker walk's rules and quirks,
// the TIFF directory reader and box fitting.
#include "ImageFixtures.h"
#include "image/ImageInfo.h"
#include "image/ScaledJPEG.h"

#include <gtest/gtest.h>
#include <sstream>

namespace {

std::string le16(unsigned v) {
    return {char(v & 0xFF), char(v >> 8)};
}
std::string le32(uint32_t v) {
    return le16(v & 0xFFFF) + le16(v >> 16);
}
std::string be16(unsigned v) {
    return {char(v >> 8), char(v & 0xFF)};
}
std::string be32(uint32_t v) {
    return be16(v >> 16) + be16(v & 0xFFFF);
}
std::string pad(std::string s, size_t to = 64) {
    s.resize(std::max(s.size(), to), '\0');
    return s;
}

struct Probe {
    int type;
    ImageSize size;
    CFDataRef exif;
    ~Probe() {
        if (exif) CFRelease(exif);
    }
    std::string payload() const {
        return exif ? std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(exif)),
                                  size_t(CFDataGetLength(exif)))
                    : std::string("<none>");
    }
};

// Probes with the pointers asked for; fields not asked for stay at -7 / a sentinel.
void probe(const CFURL_t& url, bool wantSize, bool wantExif, Probe& p) {
    p.size = {-7, -7};
    p.exif = nullptr;
    p.type = getImageInfo(url, wantSize ? &p.size : nullptr, wantExif ? &p.exif : nullptr);
}

struct HeaderCase {
    const char* name;
    std::string contents;
    int type;
    int width, height;
};

class HeaderTypes : public testing::TestWithParam<HeaderCase> {};

TEST_P(HeaderTypes, TypeAndSizeFromTheFirst32Bytes) {
    TempDir dir;
    Probe p;
    probe(dir.write("f", GetParam().contents), true, true, p);
    EXPECT_EQ(p.type, GetParam().type);
    EXPECT_EQ(p.size.width, GetParam().width);
    EXPECT_EQ(p.size.height, GetParam().height);
    EXPECT_EQ(p.exif, nullptr);
}

const std::string kPNG = "\x89PNG\r\n\x1A\n";
INSTANTIATE_TEST_SUITE_P(
    ImageInfo, HeaderTypes,
    testing::Values(
        HeaderCase{"GifSizeIsLittleEndianAt6And8", pad("GIF89a" + le16(320) + le16(200)), kImageGIF,
                   320, 200},
        HeaderCase{"GifVersionIsNotLookedAt", pad("GIFxyz" + le16(1) + le16(2)), kImageGIF, 1, 2},
        HeaderCase{"PngSizeIsBigEndianAt16And20",
                   pad(kPNG + be32(13) + "IHDR" + be32(70000) + be32(5)), kImagePNG, 70000, 5},
        HeaderCase{"PngWithoutIHDRIsUnknown", pad(kPNG + be32(13) + "gAMA" + be32(7) + be32(5)),
                   kImageUnknown, 0, 0},
        HeaderCase{"BmpKeepsANegativeHeight",
                   pad("BM" + std::string(16, '\0') + le32(640) + le32(uint32_t(-480))), kImageBMP,
                   640, -480},
        HeaderCase{"LittleEndianTiffIsUnknown", pad(std::string("II*\0", 4) + le32(8) + le16(0)),
                   kImageUnknown, 0, 0},
        HeaderCase{"BigEndianTiffIsUnknown", pad(std::string("MM\0*", 4) + be32(8) + be16(0)),
                   kImageUnknown, 0, 0},
        HeaderCase{"A31ByteGifIsUnknown",
                   std::string("GIF89a") + le16(1) + le16(1) + std::string(21, '\0'), kImageUnknown,
                   0, 0},
        HeaderCase{"EmptyFileIsUnknown", "", kImageUnknown, 0, 0},
        HeaderCase{"TextIsUnknown", pad("hello, this is not a picture at all"), kImageUnknown, 0,
                   0}),
    [](const testing::TestParamInfo<HeaderCase>& info) { return std::string(info.param.name); });

TEST(ImageInfo, MissingFileIsUnknownWithZeroSize) {
    TempDir dir;
    Probe p;
    probe(dir.url("absent.jpg"), true, true, p);
    EXPECT_EQ(p.type, kImageUnknown);
    EXPECT_EQ(p.size.width, 0);
    EXPECT_EQ(p.size.height, 0);
    EXPECT_EQ(p.exif, nullptr);
}

// A JPEG is an SOI, then segments: the walk's answer depends on their order and on which
// pointers the caller gives.
class JpegWalk : public testing::Test {
  protected:
    TempDir dir;
    const std::string exifPayload = std::string("Exif\0\0MM", 8) + std::string(40, 'x');
    const std::string plain = encodeJPEG(40, 30, 3, 75, false); // SOI DQT SOF ...
    const std::string jfif = encodeJPEG(40, 30, 3, 75, true);   // SOI APP0(JFIF) DQT SOF ...
    const std::string app1First = insertSegment(plain, 0xE1, exifPayload); // SOI APP1 DQT SOF ...
};

TEST_F(JpegWalk, WithNoPointersAJfifSegmentConfirmsTheType) {
    Probe p;
    // The APP0 alone: everything after its identifier is garbage the walk must not reach.
    probe(dir.write("a.jpg", pad(std::string("\xFF\xD8\xFF\xE0", 4) + be16(16) +
                                 std::string("JFIF\0", 5) + "\x01garbage")),
          false, false, p);
    EXPECT_EQ(p.type, kImageJPEG);
}

TEST_F(JpegWalk, SizeComesFromTheFrameHeader) {
    Probe p;
    probe(dir.write("a.jpg", jfif), true, false, p);
    EXPECT_EQ(p.type, kImageJPEG);
    EXPECT_EQ(p.size.width, 40);
    EXPECT_EQ(p.size.height, 30);
}

TEST_F(JpegWalk, App1BeforeFrameGivesSizeAndPayload) {
    for (const std::string& file :
         {app1First, insertSegment(app1First, 0xE0, std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14))}) {
        Probe p;
        probe(dir.write("a.jpg", file), true, true, p);
        EXPECT_EQ(p.type, kImageJPEG);
        EXPECT_EQ(p.size.width, 40);
        EXPECT_EQ(p.size.height, 30);
        EXPECT_EQ(p.payload(), exifPayload);
    }
}

TEST_F(JpegWalk, FrameWithoutApp1AskedForExifIsUnknownButKeepsTheSize) {
    Probe p;
    probe(dir.write("a.jpg", plain), true, true, p);
    EXPECT_EQ(p.type, kImageUnknown);
    EXPECT_EQ(p.size.width, 40);
    EXPECT_EQ(p.size.height, 30);
    EXPECT_EQ(p.exif, nullptr);
}

TEST_F(JpegWalk, ExifOnlyStopsAtTheFirstApp1) {
    Probe p;
    probe(dir.write("a.jpg", app1First), false, true, p);
    EXPECT_EQ(p.type, kImageJPEG);
    EXPECT_EQ(p.size.width, -7); // not given, not touched
    EXPECT_EQ(p.payload(), exifPayload);
}

TEST_F(JpegWalk, TheFirstApp1HoldingExifIsKept) {
    // insertSegment puts each segment right after SOI: the last one inserted comes first.
    struct Case {
        const char* what;
        std::string file;
        std::string kept;
    } cases[] = {
        {"XMP after EXIF is not taken for the camera's data",
         insertSegment(insertSegment(plain, 0xE1, "http://ns.xmp/\0<x/>"), 0xE1, exifPayload),
         exifPayload},
        {"EXIF after XMP replaces it",
         insertSegment(insertSegment(plain, 0xE1, exifPayload), 0xE1, "http://ns.xmp/\0<x/>"),
         exifPayload},
        {"a second EXIF block is not taken",
         insertSegment(insertSegment(plain, 0xE1, std::string("Exif\0\0II", 8)), 0xE1, exifPayload),
         exifPayload},
        {"without EXIF the first APP1 stays",
         insertSegment(insertSegment(plain, 0xE1, "second"), 0xE1, "first"), "first"},
    };
    for (const Case& c : cases) {
        for (bool wantSize : {false, true}) {
            Probe p;
            probe(dir.write("a.jpg", c.file), wantSize, true, p);
            EXPECT_EQ(p.type, kImageJPEG) << c.what;
            EXPECT_EQ(p.payload(), c.kept) << c.what << " size=" << wantSize;
        }
    }
}

TEST_F(JpegWalk, ExtraApp0SegmentsAndFilesWithoutApp0AreJpegs) {
    const std::string jfxx = std::string("JFXX\0\x10", 6) + std::string(20, 't');
    struct Case {
        const char* what;
        std::string file;
    } cases[] = {
        {"JFIF then JFXX", insertSegment(insertSegment(app1First, 0xE0, jfxx), 0xE0,
                                         std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14))},
        {"JFXX alone", insertSegment(app1First, 0xE0, jfxx)},
        {"an APP0 too short for an identifier", insertSegment(app1First, 0xE0, "ab")},
        {"APP1 first, no APP0", app1First},
    };
    for (const Case& c : cases) {
        for (bool wantSize : {false, true}) {
            for (bool wantExif : {false, true}) {
                Probe p;
                probe(dir.write("a.jpg", c.file), wantSize, wantExif, p);
                EXPECT_EQ(p.type, kImageJPEG)
                    << c.what << " size=" << wantSize << " exif=" << wantExif;
                if (wantSize) {
                    EXPECT_EQ(p.size.width, 40) << c.what;
                }
                if (wantExif) {
                    EXPECT_EQ(p.payload(), exifPayload) << c.what;
                }
            }
        }
        std::ostringstream out;
        EXPECT_TRUE(writeScaledJPEG(dir.write("a.jpg", c.file), 20, 20, 75, out, -1)) << c.what;
    }
}

TEST_F(JpegWalk, App1LongerThanTheStreamBufferIsReadWhole) {
    std::string big = std::string("Exif\0\0", 6) + std::string(60000, 'b');
    Probe p;
    probe(dir.write("a.jpg", insertSegment(plain, 0xE1, big)), true, true, p);
    EXPECT_EQ(p.type, kImageJPEG);
    EXPECT_EQ(p.payload(), big);
}

TEST_F(JpegWalk, SegmentsBeforeTheFrameAreSkipped) {
    std::string file =
        insertSegment(insertSegment(plain, 0xFE, std::string(9000, 'c')), 0xED, "photoshop");
    Probe p;
    probe(dir.write("a.jpg", file), true, false, p);
    EXPECT_EQ(p.type, kImageJPEG);
    EXPECT_EQ(p.size.width, 40);
}

TEST_F(JpegWalk, MalformedFilesAreUnknown) {
    struct Case {
        const char* what;
        std::string file;
    } cases[] = {
        {"segment length 0", pad(std::string("\xFF\xD8\xFF\xFE\x00\x00", 6))},
        {"segment length 1", pad(std::string("\xFF\xD8\xFF\xFE\x00\x01", 6))},
        {"no FF between segments", insertSegment(plain, 0xFE, "abc").replace(9, 1, "\x01")},
        {"cut inside APP1", insertSegment(plain, 0xE1, std::string(500, 'e')).substr(0, 300)},
        {"cut before the frame", plain.substr(0, plain.find("\xFF\xC0") + 1)},
        {"end of image before any frame", pad(std::string("\xFF\xD8\xFF\xD9", 4))},
    };
    for (const Case& c : cases) {
        for (bool wantSize : {false, true}) {
            for (bool wantExif : {false, true}) {
                Probe p;
                probe(dir.write("bad.jpg", c.file), wantSize, wantExif, p);
                EXPECT_EQ(p.type, kImageUnknown)
                    << c.what << " size=" << wantSize << " exif=" << wantExif;
            }
        }
    }
}

TEST_F(JpegWalk, CutInsideApp1KeepsNoPayload) {
    Probe p;
    probe(dir.write("a.jpg", insertSegment(plain, 0xE1, std::string(500, 'e')).substr(0, 300)),
          true, true, p);
    EXPECT_EQ(p.type, kImageUnknown);
    EXPECT_EQ(p.exif, nullptr);
    EXPECT_EQ(p.size.width, 0);
}

TEST(ImageInfo, TiffDirectorySizeInBothByteOrders) {
    struct Case {
        bool little;
        uint16_t widthType;
        uint32_t widthCount;
        int expectWidth;
    } cases[] = {{true, 3, 1, 3000},  {false, 3, 1, 3000}, {true, 4, 1, 3000},
                 {false, 4, 1, 3000}, {true, 3, 2, -1},    {false, 4, 2, -1}};
    for (const Case& c : cases) {
        ExifBuilder tiff(c.little);
        tiff.first(tiff.directory({{256, c.widthType, c.widthCount, 3000}, {257, 4, 1, 2000}}));
        TempDir dir;
        CFReadStream_t stream(dir.write("t.tif", tiff.payload().substr(6)));
        ASSERT_TRUE(stream.seekAbsolute(8));
        ImageSize size = {-1, -1};
        getTiffSize(stream, &size, c.little ? toUInt16_LE : toUInt16_BE,
                    c.little ? toUInt32_LE : toUInt32_BE);
        EXPECT_EQ(size.width, c.expectWidth)
            << c.little << " " << c.widthType << " " << c.widthCount;
        EXPECT_EQ(size.height, 2000);
    }
}

TEST(ImageInfo, ByteReaders) {
    const uint8_t bytes[] = {0x12, 0x34, 0x56, 0x78};
    EXPECT_EQ(toUInt32_BE(bytes), 0x12345678u);
    EXPECT_EQ(toUInt32_LE(bytes), 0x78563412u);
    EXPECT_EQ(toUInt16_BE(bytes), 0x1234u);
    EXPECT_EQ(toUInt16_LE(bytes), 0x3412u);

    TempDir dir;
    CFReadStream_t stream(dir.write("three", "\xFF\x01\x02"));
    EXPECT_EQ(getByte(stream), 0xFF);
    EXPECT_EQ(getShort(stream), 0x0102);
    EXPECT_EQ(getByte(stream), -1);
    EXPECT_EQ(getShort(stream), -1);
}

TEST(ImageInfo, ScaleToFitSize) {
    struct Case {
        int width, height, maxWidth, maxHeight, expectWidth, expectHeight;
    } cases[] = {
        {4000, 3000, 800, 800, 800, 600},   // landscape: width takes the box
        {3000, 4000, 800, 800, 600, 800},   // portrait: height takes the box
        {600, 400, 800, 800, 600, 400},     // fits: never enlarged
        {800, 800, 800, 800, 800, 800},     // exactly the box
        {1000, 1000, 500, 500, 500, 500},   // equal ratios: height branch
        {1001, 333, 1000, 1000, 1000, 332}, // truncated, not rounded
        {100, 5000, 100, 100, 2, 100},
        {10, 20, 0, 0, 0, 0}, // a zero box gives zeros, not a crash
    };
    for (const Case& c : cases) {
        int w = c.width, h = c.height;
        scaleToFitSize(w, h, c.maxWidth, c.maxHeight);
        EXPECT_EQ(w, c.expectWidth)
            << c.width << "x" << c.height << " into " << c.maxWidth << "x" << c.maxHeight;
        EXPECT_EQ(h, c.expectHeight)
            << c.width << "x" << c.height << " into " << c.maxWidth << "x" << c.maxHeight;
    }
}

} // namespace
