// CommandLine.h - the options of the tessellan command.
#pragma once

#include <string>

struct CommandLine {
    std::string prefsPath;     // --prefs FILE; empty: the default preferences file
    std::string resourcesPath; // --resources DIR; empty: found from the executable
    double idleSeconds = 60;   // --idle-timeout SECONDS: a silent connection is dropped after it
    double headerSeconds = 30; // --header-timeout SECONDS: a request header must be complete by it
    bool version = false;      // --version
    bool help = false;         // --help
    std::string error;         // why the arguments were refused; empty when they were fine
};

// Reads the arguments. Options take their value as the next argument or after "=".
CommandLine parseCommandLine(int argc, const char* const* argv);
// The text --help prints.
std::string commandLineHelp();
