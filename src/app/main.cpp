// main.cpp - the tessellan command: options, then the server's start-up (Startup.cpp).
#include "app/CommandLine.h"
#include "app/Startup.h"
#include "settings/PreferenceStore.h"
#include "version.h"
#include "web/Bundle.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

int main(int argc, char** argv) {
    // Log lines must appear at once, under systemd and in tests alike.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    CommandLine line = parseCommandLine(argc, argv);
    if (!line.error.empty()) {
        fprintf(stderr, "tessellan: %s (try --help)\n", line.error.c_str());
        return 2;
    }
    if (line.help) {
        fputs(commandLineHelp().c_str(), stdout);
        return 0;
    }
    if (line.version) {
        printf("tessellan %s\n", TESSELLAN_VERSION);
        return 0;
    }
    CFPreferencesSetPath(line.prefsPath.empty() ? CFPreferencesDefaultPath() : line.prefsPath);
    if (!line.resourcesPath.empty()) {
        struct stat info;
        if (stat(line.resourcesPath.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) {
            fprintf(stderr, "tessellan: --resources: '%s' is not a folder\n",
                    line.resourcesPath.c_str());
            return 2;
        }
        BundleSetResourcesPath(line.resourcesPath);
    }
    signal(SIGPIPE, SIG_IGN);
    return TessellanMain(line);
}
