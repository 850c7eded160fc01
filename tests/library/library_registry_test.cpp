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
        writeAlbumFile(library, smallLibrary("6.0.5 (316)"));
        writeAlbumFile(other, smallLibrary("11"));
    }
    void TearDown() override { CFPreferencesSetPath(folder.path("gone.plist")); }
    // A new file each time, so the store reads it afresh.
    void setLibraries(const std::string& entries) {
        useLibraries(folder, entries, "prefs" + std::to_string(++generation) + ".plist");
    }

    TempFolder folder;
    std::string library = folder.sub("Main"), other = folder.sub("Other"),
                missing = folder.sub("Empty");
    int generation = 0;
};

TEST_F(RegistryTest, EntriesAreFoundByIdTheFirstOfTwinsWinsAndNoIdBlocks) {
    setLibraries(libraryEntry("5", "Main", library, {2, 1}) +
                 libraryEntry("2", "Other", other, {1, 9}) +
                 libraryEntry("5", "Shadowed", missing, {1}) + libraryEntry("", "No id", other) +
                 libraryEntry("3", "Past", other));
    EXPECT_EQ(utf8(::libraryEntry(5).get<CFString_t>(CFSTR("name"))), "Main");
    EXPECT_EQ(PhotoLibrary::getLibrary(2ul)->majorVersion(), 11u);
    EXPECT_EQ(PhotoLibrary::getLibrary(5ul), PhotoLibrary::getLibrary(library));
    EXPECT_EQ(thrownText([] { PhotoLibrary::getLibrary(3ul); }),
              "(In T CFDictionary_t::get(const __CFString*) const [with T = CFNumber_t]) : "
              "dictionary doesn't have key 'id'");

    // Published albums come in the entry's order; one that does not exist is an error.
    std::vector<CFDictionary_t> albums;
    libGetAlbumsInLibrary(5, albums);
    ASSERT_EQ(albums.size(), 2u);
    EXPECT_EQ(utf8(albums[0].get<CFString_t>(CFSTR("AlbumName"))), "Winter");
    EXPECT_EQ(utf8(albums[1].get<CFString_t>(CFSTR("AlbumName"))), "Summer");
    EXPECT_EQ(thrownText([&] { libGetAlbumsInLibrary(2, albums); }),
              "(In getAlbumInfo) : couldn't find album with id 9");

    setLibraries(libraryEntry("5", "Main", library, {}, "<key>FullSizeDownload</key><true/>") +
                 libraryEntry("9", "Other", other));
    EXPECT_EQ(thrownText([] { PhotoLibrary::getLibrary(7ul); }),
              "(In withLibrary_do) : couldn't find library with id 7");
    std::vector<LibraryInfo> list(3);
    libGetLibraryInfo(list);
    ASSERT_EQ(list.size(), 2u) << "the list is rebuilt, not appended to";
    EXPECT_EQ(utf8(list[1].name) + " " + std::to_string(list[1].id), "Other 9");
    EXPECT_TRUE(list[0].fullSizeDownload && libFullSizeDownload(5));
    EXPECT_FALSE(list[1].fullSizeDownload) << "false when absent";
}

// Which routes answer so is the server's own test; here, each call the routes make.
TEST_F(RegistryTest, UnpublishedAlbumsAnswerExactlyLikeMissingOnes) {
    setLibraries(libraryEntry("1", "Main", library, {1}) + libraryEntry("2", "Bare", library));
    // Album 1 (photos 10, 11) is published, album 2 (photo 12) exists but is not, album 9 does
    // not exist; library 2 publishes nothing ("albums" absent).
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 11, true)), "/photos/Thumbs/11.jpg");
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 11, false)), "/photos/2009/img_11.jpg");
    EXPECT_EQ(utf8(libGetAlbumName(1, 1)), "Summer");
    EXPECT_EQ(thrownText([] { libGetImagePath(1, 1, 12, true); }),
              "(In getPhotoInfo) : couldn't find photo with id 12");
    // Every call for the hidden album, with the album's own id written as N.
    auto answers = [](unsigned l, unsigned a) {
        std::string path, name, all;
        std::vector<PhotoInfo> list;
        for (const std::function<void()>& call : std::initializer_list<std::function<void()>>{
                 [&] { path = utf8(libGetImagePath(l, a, 12, true)); },
                 [&] { libGetPhotoList(l, a, list); }, [&] { libGetAlbumPhotos(l, a); },
                 [&] { name = utf8(libGetAlbumName(l, a)); }})
            all += thrownText(call) + "\n";
        all += path + name + std::to_string(list.size()) + " records";
        std::string id = "album with id " + std::to_string(a);
        for (size_t at; (at = all.find(id)) != std::string::npos;)
            all.replace(at, id.size(), "album with id N");
        return all;
    };
    EXPECT_EQ(answers(1, 2), answers(1, 9)) << "an unpublished album reveals itself";
    EXPECT_EQ(answers(2, 1), answers(2, 9)) << "a library without \"albums\" publishes nothing";
}

TEST_F(RegistryTest, PreferenceChangesReachTheCachedEntriesAndDetailsOutliveThem) {
    setLibraries(libraryEntry("1", "Main", library, {1},
                              "<key>albumConfig</key><dict>" + str("theme", "dark") + "</dict>"));
    EXPECT_EQ(PhotoLibrary::getLibrary(1ul)->majorVersion(), 6u);
    CFDictionary_t details = ::libraryEntry(1);
    // A value set in memory (no file, no synchronisation) is what the store answers now.
    CFTypeRef entries = CFPropertyListCreateFromXMLData(
        "<array>" + libraryEntry("1", "Other", other, {2}) + "</array>");
    ASSERT_NE(entries, nullptr);
    CFPreferencesSetAppValue(CFSTR("libraries"), entries, appID);
    CFRelease(entries);
    EXPECT_EQ(PhotoLibrary::getLibrary(1ul)->majorVersion(), 11u);
    EXPECT_EQ(utf8(libGetImagePath(1, 2, 12, true)), "/photos/Thumbs/12.jpg");
    EXPECT_EQ(utf8(libGetImagePath(1, 1, 10, true)), "");
    setLibraries(""); // the store lets go of every array it held
    EXPECT_EQ(
        utf8(details.get<CFDictionary_t>(CFSTR("albumConfig")).get<CFString_t>(CFSTR("theme"))),
        "dark")
        << "details outlive the array they came from";
}

TEST_F(RegistryTest, LibraryWithoutAlbumFileAnswersEmpty) {
    setLibraries(libraryEntry("3", "Empty", missing, {1}));
    testing::internal::CaptureStdout(); // each miss prints a line
    std::vector<CFDictionary_t> albums = {CFDictionary_t(::libraryEntry(3))};
    libGetAlbumsInLibrary(3, albums);
    std::vector<PhotoInfo> list;
    libGetPhotoList(3, 1, list);
    EXPECT_EQ(albums.size() + list.size(), 0u);
    EXPECT_FALSE(libGetAlbumPhotos(3, 1));
    EXPECT_EQ(utf8(libGetAlbumName(3, 1)) + utf8(libGetImagePath(3, 1, 10, true)), "");
    EXPECT_EQ(PhotoLibrary::getLibrary(3ul), nullptr);
    testing::internal::GetCapturedStdout();
}

} // namespace
