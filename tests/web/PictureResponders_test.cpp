// PictureResponders_test.cpp - thumbnails and pictures through the running server: sizes,
// types, libraries without full-size downloads, validators and what is refused; the JSON API's
// place in the responder table.
#include "JsonFixtures.h"
#include "image/ImageFixtures.h"
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace {

using testsupport::bodyOf;
using testsupport::get;
using testsupport::headerOf;
using testsupport::statusLine;

std::string padded(std::string bytes) {
    bytes.resize(64, '\0');
    return bytes;
}

class PictureTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        files = new testsupport::TempFolder;
        std::string lib = files->path() + "/Library";
        big = encodeJPEG(1600, 1200);
        files->write("Library/big.jpg", big);
        files->write("Library/still.jpg", encodeJPEG(640, 480));
        files->write("Library/thumb.jpg", encodeJPEG(160, 120));
        files->write(
            "Library/picture.png",
            padded(std::string("\x89PNG\r\n\x1a\n\0\0\0\x0dIHDR\0\0\0\x20\0\0\0\x10", 24)));
        files->write("Library/picture.gif", padded("GIF89a\x20\0\x10\0"));
        files->write("Library/picture.bmp",
                     padded(std::string("BM\x40\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0", 18)));
        files->write("Library/picture.tif", padded(std::string("II*\0", 4)));
        files->write("Library/clip.mov", padded(std::string("\0\0\0\x14"
                                                            "ftypqt  ",
                                                            12)));
        files->write("Library/clip.avi", padded(std::string("RIFF\0\0\0\0AVI LIST", 16)));
        files->write("Library/huge.jpg", encodeJPEG(4000, 3000));
        files->write("Library/broken.jpg", padded("\xFF\xD8\xFF\xDB\x00\x43 not a picture"));
        files->write("Library/empty.jpg", "");
        files->write("Library/cut.jpg", big.substr(0, 300)); // a JFIF header cut inside its tables

        struct Photo {
            const char* key;
            const char* image;
            const char* thumb;
            const char* type;
        } photos[] = {
            {"1", "big.jpg", "thumb.jpg", "Image"},
            {"2", "picture.png", "thumb.jpg", "Image"},
            {"3", "picture.gif", "thumb.jpg", "Image"},
            {"4", "picture.bmp", "thumb.jpg", "Image"},
            {"5", "picture.tif", "thumb.jpg", "Image"},
            {"6", "clip.mov", "still.jpg", "Movie"},
            {"7", "broken.jpg", "broken.jpg", "Image"},
            {"0042", "big.jpg", "thumb.jpg", "Image"},
            {"8", "missing.jpg", "missing.jpg", "Image"},
            {"9", "empty.jpg", "empty.jpg", "Image"},
            {"10", "cut.jpg", "cut.jpg", "Image"},
            {"11", "clip.avi", "thumb.jpg", "Movie"},
            {"12", "huge.jpg", "thumb.jpg", "Image"},
        };
        std::string master;
        std::vector<std::string> keys;
        for (auto& p : photos) {
            master += jsonfixture::photo(p.key, p.key, "", lib + "/" + p.image, lib + "/" + p.thumb,
                                         p.type);
            keys.push_back(p.key);
        }
        std::string albums =
            jsonfixture::album(1, "Published", keys) + jsonfixture::album(2, "Private", {"1"});
        files->write("Library/AlbumData.xml", jsonfixture::albumFile(albums, master));
        // The same album file, published by a library that keeps its originals.
        files->write("Limited/AlbumData.xml", jsonfixture::albumFile(albums, master));

        files->write("prefs.plist", jsonfixture::serverPrefs(
                                        jsonfixture::library(0, lib, true) +
                                        jsonfixture::library(1, files->path("Limited"), false)));
        server = new testsupport::ServerProcess;
        ASSERT_TRUE(server->start({"--prefs", files->path() + "/prefs.plist", "--resources",
                                   TESSELLAN_SOURCE_DIR "/resources"},
                                  {{"XDG_CACHE_HOME", files->path() + "/cache"}}));
        port = server->port();
    }
    static void TearDownTestSuite() {
        delete server;
        delete files;
    }
    static std::string fetch(const std::string& target, const std::string& headers = "") {
        return get(port, target, headers);
    }
    static testsupport::TempFolder* files;
    static testsupport::ServerProcess* server;
    static int port;
    static std::string big;
};
testsupport::TempFolder* PictureTest::files;
testsupport::ServerProcess* PictureTest::server;
int PictureTest::port;
std::string PictureTest::big;

// Every row: the reply is a JPEG of w × h, or a file sent as stored of the given type (the
// 64-byte fixtures), or, with neither, the error page.
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
        {"sized: from the original, not the 160 px thumbnail", "/thumbnail/?l=0&a=1&p=1&size=512",
         512, 384},
        {"sized: above the range is clamped", "/thumbnail/?l=0&a=1&p=1&size=5000", 1024, 768},
        {"sized: below the range is clamped", "/thumbnail/?l=0&a=1&p=1&size=10", 64, 48},
        {"sized: huge is clamped", "/thumbnail/?l=0&a=1&p=1&size=999999999999999999", 1024, 768},
        {"sized: a film from its stored still, not enlarged", "/thumbnail/?l=0&a=1&p=6&size=1024",
         640, 480},
        {"sized: not a JPEG, from the stored thumbnail", "/thumbnail/?l=0&a=1&p=2&size=100", 100,
         75},
        {"sized: no full-size downloads", "/thumbnail/?l=1&a=1&p=12&size=700", 700, 525},
        {"sized: not a whole number", "/thumbnail/?l=0&a=1&p=1&size=12px"},
        {"sized: a sign is not a number", "/thumbnail/?l=0&a=1&p=1&size=+5"},
        {"sized: neither file there", "/thumbnail/?l=0&a=1&p=8&size=256"},
        {"box", "/image/?l=0&a=1&i=0&mw=800&mh=600", 800, 600},
        {"nothing fits: an eighth", "/image/?l=0&a=1&i=0&mw=0&mh=0", 200, 150},
        {"negative boxes are very large", "/image/?l=0&a=1&i=0&mw=-1&mh=-1", 1600, 1200},
        {"a film in a box: its still", "/image/?l=0&a=1&i=5&mw=800&mh=600", 640, 480},
        {"no full-size downloads: re-encoded", "/image/?l=1&a=1&i=0", 1600, 1200},
        {"no full-size downloads: shrunk to fit 2048", "/image/?l=1&a=1&i=12", 2000, 1500},
        {"exact: landscape touches the box height",
         "/image/?l=0&a=1&i=12&mw=1920&mh=1080&fit=exact", 1440, 1080},
        {"exact: width limits a wide box", "/image/?l=0&a=1&i=0&mw=300&mh=1000&fit=exact", 300,
         225},
        {"exact: a huge side is not taken as it is",
         "/image/?l=0&a=1&i=12&mw=99999&mh=1500&fit=exact", 2000, 1500},
        {"exact: no full-size downloads, capped at 2048",
         "/image/?l=1&a=1&i=12&mw=5000&mh=5000&fit=exact", 2048, 1536},
        {"exact: one pixel", "/image/?l=0&a=1&i=0&mw=1&mh=1&fit=exact", 1, 1},
        {"png as stored", "/image/?l=0&a=1&i=1", 0, 0, "image/png"},
        {"only JPEGs are scaled", "/image/?l=0&a=1&i=1&mw=10&mh=10", 0, 0, "image/png"},
        {"nor fitted", "/image/?l=0&a=1&i=1&mw=10&mh=10&fit=exact", 0, 0, "image/png"},
        {"gif", "/image/?l=0&a=1&i=2&mw=10&mh=10", 0, 0, "image/gif"},
        {"bmp", "/image/?l=0&a=1&i=3", 0, 0, "image/bmp"},
        {"tiff", "/image/?l=0&a=1&i=4&mw=10&mh=10", 0, 0, "image/tiff"},
        {"film", "/image/?l=0&a=1&i=5", 0, 0, "video/quicktime"},
        {"another film", "/image/?l=0&a=1&i=11", 0, 0, "video/x-msvideo"},
        {"starts like a JPEG, probes as unknown: sent as stored",
         "/image/?l=0&a=1&i=6&mw=100&mh=100", 0, 0, "image/jpeg"},
        {"no full-size downloads: films still play", "/image/?l=1&a=1&i=5", 0, 0,
         "video/quicktime"},
        {"no full-size downloads: a png cannot be shrunk", "/image/?l=1&a=1&i=1"},
        {"no full-size downloads: nor in a box", "/image/?l=1&a=1&mw=10&mh=10&i=3"},
        {"no index", "/image/?l=0&a=1"},
        {"at the end of the list", "/image/?l=0&a=1&i=13"},
        {"file missing", "/image/?l=0&a=1&i=8"},
        {"no such library", "/image/?l=9&a=1&i=0"},
        {"album not published", "/image/?l=0&a=2&i=0"},
        {"a JPEG that cannot be decoded", "/image/?l=0&a=1&i=10&mw=100&mh=100"},
        {"exact: one side", "/image/?l=0&a=1&i=0&mw=800&fit=exact"},
        {"exact: a zero side", "/image/?l=0&a=1&i=0&mw=0&mh=600&fit=exact"},
        {"exact: not a whole number", "/image/?l=0&a=1&i=0&mw=8e2&mh=600&fit=exact"},
        {"exact: as written", "/image/?l=0&a=1&i=0&mw=800&mh=600&fit=EXACT"},
        {"exact: too long a number",
         "/image/?l=0&a=1&i=0&mw=1234567890123456789012&mh=600&fit=exact"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.name) + ": " + c.target);
        std::string reply = fetch(c.target);
        if (!c.width && !c.storedType) {
            EXPECT_EQ(statusLine(reply), "HTTP/1.1 404 Not Found");
            EXPECT_NE(bodyOf(reply).find("<title>Page Not Found</title>"), std::string::npos);
            continue;
        }
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK");
        EXPECT_EQ(headerOf(reply, "Content-Type"), c.storedType ? c.storedType : "image/jpeg");
        if (c.storedType) {
            EXPECT_EQ(bodyOf(reply).size(), 64u);
        } else {
            int w = 0, h = 0, components = 0;
            EXPECT_TRUE(jpegHeader(bodyOf(reply), w, h, components));
            EXPECT_EQ(std::make_pair(w, h), std::make_pair(c.width, c.height));
        }
    }
    EXPECT_NE(server->output().find("a responder left no reply"), std::string::npos);
}

TEST_F(PictureTest, OriginalsGoOutByteForByteOnlyWhereTheLibraryAllows) {
    const std::string huge = readFile(files->path("Library/huge.jpg"));
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=0")), big) << "no box: as stored";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=0&mw=800")), big) << "both sides are needed";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=12")), huge) << "full-size downloads: the original";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=12&mw=99999999999&mh=99999999999&fit=exact")), huge)
        << "a box the picture fits sends the original";
    EXPECT_NE(bodyOf(fetch("/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact")), big)
        << "no full-size downloads: never the original";
}

TEST_F(PictureTest, ValidatorsLetBrowsersKeepPicturesAndRevalidateWithoutWork) {
    struct Case {
        const char* target;
        const char* other; // the same file in another form: another tag
    } cases[] = {
        {"/thumbnail/?l=0&a=1&p=1", "/image/?l=0&a=1&i=0&mw=160&mh=120"},
        {"/image/?l=1&a=1&i=0", "/image/?l=0&a=1&i=0"},
        {"/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact",
         "/image/?l=0&a=1&i=0&mw=1600&mh=1200&fit=exact"},
        {"/thumbnail/?l=0&a=1&p=1&size=256", "/thumbnail/?l=0&a=1&p=1&size=257"},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.target);
        std::string first = fetch(c.target);
        std::string tag = headerOf(first, "ETag");
        ASSERT_FALSE(tag.empty());
        EXPECT_NE(headerOf(first, "Last-Modified"), "");
        EXPECT_EQ(headerOf(first, "Cache-Control"), "max-age=86400");
        std::string again = fetch(c.target, "If-None-Match: " + tag + "\r\n");
        EXPECT_EQ(statusLine(again), "HTTP/1.1 304 Not Modified");
        EXPECT_EQ(headerOf(again, "ETag"), tag);
        EXPECT_EQ(bodyOf(again), "");
        EXPECT_NE(headerOf(fetch(c.other), "ETag"), tag);
    }
    // The thumbnail quality is part of a thumbnail's tag: so is the file's version.
    std::string before = headerOf(fetch("/thumbnail/?l=0&a=1&p=6"), "ETag");
    files->write("Library/still.jpg", encodeJPEG(640, 480, 3, 90));
    std::string changed = fetch("/thumbnail/?l=0&a=1&p=6", "If-None-Match: " + before + "\r\n");
    EXPECT_EQ(statusLine(changed), "HTTP/1.1 200 OK") << "a changed file is sent again";
    EXPECT_NE(headerOf(changed, "ETag"), before);
}

TEST_F(PictureTest, TheJsonApiAnswersUnderItsOwnDirectoryOnly) {
    std::string helper = fetch("/json/tessellan.js");
    EXPECT_EQ(headerOf(helper, "Content-Type"), "application/x-javascript");
    EXPECT_NE(bodyOf(helper).find("Tessellan.parseReply"), std::string::npos);
    EXPECT_EQ(headerOf(fetch("/json/getsite"), "Content-Type"), "text/javascript; charset=UTF-8");
    for (const char* target : {"/JSON/getsite", "/json/getSite", "/json/sub/getsite"})
        EXPECT_EQ(statusLine(fetch(target)), "HTTP/1.1 404 Not Found") << target;
}

} // namespace
