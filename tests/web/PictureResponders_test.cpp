// PictureResponders_test.cpp - thumbnails and pictures through the running server: sizes, types,
// libraries without full-size downloads, validators and what is refused.
#include "JsonFixtures.h"
#include "demo/FilmWriter.h"
#include "image/ImageFixtures.h"
#include "support/EncodeHEIF.h"

#include <gtest/gtest.h>

namespace {

using namespace jsonfixture;
using testsupport::bodyOf;
using testsupport::headerOf;
using testsupport::statusLine;

class PictureTest : public ServedSuite<PictureTest> {
  public:
    static void write(testsupport::TempFolder& files) {
        std::string lib = files.path("Library");
        big = encodeJPEG(1600, 1200);
        files.write("Library/big.jpg", big);
        files.write("Library/still.jpg", encodeJPEG(640, 480));
        files.write("Library/thumb.jpg", encodeJPEG(160, 120));
        files.write("Library/huge.jpg", encodeJPEG(4000, 3000));
        files.write("Library/empty.jpg", "");
        files.write("Library/cut.jpg", big.substr(0, 300)); // a JFIF header cut inside its tables
        // A phone's picture: stored 640 × 480 and turned a quarter by its transforms, with an
        // EXIF item saying the same (orientation 6), which must not turn it again.
        testsupport::HeifOptions phone;
        phone.orientation = heif_orientation_rotate_90_cw;
        ExifBuilder exif(false);
        uint32_t model = exif.text("Phone 15");
        exif.first(exif.directory(
            {ExifBuilder::ascii(0x0110, model, 9), ExifBuilder::shortValue(0x0112, 6)}));
        phone.exif = exif.payload();
        heic = testsupport::encodeHEIF(640, 480, phone);
        files.write("Library/phone.heic", heic);
        // A camera raw file: a 640 × 480 JPEG preview named by its first directory, which says
        // orientation 6.
        ExifBuilder tiff(true);
        std::string preview = encodeJPEG(640, 480);
        uint32_t at = tiff.bytes(preview);
        tiff.first(tiff.directory({ExifBuilder::shortValue(274, 6), ExifBuilder::longValue(513, at),
                                   ExifBuilder::longValue(514, uint32_t(preview.size()))}));
        raw = tiff.payload().substr(6);
        files.write("Library/camera.nef", raw);
        // A phone's film without a thumbnail: 320 × 240 frames a player turns a quarter clockwise.
        demo::FilmSpec film;
        film.width = 320;
        film.height = 240;
        film.rotation = 90;
        film.paint = [](int, uint8_t* rgb) { std::fill(rgb, rgb + 320 * 240 * 3, 128); };
        demo::writeFilm(files.path("Library/clip-phone.mp4"), film);
        // Files sent as stored: the first bytes of their type, padded to 64.
        const std::pair<const char*, std::string> stored[] = {
            {"picture.png", std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x20\0\0\0\x10", 24)},
            {"clip.mov", std::string("\0\0\0\x14", 4) + "ftypqt  "},
            {"broken.jpg", "\xFF\xD8\xFF\xDB\x00\x43 not a picture"}};
        for (auto [name, bytes] : stored) {
            bytes.resize(64, '\0');
            files.write("Library/" + std::string(name), bytes);
        }
        // Photo key, picture, thumbnail (Movie when the picture is a film).
        const char* photos[][3] = {
            {"1", "big.jpg", "thumb.jpg"},     {"2", "picture.png", "thumb.jpg"},
            {"6", "clip.mov", "still.jpg"},    {"7", "broken.jpg", "broken.jpg"},
            {"0042", "big.jpg", "thumb.jpg"},  {"8", "missing.jpg", "missing.jpg"},
            {"9", "empty.jpg", "empty.jpg"},   {"10", "cut.jpg", "cut.jpg"},
            {"12", "huge.jpg", "thumb.jpg"},   {"13", "phone.heic", "thumb.jpg"},
            {"14", "camera.nef", "thumb.jpg"}, {"15", "clip-phone.mp4", "no-thumb.jpg"}};
        std::string master;
        std::vector<std::string> keys;
        for (auto& p : photos) {
            bool film = std::string(p[1]).rfind("clip", 0) == 0;
            master +=
                photo(p[0], p[0], "", lib + "/" + p[1], lib + "/" + p[2], film ? "Movie" : "Image");
            keys.push_back(p[0]);
        }
        std::string albums = album(1, "Published", keys) + album(2, "Private", {"1"});
        files.write("Library/AlbumData.xml", albumFile(albums, master));
        // The same album file, published by a library that keeps its originals.
        files.write("Limited/AlbumData.xml", albumFile(albums, master));
        files.write("prefs.plist",
                    serverPrefs(library(0, lib, true) + library(1, files.path("Limited"), false)));
    }
    static inline std::string big, heic, raw;

    // The reply to target is a JPEG of width × height.
    void expectJpeg(const char* name, const char* target, int width, int height) {
        std::string reply = get(target);
        EXPECT_EQ(headerOf(reply, "Content-Type"), "image/jpeg") << name;
        int w = 0, h = 0, components = 0;
        EXPECT_TRUE(jpegHeader(bodyOf(reply), w, h, components)) << name;
        EXPECT_EQ(std::make_pair(w, h), std::make_pair(width, height)) << name;
    }
};

// Every row: the reply is a JPEG of w × h, or a file sent as stored of the given type (the 64-byte
// fixtures), or, with neither, the error page.
TEST_F(PictureTest, RouteTable) {
    struct Case {
        const char* name;
        const char* target;
        int width = 0, height = 0;
        const char* storedType = nullptr;
    } cases[] = {
        {"thumbnail: re-encoded at its own size", "/thumbnail/?l=0&a=1&p=1", 160, 120},
        {"thumbnail: the key 0042 is photo 42", "/thumbnail/?l=0&a=1&p=42", 160, 120},
        {"thumbnail: a film's still", "/thumbnail/?l=0&a=1&p=6", 640, 480},
        {"thumbnail: no photo", "/thumbnail/?l=0&a=1"},
        {"thumbnail: album not published", "/thumbnail/?l=0&a=2&p=1"},
        {"thumbnail: not a JPEG at all", "/thumbnail/?l=0&a=1&p=7"},
        {"thumbnail: empty file", "/thumbnail/?l=0&a=1&p=9"},
        {"sized: made from the original", "/thumbnail/?l=0&a=1&p=1&size=512", 512, 384},
        {"sized: clamped below", "/thumbnail/?l=0&a=1&p=1&size=10", 64, 48},
        {"sized: clamped above, however large", "/thumbnail/?l=0&a=1&p=1&size=999999999999999999",
         1024, 768},
        {"sized: a film's still is not enlarged", "/thumbnail/?l=0&a=1&p=6&size=1024", 640, 480},
        {"sized: not a JPEG, from the thumbnail", "/thumbnail/?l=0&a=1&p=2&size=100", 100, 75},
        {"sized: no full-size downloads", "/thumbnail/?l=1&a=1&p=12&size=700", 700, 525},
        {"sized: not a whole number", "/thumbnail/?l=0&a=1&p=1&size=12px"},
        {"sized: a sign is not a number", "/thumbnail/?l=0&a=1&p=1&size=+5"},
        {"sized: neither file there", "/thumbnail/?l=0&a=1&p=8&size=256"},
        {"box", "/image/?l=0&a=1&i=0&mw=800&mh=600", 800, 600},
        {"nothing fits: an eighth", "/image/?l=0&a=1&i=0&mw=0&mh=0", 200, 150},
        {"negative boxes are very large", "/image/?l=0&a=1&i=0&mw=-1&mh=-1", 1600, 1200},
        {"a film in a box: its still", "/image/?l=0&a=1&i=2&mw=800&mh=600", 640, 480},
        {"no full-size downloads: re-encoded", "/image/?l=1&a=1&i=0", 1600, 1200},
        {"no full-size downloads: fits 2048", "/image/?l=1&a=1&i=8", 2000, 1500},
        {"exact: fills the height", "/image/?l=0&a=1&i=8&mw=1920&mh=1080&fit=exact", 1440, 1080},
        {"exact: a huge side", "/image/?l=0&a=1&i=8&mw=99999&mh=1500&fit=exact", 2000, 1500},
        {"exact: capped at 2048", "/image/?l=1&a=1&i=8&mw=5000&mh=5000&fit=exact", 2048, 1536},
        {"exact: one pixel", "/image/?l=0&a=1&i=0&mw=1&mh=1&fit=exact", 1, 1},
        {"png as stored", "/image/?l=0&a=1&i=1", 0, 0, "image/png"},
        {"nor fitted", "/image/?l=0&a=1&i=1&mw=10&mh=10&fit=exact", 0, 0, "image/png"},
        {"film", "/image/?l=0&a=1&i=2", 0, 0, "video/quicktime"},
        {"probes as unknown: as stored", "/image/?l=0&a=1&i=3&mw=100&mh=100", 0, 0, "image/jpeg"},
        {"no full-size downloads: films play", "/image/?l=1&a=1&i=2", 0, 0, "video/quicktime"},
        {"no full-size downloads: a png cannot be shrunk", "/image/?l=1&a=1&i=1"},
        {"no index", "/image/?l=0&a=1"},
        {"at the end of the list", "/image/?l=0&a=1&i=12"},
        {"file missing", "/image/?l=0&a=1&i=5"},
        {"album not published", "/image/?l=0&a=2&i=0"},
        {"a JPEG that cannot be decoded", "/image/?l=0&a=1&i=7&mw=100&mh=100"},
        {"exact: one side", "/image/?l=0&a=1&i=0&mw=800&fit=exact"},
        {"exact: a zero side", "/image/?l=0&a=1&i=0&mw=0&mh=600&fit=exact"},
        {"exact: as written", "/image/?l=0&a=1&i=0&mw=800&mh=600&fit=EXACT"},
        {"exact: too long", "/image/?l=0&a=1&i=0&mw=1234567890123456789012&mh=600&fit=exact"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + ": " + c.target);
        std::string reply = get(c.target);
        if (!c.width && !c.storedType) {
            EXPECT_EQ(statusLine(reply), "HTTP/1.1 404 Not Found");
            EXPECT_EQ(headerOf(reply, "Content-Type"), "text/html");
            EXPECT_NE(bodyOf(reply).find("<title>Page Not Found</title>"), std::string::npos);
            continue;
        }
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK");
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.storedType ? c.storedType : "image/jpeg");
        int w = 0, h = 0, components = 0;
        EXPECT_TRUE(c.storedType || jpegHeader(bodyOf(reply), w, h, components));
        EXPECT_EQ(std::make_pair(w, h), std::make_pair(c.width, c.height));
        EXPECT_TRUE(!c.storedType || bodyOf(reply).size() == 64u) << "sent as stored";
    }
    EXPECT_NE(server->output().find("a responder left no reply"), std::string::npos);
    std::string icon = get("/favicon.ico"); // the layout has none: the server's own
    EXPECT_EQ(headerOf(icon, "Content-Type") + " " + bodyOf(icon).substr(0, 4),
              std::string("image/ico \0\0\1\0", 14));
}

TEST_F(PictureTest, OriginalsGoOutByteForByteOnlyWhereTheLibraryAllows) {
    const std::string huge = testsupport::readFile(files->path("Library/huge.jpg"));
    EXPECT_EQ(bodyOf(get("/image/?l=0&a=1&i=0")), big) << "no box: as stored";
    EXPECT_EQ(bodyOf(get("/image/?l=0&a=1&i=0&mw=800")), big) << "both sides are needed";
    EXPECT_EQ(bodyOf(get("/image/?l=0&a=1&i=8")), huge) << "full-size downloads: the original";
    EXPECT_EQ(bodyOf(get("/image/?l=0&a=1&i=8&mw=99999999999&mh=99999999999&fit=exact")), huge)
        << "a box the picture fits sends the original";
    EXPECT_NE(bodyOf(get("/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact")), big)
        << "no full-size downloads: never the original";
}

// A HEIC picture (photo 13, index 9) is made into upright JPEGs wherever a JPEG would be shrunk,
// and its sizes are the upright ones; without a box the original leaves as it is.
TEST_F(PictureTest, HeicPicturesAreMadeIntoUprightJPEGs) {
    if (heic.empty()) GTEST_SKIP() << "libheif has no HEIC encoder here";
    const std::tuple<const char*, const char*, int, int> cases[] = {
        {"sized thumbnail", "/thumbnail/?l=0&a=1&p=13&size=320", 240, 320},
        {"a box", "/image/?l=0&a=1&i=9&mw=240&mh=240", 180, 240},
        {"exact fit, never enlarged", "/image/?l=0&a=1&i=9&mw=5000&mh=5000&fit=exact", 480, 640},
        {"no full-size downloads, no box", "/image/?l=1&a=1&i=9", 480, 640},
    };
    for (const auto& [name, target, width, height] : cases)
        expectJpeg(name, target, width, height);
    std::string original = get("/image/?l=0&a=1&i=9");
    EXPECT_EQ(headerOf(original, "Content-Type"), "image/heic");
    EXPECT_EQ(bodyOf(original), heic);
    std::string info = bodyOf(get("/json/getpicinfo?l=0&a=1&i=9"));
    EXPECT_EQ(info.substr(0, 19), "({ \"h\":640, \"w\":480") << info;
    EXPECT_NE(info.find("\"cameraModel\":\"Phone 15\""), std::string::npos) << info;
}

// A camera raw file (photo 14, index 10) is shown by its JPEG preview, turned by the raw file's
// orientation; without a box the raw file itself leaves.
TEST_F(PictureTest, RawFilesAreShownByTheirPreviewUpright) {
    const std::tuple<const char*, const char*, int, int> cases[] = {
        {"sized thumbnail", "/thumbnail/?l=0&a=1&p=14&size=320", 240, 320},
        {"a box", "/image/?l=0&a=1&i=10&mw=240&mh=240", 180, 240},
        {"no full-size downloads, no box", "/image/?l=1&a=1&i=10", 480, 640},
    };
    for (const auto& [name, target, width, height] : cases)
        expectJpeg(name, target, width, height);
    std::string original = get("/image/?l=0&a=1&i=10");
    EXPECT_EQ(headerOf(original, "Content-Type"), "image/x-nikon-nef");
    EXPECT_EQ(bodyOf(original), raw);
    std::string info = bodyOf(get("/json/getpicinfo?l=0&a=1&i=10"));
    EXPECT_EQ(info.substr(0, 19), "({ \"h\":640, \"w\":480") << info;
}

// A film without a thumbnail (photo 15, index 11) is shown by its poster, upright; its details
// tell what it is, so that a browser can be asked whether it plays it.
TEST_F(PictureTest, FilmsWithoutAThumbnailAreShownByTheirPoster) {
    const std::tuple<const char*, const char*, int, int> cases[] = {
        {"thumbnail", "/thumbnail/?l=0&a=1&p=15", 240, 320},
        {"sized thumbnail", "/thumbnail/?l=0&a=1&p=15&size=160", 120, 160},
        {"a box", "/image/?l=0&a=1&i=11&mw=120&mh=120", 90, 120},
        {"exact fit", "/image/?l=0&a=1&i=11&mw=60&mh=600&fit=exact", 60, 80},
    };
    for (const auto& [name, target, width, height] : cases)
        for (int again = 0; again < 2; ++again) // made, then from the cache of made pictures
            expectJpeg(name, target, width, height);
    EXPECT_EQ(headerOf(get("/image/?l=0&a=1&i=11"), "Content-Type"), "video/mp4");
    std::string page = bodyOf(get("/json/getpics?l=0&a=1&i=11&c=1"));
    EXPECT_NE(page.find("\"id\":15, \"h\":320, \"w\":240"), std::string::npos) << page;
    std::string info = bodyOf(get("/json/getpicinfo?l=0&a=1&i=11"));
    EXPECT_EQ(info.substr(0, 19), "({ \"h\":320, \"w\":240") << info;
    // Appended after the others: its length (its last frame's own length is the muxer's to
    // tell), codec, the type to ask a browser about, and its upright size.
    const std::string lead = ", \"film\":{ \"duration\":";
    size_t film = info.find(lead);
    ASSERT_NE(film, std::string::npos) << info;
    EXPECT_NEAR(std::stod(info.substr(film + lead.size())), 2.0, 0.15) << info;
    EXPECT_NE(
        info.find(", \"codec\":\"mpeg4\", \"codecs\":\"\", \"type\":\"video/mp4\", \"w\":240, "
                  "\"h\":320 } })",
                  film),
        std::string::npos)
        << info;
    // A film with its stored still tells its facts too.
    EXPECT_EQ(bodyOf(get("/json/getpicinfo?l=0&a=1&i=2")).find("\"film\""), std::string::npos);
}

TEST_F(PictureTest, ValidatorsLetBrowsersKeepPicturesAndRevalidateWithoutWork) {
    const char* cases[][2] = {
        // target, the same file in another form: another tag
        {"/thumbnail/?l=0&a=1&p=1", "/image/?l=0&a=1&i=0&mw=160&mh=120"},
        {"/image/?l=1&a=1&i=0", "/image/?l=0&a=1&i=0"},
        {"/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact",
         "/image/?l=0&a=1&i=0&mw=1600&mh=1200&fit=exact"},
        {"/thumbnail/?l=0&a=1&p=1&size=256", "/thumbnail/?l=0&a=1&p=1&size=257"}};
    for (auto& c : cases) {
        SCOPED_TRACE(c[0]);
        std::string first = get(c[0]), tag = headerOf(first, "ETag");
        EXPECT_TRUE(!tag.empty() && !headerOf(first, "Last-Modified").empty());
        EXPECT_EQ(headerOf(first, "Cache-Control"), "max-age=86400");
        std::string again = get(c[0], "If-None-Match: " + tag + "\r\n");
        EXPECT_EQ(statusLine(again) + " " + headerOf(again, "ETag") + bodyOf(again),
                  "HTTP/1.1 304 Not Modified " + tag);
        EXPECT_NE(headerOf(get(c[1]), "ETag"), tag);
    }
    // The thumbnail quality is part of a thumbnail's tag: so is the file's version.
    int quality = 90;
    for (const char* target : {"/thumbnail/?l=0&a=1&p=6", "/thumbnail/?l=0&a=1&p=6&size=300"}) {
        std::string before = get(target);
        files->write("Library/still.jpg",
                     encodeJPEG(640, 480, [&](auto& o) { o.quality = quality--; }));
        std::string changed = get(target, "If-None-Match: " + headerOf(before, "ETag") + "\r\n");
        EXPECT_EQ(statusLine(changed), "HTTP/1.1 200 OK") << "a changed file is sent again";
        EXPECT_NE(headerOf(changed, "ETag"), headerOf(before, "ETag")) << target;
        EXPECT_NE(bodyOf(changed), bodyOf(before)) << target << ": made anew, not from the cache";
    }
}

} // namespace
