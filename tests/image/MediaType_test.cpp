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
std::string ftyp(const std::string& major, const std::string& compatible) {
    return std::string("\0\0\0", 3) + char(16 + compatible.size()) + "ftyp" + major +
           std::string(4, '\0') + compatible;
}

TEST(MediaType, FirstBytesDecideAndTheExtensionOnlyRefines) {
    using S = std::string;
    const MediaKind P = MediaKind::Picture, F = MediaKind::Film, N = MediaKind::None;
    S ts(188 * 3, '\0');
    ts[0] = ts[188] = ts[376] = 0x47;
    struct Case {
        const char* name; // what would be wrong
        std::string head;
        const char* file;
        const char* type; // null: neither picture nor film
        MediaKind kind;
    } cases[] = {
        {"JpegByItsMarker", S("\xFF\xD8\xFF\xE0\0\x10JFIF\0", 11), "a.txt", "image/jpeg", P},
        {"BmpWithItsInformationHeader", S("BM6\0\0\0\0\0\0\0\x36\0\0\0\x28", 15) + S(43, '\0'),
         "a.bmp", "image/bmp", P},
        {"TextStartingWithBMIsNotABitmap", "BMW service notes, 2019: oil", "a.bmp", nullptr, N},
        {"TiffLittleEndian", S("II*\0\x08\0\0\0", 8), "a.tif", "image/tiff", P},
        {"CanonRawBySignature", S("II*\0\x10\0\0\0CR\x02\0", 12), "a.tif", "image/x-canon-cr2", P},
        {"WebP", S("RIFF\0\0\0\0WEBPVP8 ", 16), "a", "image/webp", P},
        {"Heic", ftyp("heic", "mif1heic"), "a.heic", "image/heic", P},
        {"HeifGenericBrandYieldsToHeic", ftyp("mif1", "heic"), "a", "image/heic", P},
        {"Mp4", ftyp("isom", "isomiso2avc1mp41"), "a.mp4", "video/mp4", F},
        {"GenericBrandTakesTheExtension", ftyp("isom", "isom"), "clip.MOV", "video/quicktime", F},
        {"SoundOnlyIsNotAFilm", ftyp("M4A ", "M4A mp42isom"), "a.m4a", nullptr, N},
        {"QuickTimeWithoutTypeBox", S("\0\0\0\x08wide\0\0\0\0mdat", 16), "a.mov", "video/quicktime",
         F},
        {"Avi", S("RIFF\0\0\0\0AVI LIST", 16), "a.avi", "video/x-msvideo", F},
        {"MpegTransportStream", ts, "a.mts", "video/mp2t", F},
        {"WebM", S("\x1A\x45\xDF\xA3\x9F\x42\x82\x84webm", 12), "a", "video/webm", F},
        {"ExtensionAloneIsNothing", "root:x:0:0:root:/root:/bin/bash", "passwd.mp4", nullptr, N},
    };
    for (const Case& c : cases) {
        MediaType type =
            sniffMediaType(reinterpret_cast<const uint8_t*>(c.head.data()), c.head.size(), c.file);
        EXPECT_EQ(type.kind, c.kind) << c.name;
        EXPECT_STREQ(type.contentType, c.type) << c.name;
    }
}

// Which files are refused is also checked route by route on the running server; here, the
// reasons given and the state of what is opened.
TEST(MediaFile, OpensOnlyRegularFilesHoldingPicturesOrFilmsAndKeepsWhatItChecked) {
    testsupport::TempFolder dir;
    std::string picture = dir.write("p.gif", std::string("GIF89a\x01\0\x01\0", 10));
    ASSERT_EQ(mkfifo(dir.path("pipe.jpg").c_str(), 0600), 0);
    ASSERT_EQ(symlink(picture.c_str(), dir.path("link.jpg").c_str()), 0);
    std::pair<std::string, const char*> cases[] = {
        {picture, nullptr},
        {dir.path("link.jpg"), nullptr}, // links are followed to what they name
        {dir.write("notes.jpg", "not a picture"), "is neither a picture nor a film"},
        {dir.sub("folder.jpg"), "is not a regular file"},
        {dir.path("pipe.jpg"), "is not a regular file"}, // opening it does not wait for a writer
        {dir.path("missing.jpg"), "cannot be opened"},
    };
    for (auto& [path, reason] : cases) {
        const char* why = nullptr;
        std::optional<MediaFile> file = MediaFile::open(path, &why);
        EXPECT_EQ(bool(file), !reason) << path;
        EXPECT_STREQ(reason ? why : nullptr, reason) << path;
        if (!file) continue;
        EXPECT_STREQ(file->type().contentType, "image/gif");
        EXPECT_EQ(file->info().st_size, 10);
        EXPECT_EQ(lseek(file->fd(), 0, SEEK_CUR), 0) << "checking reads without moving";
    }

    // Replaced after the check: readers still get the checked bytes.
    std::optional<MediaFile> file = MediaFile::open(picture);
    ASSERT_TRUE(file);
    ASSERT_EQ(rename(dir.write("other", "root:x:0:0").c_str(), picture.c_str()), 0);
    CFURLRef url = file->copyReadingURL();
    CFReadStreamRef stream = CFReadStreamCreateWithFile(url);
    ASSERT_TRUE(CFReadStreamOpen(stream));
    char head[6];
    EXPECT_EQ(CFReadStreamRead(stream, reinterpret_cast<uint8_t*>(head), 6), 6);
    EXPECT_EQ(std::string(head, 6), "GIF89a");
    CFReadStreamClose(stream);
    CFRelease(stream);
    CFRelease(url);
}

} // namespace
