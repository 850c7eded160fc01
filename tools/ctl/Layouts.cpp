// Layouts.cpp - finding the layouts the server would serve.
#include "ctl/Layouts.h"

#include "ctl/Failure.h"
#include "settings/Preferences.h"
#include "web/Bundle.h"

#include <algorithm>
#include <filesystem>
#include <set>

namespace ctl {

namespace {

bool isLayout(const std::filesystem::path& folder) {
    std::error_code error;
    return std::filesystem::is_regular_file(folder / "index.html", error);
}

} // namespace

std::vector<std::string> layoutFolders(const std::string& resourcesPath) {
    return layoutSearchFolders(resourcesPath.empty() ? BundleResourcesPath() : resourcesPath);
}

void checkLayout(const std::string& name, const std::string& resourcesPath) {
    if (!prefLayoutNameUsable(name))
        throw Refused("layout name '" + name +
                      "' is not usable (it must be a folder's name, without '/')");
    std::set<std::string> available;
    std::vector<std::string> folders = layoutFolders(resourcesPath);
    for (const std::string& folder : folders) {
        if (isLayout(std::filesystem::path(folder) / name)) return;
        std::error_code error;
        for (auto it = std::filesystem::directory_iterator(folder, error);
             !error && it != std::filesystem::directory_iterator(); it.increment(error))
            if (isLayout(it->path())) available.insert(it->path().filename().string());
    }
    std::string list;
    for (const std::string& layout : available)
        list += (list.empty() ? "" : ", ") + layout;
    std::string where;
    for (const std::string& folder : folders)
        where += (where.empty() ? "" : " or ") + folder;
    throw Refused("no layout '" + name + "' in " + (where.empty() ? "any layout folder" : where) +
                  (list.empty() ? "" : " (there are: " + list + ")"));
}

} // namespace ctl
