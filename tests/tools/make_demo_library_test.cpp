// make_demo_library_test.cpp - the tool never touches what it did not make, and answers command
// line mistakes with one line.
#include "DemoLibrary.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

int lineCount(const std::string& output) {
    return int(std::count(output.begin(), output.end(), '\n'));
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
