// Bundle.cpp - finding the resources folder and the application-support folder.
#include "web/Bundle.h"

#include <climits>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

static std::string& _resourcesPath() {
    static std::string path;
    return path;
}

static bool _isFolder(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// From the executable's folder: a build folder (it holds CMakeCache.txt) serves the source
// tree's resources; an installed bin/ serves ../share/tessellan.
static std::string _findResources() {
    char exe[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    if (n <= 0) return "";
    std::string folder(exe, size_t(n));
    folder.erase(folder.rfind('/'));
    struct stat info;
    if (stat((folder + "/CMakeCache.txt").c_str(), &info) == 0 &&
        _isFolder(TESSELLAN_SOURCE_RESOURCES))
        return TESSELLAN_SOURCE_RESOURCES;
    std::string installed = folder + "/../share/tessellan";
    if (_isFolder(installed)) return installed;
    if (_isFolder(TESSELLAN_INSTALL_DATADIR)) return TESSELLAN_INSTALL_DATADIR;
    return "";
}

void BundleSetResourcesPath(const std::string& path) {
    _resourcesPath() = path;
}

const std::string& BundleResourcesPath() {
    if (_resourcesPath().empty()) _resourcesPath() = _findResources();
    return _resourcesPath();
}

CFURLRef BundleCopyResourceURLAtPath(std::string_view relative) {
    const std::string& root = BundleResourcesPath();
    if (root.empty()) return nullptr;
    std::string path;
    path.reserve(root.size() + relative.size() + 1);
    path.append(root).append("/").append(relative);
    // Checking that the file is there opens it: the stream that reads it takes the descriptor.
    return _CFURLCreateOpeningFile(path.data(), CFIndex(path.size()));
}

std::string ApplicationSupportPath() {
    const char* data = getenv("XDG_DATA_HOME");
    if (data && *data) return data;
    const char* home = getenv("HOME");
    if (home && *home) return std::string(home) + "/.local/share";
    return "";
}

std::string userLayoutsFolder() {
    std::string support = ApplicationSupportPath();
    while (!support.empty() && support.back() == '/')
        support.pop_back();
    return support.empty() ? "" : support + "/Tessellan/layouts";
}

std::vector<std::string> layoutSearchFolders(const std::string& resources) {
    std::vector<std::string> folders;
    if (!resources.empty()) folders.push_back(resources + "/layouts");
    if (std::string user = userLayoutsFolder(); !user.empty()) folders.push_back(user);
    return folders;
}
