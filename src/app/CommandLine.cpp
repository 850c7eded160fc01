// CommandLine.cpp - parsing the options.
#include "app/CommandLine.h"

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// A number of seconds from 0.001 to a day, or nothing.
bool parseSeconds(const std::string& text, double& seconds) {
    char* end = nullptr;
    double value = strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(value) || value < 0.001 || value > 86400)
        return false;
    seconds = value;
    return true;
}

} // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLine line;
    for (int i = 1; i < argc && line.error.empty(); ++i) {
        std::string argument = argv[i];
        std::string name = argument.substr(0, argument.find('='));
        bool inlineValue = name.size() < argument.size();
        std::string seconds;
        std::string* target = name == "--prefs"            ? &line.prefsPath
                              : name == "--resources"      ? &line.resourcesPath
                              : name == "--idle-timeout"   ? &seconds
                              : name == "--header-timeout" ? &seconds
                                                           : nullptr;
        if (target) {
            if (inlineValue) {
                *target = argument.substr(name.size() + 1);
            } else if (i + 1 < argc) {
                *target = argv[++i];
            } else {
                line.error = name + " needs a value";
                break;
            }
            if (target->empty()) {
                line.error = name + " needs a value";
            } else if (target == &seconds &&
                       !parseSeconds(seconds, name == "--idle-timeout" ? line.idleSeconds
                                                                       : line.headerSeconds)) {
                line.error = name + " needs a number of seconds from 0.001 to 86400";
            }
        } else if (argument == "--version") {
            line.version = true;
        } else if (argument == "--help" || argument == "-h") {
            line.help = true;
        } else {
            line.error = "unknown argument '" + argument + "'";
        }
    }
    return line;
}

std::string commandLineHelp() {
    return "Usage: tessellan [--prefs FILE] [--resources DIR] [--idle-timeout SECONDS]\n"
           "                 [--header-timeout SECONDS]\n"
           "Publishes the albums of local photo libraries to the web browsers of the home "
           "network.\n"
           "\n"
           "  --prefs FILE      the preferences file (default:\n"
           "                    $XDG_CONFIG_HOME/tessellan/org.tessellan.Tessellan.plist)\n"
           "  --resources DIR   the folder holding layouts/ and json/ (default: found from the\n"
           "                    executable's location)\n"
           "  --idle-timeout SECONDS\n"
           "                    drop a connection silent this long (default: 60)\n"
           "  --header-timeout SECONDS\n"
           "                    drop a connection whose request header is not complete this\n"
           "                    long after its first byte (default: 30)\n"
           "  --version         print the version and exit\n"
           "  --help            print this help and exit\n"
           "\n"
           "Send SIGHUP to make the server read its preferences file again.\n";
}
