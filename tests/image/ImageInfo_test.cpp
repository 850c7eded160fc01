// ImageInfo_test.cpp - header probing of every type, and the JPEG marker walk's rules and quirks.
#include "ImageFixtures.h"
#include "image/ImageInfo.h"

#include <gtest/gtest.h>

namespace {

std::string le16(unsigned v) {
    return {char(v & 0xFF), char(v >> 8)};
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

const int kUntouched = -7;

// What a probe answered, with the pointers asked for; fields not asked for stay kUntouched.
struct Probe {
    int type;
    ImageSize size = {kUntouched, kUntouched};
    std::string exif = "<none>";
    Probe(const CFURL_t& url, bool wantSize, bool wantExif) {
        CFDataRef data = nullptr;
        type = getImageInfo(url, wantSize ? &size : nullptr, wantExif ? &data : nullptr);
        if (data) {
            exif.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                        size_t(CFDataGetLength(data)));
            CFRelease(data);
        }
    }
};

TEST(ImageInfo, TypeAndSizeFromTheFirst32Bytes) {
    const std::string png = "\x89PNG\r\n\x1A\n";
    struct Case {
        const char* name;
        std::string contents;
        int type, width, height;
    } cases[] = {
        {"GIF size is little-endian at 6 and 8", pad("GIF89a" + le16(320) + le16(200)), kImageGIF,
         320, 200},
        {"PNG size is big-endian at 16 and 20",
         pad(png + be32(13) + "IHDR" + be32(70000) + be32(5)), kImagePNG, 70000, 5},
        {"PNG without IHDR", pad(png + be32(13) + "gAMA" + be32(7) + be32(5)), kImageUnknown, 0, 0},
        {"BMP keeps a negative height",
         pad("BM" + std::string(16, '\0') + le16(640) + le16(0) + le16(0xFE20) + le16(0xFFFF)),
         kImageBMP, 640, -480},
        {"TIFF is not probed", pad(std::string("II*\0", 4) + le16(8) + le16(0)), kImageUnknown, 0,
         0},
        {"a 31-byte GIF", std::string("GIF89a") + le16(1) + le16(1) + std::string(21, '\0'),
         kImageUnknown, 0, 0},
        {"an empty file", "", kImageUnknown, 0, 0},
    };
    TempDir dir;
    for (const Case& c : cases) {
        Probe p(dir.write("f", c.contents), true, true);
        EXPECT_EQ(p.type, c.type) << c.name;
        EXPECT_EQ(p.size.width, c.width) << c.name;
        EXPECT_EQ(p.size.height, c.height) << c.name;
        EXPECT_EQ(p.exif, "<none>") << c.name;
    }
    Probe missing(dir.url("absent.jpg"), true, true);
    EXPECT_EQ(missing.type, kImageUnknown);
    EXPECT_EQ(missing.size.width, 0);
}

// A JPEG is an SOI, then segments: the walk's answer depends on their order and on which
// pointers the caller gives.
class JpegWalk : public testing::Test {
  protected:
    TempDir dir;
    const std::string exifPayload = std::string("Exif\0\0MM", 8) + std::string(40, 'x');
    const std::string plain = encodeJPEG(40, 30, 3, 75, false); // SOI DQT SOF ...
    const std::string jfifSegment = std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14);
    const std::string app1First = insertSegment(plain, 0xE1, exifPayload); // SOI APP1 DQT SOF ...
};

TEST_F(JpegWalk, WhatTheWalkAnswersForEachLayoutAndQuestion) {
    const std::string big = std::string("Exif\0\0", 6) + std::string(60000, 'b');
    const std::string xmp = "http://ns.xmp/\0<x/>";
    const std::string jfxx = std::string("JFXX\0\x10", 6) + std::string(20, 't');
    struct Case {
        const char* name;
        std::string file;
        bool wantSize, wantExif;
        int type, width;
        std::string exif;
    } cases[] = {
        {"with no pointers a JFIF segment confirms the type, garbage after it is not read",
         pad(std::string("\xFF\xD8\xFF\xE0", 4) + be16(16) + std::string("JFIF\0", 5) +
             "\x01garbage"),
         false, false, kImageJPEG, kUntouched, "<none>"},
        {"size from the frame header", encodeJPEG(40, 30), true, false, kImageJPEG, 40, "<none>"},
        {"APP1 before the frame gives size and payload", app1First, true, true, kImageJPEG, 40,
         exifPayload},
        {"JFIF, then APP1", insertSegment(app1First, 0xE0, jfifSegment), true, true, kImageJPEG, 40,
         exifPayload},
        {"a frame without APP1 asked for EXIF is unknown but keeps the size", plain, true, true,
         kImageUnknown, 40, "<none>"},
        {"EXIF only stops at the first APP1", app1First, false, true, kImageJPEG, kUntouched,
         exifPayload},
        {"an APP1 longer than the stream buffer is read whole", insertSegment(plain, 0xE1, big),
         true, true, kImageJPEG, 40, big},
        {"segments before the frame are skipped",
         insertSegment(insertSegment(plain, 0xFE, std::string(9000, 'c')), 0xED, "photoshop"), true,
         false, kImageJPEG, 40, "<none>"},
        {"XMP after EXIF is not taken for the camera's data",
         insertSegment(insertSegment(plain, 0xE1, xmp), 0xE1, exifPayload), true, true, kImageJPEG,
         40, exifPayload},
        {"EXIF after XMP replaces it",
         insertSegment(insertSegment(plain, 0xE1, exifPayload), 0xE1, xmp), false, true, kImageJPEG,
         kUntouched, exifPayload},
        {"a second EXIF block is not taken",
         insertSegment(insertSegment(plain, 0xE1, std::string("Exif\0\0II", 8)), 0xE1, exifPayload),
         true, true, kImageJPEG, 40, exifPayload},
        {"without EXIF the first APP1 stays",
         insertSegment(insertSegment(plain, 0xE1, "second"), 0xE1, "first"), false, true,
         kImageJPEG, kUntouched, "first"},
        {"JFXX after JFIF is skipped",
         insertSegment(insertSegment(app1First, 0xE0, jfxx), 0xE0, jfifSegment), true, true,
         kImageJPEG, 40, exifPayload},
        {"with no pointers JFXX alone is a JPEG", insertSegment(app1First, 0xE0, jfxx), false,
         false, kImageJPEG, kUntouched, "<none>"},
        {"with no pointers an APP0 too short for an identifier is a JPEG",
         insertSegment(app1First, 0xE0, "ab"), false, false, kImageJPEG, kUntouched, "<none>"},
        {"with no pointers APP1 first and no APP0 is a JPEG", app1First, false, false, kImageJPEG,
         kUntouched, "<none>"},
        {"cut inside APP1 keeps no payload",
         insertSegment(plain, 0xE1, std::string(500, 'e')).substr(0, 300), true, true,
         kImageUnknown, 0, "<none>"},
    };
    for (const Case& c : cases) {
        Probe p(dir.write("a.jpg", c.file), c.wantSize, c.wantExif);
        EXPECT_EQ(p.type, c.type) << c.name;
        EXPECT_EQ(p.size.width, c.width) << c.name;
        EXPECT_EQ(p.exif, c.exif) << c.name;
    }
}

TEST_F(JpegWalk, MalformedFilesAreUnknown) {
    struct Case {
        const char* what;
        std::string file;
    } cases[] = {
        {"segment length 0", pad(std::string("\xFF\xD8\xFF\xFE\x00\x00", 6))},
        {"segment length 1", pad(std::string("\xFF\xD8\xFF\xFE\x00\x01", 6))},
        {"no FF between segments", insertSegment(plain, 0xFE, "abc").replace(9, 1, "\x01")},
        {"cut before the frame", plain.substr(0, plain.find("\xFF\xC0") + 1)},
        {"end of image before any frame", pad(std::string("\xFF\xD8\xFF\xD9", 4))},
    };
    for (const Case& c : cases)
        for (int ask = 0; ask < 4; ++ask)
            EXPECT_EQ(Probe(dir.write("bad.jpg", c.file), ask & 1, ask & 2).type, kImageUnknown)
                << c.what << " ask " << ask;
}

} // namespace
