// photo_library_test.cpp - loading album files, the settling reload rule, damaged files, and
// the indexes answering irregular album files as a walk in album order does.
#include "library/PhotoLibrary.h"

#include "album_fixture.h"
#include "support/ThrownText.h"

#include <functional>
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

using testsupport::thrownText;

// The errors a missing key of that type and a value that is not of that type give.
std::string missing(const std::string& type, const std::string& key) {
    return "(In T CFDictionary_t::get(const __CFString*) const [with T = " + type +
           "]) : dictionary doesn't have key '" + key + "'";
}
std::string notA(const std::string& type) {
    return "(In CoreType) : Tried to convert a non-PK10__" + type + " type to PK10__" + type;
}

// The listing's records (ids) and the error that ended it, as one line.
std::string listing(PhotoLibrary& library, unsigned album) {
    std::vector<PhotoInfo> list;
    std::string error = thrownText([&] { library.getPhotoList(album, list); });
    std::string ids;
    for (const PhotoInfo& photo : list)
        ids += std::to_string(photo.id) + " ";
    return ids + "/ " + error;
}

std::string caption(PhotoLibrary& library, unsigned album, unsigned photo) {
    std::string text;
    std::string error = thrownText(
        [&] { text = utf8(library.getPhotoInfo(album, photo).get<CFString_t>(CFSTR("Caption"))); });
    return error == testsupport::kNothingThrown ? text : error;
}

TEST(AlbumIndex, IrregularFilesAnswerAsTheWalkDoes) {
    const std::string noId = "<dict>" + str("AlbumName", "No id") + "</dict>";
    const std::string badKey = "<dict><key>AlbumId</key><integer>4</integer>" +
                               str("AlbumName", "Bad key") +
                               "<key>KeyList</key><array><string>10</string><integer>5</integer>"
                               "<string>11</string></array></dict>";
    const std::string noKeys =
        "<dict><key>AlbumId</key><integer>6</integer>" + str("AlbumName", "No keys") + "</dict>";
    struct Case {
        const char* name;
        std::string albums, photos;
        std::function<std::string(PhotoLibrary&)> ask;
        std::string answer;
    } cases[] = {
        {"an album without an id hides the albums after it",
         albumDict(1, "A", {"10"}) + noId + albumDict(2, "B", {"10"}), photoDict("10"),
         [](PhotoLibrary& l) {
             return utf8(l.getAlbumName(1)) + thrownText([&] { l.getAlbumName(2); });
         },
         "A" + missing("CFNumber_t", "AlbumId")},
        {"the first of two albums with one id wins",
         albumDict(3, "First", {"10"}) + albumDict(3, "Second", {"11"}),
         photoDict("10") + photoDict("11"),
         [](PhotoLibrary& l) { return utf8(l.getAlbumName(3)) + " " + listing(l, 3); },
         "First 10 / (no error)"},
        {"a key that is no string ends the walk there", badKey, photoDict("10") + photoDict("11"),
         [](PhotoLibrary& l) {
             return caption(l, 4, 10) + " | " + caption(l, 4, 11) + " | " + listing(l, 4);
         },
         "Caption 10 | " + notA("CFString") + " | 10 / " + notA("CFString")},
        {"a key missing from the image list", albumDict(5, "A", {"10", "77"}), photoDict("10"),
         [](PhotoLibrary& l) { return caption(l, 5, 77) + " | " + listing(l, 5); },
         missing("CFDictionary_t", "77") + " | 10 / " + missing("CFDictionary_t", "77")},
        {"a photo without a caption is found but not listed", albumDict(5, "A", {"10", "11"}),
         photoDict("10") + photoDict("11", "Caption"),
         [](PhotoLibrary& l) {
             return utf8(l.getPhotoInfo(5, 11).get<CFString_t>(CFSTR("ImagePath"))) + " | " +
                    listing(l, 5) + " | " +
                    thrownText([&] { AlbumSnapshot::photos(l.snapshot(), 5); });
         },
         "/photos/2009/img_11.jpg | 10 / " + missing("CFString_t", "Caption") + " | " +
             missing("CFString_t", "Caption")},
        {"a photo whose date is no number", albumDict(5, "A", {"10"}),
         "<key>10</key><dict>" + str("ImagePath", "/a") + str("ThumbPath", "/t") +
             str("DateAsTimerInterval", "soon") + "</dict>",
         [](PhotoLibrary& l) { return listing(l, 5); }, "/ " + notA("CFNumber")},
        {"an album without a key list", noKeys, photoDict("10"),
         [](PhotoLibrary& l) { return listing(l, 6) + " | " + caption(l, 6, 10); },
         "/ " + missing("StrArray", "KeyList") + " | " + missing("StrArray", "KeyList")},
        {"a photo in two albums is one record with one id; the first of two keys wins",
         albumDict(1, "A", {"0042"}) + albumDict(2, "B", {"10", "0042", "42"}),
         photoDict("0042") + photoDict("10") + photoDict("42"),
         [](PhotoLibrary& l) {
             return listing(l, 1) + " | " + listing(l, 2) + " | " + caption(l, 2, 42);
         },
         "42 / (no error) | 10 42 42 / (no error) | Caption 0042"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        TempFolder folder;
        writeAlbumFile(folder.path(), albumData("1", c.albums, c.photos));
        PhotoLibrary library(folder.path());
        ASSERT_TRUE(library.hasTree());
        EXPECT_EQ(c.ask(library), c.answer);
    }
}

TEST(AlbumIndex, RecordsOutliveTheReloadThatReplacesThem) {
    TempFolder folder;
    writeAlbumFile(folder.path(), smallLibrary(), kLoadTime);
    PhotoLibrary library(folder.path());
    AlbumPhotos before = AlbumSnapshot::photos(library.snapshot(), 1);
    writeAlbumFile(folder.path(), versionFile("new"), kLoadTime + 100);
    library.sync();
    library.sync(); // reloaded
    AlbumPhotos after = AlbumSnapshot::photos(library.snapshot(), 1);
    ASSERT_EQ(after.size() + before.size(), 3u);
    EXPECT_EQ(after[0].id, 10);
    EXPECT_EQ(utf8(before[1].caption), "Caption 11");
}

} // namespace
