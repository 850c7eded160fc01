// photo_library_test.cpp - loading album files, the settling reload rule, damaged files.
#include "library/PhotoLibrary.h"

#include "album_fixture.h"

#include <unistd.h>

using namespace fixture;

namespace {

const time_t kLoadTime = 1'200'000'000;

// The album name of album 1 tells which version of the file a library answers from.
std::string versionFile(const std::string& name) {
    return albumData("1", albumDict(1, name, {"10"}), photoDict("10"));
}

TEST(PhotoLibrarySync, ChangesSettleSixSecondsAfterTheLastLoad) {
    // Each step rewrites the file (album 1 named s<step>) at load time + offset, then asks for
    // the album name twice. The names answered show when the tree was reloaded.
    const auto C = PhotoLibrary::Current, Ch = PhotoLibrary::Changed;
    struct Step {
        long offset, nanoseconds;
        const char *first, *second;
        PhotoLibrary::SyncState after;
    };
    struct Case {
        const char* name;
        std::vector<Step> steps;
    } cases[] = {
        {"a write 10 s later is noticed, then loaded on the next query", {{10, 0, "v0", "s0", C}}},
        {"a write 3 s later is noticed and never loaded", {{3, 0, "v0", "v0", Ch}}},
        {"a later write 6 s past the load is loaded on its second query",
         {{3, 0, "v0", "v0", Ch}, {6, 0, "s1", "s1", C}}},
        {"5 s and a fraction past the load is still too soon", {{5, 999'999'999, "v0", "v0", Ch}}},
        {"a nanosecond difference counts as a change", {{0, 1, "v0", "v0", Ch}}},
        {"a time that moves backwards stays changed with the old tree", {{-60, 0, "v0", "v0", Ch}}},
        {"the next settling is measured from the reload",
         {{10, 0, "v0", "s0", C}, {13, 0, "s0", "s0", Ch}, {16, 0, "s2", "s2", C}}},
    };
    for (const Case& c : cases) {
        TempFolder folder;
        writeAlbumFile(folder.path(), versionFile("v0"), kLoadTime);
        PhotoLibrary library(folder.path());
        ASSERT_EQ(library.state(), C);
        for (size_t i = 0; i < c.steps.size(); ++i) {
            SCOPED_TRACE(std::string(c.name) + ", step " + std::to_string(i));
            const Step& step = c.steps[i];
            writeAlbumFile(folder.path(), versionFile("s" + std::to_string(i)),
                           kLoadTime + step.offset, step.nanoseconds);
            EXPECT_EQ(utf8(library.getAlbumName(1)), step.first);
            EXPECT_EQ(utf8(library.getAlbumName(1)), step.second);
            EXPECT_EQ(library.state(), step.after);
        }
    }
}

TEST(PhotoLibrarySync, FailedReloadKeepsTheOldTreeAsCurrent) {
    TempFolder folder;
    writeAlbumFile(folder.path(), versionFile("old"), kLoadTime);
    PhotoLibrary library(folder.path());
    writeAlbumFile(folder.path(), "<plist><dict><key>broken", kLoadTime + 10);
    library.sync();
    EXPECT_EQ(library.state(), PhotoLibrary::Changed);
    testing::internal::CaptureStdout();
    library.sync();
    EXPECT_NE(testing::internal::GetCapturedStdout(), "") << "the failed reload is not logged";
    EXPECT_EQ(library.state(), PhotoLibrary::Current);
    EXPECT_EQ(utf8(library.getAlbumName(1)), "old") << "no second attempt at the same time";
    EXPECT_EQ(library.majorVersion(), 1u);
    ASSERT_EQ(unlink((folder.path() + "/AlbumData.xml").c_str()), 0);
    EXPECT_EQ(utf8(library.getAlbumName(1)), "old") << "a vanished file leaves the tree in service";
}

TEST(PhotoLibraryLoad, DamagedFilesAreLoggedOnceAndReadAgainOnlyWhenChanged) {
    std::pair<std::string, std::string> cases[] = {
        // the text, and the reason logged and kept
        {"<plist>\n<dict>\n  <key>A</key><string>x\x01</string>\n</dict></plist>",
         "not well-formed (invalid token) at line 3, column 24"},
        {"<plist><array/></plist>", "the property list is not a dictionary"},
        {smallLibrary().substr(0, 200), "unclosed token at line 1, column 196"},
    };
    for (auto& [text, why] : cases) {
        SCOPED_TRACE(why);
        TempFolder folder;
        writeAlbumFile(folder.path(), text, kLoadTime);
        testing::internal::CaptureStdout();
        EXPECT_EQ(PhotoLibrary::getLibrary(folder.path()), nullptr);
        EXPECT_EQ(PhotoLibrary::getLibrary(folder.path()), nullptr);
        EXPECT_EQ(testing::internal::GetCapturedStdout(),
                  "album file " + folder.path() + "/AlbumData.xml could not be read (" + why +
                      "); its library stays unavailable until the file changes\n")
            << "one line per failed load, not per request";
        EXPECT_EQ(PhotoLibrary::loadFailure(folder.path()), why);

        // Same size, new time: read again (and still broken).
        writeAlbumFile(folder.path(), text, kLoadTime + 1);
        testing::internal::CaptureStdout();
        EXPECT_EQ(PhotoLibrary::getLibrary(folder.path()), nullptr);
        EXPECT_NE(testing::internal::GetCapturedStdout(), "");

        // Same time, another size: read again, and now it loads at once.
        writeAlbumFile(folder.path(), smallLibrary(), kLoadTime + 1);
        PhotoLibrary* loaded = PhotoLibrary::getLibrary(folder.path());
        ASSERT_NE(loaded, nullptr);
        EXPECT_EQ(utf8(loaded->getAlbumName(2)), "Winter");
        EXPECT_EQ(PhotoLibrary::loadFailure(folder.path()), "");
    }

    TempFolder other;
    other.sub("AlbumData.xml"); // stat succeeds, open does not
    testing::internal::CaptureStdout();
    EXPECT_EQ(PhotoLibrary::getLibrary(other.path()), nullptr);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(PhotoLibrary::loadFailure(other.path()), "not a regular file");
}

} // namespace
