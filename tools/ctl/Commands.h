// Commands.h - tessellanctl's commands. Each takes the words after its name, writes what it
// did on out, and throws Refused or UsageError (see Failure.h) without writing anything.
#pragma once

#include "ctl/Arguments.h"

#include <ostream>
#include <string>
#include <vector>

namespace ctl {

struct Context {
    std::string prefsPath;     // the preferences file
    std::string resourcesPath; // --resources, or empty
    std::ostream& out;
};

using Words = std::vector<std::string>;

void statusCommand(Context& context, const Words& words);
void libraryCommand(Context& context, const Words& words); // add, list, remove
void albumsCommand(Context& context, const Words& words);
void publishCommand(Context& context, const Words& words); // publish
void unpublishCommand(Context& context, const Words& words);
void setCommand(Context& context, const Words& words);
void passwordCommand(Context& context, const Words& words);
void checkCommand(Context& context, const Words& words);

} // namespace ctl
