// LibraryPath.h - a path an album file stores, and where this computer reads it.
//
// PathRemap decides at load whether a stored path is read as stored or under the library
// folder; the path to read is put together only when someone asks for it, so loading an album
// file of tens of thousands of photos makes no new strings for their paths. Cheap to copy (one
// or two retained strings); immutable, so any number of threads may read one at once.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>
#include <optional>

class LibraryPath {
  public:
    // The path to read: the stored string itself, or a new string of the library folder and
    // the stored path's tail.
    CFString_t resolved() const;
    // The last component of the resolved path as a file URL names it: trailing slashes are
    // not part of it, and a path of slashes only answers "/".
    CFString_t lastComponent() const;

  private:
    friend class PathRemap;
    explicit LibraryPath(CFStringRef stored) : stored_(stored, CFString_t::Get) {}
    LibraryPath(CFStringRef stored, const CFString_t& folder, uint32_t from, bool slash)
        : stored_(stored, CFString_t::Get), folder_(folder), from_(from), slash_(slash) {}

    CFString_t stored_;
    std::optional<CFString_t> folder_; // the library folder when read under it
    uint32_t from_ = 0;                // the first unit of stored_ that follows the folder
    bool slash_ = false;               // a "/" goes between the folder and that unit
};
