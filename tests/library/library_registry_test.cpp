// library_registry_test.cpp - finding library entries by id, the listing and the access rule of
// the lib... facade.
#include "library/LibraryRegistry.h"

#include "album_fixture.h"
#include "cf/CFPropertyList.h"
#include "support/ThrownText.h"

#include <functional>

using namespace fixture;

namespace {

using testsupport::thrownText;

class RegistryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        library = folder.sub("Main");
        writeAlbumFile(library, smallLibrary("6.0.5 (316)"));
        other = folder.sub("Other");
        writeAlbumFile(other, smallLibrary("11"));
        missing = folder.sub("Empty");
    }
    void TearDown() override { CFPreferencesSetPath(folder.path("gone.plist")); }
    // A new file each time, so the store reads it afresh.
    void setLibraries(const std::string& entries) {
        useLibraries(folder, entries, "prefs" + std::to_string(++generation) + ".plist");
    }

    TempFolder folder;
    std::string library, other, missing;
    int generation = 0;
};

TEST_F(RegistryTest, EntriesAreFoundByIdTheFirstOfTwinsWinsAndNoIdBlocks) {
    setLibraries(libraryEntry("5", "Main", library, {1}) + libraryEntry("2", "Other", other, {2}) +
                 libraryEntry("5", "Shadowed", missing, {1}) + libraryEntry("", "No id", other) +
                 libraryEntry("3", "Past", other));
    EXPECT_EQ(utf8(getLibraryDetails(5).get<CFString_t>(CFSTR("name"))), "Main");
    EXPECT_EQ(libGetMajorVersion(2), 11u);
    EXPECT_EQ(PhotoLibrary::getLibrary(5ul), PhotoLibrary::getLibrary(library));
    EXPECT_EQ(thrownText([] { libGetMajorVersion(3); }),
              "(In T CFDictionary_t::get(const __CFString*) const [with T = CFNumber_t]) : "
              "dictionary doesn't have key 'id'");
    setLibraries(libraryEntry("5", "Main", library));
    EXPECT_EQ(thrownText([] { libGetMajorVersion(7); }),
              "(In withLibrary_do) : couldn't find library with id 7");
}

TEST_F(RegistryTest, DetailsOutliveTheArrayTheyCameFrom) {
    setLibraries(libraryEntry("4", "Main", library, {},
                              "<key>albumConfig</key><dict><key>1</key><dict>" +
                                  str("theme", "dark") + "</dict></dict>"));
    CFDictionary_t details = getLibraryDetails(4);
    setLibraries(""); // the store lets go of its copy of the old array
    EXPECT_EQ(utf8(details.get<CFDictionary_t>(CFSTR("albumConfig"))
                       .get<CFDictionary_t>(CFSTR("1"))
                       .get<CFString_t>(CFSTR("theme"))),
              "dark");
}

TEST_F(RegistryTest, ListingIsRebuiltAndFullSizeDownloadIsFalseWhenAbsent) {
    setLibraries(libraryEntry("1", "Main", library, {}, "<key>FullSizeDownload</key><true/>") +
                 libraryEntry("9", "Other", other));
    std::vector<LibraryInfo> list(3);
    libGetLibraryInfo(list);
    ASSERT_EQ(list.size(), 2u) << "the list is rebuilt, not appended to";
    EXPECT_EQ(utf8(list[1].name), "Other");
    EXPECT_EQ(list[1].id, 9u);
    EXPECT_TRUE(list[0].fullSizeDownload);
    EXPECT_FALSE(list[1].fullSizeDownload);
    EXPECT_TRUE(libFullSizeDownload(1));
}

TEST_F(RegistryTest, PublishedAlbumsComeInTheEntrysOrder) {
    setLibraries(libraryEntry("1", "Main", library, {2, 1}) +
                 libraryEntry("2", "Bad", library, {1, 9}));
    std::vector<CFDictionary_t> albums;
    libGetAlbumsInLibrary(1, albums);
    ASSERT_EQ(albums.size(), 2u);
    EXPECT_EQ(utf8(albums[0].get<CFString_t>(CFSTR("AlbumName"))), "Winter");
    EXPECT_EQ(utf8(albums[1].get<CFString_t>(CFSTR("AlbumName"))), "Summer");
    EXPECT_EQ(thrownText([&] { libGetAlbumsInLibrary(2, albums); }),
              "(In getAlbumInfo) : couldn't find album with id 9");
}

TEST_F(RegistryTest, UnpublishedAlbumsAnswerExactlyLikeMissingOnes) {
    setLibraries(libraryEntry("1", "Main", library, {1}) + libraryEntry("2", "Bare", library));
    // Album 1 (photos 10, 11) is published, album 2 (photo 12) exists but is not, album 9 does
    // not exist; library 2 publishes nothing ("albums" absent).
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 11, true)), "/photos/Thumbs/11.jpg");
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 11, false)), "/photos/2009/img_11.jpg");
    EXPECT_EQ(utf8(libGetMediaType(1, 1, 10)), "Image");
    EXPECT_EQ(utf8(libGetAlbumName(1, 1)), "Summer");
    EXPECT_EQ(thrownText([] { libGetImagePath(1, 1, 12, true); }),
              "(In getPhotoInfo) : couldn't find photo with id 12");

    // Each call for the hidden album must answer what it answers for the missing one.
    struct Case {
        const char* name;
        std::function<std::string(unsigned library, unsigned album)> call;
    } cases[] = {
        {"thumbnail path",
         [](unsigned l, unsigned a) {
             std::string path;
             return thrownText([&] { path = utf8(libGetImagePath(l, a, 12, true)); }) + path;
         }},
        {"media type",
         [](unsigned l, unsigned a) { return thrownText([&] { libGetMediaType(l, a, 12); }); }},
        {"photo list",
         [](unsigned l, unsigned a) {
             std::vector<PhotoInfo> list;
             std::string error = thrownText([&] { libGetPhotoList(l, a, list); });
             return error + " / " + std::to_string(list.size()) + " records";
         }},
        {"records without copies",
         [](unsigned l, unsigned a) { return thrownText([&] { libGetAlbumPhotos(l, a); }); }},
        {"album name",
         [](unsigned l, unsigned a) { return thrownText([&] { libGetAlbumName(l, a); }); }},
    };
    // The answer with the album's own id written as N.
    auto answer = [](const Case& c, unsigned library, unsigned album) {
        std::string text = c.call(library, album), id = "with id " + std::to_string(album);
        size_t at = text.find(id);
        return at == std::string::npos ? text : text.replace(at, id.size(), "with id N");
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(answer(c, 1, 2), answer(c, 1, 9)) << "an unpublished album reveals itself";
        EXPECT_EQ(answer(c, 2, 1), answer(c, 2, 9))
            << "a library without \"albums\" publishes nothing";
    }
    EXPECT_EQ(thrownText([] { libGetMediaType(1, 2, 12); }),
              "(In libGetMediaType) : couldn't find album with id 2");
}

TEST_F(RegistryTest, PreferenceChangesReachTheCachedEntries) {
    setLibraries(libraryEntry("1", "Main", library, {1}));
    EXPECT_EQ(libGetMajorVersion(1), 6u);
    // A value set in memory (no file, no synchronisation) is what the store answers now.
    CFTypeRef entries = CFPropertyListCreateFromXMLData(
        "<array>" + libraryEntry("1", "Other", other, {2}) + "</array>");
    ASSERT_NE(entries, nullptr);
    CFPreferencesSetAppValue(CFSTR("libraries"), entries, appID);
    CFRelease(entries);
    EXPECT_EQ(libGetMajorVersion(1), 11u);
    EXPECT_EQ(utf8(libGetImagePath(1, 2, 12, true)), "/photos/Thumbs/12.jpg");
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 10, true)), "");
}

TEST_F(RegistryTest, LibraryWithoutAlbumFileAnswersEmpty) {
    setLibraries(libraryEntry("3", "Empty", missing, {1}));
    testing::internal::CaptureStdout(); // each miss prints a line
    std::vector<CFDictionary_t> albums = {CFDictionary_t(getLibraryDetails(3))};
    libGetAlbumsInLibrary(3, albums);
    EXPECT_TRUE(albums.empty());
    std::vector<PhotoInfo> list;
    libGetPhotoList(3, 1, list);
    EXPECT_TRUE(list.empty());
    EXPECT_FALSE(libGetAlbumPhotos(3, 1));
    EXPECT_EQ(utf8(libGetAlbumName(3, 1)), "");
    EXPECT_EQ(libGetMajorVersion(3), 0u);
    EXPECT_EQ(utf8(libGetImagePath(3, 1, 10, true)), "");
    EXPECT_EQ(thrownText([] { libGetMediaType(3, 1, 10); }),
              "(In libGetMediaType) : couldn't find album with id 1");
    testing::internal::GetCapturedStdout();
}

} // namespace
