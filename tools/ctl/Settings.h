// Settings.h - one tessellanctl session on the preferences file, through the server's own
// preference store: read what is there, change values, write them once, tell the server.
#pragma once

#include "cf/cftempl.h"
#include "library/LibraryEntries.h"

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace ctl {

// One entry of the "libraries" preference, read as the server reads it. dict is the entry as
// stored (so keys this tool does not know, such as "albumConfig", are kept).
using LibraryEntry = ::LibraryEntry;

class Settings {
  public:
    // Points the store at path. Throws Refused when the file exists but cannot be read as a
    // preferences file (it is then never written).
    explicit Settings(const std::string& path);
    Settings(const Settings&) = delete;

    const std::string& path() const { return path_; }

    // The value of key, or nothing when absent or of another type.
    std::optional<CFString_t> string(CFStringRef key) const;
    std::optional<int> integer(CFStringRef key) const;
    std::optional<bool> boolean(CFStringRef key) const;

    // The library entries, in their order. Throws Refused when "libraries" is not an array of
    // dictionaries each holding a numeric "id".
    std::vector<LibraryEntry> libraries() const;
    // The entry with this id. Throws Refused naming the id when there is none.
    LibraryEntry library(uint32_t id) const;

    // Sets key to value (taken over; null removes the key). Nothing is written before save.
    void set(CFStringRef key, CFTypeRef value);
    // Replaces the "libraries" preference by these entries' dictionaries.
    void setLibraries(const std::vector<LibraryEntry>& entries);
    // Stores entry.albums as the published albums of the (first) entry with entry.id; its
    // other keys stay as they are.
    void replaceLibrary(const LibraryEntry& entry);

    // Writes the changes atomically, then tells a running server serving this file to read it
    // again, saying so on out. Throws Refused with the store's line when the file cannot be
    // written (the old file is then as it was).
    void save(std::ostream& out);

  private:
    std::string path_;
};

// Reads a LibraryEntry from a dictionary; throws Refused naming what is missing.
LibraryEntry readLibraryEntry(const CFDictionary_t& dict);
// The entry's dictionary with "albums" replaced by entry.albums.
CFDictionary_t withAlbums(const LibraryEntry& entry);

} // namespace ctl
