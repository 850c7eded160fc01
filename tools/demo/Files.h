// Files.h - the library folder on disk: claiming it, and writing files whole.
#pragma once

#include <string>
#include <string_view>

namespace demo {

// The file a library folder made by this tool holds, so a later run may write over it.
extern const char* const kMarkerName;

// Makes folder (and the folders above it) when missing. An existing folder must be empty or
// hold the marker of an earlier run; otherwise nothing is touched and std::runtime_error
// says why. Leaves the marker in the folder and returns its absolute path.
std::string claimLibraryFolder(const std::string& folder);

// Writes bytes to a temporary file beside path, then renames it over path, so a reader sees
// the old file or the new one, never half of one. Makes the folders above path. Throws
// std::runtime_error naming the path and the reason.
void writeFileAtomically(const std::string& path, std::string_view bytes);

} // namespace demo
