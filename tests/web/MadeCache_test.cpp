// MadeCache_test.cpp - the disk cache of made pictures: hits, the bound, the eviction order,
// folders it cannot use.
#include "support/TempFolder.h"
#include "web/MadeCache.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

std::string readAll(int fd) { // and closes fd
    std::string bytes = testsupport::readFile("/proc/self/fd/" + std::to_string(fd));
    close(fd);
    return bytes;
}

std::vector<std::string> entriesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (auto& item : std::filesystem::directory_iterator(folder))
        names.push_back(item.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(MadeCache, AHitGivesBackTheStoredBytes) {
    struct stat source {};
    testsupport::TempFolder files;
    MadeCache cache(files.path() + "/deep/er/cache", [] { return uint64_t(1) << 20; });
    EXPECT_FALSE(cache.open("a")) << "a miss before anything is stored";
    std::string bytes("\xFF\xD8 some \0 picture bytes \xFF\xD9", 27);
    ASSERT_TRUE(cache.store("a", bytes)) << "the folder and its parents are made";
    std::optional<int> fd = cache.open("a");
    ASSERT_TRUE(fd);
    EXPECT_EQ(readAll(*fd), bytes);
    ASSERT_TRUE(cache.store("a", "replaced"));
    EXPECT_EQ(readAll(*cache.open("a")), "replaced");
    EXPECT_EQ(cache.bytes(), 8u) << "a replaced entry is not counted twice";
    EXPECT_EQ(entriesIn(files.path() + "/deep/er/cache"), std::vector<std::string>{"a.jpg"})
        << "no temporary file is left behind";
    // A key names the source's version (the picture tests see a changed file made anew).
    EXPECT_EQ(MadeCache::key(source, "../x").find('/'), std::string::npos)
        << "a variant never leaves the folder";
}

TEST(MadeCache, LeastRecentlyUsedEntriesGoFirstAndTheBoundHolds) {
    testsupport::TempFolder files;
    uint64_t limit = 350;
    MadeCache cache(files.path(), [&] { return limit; });
    std::string hundred(100, 'x');
    for (const char* key : {"a", "b", "c"})
        ASSERT_TRUE(cache.store(key, hundred));
    EXPECT_EQ(readAll(cache.open("a").value()), hundred); // a is now used more recently than b
    ASSERT_TRUE(cache.store("d", hundred));
    EXPECT_EQ(entriesIn(files.path()), (std::vector<std::string>{"a.jpg", "c.jpg", "d.jpg"}))
        << "b, the least recently used, went";
    EXPECT_EQ(cache.bytes(), 300u);
    EXPECT_FALSE(cache.store("huge", std::string(400, 'x'))) << "larger than the bound";
    EXPECT_FALSE(cache.open("huge"));
    limit = 150;
    ASSERT_TRUE(cache.store("e", hundred));
    EXPECT_EQ(entriesIn(files.path()), std::vector<std::string>{"e.jpg"});
    limit = 0;
    EXPECT_FALSE(cache.store("f", "x")) << "a bound of 0 keeps nothing";

    MadeCache restarted(files.path(), [] { return uint64_t(1000); });
    EXPECT_EQ(restarted.bytes(), 100u) << "entries found at start are counted";
    EXPECT_EQ(readAll(*restarted.open("e")), hundred);
}

} // namespace
