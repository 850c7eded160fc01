// PathRemap.h - where a path stored in an album file is read from on this computer.
//
// An album file names its files as the computer that wrote it saw them: mostly absolute paths
// under that computer's library folder, which the root's "Archive Path" records, sometimes paths
// relative to the library folder. A library folder copied elsewhere (another computer, another
// user's home, a new name) is read through this map:
//   - a stored path equal to the archive path, or beginning with it and then "/", is read from
//     the same relative place under the library folder ("/home/ana/Old Library2/x" does not
//     begin with the archive path "/home/ana/Old Library");
//   - a relative stored path (one not starting with "/") is read relative to the library folder,
//     never the working folder;
//   - any other path, and the empty path, is read as stored.
// Trailing slashes of the archive path and of the folder do not matter. Comparison is by
// UTF-16 units, exactly. Immutable once made: any number of threads may use one at once.
#pragma once

#include "cf/cftempl.h"
#include "library/LibraryPath.h"

#include <string>

class PathRemap {
  public:
    // archivePath: the album file's "Archive Path", or null when it has none (or it is empty).
    // folder: the library folder as the preferences name it, UTF-8 bytes.
    PathRemap(CFStringRef archivePath, const std::string& folder);

    // Where stored is read: the decision is made here, the path's bytes only when the answer's
    // resolved() is asked for. REQUIRES: stored is non-null.
    LibraryPath map(CFStringRef stored) const;

  private:
    bool hasArchive_;
    std::u16string archive_;   // without trailing slashes; empty for "/"
    std::string archiveBytes_; // archive_ one byte a unit, when archiveNarrow_
    bool archiveNarrow_ = false;
    CFString_t folder_; // without trailing slashes; empty for "/"
};
