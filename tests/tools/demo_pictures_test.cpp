// demo_pictures_test.cpp - the demo library's picture files, read back by independent
// decoders: JPEG segments and EXIF blocks, thumbnails, PNG, GIF, BMP and the movie stand-in.
#include "DemoLibrary.h"
#include "image/ImageInfo.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <ctime>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <vector>

#include <jpeglib.h>

namespace {

struct Photo {
    std::string key, image, thumbnail, mediaType;
    double date;
};

std::vector<Photo> photos() {
    CFDictionary_t root = readPropertyList(demoLibrary().folder + "/AlbumData.xml");
    auto master = root.get<CFDictionary_t>(CFSTR("Master Image List"));
    size_t count = size_t(CFDictionaryGetCount(master));
    std::vector<CFTypeRef> keys(count), values(count);
    CFDictionaryGetKeysAndValues(master, keys.data(), values.data());
    std::vector<Photo> list;
    for (size_t i = 0; i < count; ++i) {
        CFDictionary_t photo(values[i], CFDictionary_t::Get);
        list.push_back({CFStringGetUTF8(static_cast<CFStringRef>(keys[i])),
                        text(photo, CFSTR("ImagePath")), text(photo, CFSTR("ThumbPath")),
                        text(photo, CFSTR("MediaType")),
                        photo.get<CFNumber_t>(CFSTR("DateAsTimerInterval"))});
    }
    return list;
}

bool endsWith(const std::string& s, const std::string& tail) {
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

std::vector<Photo> photosNamed(const std::string& extension) {
    std::vector<Photo> chosen;
    for (const Photo& photo : photos())
        if (endsWith(photo.image, extension)) chosen.push_back(photo);
    return chosen;
}

uint32_t be16(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at])) << 8 | uint8_t(b[at + 1]);
}
uint32_t be32(const std::string& b, size_t at) {
    return be16(b, at) << 16 | be16(b, at + 2);
}
uint32_t le16(const std::string& b, size_t at) {
    return uint32_t(uint8_t(b[at + 1])) << 8 | uint8_t(b[at]);
}
uint32_t le32(const std::string& b, size_t at) {
    return le16(b, at + 2) << 16 | le16(b, at);
}

// The segments of a JPEG up to its first scan.
struct JpegLayout {
    bool valid = false;
    std::vector<uint8_t> markers; // in file order
    std::string app0, app1;       // payloads of the first APP0 and APP1
    uint32_t width = 0, height = 0;
};

JpegLayout jpegLayout(const std::string& b) {
    JpegLayout layout;
    if (b.size() < 4 || uint8_t(b[0]) != 0xFF || uint8_t(b[1]) != 0xD8) return layout;
    for (size_t at = 2; at + 4 <= b.size();) {
        if (uint8_t(b[at]) != 0xFF) return layout;
        uint8_t marker = uint8_t(b[at + 1]);
        uint32_t length = be16(b, at + 2);
        if (length < 2 || at + 2 + length > b.size()) return layout;
        layout.markers.push_back(marker);
        std::string payload = b.substr(at + 4, length - 2);
        if (marker == 0xE0 && layout.app0.empty()) layout.app0 = payload;
        if (marker == 0xE1 && layout.app1.empty()) layout.app1 = payload;
        if (marker == 0xC0 || marker == 0xC2) {
            layout.height = be16(payload, 1);
            layout.width = be16(payload, 3);
        }
        if (marker == 0xDA) {
            layout.valid = true;
            return layout;
        }
        at += 2 + length;
    }
    return layout;
}

// One directory entry of a TIFF structure; value is the raw 4-byte field in the file's order.
struct TiffEntry {
    uint32_t type, count, value;
};

// Reads the TIFF structure of an EXIF payload (after "Exif" 00 00).
class Tiff {
  public:
    explicit Tiff(const std::string& payload) : b_(payload.substr(6)) {}
    bool bigEndian() const { return b_.compare(0, 2, "MM") == 0; }
    bool valid() const {
        return (b_.compare(0, 2, "MM") == 0 || b_.compare(0, 2, "II") == 0) && u16(2) == 42;
    }
    uint32_t u16(size_t at) const { return bigEndian() ? be16(b_, at) : le16(b_, at); }
    uint32_t u32(size_t at) const { return bigEndian() ? be32(b_, at) : le32(b_, at); }
    std::map<uint32_t, TiffEntry> directory(uint32_t at) const {
        std::map<uint32_t, TiffEntry> entries;
        uint32_t count = u16(at);
        for (uint32_t i = 0; i < count; ++i) {
            size_t e = at + 2 + 12 * i;
            entries[u16(e)] = {u16(e + 2), u32(e + 4), u32(e + 8)};
        }
        return entries;
    }
    // An ASCII value stored at an offset (the demo's texts are all longer than 4 bytes).
    std::string ascii(const TiffEntry& e) const { return b_.substr(e.value, e.count - 1); }
    std::pair<uint32_t, uint32_t> rational(const TiffEntry& e) const {
        return {u32(e.value), u32(e.value + 4)};
    }

  private:
    std::string b_;
};

std::string exifDate(double sinceReference) {
    time_t t = time_t(sinceReference + 978307200.0);
    struct tm parts;
    gmtime_r(&t, &parts);
    char text[32];
    strftime(text, sizeof text, "%Y:%m:%d %H:%M:%S", &parts);
    return text;
}

TEST(DemoPictures, JpegsCarryTheirExifBlockBeforeTheFrameHeader) {
    std::set<std::string> orders;
    int withJfif = 0, withoutJfif = 0;
    for (const Photo& photo : photosNamed(".jpg")) {
        SCOPED_TRACE(photo.image);
        JpegLayout layout = jpegLayout(readFile(photo.image));
        ASSERT_TRUE(layout.valid);
        ASSERT_GE(layout.markers.size(), 2u);
        // An APP0 must be JFIF, and APP1 must come before any frame header.
        if (layout.markers[0] == 0xE0) {
            EXPECT_EQ(layout.app0.compare(0, 5, std::string("JFIF\0", 5)), 0);
            EXPECT_EQ(layout.markers[1], 0xE1);
            ++withJfif;
        } else {
            EXPECT_EQ(layout.markers[0], 0xE1);
            ++withoutJfif;
        }
        EXPECT_EQ(layout.app1.compare(0, 6, std::string("Exif\0\0", 6)), 0);
        Tiff tiff(layout.app1);
        ASSERT_TRUE(tiff.valid());
        orders.insert(tiff.bigEndian() ? "MM" : "II");
    }
    EXPECT_EQ(orders.size(), 2u) << "both byte orders are needed";
    EXPECT_GT(withJfif, 0);
    EXPECT_GT(withoutJfif, 0);
}

TEST(DemoPictures, ExifBlocksRecordCameraDatesExposureAndSize) {
    std::set<std::pair<uint32_t, uint32_t>> exposures;
    for (const Photo& photo : photosNamed(".jpg")) {
        SCOPED_TRACE(photo.image);
        JpegLayout layout = jpegLayout(readFile(photo.image));
        Tiff tiff(layout.app1);
        ASSERT_TRUE(tiff.valid());
        auto ifd0 = tiff.directory(tiff.u32(4));
        ASSERT_EQ(ifd0.count(34665), 1u);
        auto exif = tiff.directory(ifd0[34665].value);
        for (uint32_t tag : {271u, 272u, 306u})
            ASSERT_EQ(ifd0.count(tag), 1u) << tag;
        for (uint32_t tag : {33434u, 33437u, 34855u, 36867u, 37386u, 40962u, 40963u})
            ASSERT_EQ(exif.count(tag), 1u) << tag;
        EXPECT_EQ(exif.count(34665), 0u) << "the sub-directory must not point on";

        EXPECT_EQ(ifd0[271].type, 2u);
        EXPECT_GT(ifd0[271].count, 5u) << "make and model are read from an offset";
        EXPECT_FALSE(tiff.ascii(ifd0[271]).empty());
        EXPECT_FALSE(tiff.ascii(ifd0[272]).empty());
        EXPECT_EQ(tiff.ascii(exif[36867]), exifDate(photo.date));
        EXPECT_EQ(tiff.ascii(ifd0[306]).size(), 19u);
        EXPECT_GE(tiff.ascii(ifd0[306]), tiff.ascii(exif[36867])) << "modified before taken";

        for (uint32_t tag : {33434u, 33437u, 37386u}) {
            EXPECT_EQ(exif[tag].type, 5u) << tag;
            EXPECT_GT(tiff.rational(exif[tag]).second, 0u) << tag;
        }
        exposures.insert(tiff.rational(exif[33434]));
        EXPECT_EQ(exif[34855].type, 3u);
        EXPECT_EQ(exif[40962].type, 4u);
        EXPECT_EQ(exif[40962].value, layout.width);
        EXPECT_EQ(exif[40963].value, layout.height);
    }
    EXPECT_EQ(exposures.count({5, 2}), 1u) << "a long exposure of 2.5 s";
    EXPECT_EQ(exposures.count({1, 125}), 1u);
}

TEST(DemoPictures, SizesRangeFromVgaToTwelveMegapixelsInBothOrientations) {
    int largest = 0, big = 0, portrait = 0, landscape = 0, smallest = 1 << 30;
    for (const Photo& photo : photosNamed(".jpg")) {
        JpegLayout layout = jpegLayout(readFile(photo.image));
        int w = int(layout.width), h = int(layout.height);
        largest = std::max({largest, w, h});
        smallest = std::min(smallest, std::min(w, h));
        big += std::max(w, h) == 4000;
        portrait += h > w;
        landscape += w > h;
    }
    EXPECT_EQ(largest, 4000);
    EXPECT_GE(big, 2);
    EXPECT_LE(big, 3) << "more big pictures make generation slow";
    EXPECT_GE(smallest, 480);
    EXPECT_GT(portrait, 0);
    EXPECT_GT(landscape, 0);
}

struct DecodeErrors {
    jpeg_error_mgr manager;
    jmp_buf escape;
};

void _decodeErrorExit(j_common_ptr cinfo) {
    longjmp(reinterpret_cast<DecodeErrors*>(cinfo->err)->escape, 1);
}

// Decodes the whole JPEG; false when libjpeg finds it corrupt. With pixels, its samples as
// decoded (RGB, or CMYK as stored for four components), rows from the top.
bool decodeJpeg(const std::string& bytes, unsigned& width, unsigned& height,
                std::vector<JSAMPLE>* pixels = nullptr) {
    jpeg_decompress_struct cinfo;
    DecodeErrors errors;
    cinfo.err = jpeg_std_error(&errors.manager);
    errors.manager.error_exit = _decodeErrorExit;
    if (setjmp(errors.escape)) {
        jpeg_destroy_decompress(&cinfo);
        return false;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_mem_src(&cinfo, reinterpret_cast<const unsigned char*>(bytes.data()),
                 (unsigned long)bytes.size());
    jpeg_read_header(&cinfo, TRUE);
    jpeg_start_decompress(&cinfo);
    width = cinfo.output_width;
    height = cinfo.output_height;
    std::vector<JSAMPLE> row(size_t(width) * size_t(cinfo.output_components));
    while (cinfo.output_scanline < cinfo.output_height) {
        JSAMPROW rows[1] = {row.data()};
        jpeg_read_scanlines(&cinfo, rows, 1);
        if (pixels) pixels->insert(pixels->end(), row.begin(), row.end());
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return true;
}

TEST(DemoPictures, ThumbnailsAreWholeJpegsFittingTheBox) {
    for (const Photo& photo : photos()) {
        unsigned width = 0, height = 0;
        EXPECT_TRUE(decodeJpeg(readFile(photo.thumbnail), width, height)) << photo.thumbnail;
        EXPECT_EQ(std::max(width, height), 240u) << photo.thumbnail;
    }
}

TEST(DemoPictures, TestCardsAreStoredOnTheirSideAndInInvertedInks) {
    std::map<std::string, std::string> files;
    for (const Photo& photo : photosNamed(".jpg"))
        files[photo.image.substr(photo.image.rfind('/') + 1)] = readFile(photo.image);
    unsigned width = 0, height = 0;
    std::vector<JSAMPLE> px;

    // Orientation 6: stored landscape, and the first column is the red top of the card.
    const std::string& turned = files["which-way-is-up.jpg"];
    JpegLayout layout = jpegLayout(turned);
    Tiff tiff(layout.app1);
    EXPECT_EQ(tiff.directory(tiff.u32(4))[274].value & 0xFFFF, 6u) << "little-endian SHORT";
    ASSERT_TRUE(decodeJpeg(turned, width, height, &px));
    EXPECT_GT(width, height);
    auto rgb = [&](unsigned x, unsigned y) { return &px[(size_t(y) * width + x) * 3]; };
    EXPECT_GT(rgb(width / 20, height / 2)[0], 180) << "the top is red";
    EXPECT_GT(rgb(width - width / 20, height / 2)[2], 160) << "the bottom is blue";

    // Inverted CMYK after an Adobe segment (transform 0): red = stored C x stored K / 255.
    const std::string& inks = files["printers-inks.jpg"];
    layout = jpegLayout(inks);
    EXPECT_NE(std::find(layout.markers.begin(), layout.markers.end(), 0xEE), layout.markers.end());
    px.clear();
    ASSERT_TRUE(decodeJpeg(inks, width, height, &px));
    ASSERT_EQ(px.size(), size_t(width) * height * 4);
    const JSAMPLE* first = &px[(size_t(height / 4) * width + width / 6) * 4]; // red patch
    EXPECT_NEAR(first[0] * first[3] / 255, 0xD6, 8);
    EXPECT_NEAR(first[1] * first[3] / 255, 0x28, 8);
    EXPECT_NEAR(first[2] * first[3] / 255, 0x28, 8);
}

// The server reads pictures other than JPEG by their headers only: each must probe as its type
// with a real size, the film as unknown (it is sent as stored) with a JPEG still.
TEST(DemoPictures, OtherPicturesProbeAsTheirTypes) {
    struct Case {
        const char* extension;
        int type;
    } cases[] = {{".png", kImagePNG}, {".gif", kImageGIF}, {".bmp", kImageBMP}};
    for (const Case& c : cases) {
        auto list = photosNamed(c.extension);
        ASSERT_EQ(list.size(), 1u) << c.extension;
        std::string path = list[0].image;
        CFURL_t url(
            CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
            CFURL_t::Create);
        ImageSize size = {0, 0};
        EXPECT_EQ(getImageInfo(url, &size, nullptr), c.type) << path;
        EXPECT_GE(size.width, 320) << path;
        EXPECT_GE(size.height, 240) << path;
    }
}

TEST(DemoPictures, TheMovieIsAnH264Mp4WithAJpegStill) {
    std::vector<Photo> movies;
    for (const Photo& photo : photos())
        if (photo.mediaType == "Movie") movies.push_back(photo);
    ASSERT_EQ(movies.size(), 1u);
    std::string b = readFile(movies[0].image);
    ASSERT_GE(b.size(), 32u) << "the header probe reads 32 bytes";
    EXPECT_EQ(b.compare(4, 4, "ftyp"), 0);
    std::set<std::string> boxes;
    size_t at = 0;
    while (at + 8 <= b.size()) {
        boxes.insert(b.substr(at + 4, 4));
        at += be32(b, at);
    }
    EXPECT_EQ(at, b.size()) << "the boxes fill the file";
    EXPECT_EQ(boxes.count("moov"), 1u);
    // Browsers play it: one H.264 track whose samples fill the media data box, the first of
    // them a key frame (an IDR slice after its four-byte length).
    size_t mdat = b.rfind("mdat") - 4;
    EXPECT_LT(b.find("moov"), mdat) << "the index comes first, so playing starts at once";
    EXPECT_NE(b.find("avc1"), std::string::npos);
    EXPECT_NE(b.find("avcC"), std::string::npos);
    ASSERT_GT(be32(b, mdat), 8u + 4 + 1);
    EXPECT_EQ(uint8_t(b[mdat + 8 + 4]) & 0x1F, 5) << "an IDR slice first";
    EXPECT_EQ(jpegLayout(readFile(movies[0].thumbnail)).valid, true);
}

} // namespace
