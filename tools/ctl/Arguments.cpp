// Arguments.cpp - splitting tessellanctl's command line.
#include "ctl/Arguments.h"

#include "ctl/Failure.h"

namespace ctl {

namespace {

// Reads an option's value: after "=" in the word, else the next word.
std::string optionValue(const std::string& name, const std::string& word, size_t& i,
                        const std::vector<std::string>& words) {
    if (word.size() > name.size()) return word.substr(name.size() + 1);
    if (i + 1 >= words.size()) throw UsageError(name + " needs a value");
    return words[++i];
}

} // namespace

Invocation parseInvocation(int argc, const char* const* argv) {
    Invocation invocation;
    std::vector<std::string> all(argv + 1, argv + argc);
    bool plainOnly = false;
    for (size_t i = 0; i < all.size(); ++i) {
        const std::string& word = all[i];
        std::string name = word.substr(0, word.find('='));
        if (plainOnly) {
            invocation.words.push_back(word);
        } else if (word == "--") {
            plainOnly = true;
            invocation.words.push_back(word);
        } else if (name == "--prefs" || name == "--resources") {
            std::string value = optionValue(name, word, i, all);
            if (value.empty()) throw UsageError(name + " needs a value");
            (name == "--prefs" ? invocation.prefsPath : invocation.resourcesPath) = value;
        } else if (word == "--help" || word == "-h") {
            invocation.help = true;
        } else if (word == "--version") {
            invocation.version = true;
        } else {
            invocation.words.push_back(word);
        }
    }
    return invocation;
}

CommandArgs splitCommandArgs(const std::string& command, const std::vector<std::string>& words,
                             const std::set<std::string>& valueOptions,
                             const std::set<std::string>& flags) {
    CommandArgs args;
    bool plainOnly = false;
    for (size_t i = 0; i < words.size(); ++i) {
        const std::string& word = words[i];
        if (plainOnly || word.size() < 2 || word.compare(0, 2, "--") != 0) {
            args.plain.push_back(word);
            continue;
        }
        if (word == "--") {
            plainOnly = true;
            continue;
        }
        std::string name = word.substr(0, word.find('='));
        if (valueOptions.count(name)) {
            args.values[name] = optionValue(name, word, i, words);
        } else if (flags.count(word)) {
            args.flags.insert(word);
        } else {
            throw UsageError(command + ": unknown option '" + word + "'");
        }
    }
    return args;
}

void expectPlain(const std::string& command, const CommandArgs& args, size_t min, size_t max,
                 const std::string& synopsis) {
    if (args.plain.size() < min || args.plain.size() > max)
        throw UsageError(std::string(args.plain.size() < min ? "too few" : "too many") +
                         " arguments for " + command + "; usage: tessellanctl " + synopsis);
}

uint32_t parseLibraryId(const std::string& text) {
    bool digits = !text.empty() && text.size() <= 10;
    for (char c : text)
        digits = digits && c >= '0' && c <= '9';
    if (!digits || std::stoull(text) > UINT32_MAX)
        throw Refused("library id '" + text + "' is not a number (see tessellanctl library list)");
    return uint32_t(std::stoull(text));
}

std::string helpText() {
    return R"(Usage: tessellanctl [--prefs FILE] COMMAND [ARGUMENTS]
Publishes photo libraries and changes the settings of tessellan, the album web server.

Commands:
  status                       whether tessellan runs, where to reach it, what it publishes
  library add FOLDER [--name NAME] [--full-size-download yes|no] [--id ID]
                               publish the library in FOLDER (it holds AlbumData.xml);
                               no albums are published yet, full-size download is off
  library list                 the published libraries
  library remove ID            stop publishing library ID (its files are not touched)
  albums ID                    every album of library ID, its photos, whether published
  publish ID ALBUM... | --all  publish albums (by id or by name) of library ID
  unpublish ID ALBUM... | --all
  set title TEXT               the site's title, also its advertised name
  set port NUMBER              0-65535 (0: the system picks); takes effect at restart
  set layout NAME              a layout folder found in the resources or the user's layouts
  set thumbnail-quality LEVEL  low, medium, high or 0, 1, 2 (JPEG quality 30, 50, 70)
  set image-quality LEVEL      low, medium, high or 0, 1, 2 (JPEG quality 50, 70, 90)
  password USER                ask visitors for USER and a password, read without echo from
                               the terminal (or one line of standard input)
  password --off               stop asking for a password
  check ID                     find the pictures and thumbnails of every published photo

Options:
  --prefs FILE       the preferences file (default: the server's,
                     $XDG_CONFIG_HOME/tessellan/org.tessellan.Tessellan.plist)
  --resources DIR    where to look for layouts (default: the running server's resources)
  --version          print the version and exit
  --help             print this help and exit

An album named by digits is taken as an album id when the library has one, else as a name.
Every change is written at once and a running tessellan reads it within a second.
Exit status: 0 done, 1 refused (nothing written), 2 the command line is not understood.
)";
}

} // namespace ctl
