// main.cpp - start-up: preferences, responder table, listening and advertising, the loop.
#include "cf/cftempl.h"
#include "library/LibraryRegistry.h"
#include "server/Bundle.h"
#include "server/CommandLine.h"
#include "server/EventLoop.h"
#include "server/Globals.h"
#include "server/HttpContext.h"
#include "server/PreferenceStore.h"
#include "server/Preferences.h"
#include "server/RequestHandler.h"
#include "server/Server.h"
#include "server/Startup.h"
#include "version.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
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
    if (!line.resourcesPath.empty()) BundleSetResourcesPath(line.resourcesPath);
    if (const char* idle = getenv("TESSELLAN_IDLE_TIMEOUT")) HttpContextIdleSeconds = atof(idle);
    signal(SIGPIPE, SIG_IGN);
    return TessellanMain();
}
