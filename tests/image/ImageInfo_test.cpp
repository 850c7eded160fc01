// ImageInfo_test.cpp - header probing of every type, and the JPEG marker walk's rules and quirks.
#include "ImageFixtures.h"
#include "image/ImageInfo.h"

#include <gtest/gtest.h>

namespace {

std::string le16(unsigned v) {
    return {char(v & 0xFF), char(v >> 8)};
}
std::string be32(uint32_t v) {
    return {char(v >> 24), char(v >> 16), char(v >> 8), char(v)};
}
std::string pad(std::string s) {
    s.resize(std::max<size_t>(s.size(), 64), '\0');
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
        if (!data) return;
        exif.assign(reinterpret_cast<const char*>(CFDataGetBytePtr(data)),
                    size_t(CFDataGetLength(data)));
        CFRelease(data);
    }
};

TEST(ImageInfo, TypeAndSizeFromTheFirst32Bytes) {
    const std::string png = "\x89PNG\r\n\x1A\n" + be32(13);
    struct Case {
        const char* name;
        std::string contents;
        int type, width, height;
    } cases[] = {
        {"GIF size is little-endian at 6 and 8", pad("GIF89a" + le16(320) + le16(200)), kImageGIF,
         320, 200},
        {"PNG size is big-endian at 16 and 20", pad(png + "IHDR" + be32(70000) + be32(5)),
         kImagePNG, 70000, 5},
        {"PNG without IHDR", pad(png + "gAMA" + be32(7) + be32(5)), kImageUnknown, 0, 0},
        {"BMP keeps a negative height",
         pad("BM" + std::string(16, '\0') + le16(640) + le16(0) + le16(0xFE20) + le16(0xFFFF)),
         kImageBMP, 640, -480},
        {"TIFF is not probed", pad(std::string("II*\0\x08\0\0\0", 8)), kImageUnknown, 0, 0},
        {"a 31-byte GIF", "GIF89a" + le16(1) + le16(1) + std::string(21, '\0'), kImageUnknown, 0,
         0},
    };
    TempDir dir;
    for (const Case& c : cases) {
        Probe p(dir.write("f", c.contents), true, true);
        EXPECT_EQ(p.type, c.type) << c.name;
        EXPECT_EQ(std::make_pair(p.size.width, p.size.height), std::make_pair(c.width, c.height))
            << c.name;
        EXPECT_EQ(p.exif, "<none>") << c.name;
    }
    Probe missing(dir.url("absent.jpg"), true, true);
    EXPECT_EQ(missing.type, kImageUnknown);
    EXPECT_EQ(missing.size.width, 0);
}

// A JPEG is an SOI, then segments: the walk's answer depends on their order and on which
// pointers the caller gives.
TEST(JpegWalk, WhatTheWalkAnswersForEachLayoutAndQuestion) {
    const std::string plain =
        encodeJPEG(40, 30, [](auto& o) { o.jfif = false; }); // SOI DQT SOF ...
    // plain with these (marker, payload) segments after its SOI, in this order.
    auto with = [&](std::vector<std::pair<uint8_t, std::string>> segments) {
        std::string jpeg = plain;
        for (auto at = segments.rbegin(); at != segments.rend(); ++at)
            jpeg = insertSegment(jpeg, at->first, at->second);
        return jpeg;
    };
    const std::string exif = std::string("Exif\0\0MM", 8) + std::string(40, 'x');
    const std::string big = std::string("Exif\0\0", 6) + std::string(60000, 'b');
    const std::string jfif = std::string("JFIF\0\1\1\0\0\1\0\1\0\0", 14);
    const std::string xmp = "http://ns.xmp/\0<x/>", jfxx = std::string("JFXX\0\x10", 6) + "tttt";
    const bool Y = true, N = false;
    struct Case {
        const char* name;
        std::string file;
        bool wantSize, wantExif;
        int type, width;
        std::string exif;
    } cases[] = {
        {"with no pointers a JFIF segment confirms the type, garbage after it is not read",
         pad(std::string("\xFF\xD8\xFF\xE0\0\x10JFIF\0\x01garbage", 19)), N, N, kImageJPEG,
         kUntouched, "<none>"},
        {"size from the frame header", encodeJPEG(40, 30), Y, N, kImageJPEG, 40, "<none>"},
        {"APP1 before the frame gives size and payload", with({{0xE1, exif}}), Y, Y, kImageJPEG, 40,
         exif},
        {"a frame without APP1 asked for EXIF is unknown but keeps the size", plain, Y, Y,
         kImageUnknown, 40, "<none>"},
        {"an APP1 longer than the stream buffer is read whole", with({{0xE1, big}}), Y, Y,
         kImageJPEG, 40, big},
        {"segments before the frame are skipped",
         with({{0xED, "photoshop"}, {0xFE, std::string(9000, 'c')}}), Y, N, kImageJPEG, 40,
         "<none>"},
        {"XMP after EXIF is not taken for the camera's data", with({{0xE1, exif}, {0xE1, xmp}}), Y,
         Y, kImageJPEG, 40, exif},
        {"EXIF after XMP replaces it", with({{0xE1, xmp}, {0xE1, exif}}), N, Y, kImageJPEG,
         kUntouched, exif},
        {"a second EXIF block is not taken",
         with({{0xE1, exif}, {0xE1, std::string("Exif\0\0II", 8)}}), Y, Y, kImageJPEG, 40, exif},
        {"without EXIF the first APP1 stays", with({{0xE1, "first"}, {0xE1, "second"}}), N, Y,
         kImageJPEG, kUntouched, "first"},
        {"JFXX after JFIF is skipped", with({{0xE0, jfif}, {0xE0, jfxx}, {0xE1, exif}}), Y, Y,
         kImageJPEG, 40, exif},
        {"with no pointers JFXX alone is a JPEG", with({{0xE0, jfxx}, {0xE1, exif}}), N, N,
         kImageJPEG, kUntouched, "<none>"},
        {"with no pointers an APP0 too short for an identifier is a JPEG",
         with({{0xE0, "ab"}, {0xE1, exif}}), N, N, kImageJPEG, kUntouched, "<none>"},
        {"cut inside APP1 keeps no payload", with({{0xE1, std::string(500, 'e')}}).substr(0, 300),
         Y, Y, kImageUnknown, 0, "<none>"},
    };
    TempDir dir;
    for (const Case& c : cases) {
        Probe p(dir.write("a.jpg", c.file), c.wantSize, c.wantExif);
        EXPECT_EQ(p.type, c.type) << c.name;
        EXPECT_EQ(p.size.width, c.width) << c.name;
        EXPECT_EQ(p.exif, c.exif) << c.name;
    }
    // Malformed files are unknown whatever is asked.
    std::string noMarker = with({{0xFE, "abc"}});
    noMarker[9] = '\x01';
    for (const std::string& bad :
         {pad(std::string("\xFF\xD8\xFF\xFE\x00\x00", 6)),
          pad(std::string("\xFF\xD8\xFF\xFE\x00\x01", 6)), noMarker,
          plain.substr(0, plain.find("\xFF\xC0") + 1), pad(std::string("\xFF\xD8\xFF\xD9", 4))})
        for (int ask = 0; ask < 4; ++ask)
            EXPECT_EQ(Probe(dir.write("bad.jpg", bad), ask & 1, ask & 2).type, kImageUnknown)
                << "bad file of " << bad.size() << " bytes, ask " << ask;
}

} // namespace
