// Bundle.h - where the application's own files live, and the user's application-support folder.
//
// The resources folder (holding layouts/ and json/) is `resources/` of the source tree when the
// server runs from its build folder, and <prefix>/share/tessellan when it is installed; both are
// found from the executable's location, and --resources overrides them.
//
// Threads: the path is set (or first found) at start-up, before any worker runs, and only read
// afterwards.
#pragma once

#include "cf/CFString.h"
#include "cf/CFURL.h"

#include <string>
#include <string_view>
#include <vector>

// Uses path as the resources folder from now on.
void BundleSetResourcesPath(const std::string& path);
// The resources folder: the one set, else the one found from the executable. Empty when
// neither exists (there is then no bundle).
const std::string& BundleResourcesPath();
// A file URL for the regular file at a path relative to the resources folder
// ("layouts/Default/index.html"), or null when there is no such file. The caller must release it.
CFURLRef BundleCopyResourceURLAtPath(std::string_view relative);
// The per-user application-support folder: $XDG_DATA_HOME, else ~/.local/share; empty when
// neither can be found.
std::string ApplicationSupportPath();
// The user's folder of layouts: "Tessellan/layouts" in the application-support folder (without
// a trailing "/"); empty when that folder is unknown.
std::string userLayoutsFolder();
// The folders a layout is looked for in, in order: "layouts" of resources (when not empty), then
// userLayoutsFolder() (when known). A layout is the folder named after it in one of them.
std::vector<std::string> layoutSearchFolders(const std::string& resources);
