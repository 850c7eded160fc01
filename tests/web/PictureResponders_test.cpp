// PictureResponders_test.cpp - thumbnails and pictures through the running server: sizes,
// types, libraries without full-size downloads, validators and what is refused.
#include "cf/CFPropertyList.h"
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

CFStringRef str(const std::string& text) {
    return CFStringCreateWithBytes(text.data(), CFIndex(text.size()), kCFStringEncodingUTF8);
}

// A dictionary from UTF-8 keys to values (each value's reference is given up to it).
CFDictionaryRef dict(const std::vector<std::pair<std::string, CFTypeRef>>& pairs) {
    std::vector<CFTypeRef> keys, values;
    for (auto& [key, value] : pairs) {
        keys.push_back(str(key));
        values.push_back(value);
    }
    CFDictionaryRef made = CFDictionaryCreate(keys.data(), values.data(), CFIndex(keys.size()));
    for (size_t i = 0; i < keys.size(); ++i) {
        CFRelease(keys[i]);
        CFRelease(values[i]);
    }
    return made;
}

CFArrayRef array(const std::vector<CFTypeRef>& values) {
    CFArrayRef made = CFArrayCreate(values.data(), CFIndex(values.size()));
    for (CFTypeRef value : values)
        CFRelease(value);
    return made;
}

CFNumberRef number(int64_t value) {
    return CFNumberCreate(kCFNumberSInt64Type, &value);
}

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
        std::vector<std::pair<std::string, CFTypeRef>> master;
        std::vector<CFTypeRef> keys;
        for (auto& photo : photos) {
            master.push_back({photo.key, dict({{"ImagePath", str(lib + "/" + photo.image)},
                                               {"ThumbPath", str(lib + "/" + photo.thumb)},
                                               {"MediaType", str(photo.type)},
                                               {"Caption", str(photo.key)},
                                               {"Comment", str("")},
                                               {"DateAsTimerInterval", number(0)},
                                               {"ModDateAsTimerInterval", number(0)},
                                               {"MetaModDateAsTimerInterval", number(0)}})});
            keys.push_back(str(photo.key));
        }
        CFTypeRef albums = array({dict({{"AlbumId", number(1)},
                                        {"AlbumName", str("Published")},
                                        {"KeyList", array(keys)}}),
                                  dict({{"AlbumId", number(2)},
                                        {"AlbumName", str("Private")},
                                        {"KeyList", array({str("1")})}})});
        CFDictionaryRef root =
            dict({{"List of Albums", albums}, {"Master Image List", dict(master)}});
        files->write("Library/AlbumData.xml", CFPropertyListCreateXMLText(root));
        // The same album file, published by a library that keeps its originals.
        files->write("Limited/AlbumData.xml", CFPropertyListCreateXMLText(root));
        CFRelease(root);

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

TEST_F(PictureTest, ThumbnailsAreReencodedAtTheirOwnSize) {
    expectJPEG(fetch("/thumbnail/?l=0&a=1&p=1"), 160, 120);
    {
        SCOPED_TRACE("the key 0042 is photo 42");
        expectJPEG(fetch("/thumbnail/?l=0&a=1&p=42"), 160, 120);
    }
    {
        SCOPED_TRACE("a film's still");
        expectJPEG(fetch("/thumbnail/?l=0&a=1&p=6"), 640, 480);
    }
}

TEST_F(PictureTest, ThumbnailRefusals) {
    const char* targets[] = {
        "/thumbnail/?l=0&a=1",      // no photo
        "/thumbnail/?l=0&a=2&p=1",  // album not published
        "/thumbnail/?l=0&a=1&p=77", // not in the album
        "/thumbnail/?l=3&a=1&p=1",  // no such library
        "/thumbnail/?l=0&a=1&p=7",  // not a JPEG at all
        "/thumbnail/?l=0&a=1&p=8",  // file missing
        "/thumbnail/?l=0&a=1&p=9",  // empty file
    };
    for (const char* target : targets) {
        SCOPED_TRACE(target);
        expectErrorPage(fetch(target));
    }
    expectJPEG(fetch("/thumbnail/?l=0&a=1&p=1"), 160, 120);
}

TEST_F(PictureTest, PicturesAreSentAsStoredOrShrunkToTheBox) {
    std::string whole = fetch("/image/?l=0&a=1&i=0");
    EXPECT_EQ(headerOf(whole, "Content-Type"), "image/jpeg");
    EXPECT_EQ(bodyOf(whole), big);
    expectJPEG(fetch("/image/?l=0&a=1&i=0&mw=800&mh=600"), 800, 600);
    {
        SCOPED_TRACE("one step short of fitting");
        expectJPEG(fetch("/image/?l=0&a=1&i=0&mw=799&mh=600"), 800, 600);
    }
    {
        SCOPED_TRACE("nothing fits: an eighth");
        expectJPEG(fetch("/image/?l=0&a=1&i=0&mw=0&mh=0"), 200, 150);
    }
    {
        SCOPED_TRACE("negative boxes are very large");
        expectJPEG(fetch("/image/?l=0&a=1&i=0&mw=-1&mh=-1"), 1600, 1200);
    }
    EXPECT_EQ(bodyOf(fetch("/image/?l=0&a=1&i=0&mw=800")), big) << "both sides are needed to scale";
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
}

TEST_F(PictureTest, FilmsGiveTheirStillInABoxAndTheFileOtherwise) {
    expectJPEG(fetch("/image/?l=0&a=1&i=5&mw=800&mh=600"), 640, 480);
    std::string film = fetch("/image/?l=0&a=1&i=5");
    EXPECT_EQ(headerOf(film, "Content-Type"), "video/quicktime");
    EXPECT_EQ(bodyOf(film).substr(4, 4), "ftyp");
}

TEST_F(PictureTest, LibrariesWithoutFullSizeDownloadsNeverSendOriginals) {
    {
        SCOPED_TRACE("a picture smaller than the limit is re-encoded, not sent");
        std::string reply = fetch("/image/?l=1&a=1&i=0");
        expectJPEG(reply, 1600, 1200);
        EXPECT_NE(bodyOf(reply), big);
    }
    {
        SCOPED_TRACE("a larger one is shrunk to fit 2048 x 2048");
        expectJPEG(fetch("/image/?l=1&a=1&i=12"), 2000, 1500);
    }
    {
        SCOPED_TRACE("no box asks for more than the limit");
        expectJPEG(fetch("/image/?l=1&a=1&i=12&mw=-1&mh=-1"), 2000, 1500);
        expectJPEG(fetch("/image/?l=1&a=1&i=12&mw=2048&mh=2048"), 2000, 1500);
    }
    {
        SCOPED_TRACE("boxes within the limit are answered as anywhere else");
        expectJPEG(fetch("/image/?l=1&a=1&i=0&mw=800&mh=600"), 800, 600);
    }
    for (int index : {1, 2, 3, 4}) {
        SCOPED_TRACE("pictures that cannot be shrunk are refused: " + std::to_string(index));
        expectErrorPage(fetch("/image/?l=1&a=1&i=" + std::to_string(index)));
        expectErrorPage(fetch("/image/?l=1&a=1&mw=10&mh=10&i=" + std::to_string(index)));
    }
    {
        SCOPED_TRACE("films still play");
        std::string film = fetch("/image/?l=1&a=1&i=5");
        EXPECT_EQ(headerOf(film, "Content-Type"), "video/quicktime");
        EXPECT_EQ(bodyOf(film).size(), 64u);
    }
    std::string unlimited = fetch("/image/?l=0&a=1&i=12");
    EXPECT_EQ(bodyOf(unlimited).size(), readFile(files->path("Library/huge.jpg")).size())
        << "a library with full-size downloads sends the original";
}

TEST_F(PictureTest, ValidatorsLetBrowsersKeepPicturesAndRevalidateWithoutWork) {
    struct Case {
        const char* target;
        const char* other; // the same file in another form: another tag
    } cases[] = {
        {"/thumbnail/?l=0&a=1&p=1", "/image/?l=0&a=1&i=0&mw=160&mh=120"},
        {"/image/?l=0&a=1&i=0", "/image/?l=0&a=1&i=0&mw=800&mh=600"},
        {"/image/?l=0&a=1&i=0&mw=800&mh=600", "/image/?l=0&a=1&i=0&mw=799&mh=600"},
        {"/image/?l=1&a=1&i=0", "/image/?l=0&a=1&i=0"},
        {"/image/?l=0&a=1&i=5", "/image/?l=0&a=1&i=5&mw=800&mh=600"},
        {"/image/?l=0&a=1&i=0&mw=800&mh=600&fit=exact", "/image/?l=0&a=1&i=0&mw=800&mh=600"},
        {"/image/?l=0&a=1&i=0&mw=1600&mh=1200&fit=exact", "/image/?l=0&a=1&i=0"},
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

TEST_F(PictureTest, ExactFitFillsTheBoxAndNeverEnlarges) {
    struct Case {
        const char* name;
        const char* target;
        int width, height;
        const char* original = nullptr; // non-null: the file that must go out as stored
    } cases[] = {
        {"landscape touches the box height", "l=0&a=1&i=12&mw=1920&mh=1080", 1440, 1080},
        {"height limits a narrow box", "l=0&a=1&i=0&mw=800&mh=500", 667, 500},
        {"width limits a wide box", "l=0&a=1&i=0&mw=300&mh=1000", 300, 225},
        {"a box the picture fits sends the original", "l=0&a=1&i=0&mw=1600&mh=1200", 1600, 1200,
         "big.jpg"},
        {"so does a huge box", "l=0&a=1&i=12&mw=99999999999&mh=99999999999", 4000, 3000,
         "huge.jpg"},
        {"a huge side is not taken as it is", "l=0&a=1&i=12&mw=99999&mh=1500", 2000, 1500},
        {"no full-size downloads: re-encoded at its size", "l=1&a=1&i=0&mw=1600&mh=1200", 1600,
         1200},
        {"no full-size downloads: capped at 2048", "l=1&a=1&i=12&mw=5000&mh=5000", 2048, 1536},
        {"a film's still", "l=0&a=1&i=5&mw=320&mh=320", 320, 240},
        {"one pixel", "l=0&a=1&i=0&mw=1&mh=1", 1, 1},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::string reply = fetch(std::string("/image/?") + c.target + "&fit=exact");
        expectJPEG(reply, c.width, c.height);
        if (c.original)
            EXPECT_EQ(bodyOf(reply), readFile(files->path(std::string("Library/") + c.original)));
        else
            EXPECT_NE(bodyOf(reply), big);
    }
    EXPECT_EQ(headerOf(fetch("/image/?l=0&a=1&i=1&mw=10&mh=10&fit=exact"), "Content-Type"),
              "image/png")
        << "pictures that are not JPEGs go out as without fit";
}

TEST_F(PictureTest, ExactFitRefusesBadBoxes) {
    const char* targets[] = {
        "mw=800&fit=exact",
        "mh=600&fit=exact",
        "mw=0&mh=600&fit=exact",
        "mw=800&mh=-1&fit=exact",
        "mw=abc&mh=600&fit=exact",
        "mw=8e2&mh=600&fit=exact",
        "mw=&mh=600&fit=exact",
        "mw=800&mh=600&fit=",
        "mw=800&mh=600&fit=EXACT",
        "mw=800&mh=600&fit=cover",
        "fit=exact",
        "mw=1234567890123456789012&mh=600&fit=exact",
    };
    for (const char* target : targets) {
        SCOPED_TRACE(target);
        expectErrorPage(fetch(std::string("/image/?l=0&a=1&i=0&") + target));
    }
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
    for (const char* garbage :
         {"size=", "size=abc", "size=12px", "size=1e3", "size=+5", "size=1234567890123456789012"}) {
        SCOPED_TRACE(garbage);
        expectErrorPage(fetch(std::string("/thumbnail/?l=0&a=1&p=1&") + garbage));
    }
    expectErrorPage(fetch("/thumbnail/?l=0&a=1&p=8&size=256")); // neither file there
}

TEST_F(PictureTest, MadePicturesAreKeptAndServedAgainByteForByte) {
    for (const char* target :
         {"/thumbnail/?l=0&a=1&p=0042&size=300", "/image/?l=0&a=1&i=7&mw=555&mh=555&fit=exact"}) {
        SCOPED_TRACE(target);
        auto kept = [] {
            std::error_code missing;
            std::filesystem::directory_iterator entries(files->path("cache/tessellan"), missing);
            return missing ? 0 : std::distance(entries, std::filesystem::directory_iterator());
        };
        auto before = kept();
        std::string first = fetch(target);
        EXPECT_EQ(kept(), before + 1) << "one entry kept";
        std::string again = fetch(target);
        EXPECT_EQ(statusLine(again), "HTTP/1.1 200 OK");
        EXPECT_EQ(bodyOf(again), bodyOf(first));
        EXPECT_EQ(headerOf(again, "ETag"), headerOf(first, "ETag"));
        EXPECT_EQ(headerOf(again, "Content-Length"), headerOf(first, "Content-Length"));
    }
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
