// make_demo_library_test.cpp - the tool never touches what it did not make, and answers command
// line mistakes with one line.
#include "ToolRun.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace fs = std::filesystem;

namespace {

TEST(MakeDemoLibrary, RefusalsSayOneLineAndTouchNothing) {
    TempFolder temp;
    std::string folder = temp.path("library"), prefs = temp.path("prefs.plist");
    temp.write("photos/notes.txt", "mine");
    temp.write("mine.plist", "port = 8080\n");
    std::pair<std::vector<std::string>, const char*> cases[] = {
        {{folder}, "try --help"},
        {{folder, prefs, "--port", "65536"}, "try --help"},
        {{folder, prefs, "--colour", "red"}, "try --help"},
        {{temp.path("photos"), prefs}, "photos"},          // a folder it did not make
        {{folder, temp.path("mine.plist")}, "mine.plist"}, // preferences it cannot read
    };
    for (auto& [arguments, said] : cases) {
        SCOPED_TRACE(said);
        ToolRun run = runProgram("make_demo_library", arguments);
        EXPECT_EQ(run.status, said[0] == 't' ? 2 : 1);
        EXPECT_EQ(lineCount(run.out + run.err), 1) << run.out << run.err;
        EXPECT_NE(run.err.find(said), std::string::npos) << run.err;
        EXPECT_FALSE(fs::exists(folder) || fs::exists(prefs)) << "nothing is written";
    }
    EXPECT_EQ(readFile(temp.path("photos/notes.txt")), "mine");
    EXPECT_EQ(std::distance(fs::directory_iterator(temp.path("photos")), {}), 1);
    EXPECT_EQ(readFile(temp.path("mine.plist")), "port = 8080\n");
}

} // namespace
