// LibraryEntries.h - the "libraries" preference, parsed once per change of the preferences.
//
// The registry asks for current() on every call; it reads and parses the preference again only
// when CFPreferencesChangeCount has moved since the last parse, so a call costs a hash lookup
// whatever the number of libraries. A parse is immutable: threads hold it by shared_ptr while
// they use it, and a change meanwhile only replaces the cached pointer.
#pragma once

#include "cf/cftempl.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

// One entry of the "libraries" array, with its values read ahead; the server's registry and
// tessellanctl both read entries this way. Values that are absent or of another type are left
// to the entry's own lookups, whose errors the callers keep.
struct LibraryEntry {
    // An entry whose "id" is a number; nothing for anything else.
    static std::optional<LibraryEntry> parse(CFTypeRef value);
    explicit LibraryEntry(CFDictionary_t stored) : dict(std::move(stored)) {}

    CFDictionary_t dict;           // the entry itself (keys read here or not, all kept)
    unsigned id = 0;               // "id"
    std::string name;              // "name" as UTF-8; empty when not a string
    bool hasPath = false;          // "path" is a string
    std::string path;              // its UTF-8 text (toString)
    bool hasAlbums = false;        // "albums" is an array of numbers
    std::vector<unsigned> albums;  // the published album ids, in their order
    bool fullSizeDownload = false; // "FullSizeDownload" is true
    // Whether "albums" lists album; false when "albums" is absent or not an array of numbers.
    bool publishes(unsigned album) const;
    // path, or (when "path" is not a string) throws what reading it as a string throws.
    const std::string& requirePath() const;
    // albums, or (when "albums" is not an array of numbers) throws what reading it throws.
    const std::vector<unsigned>& requireAlbums() const;
};

class LibraryEntries {
  public:
    // The parse of the preference as it stands now.
    static std::shared_ptr<const LibraryEntries> current();

    // The "libraries" array. Throws the array wrapper's message when the preference is absent
    // or not an array.
    CFArray_t<CFDictionary_t> array() const;
    // The first entry whose "id" is id. When an entry before it has no readable "id" (or is no
    // dictionary), throws what reading it throws; when none has it, "(In withLibrary_do) :
    // couldn't find library with id %u".
    const LibraryEntry& find(unsigned long id) const;

    // Parses the value of the preference (null when absent); tagged with the change count.
    LibraryEntries(CFTypeRef libraries, uint64_t changeCount);

  private:
    uint64_t changeCount_;
    CFTypeRef libraries_;               // retained, or null
    std::string arrayError_;            // what wrapping the preference as an array throws
    std::vector<LibraryEntry> entries_; // in order, before the first one without a readable id
    std::string blockedError_;          // what reading that one's "id" throws
    std::unordered_map<unsigned, size_t> byId_; // first entry with each id

  public:
    ~LibraryEntries();
    LibraryEntries(const LibraryEntries&) = delete;
    LibraryEntries& operator=(const LibraryEntries&) = delete;
};
