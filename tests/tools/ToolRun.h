// ToolRun.h - running the project's programs from the tests, and reading what they wrote.
#pragma once

#include "cf/cftempl.h"
#include "support/TempFolder.h"

#include <algorithm>
#include <map>
#include <string>
#include <sys/types.h>
#include <vector>

using testsupport::readFile;
using testsupport::TempFolder;
using Environment = std::map<std::string, std::string>;

// How a program ended (its exit status, -1 when a signal ended it) and what it printed.
struct ToolRun {
    int status;
    std::string out, err;
};
// Runs the build folder's program (tessellanctl, make_demo_library...) with arguments, the
// environment additions and input on its standard input, and waits for it.
ToolRun runProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const Environment& environment = {}, const std::string& input = "");
// Starts it without waiting, its output thrown away; finish() waits for it.
pid_t spawnProgram(const std::string& program, const std::vector<std::string>& arguments,
                   const Environment& environment);
int finish(pid_t child);
inline int lineCount(const std::string& text) {
    return int(std::count(text.begin(), text.end(), '\n'));
}

// The property list in the file, which must be a dictionary; throws otherwise.
CFDictionary_t readPropertyList(const std::string& path);
// A string value of a dictionary in UTF-8 (throws when absent or not a string).
std::string text(const CFDictionary_t& dict, CFStringRef key);
