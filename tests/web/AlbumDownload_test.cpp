// AlbumDownload_test.cpp - /download/ against the running server: the archive of an album with
// clashing names and missing files, read back member by member with its checksum, and every
// refusal answered exactly like an album that does not exist.
#include "JsonFixtures.h"
#include "ZipReader.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <zlib.h>

using namespace jsonfixture;
using testsupport::headerOf;
using testsupport::statusLine;

namespace {

class AlbumDownloadTest : public ServedSuite<AlbumDownloadTest> {
  public:
    static void write(testsupport::TempFolder& files) {
        std::string lib = files.path("Library");
        originals["IMG_1.JPG"] = files.write("Library/a/IMG_1.JPG", jpeg(64, 48));
        originals["IMG_1 (2).JPG"] = files.write("Library/b/IMG_1.JPG", jpeg(48, 64));
        originals["img_1 (3).jpg"] = files.write("Library/c/img_1.jpg", jpeg(32, 32));
        originals["Été.jpg"] = files.write("Library/Été.jpg", jpeg(16, 16));
        files.write("Library/notes.txt", "not a picture");
        std::string photos;
        std::vector<std::string> keys;
        for (const char* path : {"a/IMG_1.JPG", "b/IMG_1.JPG", "gone/IMG_9.JPG", "c/img_1.jpg",
                                 "notes.txt", "Été.jpg"}) {
            keys.push_back(std::to_string(keys.size() + 1));
            photos += photo(keys.back(), "c", "", lib + "/" + path, lib + "/" + path);
        }
        files.write("Library/AlbumData.xml",
                    albumFile(album(1, "Été 2007", keys) + album(2, "Private", {"1"}), photos));
        files.write("prefs.plist", serverPrefs(library(0, lib, true) + library(1, lib, false)));
    }
    static inline std::map<std::string, std::string> originals; // name in the archive -> file
};

TEST_F(AlbumDownloadTest, ArchiveHoldsTheAlbumUnderUniqueNamesAndListsWhatIsMissing) {
    std::string reply = get("/download/?l=0&a=1");
    ASSERT_EQ(statusLine(reply), "HTTP/1.1 200 OK") << reply.substr(0, 400);
    EXPECT_EQ(headerOf(reply, "Content-Type"), "application/zip");
    EXPECT_EQ(headerOf(reply, "Content-Disposition"),
              "attachment; filename=\"_t_ 2007.zip\"; filename*=UTF-8''%C3%89t%C3%A9%202007.zip");
    EXPECT_EQ(headerOf(reply, "Accept-Ranges"), "") << "a zip is answered whole";
    std::string body = testsupport::bodyOf(reply);
    std::string head = testsupport::request(
        server->port(), "HEAD /download/?l=0&a=1 HTTP/1.1\r\nHost: localhost\r\n\r\n", true);
    EXPECT_EQ(headerOf(head, "Content-Length"), std::to_string(body.size()));
    EXPECT_EQ(testsupport::bodyOf(head), "");

    std::string zip = files->write("album.zip", body);
    int fd = open(zip.c_str(), O_RDONLY);
    ziptest::Archive archive = ziptest::readArchive(fd, body.size());
    ASSERT_EQ(archive.error, "") << "a small album needs no ZIP64";
    std::vector<std::string> names;
    for (const ziptest::Entry& entry : archive.entries) {
        names.push_back(entry.name);
        EXPECT_EQ(entry.flags, 0x0808) << entry.name << ": descriptor and UTF-8 flags";
        EXPECT_EQ(entry.method, 0) << entry.name << ": stored";
        std::string data = ziptest::memberData(fd, entry);
        EXPECT_EQ(entry.crc, crc32(0, reinterpret_cast<const Bytef*>(data.data()), data.size()))
            << entry.name;
        if (originals.count(entry.name))
            EXPECT_EQ(data, testsupport::readFile(originals[entry.name])) << entry.name;
        else
            EXPECT_EQ(data, "These files of the album could not be read and are not in the "
                            "archive:\nIMG_9.JPG\nnotes.txt\n");
    }
    close(fd);
    EXPECT_EQ(names, (std::vector<std::string>{"IMG_1.JPG", "IMG_1 (2).JPG", "img_1 (3).jpg",
                                               "Été.jpg", "missing files.txt"}));
}

TEST_F(AlbumDownloadTest, RefusalsLookLikeAnAlbumThatDoesNotExist) {
    std::string missing = get("/download/?l=0&a=99");
    EXPECT_EQ(statusLine(missing), "HTTP/1.1 404 Not Found");
    struct Case {
        const char* name;
        const char* target;
    } cases[] = {
        {"an unpublished album is reachable", "/download/?l=0&a=2"},
        {"a library without full-size downloads lets originals out", "/download/?l=1&a=1"},
        {"an unknown library is answered", "/download/?l=7&a=1"},
        {"a missing album number is taken for one", "/download/?l=0"},
        {"a missing library number is taken for one", "/download/?a=1"},
        {"an album that is not a number is taken for one", "/download/?l=0&a=x"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(get(c.target), missing) << c.name;
}

} // namespace
