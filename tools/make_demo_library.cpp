// make_demo_library.cpp - writes a demo photo library and a preferences file publishing it.
//
// The pictures are drawn by the program itself, so the library is the same, byte for byte,
// on every run; tests and scripts/run rely on that.
#include "demo/Files.h"
#include "demo/Library.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const char* kUsage =
    "usage: make_demo_library LIBRARY_DIR PREFS_FILE [--title T] [--port N]\n"
    "\n"
    "Writes a demo photo library into LIBRARY_DIR (pictures, thumbnails and AlbumData.xml)\n"
    "and publishes two of its three albums in the preferences file PREFS_FILE, keeping any\n"
    "other settings the file already holds.\n"
    "\n"
    "  --title T   the server's title (default \"Tessellan demo\")\n"
    "  --port N    the server's port, 0-65535 (default 8080; 0: the system picks)\n"
    "  --help      show this text\n"
    "\n"
    "LIBRARY_DIR must be missing, empty, or a folder this program wrote before.\n";

struct Options {
    std::string library, preferences;
    std::string title = "Tessellan demo";
    int port = 8080;
};

[[noreturn]] void usageError(const std::string& message) {
    fprintf(stderr, "make_demo_library: %s (try --help)\n", message.c_str());
    exit(2);
}

Options parse(int argc, char** argv) {
    Options options;
    std::vector<std::string> positional;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            fputs(kUsage, stdout);
            exit(0);
        }
        if (arg == "--title" || arg == "--port") {
            if (i + 1 == argc) usageError(arg + " needs a value");
            std::string value = argv[++i];
            if (arg == "--title") {
                if (value.empty()) usageError("the title must not be empty");
                options.title = value;
            } else {
                char* end = nullptr;
                long port = strtol(value.c_str(), &end, 10);
                if (value.empty() || *end != '\0' || port < 0 || port > 65535)
                    usageError("bad port '" + value + "'");
                options.port = int(port);
            }
        } else if (arg.size() > 1 && arg[0] == '-') {
            usageError("unknown option '" + arg + "'");
        } else {
            positional.push_back(arg);
        }
    }
    if (positional.size() != 2) usageError("expected LIBRARY_DIR and PREFS_FILE");
    options.library = positional[0];
    options.preferences = positional[1];
    if (options.library.empty() || options.preferences.empty())
        usageError("paths must not be empty");
    return options;
}

} // namespace

int main(int argc, char** argv) {
    Options options = parse(argc, argv);
    try {
        // Both destinations are checked before the pictures, which take a while, are drawn.
        demo::checkPreferencesFile(options.preferences);
        std::string root = demo::claimLibraryFolder(options.library);
        demo::writePictures(root);
        // Written last: a server reading the folder meanwhile never sees a missing picture.
        demo::writeFileAtomically(root + "/AlbumData.xml", demo::albumDataXml(root));
        demo::writePreferences(options.preferences, root, options.title, options.port);
        printf("make_demo_library: %zu pictures in %zu albums at %s, published in %s\n",
               demo::catalogue().size(), demo::albums().size(), root.c_str(),
               options.preferences.c_str());
    } catch (const std::exception& e) {
        fprintf(stderr, "make_demo_library: %s\n", e.what());
        return 1;
    }
    return 0;
}
