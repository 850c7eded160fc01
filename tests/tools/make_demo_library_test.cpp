// make_demo_library_test.cpp - the demo library's album file, its preferences, and the tool's
// command line.
#include "DemoLibrary.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

CFDictionary_t albumData() {
    return readPropertyList(demoLibrary().folder + "/AlbumData.xml");
}

// Every photo dictionary of "Master Image List", with its key.
std::vector<std::pair<std::string, CFDictionary_t>> photos(const CFDictionary_t& root) {
    auto master = root.get<CFDictionary_t>(CFSTR("Master Image List"));
    size_t count = size_t(CFDictionaryGetCount(master));
    std::vector<CFTypeRef> keys(count), values(count);
    CFDictionaryGetKeysAndValues(master, keys.data(), values.data());
    std::vector<std::pair<std::string, CFDictionary_t>> list;
    for (size_t i = 0; i < count; ++i)
        list.emplace_back(CFStringGetUTF8(static_cast<CFStringRef>(keys[i])),
                          CFDictionary_t(values[i], CFDictionary_t::Get));
    return list;
}

std::set<int> albumIds(const CFDictionary_t& root) {
    auto albums = root.get<CFArray_t<CFDictionary_t>>(CFSTR("List of Albums"));
    std::set<int> ids;
    for (CFIndex i = 0; i < albums.count(); ++i)
        ids.insert(int(albums.elem(i).get<CFNumber_t>(CFSTR("AlbumId"))));
    return ids;
}

int lineCount(const std::string& output) {
    return int(std::count(output.begin(), output.end(), '\n'));
}

TEST(MakeDemoLibrary, AlbumFileHoldsEveryKeyTheServerReads) {
    CFDictionary_t root = albumData();
    EXPECT_EQ(text(root, CFSTR("Application Version")), "6.0.5 (316)");
    auto master = root.get<CFDictionary_t>(CFSTR("Master Image List"));
    auto albums = root.get<CFArray_t<CFDictionary_t>>(CFSTR("List of Albums"));
    ASSERT_EQ(albums.count(), 3);
    EXPECT_EQ(albumIds(root).size(), 3u) << "album ids must differ";
    for (CFIndex i = 0; i < albums.count(); ++i) {
        CFDictionary_t album = albums.elem(i);
        EXPECT_FALSE(text(album, CFSTR("AlbumName")).empty());
        album.get<CFString_t>(CFSTR("Comments"));
        StrArray keys = album.get<StrArray>(CFSTR("KeyList"));
        EXPECT_EQ(int(album.get<CFNumber_t>(CFSTR("PhotoCount"))), keys.count());
        for (CFIndex k = 0; k < keys.count(); ++k)
            EXPECT_NE(CFDictionaryGetValue(master, keys.elem(k)), nullptr)
                << "album " << i << " lists unknown key " << toString(keys.elem(k));
    }
    auto list = photos(root);
    EXPECT_GE(list.size(), 30u);
    int movies = 0;
    for (const auto& [key, photo] : list) {
        SCOPED_TRACE("photo " + key);
        for (CFStringRef path : {CFSTR("ImagePath"), CFSTR("OriginalPath"), CFSTR("ThumbPath")})
            photo.get<CFString_t>(path);
        for (CFStringRef date : {CFSTR("DateAsTimerInterval"), CFSTR("ModDateAsTimerInterval"),
                                 CFSTR("MetaModDateAsTimerInterval")})
            photo.get<CFNumber_t>(date);
        std::string type = text(photo, CFSTR("MediaType"));
        EXPECT_TRUE(type == "Image" || type == "Movie") << type;
        movies += type == "Movie";
        photo.get<CFString_t>(CFSTR("Caption"));
        photo.get<CFString_t>(CFSTR("Comment"));
    }
    EXPECT_EQ(movies, 1);
}

TEST(MakeDemoLibrary, OnePhotoKeyIsWrittenWithLeadingZeros) {
    CFDictionary_t root = albumData();
    int matches = 0;
    for (const auto& [key, photo] : photos(root))
        matches += CFStringGetIntValue(makeString(key)) == 42;
    EXPECT_EQ(matches, 1) << "photo id 42 must have exactly one key";
    EXPECT_NE(
        CFDictionaryGetValue(root.get<CFDictionary_t>(CFSTR("Master Image List")), CFSTR("0042")),
        nullptr);
}

TEST(MakeDemoLibrary, EveryPathNamesAFileInsideTheLibrary) {
    const std::string& folder = demoLibrary().folder;
    for (const auto& [key, photo] : photos(albumData())) {
        for (CFStringRef name : {CFSTR("ImagePath"), CFSTR("OriginalPath"), CFSTR("ThumbPath")}) {
            std::string path = text(photo, name);
            EXPECT_EQ(path.rfind(folder + "/", 0), 0u) << key << " " << path;
            struct stat info;
            EXPECT_TRUE(stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && info.st_size > 0)
                << key << " " << toString(name) << " " << path;
        }
    }
}

TEST(MakeDemoLibrary, DatesCountSecondsSince2001AndRunForward) {
    struct tm taken = {};
    taken.tm_year = 2006 - 1900; // photo 1 was taken at 2006:08:14 20:41:07
    taken.tm_mon = 7;
    taken.tm_mday = 14;
    taken.tm_hour = 20;
    taken.tm_min = 41;
    taken.tm_sec = 7;
    for (const auto& [key, photo] : photos(albumData())) {
        double date = photo.get<CFNumber_t>(CFSTR("DateAsTimerInterval"));
        double modified = photo.get<CFNumber_t>(CFSTR("ModDateAsTimerInterval"));
        double meta = photo.get<CFNumber_t>(CFSTR("MetaModDateAsTimerInterval"));
        EXPECT_LE(date, modified) << key;
        EXPECT_LE(modified, meta) << key;
        if (key == "1") {
            EXPECT_EQ(date, double(timegm(&taken)) - 978307200.0);
        }
    }
}

TEST(MakeDemoLibrary, CaptionsAndCommentsCarryTextThatNeedsEscaping) {
    std::string all;
    for (const auto& [key, photo] : photos(albumData()))
        all += text(photo, CFSTR("Caption")) + "\n" + text(photo, CFSTR("Comment")) + "\n";
    for (const char* needle : {"é", "ü", "\"", "&", "<", "日本の夏"})
        EXPECT_NE(all.find(needle), std::string::npos) << "no caption or comment has " << needle;
}

TEST(MakeDemoLibrary, PreferencesPublishTwoOfTheThreeAlbums) {
    const DemoLibrary& library = demoLibrary();
    CFDictionary_t prefs = readPropertyList(library.preferences);
    EXPECT_EQ(text(prefs, CFSTR("title")), "Tessellan demo");
    EXPECT_EQ(int(prefs.get<CFNumber_t>(CFSTR("port"))), 8080);
    auto entries = prefs.get<CFArray_t<CFDictionary_t>>(CFSTR("libraries"));
    ASSERT_EQ(entries.count(), 1);
    CFDictionary_t entry = entries.elem(0);
    EXPECT_EQ(int(entry.get<CFNumber_t>(CFSTR("id"))), 0);
    EXPECT_FALSE(text(entry, CFSTR("name")).empty());
    EXPECT_EQ(text(entry, CFSTR("path")), library.folder);
    EXPECT_TRUE(CFBooleanGetValue(entry.get<CFBoolean_t>(CFSTR("FullSizeDownload"))));

    std::set<int> all = albumIds(albumData()), published;
    NumArray albums = entry.get<NumArray>(CFSTR("albums"));
    ASSERT_EQ(albums.count(), 2);
    for (CFIndex i = 0; i < albums.count(); ++i) {
        int id = albums.elem(i);
        EXPECT_EQ(all.count(id), 1u) << "published album " << id << " is not in the library";
        published.insert(id);
    }
    EXPECT_EQ(published.size(), 2u);

    auto config = entry.get<CFDictionary_t>(CFSTR("albumConfig"));
    size_t count = size_t(CFDictionaryGetCount(config));
    ASSERT_GE(count, 1u);
    std::vector<CFTypeRef> keys(count), values(count);
    CFDictionaryGetKeysAndValues(config, keys.data(), values.data());
    for (size_t i = 0; i < count; ++i) {
        int id = CFStringGetIntValue(static_cast<CFStringRef>(keys[i]));
        EXPECT_EQ(published.count(id), 1u) << "a theme for an album that is not published";
        EXPECT_FALSE(text(CFDictionary_t(values[i], CFDictionary_t::Get), CFSTR("theme")).empty());
    }
}

TEST(MakeDemoLibrary, WritesTheSameBytesAgainIntoAFolderItMadeBefore) {
    const DemoLibrary& shared = demoLibrary();
    TempFolder temp;
    std::string folder = temp.path() + "/library", prefs = temp.path() + "/prefs.plist";
    fs::create_directories(folder);
    std::ofstream(folder + "/.tessellan-demo-library") << "made before\n";
    std::ofstream(folder + "/AlbumData.xml") << "an older, broken album file";
    std::ofstream(prefs) << "<plist version=\"1.0\"><dict><key>siteLayout</key>"
                            "<string>Mosaic</string><key>title</key><string>old</string>"
                            "</dict></plist>\n";

    ToolRun run = runTool({folder, prefs, "--title", "Élan & <Co>", "--port", "9090"});
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_EQ(lineCount(run.output), 1) << run.output;

    size_t files = 0;
    for (const auto& item : fs::recursive_directory_iterator(shared.folder)) {
        if (!item.is_regular_file()) continue;
        ++files;
        std::string relative = fs::relative(item.path(), shared.folder).string();
        std::string expected = readFile(item.path().string()),
                    got = readFile(folder + "/" + relative);
        if (relative == "AlbumData.xml") {
            // The same document, with this folder's paths.
            for (size_t at = 0; (at = expected.find(shared.folder, at)) != std::string::npos;
                 at += folder.size())
                expected.replace(at, shared.folder.size(), folder);
        }
        EXPECT_TRUE(got == expected) << relative << " differs between runs";
    }
    size_t written = 0;
    for (const auto& item : fs::recursive_directory_iterator(folder))
        written += item.is_regular_file();
    EXPECT_EQ(written, files);

    CFDictionary_t settings = readPropertyList(prefs);
    EXPECT_EQ(text(settings, CFSTR("title")), "Élan & <Co>");
    EXPECT_EQ(int(settings.get<CFNumber_t>(CFSTR("port"))), 9090);
    EXPECT_EQ(text(settings, CFSTR("siteLayout")), "Mosaic") << "other settings are kept";
    auto entries = settings.get<CFArray_t<CFDictionary_t>>(CFSTR("libraries"));
    EXPECT_EQ(text(entries.elem(0), CFSTR("path")), folder);
}

TEST(MakeDemoLibrary, RefusesAFolderItDidNotMake) {
    TempFolder temp;
    std::string folder = temp.path() + "/photos", prefs = temp.path() + "/prefs.plist";
    fs::create_directories(folder);
    std::ofstream(folder + "/notes.txt") << "mine";

    ToolRun run = runTool({folder, prefs});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(lineCount(run.output), 1) << run.output;
    EXPECT_EQ(run.output.rfind("make_demo_library: " + folder, 0), 0u) << run.output;
    EXPECT_EQ(readFile(folder + "/notes.txt"), "mine");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
    EXPECT_FALSE(fs::exists(prefs));
}

TEST(MakeDemoLibrary, LeavesAPreferencesFileItCannotReadAlone) {
    TempFolder temp;
    std::string folder = temp.path() + "/library", prefs = temp.path() + "/prefs.plist";
    std::ofstream(prefs) << "port = 8080\n";

    ToolRun run = runTool({folder, prefs});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(lineCount(run.output), 1) << run.output;
    EXPECT_NE(run.output.find(prefs), std::string::npos) << run.output;
    EXPECT_EQ(readFile(prefs), "port = 8080\n");
    EXPECT_FALSE(fs::exists(folder)) << "nothing is drawn when the preferences cannot be kept";
}

TEST(MakeDemoLibrary, CommandLineMistakesAreUsageErrors) {
    TempFolder temp;
    std::string a = temp.path() + "/library", b = temp.path() + "/prefs.plist";
    const std::vector<std::vector<std::string>> cases = {
        {},
        {a},
        {a, b, temp.path() + "/third"},
        {a, b, "--port"},
        {a, b, "--port", "-1"},
        {a, b, "--port", "65536"},
        {a, b, "--port", "80x"},
        {a, b, "--title", ""},
        {a, b, "--colour", "red"},
    };
    for (const auto& arguments : cases) {
        std::string line;
        for (const std::string& argument : arguments)
            line += " [" + argument + "]";
        ToolRun run = runTool(arguments);
        EXPECT_EQ(run.status, 2) << line;
        EXPECT_EQ(lineCount(run.output), 1) << line << ": " << run.output;
        EXPECT_NE(run.output.find("try --help"), std::string::npos) << line << ": " << run.output;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(temp.path()), fs::directory_iterator()), 0)
        << "a usage error writes nothing";

    ToolRun help = runTool({"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.output.rfind("usage: make_demo_library LIBRARY_DIR PREFS_FILE", 0), 0u);
}

} // namespace
