// concurrent_queries_test.cpp - queries from several threads while the album file reloads.
#include "library/LibraryRegistry.h"

#include "album_fixture.h"

#include <atomic>
#include <thread>

using namespace fixture;

namespace {

// Version v of the library: album 1 holds photos 100..139, each captioned "v<v>", album 2 is
// not published. Photo 100 is first in album 1 in every version.
std::string version(int v) {
    std::string photos, tag = "v" + std::to_string(v);
    std::vector<std::string> keys;
    for (int id = 100; id < 140; ++id) {
        keys.push_back(std::to_string(id));
        photos += albumxml::photo(keys.back(), tag, "", "/photos/" + keys.back(), "t/" + tag);
    }
    return albumData("", albumxml::album(1, tag, keys) + albumDict(2, "Hidden", {"100"}), photos);
}

TEST(ConcurrentQueries, ReloadsNeverMixVersionsOrLoseRecords) {
    TempFolder folder;
    std::string library = folder.sub("Library");
    // Times ahead of the clock: a query that stats the file between its write and its time
    // being set sees an earlier time, which the reload rule ignores.
    const time_t start = time(nullptr) + 100'000;
    writeAlbumFile(library, version(0), start);
    useLibraries(folder, libraryEntry("1", "L", library, {1}));
    ASSERT_EQ(utf8(libGetImagePath(1, 1, 100, true)), library + "/t/v0");

    std::atomic<bool> done{false};
    std::atomic<int> failures{0}, queries{0};
    auto worker = [&] {
        while (!done) {
            try {
                // One view is one version: every record agrees with the first.
                std::optional<AlbumPhotos> photos = libGetAlbumPhotos(1, 1);
                if (!photos || photos->size() != 40) {
                    ++failures;
                    continue;
                }
                std::string tag = utf8((*photos)[0].caption);
                for (size_t i = 0; i < photos->size(); ++i)
                    if (utf8((*photos)[i].caption) != tag) ++failures; // versions mixed
                if (utf8(libGetImagePath(1, 1, 139, true)).find("/t/v") == std::string::npos)
                    ++failures;
                if (utf8(libGetImagePath(1, 2, 100, true)) != "") ++failures;
                std::vector<PhotoInfo> list;
                libGetPhotoList(1, 1, list);
                if (list.size() != 40) ++failures;
                ++queries;
            } catch (const std::exception& e) {
                ADD_FAILURE() << e.what();
                ++failures;
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(worker);
    for (int v = 1; v <= 40; ++v) {
        // Every fifth version is damaged: the previous one must stay in service.
        writeAlbumFile(library, v % 5 ? version(v) : "<plist><dict>", start + 10 * v);
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
    }
    done = true;
    for (std::thread& thread : threads)
        thread.join();
    // The last good version is in service: the damaged 40th is noticed, fails, and is kept out.
    libGetImagePath(1, 1, 100, true);
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 100, true)), library + "/t/v39");
    EXPECT_EQ(failures, 0);
    EXPECT_GT(queries, 0);
    CFPreferencesSetPath(folder.path("gone.plist"));
}

} // namespace
