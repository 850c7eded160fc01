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

// A preferences entry for the library in folder.
std::string libraryEntry(int id, const std::string& folder, bool fullSize) {
    return "<dict><key>id</key><integer>" + std::to_string(id) +
           "</integer><key>name</key><string>L</string><key>path</key><string>" + folder +
           "</string><key>albums</key><array><integer>1</integer></array>"
           "<key>FullSizeDownload</key>" +
           (fullSize ? "<true/>" : "<false/>") + "</dict>";
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

        files->write("prefs.plist", "<plist><dict><key>port</key><integer>0</integer>"
                                    "<key>siteLayout</key><string>Default</string><key>libraries"
                                    "</key><array>" +
                                        libraryEntry(0, lib, true) +
                                        libraryEntry(1, files->path() + "/Limited", false) +
                                        "</array></dict></plist>");
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
    static void expectJPEG(const std::string& reply, int width, int height) {
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK");
        EXPECT_EQ(headerOf(reply, "Content-Type"), "image/jpeg");
        int w = 0, h = 0, components = 0;
        ASSERT_TRUE(jpegHeader(bodyOf(reply), w, h, components));
        EXPECT_EQ(w, width);
        EXPECT_EQ(h, height);
    }
    static void expectErrorPage(const std::string& reply) {
        EXPECT_EQ(statusLine(reply), "HTTP/1.1 404 Not Found");
        EXPECT_NE(bodyOf(reply).find("<title>Page Not Found</title>"), std::string::npos);
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

TEST_F(PictureTest, ThumbnailsAreReencodedAtTheirOwnSizeOrRefused) {
    expectJPEG(fetch("/thumbnail/?l=0&a=1&p=1"), 160, 120);
    expectJPEG(fetch("/thumbnail/?l=0&a=1&p=42"), 160, 120); // the key 0042 is photo 42
    expectJPEG(fetch("/thumbnail/?l=0&a=1&p=6"), 640, 480);  // a film's still
    const char* refused[] = {
        "/thumbnail/?l=0&a=1",      // no photo
        "/thumbnail/?l=0&a=2&p=1",  // album not published
        "/thumbnail/?l=0&a=1&p=77", // not in the album
        "/thumbnail/?l=3&a=1&p=1",  // no such library
        "/thumbnail/?l=0&a=1&p=7",  // not a JPEG at all
        "/thumbnail/?l=0&a=1&p=8",  // file missing
        "/thumbnail/?l=0&a=1&p=9",  // empty file
    };
    for (const char* target : refused) {
        SCOPED_TRACE(target);
        expectErrorPage(fetch(target));
    }
}

TEST_F(PictureTest, PicturesComeShrunkOrFittedToTheBox) {
    struct Case {
        const char* name;
        const char* query;
        int width, height;
    } cases[] = {
        {"the box", "l=0&a=1&i=0&mw=800&mh=600", 800, 600},
        {"one step short of fitting", "l=0&a=1&i=0&mw=799&mh=600", 800, 600},
        {"nothing fits: an eighth", "l=0&a=1&i=0&mw=0&mh=0", 200, 150},
        {"negative boxes are very large", "l=0&a=1&i=0&mw=-1&mh=-1", 1600, 1200},
        {"a film in a box: its still", "l=0&a=1&i=5&mw=800&mh=600", 640, 480},
        {"no full-size downloads: re-encoded", "l=1&a=1&i=0", 1600, 1200},
        {"no full-size downloads: shrunk to fit 2048", "l=1&a=1&i=12", 2000, 1500},
        {"no full-size downloads: no box asks for more", "l=1&a=1&i=12&mw=-1&mh=-1", 2000, 1500},
        {"no full-size downloads: a box within the limit", "l=1&a=1&i=0&mw=800&mh=600", 800, 600},
        {"exact: landscape touches the box height", "l=0&a=1&i=12&mw=1920&mh=1080&fit=exact", 1440,
         1080},
        {"exact: width limits a wide box", "l=0&a=1&i=0&mw=300&mh=1000&fit=exact", 300, 225},
        {"exact: a box the picture fits", "l=0&a=1&i=0&mw=1600&mh=1200&fit=exact", 1600, 1200},
        {"exact: a huge side is not taken as it is", "l=0&a=1&i=12&mw=99999&mh=1500&fit=exact",
         2000, 1500},
        {"exact: no full-size downloads, capped at 2048", "l=1&a=1&i=12&mw=5000&mh=5000&fit=exact",
         2048, 1536},
        {"exact: a film's still", "l=0&a=1&i=5&mw=320&mh=320&fit=exact", 320, 240},
        {"exact: one pixel", "l=0&a=1&i=0&mw=1&mh=1&fit=exact", 1, 1},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        expectJPEG(fetch(std::string("/image/?") + c.query), c.width, c.height);
    }
    const std::string huge = readFile(files->path("Library/huge.jpg"));
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=0")), big) << "no box: as stored";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=0&mw=800")), big) << "both sides are needed";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=12")), huge) << "full-size downloads: the original";
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=12&mw=99999999999&mh=99999999999&fit=exact")), huge)
        << "a box the picture fits sends the original";
    EXPECT_NE(bodyOf(fetch("/image/?l=1&a=1&i=0")), big) << "no full-size downloads: never it";
    EXPECT_NE(bodyOf(fetch("/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact")), big);
}

TEST_F(PictureTest, FilesGoOutAsStoredWithTheirRealTypes) {
    struct Case {
        int index;
        const char* type;
    } cases[] = {{1, "image/png"},  {2, "image/gif"},       {3, "image/bmp"},
                 {4, "image/tiff"}, {5, "video/quicktime"}, {11, "video/x-msvideo"}};
    for (auto& c : cases) {
        for (const char* box : {"", "&mw=10&mh=10"}) {
            if (*box && (c.index == 5 || c.index == 11)) continue; // films in a box: their still
            std::string reply = fetch("/image/?l=0&a=1&i=" + std::to_string(c.index) + box);
            SCOPED_TRACE(std::to_string(c.index) + box);
            EXPECT_EQ(statusLine(reply), "HTTP/1.1 200 OK");
            EXPECT_EQ(headerOf(reply, "Content-Type"), c.type) << "and only JPEGs are scaled";
            EXPECT_EQ(bodyOf(reply).size(), 64u);
        }
    }
    EXPECT_EQ(headerOf(fetch("/image/?l=0&a=1&i=1&mw=10&mh=10&fit=exact"), "Content-Type"),
              "image/png")
        << "pictures that are not JPEGs go out as without fit";
}

TEST_F(PictureTest, LibrariesWithoutFullSizeDownloadsRefuseWhatTheyCannotShrink) {
    for (int index : {1, 2, 3, 4}) {
        SCOPED_TRACE(index);
        expectErrorPage(fetch("/image/?l=1&a=1&i=" + std::to_string(index)));
        expectErrorPage(fetch("/image/?l=1&a=1&mw=10&mh=10&i=" + std::to_string(index)));
    }
    std::string film = fetch("/image/?l=1&a=1&i=5");
    EXPECT_EQ(headerOf(film, "Content-Type"), "video/quicktime") << "films still play";
    EXPECT_EQ(bodyOf(film).size(), 64u);
}

TEST_F(PictureTest, ValidatorsLetBrowsersKeepPicturesAndRevalidateWithoutWork) {
    struct Case {
        const char* target;
        const char* other; // the same file in another form: another tag
    } cases[] = {
        {"/thumbnail/?l=0&a=1&p=1", "/image/?l=0&a=1&i=0&mw=160&mh=120"},
        {"/image/?l=0&a=1&i=0", "/image/?l=0&a=1&i=0&mw=800&mh=600"},
        {"/image/?l=1&a=1&i=0", "/image/?l=0&a=1&i=0"},
        {"/image/?l=0&a=1&i=0&mw=800&mh=600&fit=exact", "/image/?l=0&a=1&i=0&mw=800&mh=600"},
        {"/image/?l=1&a=1&i=0&mw=1600&mh=1200&fit=exact",
         "/image/?l=0&a=1&i=0&mw=1600&mh=1200&fit=exact"},
        {"/thumbnail/?l=0&a=1&p=1&size=256", "/thumbnail/?l=0&a=1&p=1&size=257"},
        {"/thumbnail/?l=0&a=1&p=2&size=100", "/thumbnail/?l=0&a=1&p=2"},
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

TEST_F(PictureTest, SizedThumbnailsComeFromTheOriginal) {
    struct Case {
        const char* name;
        const char* target;
        int width, height;
    } cases[] = {
        {"from the original, not the 160 px thumbnail", "p=1&size=512", 512, 384},
        {"the range's top", "p=1&size=1024", 1024, 768},
        {"above the range is clamped", "p=1&size=5000", 1024, 768},
        {"below the range is clamped", "p=1&size=10", 64, 48},
        {"negative is clamped", "p=1&size=-300", 64, 48},
        {"huge is clamped", "p=1&size=999999999999999999", 1024, 768},
        {"an original smaller than the size keeps its own", "p=12&size=1024", 1024, 768},
        {"a film: from its stored still, not enlarged", "p=6&size=1024", 640, 480},
        {"not a JPEG: from the stored thumbnail", "p=2&size=100", 100, 75},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        expectJPEG(fetch(std::string("/thumbnail/?l=0&a=1&") + c.target), c.width, c.height);
    }
    expectJPEG(fetch("/thumbnail/?l=1&a=1&p=12&size=700"), 700, 525);
}

TEST_F(PictureTest, TheJsonApiAnswersUnderItsOwnDirectoryOnly) {
    std::string helper = fetch("/json/tessellan.js");
    EXPECT_EQ(headerOf(helper, "Content-Type"), "application/x-javascript");
    EXPECT_NE(bodyOf(helper).find("Tessellan.parseReply"), std::string::npos);
    EXPECT_EQ(headerOf(fetch("/json/getsite"), "Content-Type"), "text/javascript; charset=UTF-8");
    for (const char* target : {"/JSON/getsite", "/json/getSite", "/json/sub/getsite"})
        EXPECT_EQ(statusLine(fetch(target)), "HTTP/1.1 404 Not Found") << target;
}

TEST_F(PictureTest, PictureRefusals) {
    const char* targets[] = {
        "/image/?l=0&a=1",                    // no index: no reply from the responder
        "/image/?l=0&a=1&i=-1",               // before the list
        "/image/?l=0&a=1&i=13",               // at the end of the list
        "/image/?l=0&a=1&i=8",                // file missing
        "/image/?l=9&a=1&i=0",                // no such library
        "/image/?l=0&a=2&i=0",                // album not published
        "/image/?l=0&a=1&i=10&mw=100&mh=100", // a JPEG that cannot be decoded
        // Exact fit needs both sides as whole positive numbers, and fit=exact as written.
        "/image/?l=0&a=1&i=0&mw=800&fit=exact", "/image/?l=0&a=1&i=0&mw=0&mh=600&fit=exact",
        "/image/?l=0&a=1&i=0&mw=8e2&mh=600&fit=exact",
        "/image/?l=0&a=1&i=0&mw=800&mh=600&fit=EXACT",
        "/image/?l=0&a=1&i=0&mw=1234567890123456789012&mh=600&fit=exact",
        // Sizes are whole numbers too.
        "/thumbnail/?l=0&a=1&p=1&size=", "/thumbnail/?l=0&a=1&p=1&size=12px",
        "/thumbnail/?l=0&a=1&p=1&size=+5",
        "/thumbnail/?l=0&a=1&p=8&size=256", // neither file there
    };
    for (const char* target : targets) {
        SCOPED_TRACE(target);
        expectErrorPage(fetch(target));
    }
    EXPECT_NE(server->output().find("a responder left no reply"), std::string::npos);
    std::string pretender = fetch("/image/?l=0&a=1&i=6&mw=100&mh=100");
    EXPECT_EQ(headerOf(pretender, "Content-Type"), "image/jpeg")
        << "starts like a JPEG, probes as unknown: sent as stored";
    EXPECT_EQ(bodyOf(pretender).size(), 64u);
}

} // namespace
