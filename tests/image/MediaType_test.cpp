// MediaType_test.cpp - which first bytes make a picture or a film, the content types they get,
// and when the file name's extension decides.
#include "cf/CFReadStream.h"
#include "image/MediaFile.h"
#include "image/MediaType.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// An ISO media file's type box with the major brand and the compatible ones.
std::string ftyp(const std::string& major, const std::string& compatible = "") {
    uint32_t size = uint32_t(16 + compatible.size());
    std::string box = {char(size >> 24), char(size >> 16), char(size >> 8), char(size)};
    return box + "ftyp" + major + std::string("\0\0\0\0", 4) + compatible;
}

std::string bytes(const char* data, size_t n) {
    return std::string(data, n);
}

struct Case {
    const char* name; // what would be wrong
    std::string head;
    const char* file;
    const char* type; // null: neither picture nor film
    MediaKind kind;
};

std::string transportStream() {
    std::string ts(188 * 3, '\0');
    ts[0] = ts[188] = ts[376] = 0x47;
    return ts;
}

std::string bmp() {
    std::string head = bytes("BM\x36\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0", 18);
    return head + std::string(40, '\0');
}

const Case kCases[] = {
    {"JpegByItsMarker", bytes("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11), "a.txt", "image/jpeg",
     MediaKind::Picture},
    {"BmpWithItsInformationHeader", bmp(), "a.bmp", "image/bmp", MediaKind::Picture},
    {"TextStartingWithBMIsNotABitmap", "BMW service notes, 2019: oil", "a.bmp", nullptr,
     MediaKind::None},
    {"TiffLittleEndian", bytes("II*\0\x08\0\0\0", 8), "a.tif", "image/tiff", MediaKind::Picture},
    {"CanonRawBySignature", bytes("II*\0\x10\0\0\0CR\x02\0", 12), "a.tif", "image/x-canon-cr2",
     MediaKind::Picture},
    {"WebP", bytes("RIFF\0\0\0\0WEBPVP8 ", 16), "a", "image/webp", MediaKind::Picture},
    {"Heic", ftyp("heic", "mif1heic"), "a.heic", "image/heic", MediaKind::Picture},
    {"HeifGenericBrandYieldsToHeic", ftyp("mif1", "heic"), "a", "image/heic", MediaKind::Picture},
    {"Mp4", ftyp("isom", "isomiso2avc1mp41"), "a.mp4", "video/mp4", MediaKind::Film},
    {"GenericBrandTakesTheExtension", ftyp("isom", "isom"), "clip.MOV", "video/quicktime",
     MediaKind::Film},
    {"SoundOnlyIsNotAFilm", ftyp("M4A ", "M4A mp42isom"), "a.m4a", nullptr, MediaKind::None},
    {"QuickTimeWithoutTypeBox", bytes("\0\0\0\x08wide\0\0\0\0mdat", 16), "a.mov", "video/quicktime",
     MediaKind::Film},
    {"Avi", bytes("RIFF\0\0\0\0AVI LIST", 16), "a.avi", "video/x-msvideo", MediaKind::Film},
    {"MpegTransportStream", transportStream(), "a.mts", "video/mp2t", MediaKind::Film},
    {"WebM", bytes("\x1A\x45\xDF\xA3\x9F\x42\x82\x84webm", 12), "a", "video/webm", MediaKind::Film},
    {"ExtensionAloneIsNothing", "root:x:0:0:root:/root:/bin/bash", "passwd.mp4", nullptr,
     MediaKind::None},
};

TEST(MediaType, FirstBytesDecideAndTheExtensionOnlyRefines) {
    for (const Case& c : kCases) {
        MediaType type =
            sniffMediaType(reinterpret_cast<const uint8_t*>(c.head.data()), c.head.size(), c.file);
        EXPECT_EQ(type.kind, c.kind) << c.name;
        EXPECT_STREQ(type.contentType, c.type) << c.name;
    }
}

TEST(MediaFile, OpensOnlyRegularFilesHoldingPicturesOrFilms) {
    testsupport::TempFolder dir;
    std::string picture = dir.write("p.gif", bytes("GIF89a\x01\0\x01\0", 10));
    std::string text = dir.write("notes.jpg", "not a picture at all");
    std::string folder = dir.sub("folder.jpg");
    std::string fifo = dir.path("pipe.jpg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string link = dir.path("link.jpg");
    ASSERT_EQ(symlink(picture.c_str(), link.c_str()), 0);
    std::string textLink = dir.path("text-link.jpg");
    ASSERT_EQ(symlink(text.c_str(), textLink.c_str()), 0);

    struct {
        std::string path;
        const char* why; // null: opens
    } cases[] = {
        {picture, nullptr},
        {link, nullptr}, // links are followed to what they name
        {text, "is neither a picture nor a film"},
        {textLink, "is neither a picture nor a film"},
        {folder, "is not a regular file"},
        {fifo, "is not a regular file"}, // and opening it does not wait for a writer
        {dir.path("missing.jpg"), "cannot be opened"},
        {"", "cannot be opened"},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.path);
        const char* why = nullptr;
        std::optional<MediaFile> file = MediaFile::open(c.path, &why);
        if (!c.why) {
            ASSERT_TRUE(file);
            EXPECT_STREQ(file->type().contentType, "image/gif");
            EXPECT_EQ(file->info().st_size, 10);
            EXPECT_EQ(lseek(file->fd(), 0, SEEK_CUR), 0) << "checking reads without moving";
        } else {
            EXPECT_FALSE(file);
            EXPECT_STREQ(why, c.why);
        }
    }
}

TEST(MediaFile, TheFileCheckedIsTheFileRead) {
    testsupport::TempFolder dir;
    std::string path = dir.write("p.gif", "GIF89a\x01\0\x01\0");
    std::optional<MediaFile> file = MediaFile::open(path);
    ASSERT_TRUE(file);
    // Replaced after the check: readers still get the checked bytes.
    ASSERT_EQ(rename(dir.write("other", "root:x:0:0").c_str(), path.c_str()), 0);
    CFURLRef url = file->copyReadingURL();
    ASSERT_TRUE(url);
    CFReadStreamRef stream = CFReadStreamCreateWithFile(url);
    ASSERT_TRUE(CFReadStreamOpen(stream));
    uint8_t head[6];
    EXPECT_EQ(CFReadStreamRead(stream, head, 6), 6);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(head), 6), "GIF89a");
    CFReadStreamClose(stream);
    CFRelease(stream);
    CFRelease(url);
}

} // namespace
