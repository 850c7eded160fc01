// faults_process_test.cpp - the running server when its files go wrong under it: the album file
// vanishing, cut short or replaced while clients keep asking, and the made-pictures cache
// filling its disk.
#include "JsonFixtures.h"
#include "web/RequestHandler.h"

#include <atomic>
#include <gtest/gtest.h>
#include <optional>
#include <sys/mount.h>
#include <sys/stat.h>
#include <thread>

using namespace jsonfixture;
using testsupport::bodyOf;
using testsupport::get;
using testsupport::headerOf;
using testsupport::statusLine;

namespace {

size_t countOf(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        ++n;
    return n;
}

// An album file holding one album named name with pictures 1..count (Library/N.jpg).
std::string albumOf(const std::string& lib, const std::string& name, int count) {
    std::string photos;
    std::vector<std::string> keys;
    for (int i = 1; i <= count; ++i) {
        std::string key = std::to_string(i), path = lib + "/" + key + ".jpg";
        photos += photo(key, "c" + key, "", path, path), keys.push_back(key);
    }
    return albumFile(album(1, name, keys), photos);
}

// Gives the file at path the modification time seconds.
void setTime(const std::string& path, time_t seconds) {
    timespec times[2] = {{seconds, 0}, {seconds, 0}};
    utimensat(AT_FDCWD, path.c_str(), times, 0);
}

class FaultTest : public ::testing::Test {
  protected:
    void SetUp() override {
        lib = files.path("Library");
        for (int i = 1; i <= 6; ++i)
            files.write("Library/" + std::to_string(i) + ".jpg", jpeg(320 + 16 * i, 240));
        album = files.write("Library/AlbumData.xml", albumOf(lib, "Before", 6));
        setTime(album, loaded);
        files.write("prefs.plist", serverPrefs(library(0, lib, true)));
        files.sub("cache");
    }
    void TearDown() override {
        server.stop();
        if (mounted) umount2(files.path("cache").c_str(), MNT_DETACH);
    }
    bool start() {
        return server.start({"--prefs", files.path("prefs.plist"), "--resources",
                             TESSELLAN_SOURCE_DIR "/resources"},
                            {{"XDG_CACHE_HOME", files.path("cache")}});
    }
    testsupport::TempFolder files;
    std::string lib, album;
    const time_t loaded = 1700000000;
    bool mounted = false;
    testsupport::ServerProcess server;
};

TEST_F(FaultTest, AlbumFileVanishingCutShortOrReplacedUnderLoad) {
    ASSERT_TRUE(start()) << server.output();
    int port = server.port();
    ASSERT_NE(bodyOf(get(port, "/json/getalbums?l=0")).find("Before"), std::string::npos);
    // Clients keep asking for the album list and a picture for the whole test; every request
    // must get some reply, never a dropped connection.
    std::atomic<bool> stop{false};
    std::atomic<int> asked{0}, unanswered{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 3; ++c)
        clients.emplace_back([&, c] {
            const char* targets[] = {"/json/getalbums?l=0", "/json/getpics?l=0&a=1&i=0&c=6",
                                     "/image/?l=0&a=1&i=2&mw=100&mh=100"};
            while (!stop) {
                ++asked;
                if (statusLine(get(port, targets[c])).rfind("HTTP/1.1 ", 0) != 0) ++unanswered;
            }
        });
    std::string full = testsupport::readFile(album);
    const struct {
        const char* name;
        std::optional<std::string> text; // the new album file; none: it is removed
        const char* albums;              // what /json/getalbums?l=0 comes to name
        size_t lines;                    // log lines about the album file it may add
    } steps[] = {
        {"a vanished file keeps the version in memory", std::nullopt, "Before", 0},
        {"a file cut short is reported once", full.substr(0, full.size() / 2), "Before", 1},
        {"an empty file likewise", "", "Before", 1},
        {"a new file is picked up", albumOf(lib, "After", 3), "After", 0},
    };
    time_t when = loaded;
    for (auto& step : steps) {
        SCOPED_TRACE(step.name);
        size_t before = countOf(server.output(), "album file");
        // The new version in one step, with a time of its own, so that the server sees it whole.
        std::string fresh = files.write("replacement", step.text.value_or(""));
        setTime(fresh, when += 10);
        step.text ? rename(fresh.c_str(), album.c_str()) : unlink(album.c_str());
        std::string albums;
        for (int i = 0; i < 150; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            albums = bodyOf(get(port, "/json/getalbums?l=0"));
            // Past the time a reply may be reused, some request has met the changed file.
            bool seen = uint64_t(i) * 20 > kReplyFreshMilliseconds + 200;
            if (seen && albums.find(step.albums) != std::string::npos) break;
        }
        EXPECT_NE(albums.find(step.albums), std::string::npos) << albums;
        EXPECT_EQ(countOf(server.output(), "album file") - before, step.lines) << server.output();
    }
    stop = true;
    for (auto& client : clients)
        client.join();
    EXPECT_GT(asked.load(), 20);
    EXPECT_EQ(unanswered.load(), 0);
    EXPECT_EQ(bodyOf(get(port, "/json/getpics?l=0&a=1&i=0&c=6")).find("\"c4\""), std::string::npos)
        << "the new album has three pictures";
}

TEST_F(FaultTest, AFullCacheDiskStillServesEveryPictureWithOneLine) {
    // A real full disk: a 64 KiB file system where the cache folder lives, all but 8 KiB of it
    // taken, so that the first pictures fill it.
    if (mount("tmpfs", files.path("cache").c_str(), "tmpfs", 0, "size=64k,mode=0700") != 0)
        GTEST_SKIP() << "cannot mount a small file system here: " << strerror(errno);
    mounted = true;
    files.write("cache/filler", std::string(56 * 1024, 'x'));
    ASSERT_TRUE(start()) << server.output();
    for (int size = 200; size < 260; size += 4) {
        SCOPED_TRACE(size);
        std::string reply =
            get(server.port(), "/thumbnail/?l=0&a=1&p=" + std::to_string(1 + size % 6) +
                                   "&size=" + std::to_string(size));
        ASSERT_EQ(statusLine(reply), "HTTP/1.1 200 OK");
        EXPECT_EQ(headerOf(reply, "Content-Type"), "image/jpeg");
        EXPECT_EQ(bodyOf(reply).substr(0, 2), "\xFF\xD8");
    }
    std::string output = server.output();
    EXPECT_EQ(countOf(output, "picture cache"), 1u) << output;
    EXPECT_NE(output.find("No space left on device"), std::string::npos) << output;
}

} // namespace
