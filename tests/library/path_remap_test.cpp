// path_remap_test.cpp - stored paths read under a library folder that has moved.
#include "library/LibraryRegistry.h"
#include "library/PathRemap.h"

#include "album_fixture.h"

#include <fcntl.h>
#include <unistd.h>

using namespace fixture;

namespace {

const char kNewFolder[] = "/srv/photos/Bibliothe\xCC\x80que d'\xC3\xA9t\xC3\xA9 \xE6\x97\xA5";

TEST(PathRemap, StoredPathsAreReadUnderTheLibraryFolder) {
    struct Case {
        const char* name;
        const char* archive; // null: the album file has none
        const char* folder;
        const char* stored;
        std::string read;
    } cases[] = {
        {"under the archive path", "/home/ana/Pictures/Old Library", kNewFolder,
         "/home/ana/Pictures/Old Library/Originals/2009/IMG_1.JPG",
         std::string(kNewFolder) + "/Originals/2009/IMG_1.JPG"},
        {"archive path with a trailing slash", "/home/ana/Pictures/Old Library/", kNewFolder,
         "/home/ana/Pictures/Old Library/Data/1.jpg", std::string(kNewFolder) + "/Data/1.jpg"},
        {"folder with a trailing slash", "/home/ana/Pictures/Old Library", "/srv/Lib/",
         "/home/ana/Pictures/Old Library/a.jpg", "/srv/Lib/a.jpg"},
        {"a tail of slashes only", "/home/ana/Pictures/Old Library", "/srv/Lib",
         "/home/ana/Pictures/Old Library//", "/srv/Lib//"},
        {"the archive path itself", "/home/ana/Pictures/Old Library", "/srv/Lib",
         "/home/ana/Pictures/Old Library", "/srv/Lib"},
        {"a prefix that ends inside a folder name is another folder",
         "/home/ana/Pictures/Old Library", "/srv/Lib", "/home/ana/Pictures/Old Library2/x.jpg",
         "/home/ana/Pictures/Old Library2/x.jpg"},
        {"a relative path is under the folder", "/home/ana/Pictures/Old Library", kNewFolder,
         "t/IMG_01.JPG", std::string(kNewFolder) + "/t/IMG_01.JPG"},
        {"a relative path without an archive path", nullptr, "/srv/Lib", "t/IMG_01.JPG",
         "/srv/Lib/t/IMG_01.JPG"},
        {"an empty archive path maps nothing", "", "/srv/Lib", "/x/a.jpg", "/x/a.jpg"},
        {"the root as archive path maps every absolute path", "/", "/srv/Lib", "/x/a.jpg",
         "/srv/Lib/x/a.jpg"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        CFString_t archive = makeString(c.archive ? c.archive : "");
        PathRemap paths(c.archive ? archive.get() : nullptr, c.folder);
        LibraryPath path = paths.map(makeString(c.stored));
        EXPECT_EQ(utf8(path.resolved()), c.read);
        // The file name is the read path's last component, even where the tail is slashes only.
        std::string name = c.read.substr(c.read.find_last_of('/') + 1);
        EXPECT_EQ(utf8(path.lastComponent()), name.empty() ? "Lib" : name);
    }
}

// A library written on another computer under /home/ana/Pictures/Old Library, copied to a
// folder with spaces and non-ASCII characters in its name: every stored path opens the copy.
TEST(PathRemap, MovedLibraryServesItsOwnFiles) {
    TempFolder root;
    std::string library = root.sub("Copie de Bibliothe\xCC\x80que/Old Library \xE6\x97\xA5 2");
    const std::string old = "/home/ana/Pictures/Old Library";
    std::string photo = albumxml::photo("7", "c", "", old + "/Modified/2009/\xC3\xA9t\xC3\xA9.jpg",
                                        "Data/Thumbs/7.jpg");
    photo.insert(photo.find("<key>ThumbPath"),
                 str("OriginalPath", old + "/Originals/2009/\xC3\xA9t\xC3\xA9.JPG"));
    std::string text = albumData("6.0", albumDict(1, "A", {"7"}), photo);
    text.insert(text.find("<key>List of Albums"), str("Archive Path", old + "/"));
    writeAlbumFile(library, text);
    for (const char* file : {"Modified/2009/\xC3\xA9t\xC3\xA9.jpg",
                             "Originals/2009/\xC3\xA9t\xC3\xA9.JPG", "Data/Thumbs/7.jpg"})
        root.write(library.substr(root.path().size() + 1) + "/" + file, "bytes");

    useLibraries(root, libraryEntry("4", "Moved", library, {1}));
    std::vector<PhotoInfo> list;
    libGetPhotoList(4, 1, list);
    ASSERT_EQ(list.size(), 1u);
    CFString_t thumbnail = libGetImagePath(4, 1, 7, true);
    for (const CFString_t& path : {list[0].imagePath.resolved(), list[0].originalPath.resolved(),
                                   list[0].thumbPath.resolved(), thumbnail}) {
        std::string bytes = utf8(path);
        EXPECT_EQ(bytes.substr(0, library.size()), library);
        int fd = open(bytes.c_str(), O_RDONLY);
        EXPECT_GE(fd, 0) << bytes << " does not open";
        if (fd >= 0) close(fd);
    }
    EXPECT_EQ(utf8(list[0].fileName), "\xC3\xA9t\xC3\xA9.jpg");
    CFPreferencesSetPath(root.path("gone.plist"));
}

} // namespace
