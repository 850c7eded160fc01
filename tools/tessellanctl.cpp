// tessellanctl.cpp - the tessellanctl command: publishes libraries and albums and changes the
// settings of tessellan through its preferences file, then tells a running server.
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "settings/PreferenceStore.h"
#include "version.h"

#include <csignal>
#include <cstdio>
#include <iostream>
#include <map>

namespace {

using Command = void (*)(ctl::Context&, const ctl::Words&);

const std::map<std::string, Command>& commands() {
    static const std::map<std::string, Command> table = {
        {"status", ctl::statusCommand},       {"library", ctl::libraryCommand},
        {"albums", ctl::albumsCommand},       {"publish", ctl::publishCommand},
        {"unpublish", ctl::unpublishCommand}, {"set", ctl::setCommand},
        {"password", ctl::passwordCommand},   {"check", ctl::checkCommand},
    };
    return table;
}

int run(int argc, char** argv) {
    ctl::Invocation invocation = ctl::parseInvocation(argc, argv);
    if (invocation.help) {
        std::cout << ctl::helpText();
        return 0;
    }
    if (invocation.version) {
        std::cout << "tessellanctl " TESSELLAN_VERSION "\n";
        return 0;
    }
    if (invocation.words.empty()) throw ctl::UsageError("no command given");
    auto found = commands().find(invocation.words[0]);
    if (found == commands().end())
        throw ctl::UsageError("unknown command '" + invocation.words[0] + "'");
    ctl::Context context{invocation.prefsPath.empty() ? CFPreferencesDefaultPath()
                                                      : invocation.prefsPath,
                         invocation.resourcesPath, std::cout};
    found->second(context, ctl::Words(invocation.words.begin() + 1, invocation.words.end()));
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const ctl::UsageError& error) {
        std::cout.flush();
        std::cerr << "tessellanctl: " << error.what() << " (try tessellanctl --help)\n";
        return 2;
    } catch (const std::exception& error) {
        std::cout.flush();
        std::cerr << "tessellanctl: " << error.what() << "\n";
        return 1;
    }
}
