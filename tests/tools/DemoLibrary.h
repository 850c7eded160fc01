// DemoLibrary.h - running make_demo_library from the tests, and the demo library the tests
// share.
#pragma once

#include "cf/cftempl.h"
#include "support/TempFolder.h"

#include <string>
#include <vector>

// The tool's exit status and everything it printed (standard output and error together).
struct ToolRun {
    int status;
    std::string output;
};
ToolRun runTool(const std::vector<std::string>& arguments);

// A library written by the tool with no options, shared by every test of this build tree:
// it is written once, under a lock (ctest runs tests in parallel, one process each), and
// again only when the tool has been rebuilt since. folder is its absolute, resolved path.
struct DemoLibrary {
    std::string folder, preferences;
};
// Throws std::runtime_error, with the tool's output, when the tool fails.
const DemoLibrary& demoLibrary();

using testsupport::readFile;
using testsupport::TempFolder;

// The property list in the file, which must be a dictionary; throws otherwise.
CFDictionary_t readPropertyList(const std::string& path);
// A string value of a dictionary in UTF-8 (throws when absent or not a string).
std::string text(const CFDictionary_t& dict, CFStringRef key);
