// StatusCommand.cpp - status: is the server running, where to reach it, what it publishes.
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Settings.h"
#include "app/RuntimeRecord.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>

namespace ctl {

namespace {

// The IPv4 addresses of this machine's interfaces that are up; loopback ones only when there
// is nothing else.
std::vector<std::string> localAddresses() {
    std::vector<std::string> outside, loopback;
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) return {"127.0.0.1"};
    for (ifaddrs* at = list; at; at = at->ifa_next) {
        if (!at->ifa_addr || at->ifa_addr->sa_family != AF_INET || !(at->ifa_flags & IFF_UP))
            continue;
        char text[INET_ADDRSTRLEN];
        inet_ntop(AF_INET, &reinterpret_cast<sockaddr_in*>(at->ifa_addr)->sin_addr, text,
                  sizeof text);
        (at->ifa_flags & IFF_LOOPBACK ? loopback : outside).push_back(text);
    }
    freeifaddrs(list);
    return outside.empty() ? loopback : outside;
}

} // namespace

void statusCommand(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("status", words, {}, {});
    expectPlain("status", args, 0, 0, "status");
    Settings settings(context.prefsPath);
    std::optional<RuntimeRecord> server = RuntimeRecordFind(context.prefsPath);
    std::ostream& out = context.out;
    if (server) {
        out << "tessellan is running (process " << server->pid << ") with " << server->prefsPath
            << "\n";
        out << "reachable at";
        for (const std::string& address : localAddresses())
            out << " http://" << address << ":" << server->port << "/";
        out << "\nadvertised as \"" << server->name << "\"\n";
    }
    std::vector<LibraryEntry> entries = settings.libraries();
    if (entries.empty()) out << "no library is published\n";
    for (const LibraryEntry& entry : entries)
        out << "library " << entry.id << " \"" << entry.name << "\": " << entry.albums.size()
            << (entry.albums.size() == 1 ? " album" : " albums") << " published (" << entry.path
            << ")\n";
    if (!server)
        throw Refused("tessellan is not running with " + context.prefsPath +
                      " (start it with: systemctl --user start tessellan)");
}

} // namespace ctl
