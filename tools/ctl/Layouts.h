// Layouts.h - the site layouts the server would find, for checking a layout name before it is
// stored.
#pragma once

#include <string>
#include <vector>

namespace ctl {

// The folders layouts are looked for in, in the server's order: layouts/ of the resources
// folder (resourcesPath; empty: the one found from this executable), then Tessellan/layouts/
// of the user's data folder. A folder that cannot be found is left out.
std::vector<std::string> layoutFolders(const std::string& resourcesPath);

// Throws Refused when name is unusable (empty, ".", "..", holding "/") or when no folder of
// layoutFolders holds a folder of that name with an index.html; the line lists the layouts
// that are there.
void checkLayout(const std::string& name, const std::string& resourcesPath);

} // namespace ctl
