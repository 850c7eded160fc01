// album_index_test.cpp - the indexes answer irregular album files as a walk in album order does.
#include "library/PhotoLibrary.h"

#include "album_fixture.h"
#include "support/ThrownText.h"

#include <functional>

using namespace fixture;

namespace {

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
    writeAlbumFile(
        folder.path(),
        albumData("1", albumDict(1, "A", {"10", "11"}), photoDict("10") + photoDict("11")),
        1'200'000'000);
    PhotoLibrary library(folder.path());
    AlbumPhotos before = AlbumSnapshot::photos(library.snapshot(), 1);
    writeAlbumFile(folder.path(), albumData("1", albumDict(1, "A", {"12"}), photoDict("12")),
                   1'200'000'100);
    library.sync();
    library.sync(); // reloaded
    AlbumPhotos after = AlbumSnapshot::photos(library.snapshot(), 1);
    ASSERT_EQ(after.size() + before.size(), 3u);
    EXPECT_EQ(after[0].id, 12);
    EXPECT_EQ(utf8(before[1].caption), "Caption 11");
}

} // namespace
