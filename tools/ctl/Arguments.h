// Arguments.h - tessellanctl's command line: the options every command takes, the command's own
// words and options, and the help text.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace ctl {

struct Invocation {
    std::string prefsPath;          // --prefs FILE, else the server's default file
    std::string resourcesPath;      // --resources DIR; empty: the running server's, else found
    bool help = false;              // --help (or -h) anywhere
    bool version = false;           // --version anywhere
    std::vector<std::string> words; // the command and what follows it, options included
};

// Takes --prefs, --resources, --help and --version out of the arguments (anywhere before a
// "--"); the rest are the words. Throws UsageError for an option without its value.
Invocation parseInvocation(int argc, const char* const* argv);

// A command's own arguments: the plain ones in order, and its options.
struct CommandArgs {
    std::vector<std::string> plain;
    std::map<std::string, std::string> values; // "--name" -> "Holidays"
    std::set<std::string> flags;               // "--all"
};

// Splits words (the command's arguments) by the options the command knows: valueOptions take
// a value (next word or after "="), flags take none. After "--" every word is plain. Throws
// UsageError naming an unknown option or a missing value.
CommandArgs splitCommandArgs(const std::string& command, const std::vector<std::string>& words,
                             const std::set<std::string>& valueOptions,
                             const std::set<std::string>& flags);

// REQUIRES nothing of args; throws UsageError unless it holds between min and max plain words.
void expectPlain(const std::string& command, const CommandArgs& args, size_t min, size_t max,
                 const std::string& synopsis);

// A library id: decimal digits that fit in 32 bits. Throws Refused otherwise.
uint32_t parseLibraryId(const std::string& text);

// The text of --help.
std::string helpText();

} // namespace ctl
