// make_demo_library_test.cpp - the tool never touches what it did not make, and answers command
// line mistakes with one line.
#include "DemoLibrary.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

TEST(MakeDemoLibrary, RefusalsSayOneLineAndTouchNothing) {
    TempFolder temp;
    std::string folder = temp.path("library"), prefs = temp.path("prefs.plist");
    struct Case {
        const char* name; // what would be wrong if it failed
        std::vector<std::string> arguments;
        int status;
        const char* said;
    } cases[] = {
        {"no arguments", {}, 2, "try --help"},
        {"one argument", {folder}, 2, "try --help"},
        {"a third folder", {folder, prefs, temp.path("third")}, 2, "try --help"},
        {"option without value", {folder, prefs, "--port"}, 2, "try --help"},
        {"negative port", {folder, prefs, "--port", "-1"}, 2, "try --help"},
        {"port above 65535", {folder, prefs, "--port", "65536"}, 2, "try --help"},
        {"port not a number", {folder, prefs, "--port", "80x"}, 2, "try --help"},
        {"empty title", {folder, prefs, "--title", ""}, 2, "try --help"},
        {"unknown option", {folder, prefs, "--colour", "red"}, 2, "try --help"},
        {"a folder it did not make", {temp.path("photos"), prefs}, 1, "photos"},
        {"a preferences file it cannot read", {folder, temp.path("mine.plist")}, 1, "mine.plist"},
    };
    temp.write("photos/notes.txt", "mine");
    temp.write("mine.plist", "port = 8080\n");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ToolRun run = runProgram("make_demo_library", c.arguments);
        EXPECT_EQ(run.status, c.status);
        EXPECT_EQ(lineCount(run.out + run.err), 1) << run.out << run.err;
        EXPECT_NE(run.err.find(c.said), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(folder) || fs::exists(prefs)) << "nothing is written";
    }
    EXPECT_EQ(readFile(temp.path("photos/notes.txt")), "mine");
    EXPECT_EQ(std::distance(fs::directory_iterator(temp.path("photos")), {}), 1);
    EXPECT_EQ(readFile(temp.path("mine.plist")), "port = 8080\n");

    ToolRun help = runProgram("make_demo_library", {"--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.out.rfind("usage: make_demo_library LIBRARY_DIR PREFS_FILE", 0), 0u);
}

} // namespace
