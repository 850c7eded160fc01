// SettingCommands.cpp - set title|port|layout|thumbnail-quality|image-quality.
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Layouts.h"
#include "ctl/Settings.h"
#include "ctl/Values.h"
#include "app/RuntimeRecord.h"

#include <algorithm>

namespace ctl {

namespace {

// A quality level: 0, 1, 2 or low, medium, high.
int qualityLevel(const std::string& setting, const std::string& value) {
    static const char* const names[] = {"low", "medium", "high"};
    for (int level = 0; level < 3; ++level)
        if (value == names[level] || value == std::to_string(level)) return level;
    throw Refused(setting + " takes low, medium, high or 0, 1, 2, not '" + value + "'");
}

int portNumber(const std::string& value) {
    bool digits =
        !value.empty() && value.size() <= 5 &&
        std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; });
    if (!digits) throw Refused("port '" + value + "' is not a number from 0 to 65535");
    int port = std::stoi(value);
    if (port > 65535) throw Refused("port " + value + " is above 65535");
    return port;
}

} // namespace

void setCommand(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("set", words, {}, {});
    const std::string synopsis = "set title|port|layout|thumbnail-quality|image-quality VALUE";
    expectPlain("set", args, 2, 2, synopsis);
    const std::string& setting = args.plain[0];
    const std::string& value = args.plain[1];
    Settings settings(context.prefsPath);
    std::optional<RuntimeRecord> server = RuntimeRecordFind(context.prefsPath);
    std::string note;
    if (setting == "title") {
        if (value.empty()) throw Refused("the title is empty");
        settings.set(CFSTR("title"), newString(value));
        if (server)
            note = "the page title changes now; the advertised name when tessellan restarts";
    } else if (setting == "port") {
        int port = portNumber(value);
        settings.set(CFSTR("port"), newInteger(port));
        if (server && server->port != port)
            note = "tessellan listens on port " + std::to_string(server->port) +
                   " until it restarts (systemctl --user restart tessellan)";
    } else if (setting == "layout") {
        std::string resources = context.resourcesPath;
        if (resources.empty() && server) resources = server->resourcesPath;
        checkLayout(value, resources);
        settings.set(CFSTR("siteLayout"), newString(value));
    } else if (setting == "thumbnail-quality") {
        settings.set(CFSTR("ThumbnailQuality"), newInteger(qualityLevel(setting, value)));
    } else if (setting == "image-quality") {
        settings.set(CFSTR("ImageQuality"), newInteger(qualityLevel(setting, value)));
    } else {
        throw UsageError("set: unknown setting '" + setting + "'; usage: tessellanctl " + synopsis);
    }
    settings.save(context.out);
    context.out << setting << " set to " << value << "\n";
    if (!note.empty()) context.out << note << "\n";
}

} // namespace ctl
