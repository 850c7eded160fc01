// tessellanctl_test.cpp - the real tessellanctl against preferences files and libraries in
// temporary folders, and against a running server.
#include "ToolRun.h"
#include "support/AlbumXml.h"
#include "support/EncodeJPEG.h"
#include "support/ServerProcess.h"

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <thread>

namespace {

namespace fs = std::filesystem;
using namespace testsupport;
using testing::HasSubstr, testing::Not;

// A library folder whose album file lists albums 10 "Summer" (photos 1 and 2), 11 and 12 both
// "Winter", and 2007 named "10". Photo 1 has its picture and thumbnail; photo 2's picture is
// text and its thumbnail is missing.
std::string writeLibrary(const TempFolder& files, const std::string& name) {
    using namespace albumxml;
    std::string folder = files.sub(name), photos;
    files.write(name + "/pics/one.jpg", encodeJPEG(64, 48));
    files.write(name + "/thumbs/one.jpg", encodeJPEG(32, 24));
    files.write(name + "/pics/two.jpg", "not a picture");
    for (auto [id, file] : {std::pair{"1", "one"}, {"2", "two"}})
        photos += photo(id, "c", "", folder + "/pics/" + file + ".jpg",
                        folder + "/thumbs/" + file + ".jpg");
    files.write(name + "/AlbumData.xml",
                albumFile(album(10, "Summer", {"1", "2"}) + album(11, "Winter", {"1"}) +
                              album(12, "Winter", {}) + album(2007, "10", {}),
                          photos));
    return folder;
}

class Tessellanctl : public ::testing::Test {
  protected:
    void SetUp() override {
        runtime = files.sub("run");
        chmod(runtime.c_str(), 0700);
        prefs = files.path("config/prefs.plist");
    }
    ToolRun ctl(std::vector<std::string> arguments, const std::string& input = "") {
        arguments.insert(arguments.begin(), {"--prefs", prefs});
        return runProgram("tessellanctl", arguments,
                          {{"XDG_RUNTIME_DIR", runtime}, {"XDG_DATA_HOME", files.path("data")}},
                          input);
    }
    CFDictionary_t prefsRoot() { return readPropertyList(prefs); }
    // The albums the first library publishes.
    std::vector<int> published() {
        auto libraries = prefsRoot().get<CFArray_t<CFDictionary_t>>(CFSTR("libraries"));
        NumArray albums = libraries.elem(0).get<NumArray>(CFSTR("albums"));
        std::vector<int> ids;
        for (CFIndex a = 0; a < albums.count(); ++a)
            ids.push_back(int(albums.elem(a)));
        return ids;
    }
    TempFolder files;
    std::string runtime, prefs;
};

TEST_F(Tessellanctl, BadInputGetsOneLineAndLeavesEveryFileAsItWas) {
    std::string library = writeLibrary(files, "Old Library");
    ASSERT_EQ(ctl({"library", "add", library}).status, 0);
    std::string added = readFile(prefs), empty = files.sub("empty"), other = files.sub("other");
    files.write("notplist/AlbumData.xml", "<plist><dict><key>x</key></plist>");
    files.write("other/AlbumData.xml",
                "<plist><dict><key>List of Albums</key><array/></dict></plist>");
    struct Case {
        std::vector<std::string> arguments;
        int status;
        const char* message;
        const char* prefs = nullptr; // written in place of the preferences first
    } cases[] = {
        {{"library", "add", empty}, 1, "no album file"},
        {{"library", "add", files.path("notplist")}, 1, "is not a readable album file ("},
        {{"publish", "1", "999"}, 1, "no album '999' in library 1"},
        {{"publish", "1", "Winter"}, 1, "(ids 11, 12)"}, // ambiguous
        {{"albums", "7"}, 1, "there is no library 7"},
        {{"library", "add", other, "--id", "1"}, 1, "library id 1 is taken"},
        {{"library", "add", library}, 1, "is already library 1"},
        {{"set", "port", "65536"}, 1, "port 65536 is above 65535"},
        {{"set", "layout", "Nowhere"}, 1, "no layout 'Nowhere'"},
        {{"set", "layout", ".."}, 1, "layout name '..' is not usable"},
        {{"set", "image-quality", "3"}, 1, "image-quality takes low"},
        {{"password", "ana"}, 1, "no password on standard input"},
        {{"password", "a:b"}, 1, "may not hold ':'"},
        {{"status"}, 1, "tessellan is not running with"},
        {{"frobnicate"}, 2, "unknown command 'frobnicate'"},
        {{"publish", "1"}, 2, "too few arguments for publish"},
        {{"publish", "1", "Summer", "--all"}, 2, "too many arguments"},
        {{"library", "add", library, "--name"}, 2, "--name needs a value"},
        {{"set", "title", "New"}, 1, "cannot be read (", "<plist><dict><key>t</key>"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        files.write("config/prefs.plist", c.prefs ? c.prefs : added);
        std::string before = readFile(prefs);
        auto entriesBefore = std::distance(fs::directory_iterator(files.path("config")), {});
        ToolRun run = ctl(c.arguments);
        EXPECT_EQ(run.status, c.status) << run.err;
        EXPECT_EQ(lineCount(run.err), 1) << run.err;
        EXPECT_EQ(run.err.rfind("tessellanctl: ", 0), 0u) << run.err;
        EXPECT_THAT(run.err, HasSubstr(c.message));
        EXPECT_EQ(readFile(prefs), before) << "the preferences file changed";
        EXPECT_EQ(std::distance(fs::directory_iterator(files.path("config")), {}), entriesBefore)
            << "a file was left beside the preferences";
    }
}

TEST_F(Tessellanctl, PublishesAlbumsByIdByNameAndAll) {
    std::string library = writeLibrary(files, "Bibliothèque de Ana");
    ToolRun add = ctl({"library", "add", library + "/", "--full-size-download", "yes"});
    ASSERT_EQ(add.status, 0) << add.err;
    EXPECT_THAT(add.out, HasSubstr("added library 1 \"Bibliothèque de Ana\""));
    EXPECT_THAT(add.out, HasSubstr("Summer")) << "the albums found are listed";
    auto entry = prefsRoot().get<CFArray_t<CFDictionary_t>>(CFSTR("libraries")).elem(0);
    EXPECT_EQ(text(entry, CFSTR("path")), library) << "absolute, without the trailing slash";
    EXPECT_TRUE(CFBooleanGetValue(entry.get<CFBoolean_t>(CFSTR("FullSizeDownload"))));

    struct Step {
        std::vector<std::string> arguments;
        std::vector<int> expected;
        const char* rule;
    } steps[] = {
        {{"publish", "1", "Summer"}, {10}, "an album named by its name"},
        {{"publish", "1", "12", "10"}, {10, 12}, "ids are added in order, once each"},
        {{"publish", "1", "2007"}, {10, 12, 2007}, "digits are an id when the library has it"},
        {{"unpublish", "1", "Summer"}, {12, 2007}, "unpublishing by name"},
        {{"publish", "1", "--all"}, {12, 2007, 10, 11}, "--all adds the rest in file order"},
        {{"unpublish", "1", "--all"}, {}, "--all removes every album"},
    };
    for (const Step& step : steps) {
        ToolRun run = ctl(step.arguments);
        EXPECT_EQ(run.status, 0) << step.rule << ": " << run.err;
        EXPECT_EQ(published(), step.expected) << step.rule;
    }
    ToolRun second = ctl({"library", "add", writeLibrary(files, "Second"), "--name", "Zweite"});
    EXPECT_THAT(second.out, HasSubstr("added library 2 \"Zweite\"")) << second.err;
    EXPECT_EQ(ctl({"library", "remove", "1"}).status, 0);
    ToolRun list = ctl({"library", "list"});
    EXPECT_EQ(list.out.find("Bibliothèque"), std::string::npos) << list.out;
    EXPECT_THAT(list.out, HasSubstr("Zweite"));
    EXPECT_TRUE(fs::exists(library + "/AlbumData.xml")) << "removing never touches the library";
}

TEST_F(Tessellanctl, PasswordKeepsThePreferencesFileOwnerOnly) {
    files.write("config/prefs.plist",
                "<plist><dict><key>title</key><string>T</string></dict></plist>");
    chmod(prefs.c_str(), 0644);
    ToolRun run = ctl({"password", "ana"}, "s3cret pass\n");
    ASSERT_EQ(run.status, 0) << run.err;
    CFDictionary_t root = prefsRoot();
    EXPECT_TRUE(CFBooleanGetValue(root.get<CFBoolean_t>(CFSTR("auth"))));
    EXPECT_EQ(text(root, CFSTR("user")), "ana");
    EXPECT_EQ(text(root, CFSTR("pass")), "s3cret pass") << "the whole line, without its end";
    EXPECT_EQ(fs::status(prefs).permissions(), fs::perms::owner_read | fs::perms::owner_write);

    ASSERT_EQ(ctl({"password", "--off"}).status, 0);
    root = prefsRoot();
    EXPECT_FALSE(CFBooleanGetValue(root.get<CFBoolean_t>(CFSTR("auth"))));
    EXPECT_EQ(CFDictionaryGetValue(root, CFSTR("pass")), nullptr) << "the password is dropped";
}

TEST_F(Tessellanctl, CheckCountsFoundMissingAndUnreadableFiles) {
    std::string library = writeLibrary(files, "lib");
    ASSERT_EQ(ctl({"library", "add", library}).status, 0);
    ASSERT_EQ(ctl({"publish", "1", "Summer", "11"}).status, 0);
    ToolRun run = ctl({"check", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("2 photos")) << "photo 1 in two albums counts once";
    EXPECT_THAT(run.out, HasSubstr("pictures: 1 found, 0 missing, 1 not readable as pictures\n"
                                   "  not readable: " +
                                   library + "/pics/two.jpg\n"));
    EXPECT_THAT(run.out, HasSubstr("thumbnails: 1 found, 1 missing, 0 not readable as pictures\n"
                                   "  missing: " +
                                   library + "/thumbs/two.jpg\n"));
    EXPECT_EQ(run.err, "tessellanctl: library 1: 2 problems found\n");

    ASSERT_EQ(ctl({"unpublish", "1", "Summer"}).status, 0);
    run = ctl({"check", "1"});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
}

TEST_F(Tessellanctl, RunningServerSeesAPublishWithinASecondAndHidesTheRest) {
    ASSERT_EQ(ctl({"set", "port", "0"}).status, 0);
    ASSERT_EQ(ctl({"library", "add", writeLibrary(files, "lib"), "--name", "Demo"}).status, 0);
    ServerProcess server;
    ASSERT_TRUE(server.start({"--prefs", prefs, "--resources", TESSELLAN_SOURCE_DIR "/resources"},
                             {{"XDG_RUNTIME_DIR", runtime}}));
    int port = server.port();

    ToolRun status = ctl({"status"});
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_THAT(status.out, HasSubstr("tessellan is running"));
    EXPECT_THAT(status.out, HasSubstr(":" + std::to_string(port) + "/"));
    EXPECT_THAT(status.out, HasSubstr("library 1 \"Demo\": 0 albums published"));
    EXPECT_THAT(bodyOf(get(port, "/json/getalbums?l=1")), Not(HasSubstr("Winter")));

    ToolRun publish = ctl({"publish", "1", "11", "2007"});
    ASSERT_EQ(publish.status, 0) << publish.err;
    EXPECT_THAT(publish.out, HasSubstr("reads the change now"));
    std::string albums;
    for (auto start = std::chrono::steady_clock::now();
         std::chrono::steady_clock::now() - start < std::chrono::seconds(1) &&
         (albums = bodyOf(get(port, "/json/getalbums?l=1"))).find("Winter") == std::string::npos;)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_THAT(albums, HasSubstr("\"Winter\""));

    // The unpublished album 10 answers as an album that does not exist, even for photo 1, which
    // published album 11 holds too.
    for (std::string route : {"/json/getpics?l=1&a=", "/thumbnail/?l=1&p=1&a="})
        EXPECT_EQ(bodyOf(get(port, route + "10")), bodyOf(get(port, route + "999"))) << route;

    ToolRun port2 = ctl({"set", "port", std::to_string(port + 1)});
    EXPECT_THAT(port2.out,
                HasSubstr("listens on port " + std::to_string(port) + " until it restarts"));

    server.stop();
    EXPECT_TRUE(fs::is_empty(runtime + "/tessellan")) << "a clean stop removes the record";
    EXPECT_EQ(ctl({"status"}).status, 1);
}

} // namespace
