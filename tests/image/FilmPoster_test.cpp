// FilmPoster_test.cpp - films written with the system's encoders: their facts, their posters
// (the right frame, upright) and broken files that fail cleanly; the codecs parameter.
#include "demo/FilmWriter.h"
#include "image/FilmFacts.h"
#include "image/FilmPoster.h"
#include "image/ImageFixtures.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace {

// Frames before one second are green, later ones red; the left half of each is blue.
void paintTimed(const demo::FilmSpec& spec, int i, uint8_t* rgb) {
    for (int y = 0; y < spec.height; ++y)
        for (int x = 0; x < spec.width; ++x) {
            uint8_t* p = rgb + (size_t(y) * size_t(spec.width) + size_t(x)) * 3;
            bool left = x < spec.width / 2;
            bool late = i >= spec.framesPerSecond;
            p[0] = left ? 0 : late ? 220 : 0;
            p[1] = left ? 0 : late ? 0 : 200;
            p[2] = left ? 230 : 0;
        }
}

// The film described, written into folder as name; empty when the encoder is missing.
std::string writeFilm(TempDir& folder, const char* name, demo::FilmSpec spec) {
    if (!demo::canWriteFilm(spec.codec)) return "";
    spec.paint = [&spec](int i, uint8_t* rgb) { paintTimed(spec, i, rgb); };
    std::string path = folder.path(name);
    return demo::writeFilm(path, spec) ? path : "";
}

struct Poster {
    bool made = false;
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;
};

Poster posterOf(const std::string& path, uint32_t box) {
    Poster poster;
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    std::ostringstream out;
    poster.made = writeFilmPoster(fd, path.c_str(), box, box, 95, out) &&
                  decodeRGB(out.str(), poster.width, poster.height, poster.rgb);
    close(fd);
    return poster;
}

bool near(const Poster& poster, int x, int y, std::vector<int> want) {
    size_t at = (size_t(y) * size_t(poster.width) + size_t(x)) * 3;
    for (size_t i = 0; i < 3; ++i)
        if (std::abs(int(poster.rgb[at + i]) - want[i]) > 40) return false;
    return true;
}

const std::vector<int> kBlue = {0, 0, 230}, kRed = {220, 0, 0}, kGreen = {0, 200, 0};

struct FilmCase {
    const char* name;
    demo::FilmCodec written;
    int frames;   // at 10 a second, a key frame every 10
    int rotation; // clockwise
    // What the poster shows: its size, the colour of its first and second half (left and right,
    // or top and bottom when turned a quarter).
    int width, height;
    std::vector<int> first, second;
    const char* codec;
    const char* codecsPrefix;
};

TEST(FilmPoster, IsTheFirstKeyFrameFromOneSecondUprightInItsColours) {
    const FilmCase cases[] = {
        {"two seconds", demo::FilmCodec::Mpeg4Part2, 20, 0, 64, 48, kBlue, kRed, "mpeg4", ""},
        {"half a second: its first frame", demo::FilmCodec::Mpeg4Part2, 5, 0, 64, 48, kBlue, kGreen,
         "mpeg4", ""},
        {"turned a quarter clockwise", demo::FilmCodec::Mpeg4Part2, 20, 90, 48, 64, kBlue, kRed,
         "mpeg4", ""},
        {"turned half round", demo::FilmCodec::Mpeg4Part2, 20, 180, 64, 48, kRed, kBlue, "mpeg4",
         ""},
        {"a phone's HEVC", demo::FilmCodec::Hevc, 20, 0, 64, 48, kBlue, kRed, "hevc", "hvc1.1.6.L"},
        {"H.264", demo::FilmCodec::H264, 20, 270, 48, 64, kRed, kBlue, "h264", "avc1."},
    };
    for (const FilmCase& c : cases) {
        SCOPED_TRACE(c.name);
        TempDir folder;
        demo::FilmSpec spec;
        spec.codec = c.written;
        spec.frames = c.frames;
        spec.rotation = c.rotation;
        std::string path = writeFilm(folder, "film.mp4", spec);
        if (path.empty()) continue; // this machine lacks the encoder

        int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        FilmFacts facts;
        ASSERT_TRUE(readFilmFacts(fd, &facts));
        close(fd);
        EXPECT_EQ(facts.codec, c.codec);
        EXPECT_EQ(facts.codecs.substr(0, strlen(c.codecsPrefix)), c.codecsPrefix);
        EXPECT_EQ(int(facts.width), c.width);
        EXPECT_EQ(int(facts.height), c.height);
        EXPECT_NEAR(facts.duration, c.frames / 10.0, 0.15);

        Poster poster = posterOf(path, 1024);
        ASSERT_TRUE(poster.made);
        ASSERT_EQ(poster.width, c.width);
        ASSERT_EQ(poster.height, c.height);
        bool across = c.width > c.height;
        int x1 = across ? c.width / 4 : c.width / 2, y1 = across ? c.height / 2 : c.height / 4;
        int x2 = across ? 3 * c.width / 4 : c.width / 2,
            y2 = across ? c.height / 2 : 3 * c.height / 4;
        EXPECT_TRUE(near(poster, x1, y1, c.first));
        EXPECT_TRUE(near(poster, x2, y2, c.second));
    }
}

TEST(FilmPoster, FitsTheBox) {
    TempDir folder;
    demo::FilmSpec spec;
    spec.width = 320;
    spec.height = 240;
    std::string path = writeFilm(folder, "film.mp4", spec);
    ASSERT_FALSE(path.empty());
    Poster poster = posterOf(path, 100);
    ASSERT_TRUE(poster.made);
    EXPECT_EQ(poster.width, 100);
    EXPECT_EQ(poster.height, 75);
}

TEST(FilmPoster, BrokenFilmsFailCleanly) {
    TempDir folder;
    demo::FilmSpec spec;
    std::string path = writeFilm(folder, "film.mp4", spec);
    ASSERT_FALSE(path.empty());
    std::string whole = testsupport::readFile(path);
    std::string headerless = whole;
    size_t moov = headerless.find("moov");
    if (moov != std::string::npos) headerless.replace(moov, 4, "free");
    const struct {
        const char* name;
        std::string bytes;
    } cases[] = {
        {"empty", ""},
        {"not a film", std::string(4096, 'x')},
        {"its first tenth", whole.substr(0, whole.size() / 10)},
        {"no header box", headerless},
        {"frames overwritten", whole.substr(0, 48) + std::string(whole.size() - 48, '\x11')},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        folder.write("broken.mp4", c.bytes);
        int fd = open(folder.path("broken.mp4").c_str(), O_RDONLY | O_CLOEXEC);
        FilmFacts facts;
        readFilmFacts(fd, &facts); // may or may not find facts, never crashes
        std::ostringstream out;
        bool made = writeFilmPoster(fd, "broken.mp4", 64, 64, 90, out);
        close(fd);
        if (!made) {
            EXPECT_TRUE(out.str().empty());
        }
    }
}

TEST(FilmFacts, CodecsParameterFromConfigurationRecords) {
    const uint8_t avcC[] = {1, 0x64, 0x00, 0x1F, 0xFF};
    const uint8_t hvcC[] = {1, 0x01, 0x60, 0, 0, 0, 0xB0, 0, 0, 0, 0, 0, 93, 0xF0};
    const uint8_t hvcCMain10High[] = {1, 0x22, 0x20, 0, 0, 0, 0x90, 0, 0, 0, 0, 0, 153};
    const uint8_t av1C[] = {0x81, 0x08, 0x0C, 0};
    const uint8_t av1C10Bit[] = {0x81, 0x2D, 0xC0, 0};
    const struct {
        const char* codec;
        const uint8_t* record;
        size_t length;
        int profile, level;
        const char* tag;
        const char* want;
    } cases[] = {
        {"h264", avcC, sizeof avcC, 0, 0, "avc1", "avc1.64001F"},
        {"h264", nullptr, 0, 66, 30, "", "avc1.42001E"},
        {"h264", nullptr, 0, 0, 0, "", "avc1"},
        {"hevc", hvcC, sizeof hvcC, 0, 0, "hvc1", "hvc1.1.6.L93.B0"},
        {"hevc", hvcC, sizeof hvcC, 0, 0, "hev1", "hev1.1.6.L93.B0"},
        {"hevc", hvcCMain10High, sizeof hvcCMain10High, 0, 0, "hvc1", "hvc1.2.4.H153.90"},
        {"hevc", hvcC, 5, 0, 0, "hvc1", "hvc1"},
        {"av1", av1C, sizeof av1C, 0, 0, "av01", "av01.0.08M.08"},
        {"av1", av1C10Bit, sizeof av1C10Bit, 0, 0, "av01", "av01.1.13H.10"},
        {"vp9", nullptr, 0, 2, 0, "", "vp09.02.10.08"},
        {"vp8", nullptr, 0, 0, 0, "", "vp8"},
        {"mpeg4", nullptr, 0, 0, 0, "", ""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(codecsParameter(c.codec, c.record, c.length, c.profile, c.level, c.tag), c.want)
            << c.want;
}

} // namespace
