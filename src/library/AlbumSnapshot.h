// AlbumSnapshot.h - one load of an album file: its parsed tree and the indexes lookups use.
//
// A snapshot is built once per load of the file and never changes afterwards, so any number of
// threads may query one at once. Whoever queries holds it by shared_ptr for as long as it works
// with what it got; a reload meanwhile only makes the library point to a newer snapshot. The
// snapshot owns the tree (one reference); its records and indexes point into it.
//
// Every lookup answers as the walk of the tree in album order that it replaces would, errors
// included (std::runtime_error texts from throwRTE and the wrappers, byte for byte): the first
// album with an id wins, and so does the first key of an album whose integer value is the
// photo id ("0042" and "42" both answer 42). Regular albums and photos cost a hash lookup, a
// binary search or an index whatever the album's size; anything irregular (a missing or
// mistyped key, an album or key that cannot be read) is answered by that walk itself.
#pragma once

#include "library/PathRemap.h"
#include "library/PhotoInfo.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

class AlbumSnapshot;

// The photos of one album in album order, for as long as the object lives: it holds the
// snapshot, so its records stay valid whatever reloads happen meanwhile. Cheap to copy.
class AlbumPhotos {
  public:
    size_t size() const { return size_; }
    // The record at position. REQUIRES: position < size().
    const PhotoInfo& operator[](size_t position) const;

  private:
    friend class AlbumSnapshot;
    AlbumPhotos(std::shared_ptr<const AlbumSnapshot> snapshot, const uint32_t* records, size_t size)
        : snapshot_(std::move(snapshot)), records_(records), size_(size) {}

    std::shared_ptr<const AlbumSnapshot> snapshot_;
    const uint32_t* records_; // record numbers of the album's positions, inside the snapshot
    size_t size_;
};

class AlbumSnapshot {
  public:
    // Takes over the caller's reference to root and builds the indexes and records. Paths are
    // resolved against folder (the library folder) and the root's "Archive Path".
    // REQUIRES: root is a dictionary.
    AlbumSnapshot(CFDictionaryRef root, const std::string& folder);
    ~AlbumSnapshot();
    AlbumSnapshot(const AlbumSnapshot&) = delete;
    AlbumSnapshot& operator=(const AlbumSnapshot&) = delete;

    // A snapshot of an empty dictionary: what a library without a loaded file answers from.
    static std::shared_ptr<const AlbumSnapshot> empty();

    // The root dictionary, borrowed: valid while the snapshot lives.
    CFDictionaryRef root() const { return root_; }
    // The leading decimal digits of "Application Version"; 0 when it is absent or no string.
    uint32_t majorVersion() const { return majorVersion_; }
    const PathRemap& paths() const { return paths_; }

    // The root's "List of Albums" (null message when absent, type message when no array).
    CFArray_t<CFDictionary_t> albumList() const;
    // The first album whose "AlbumId" is album. Throws "couldn't find album with id %u".
    CFDictionary_t albumInfo(unsigned long album) const;
    // Throws what albumInfo throws when it throws; else does nothing.
    void requireAlbum(unsigned long album) const { findAlbum(album); }
    // Throws exactly what albumInfo throws for an id the file does not hold.
    [[noreturn]] void throwMissingAlbum(unsigned long album) const;
    // The album's "KeyList".
    StrArray keyList(unsigned album) const;
    // The "Master Image List" dictionary of the album's photo. Throws "couldn't find photo with
    // id %u" when no key of the album has that value.
    CFDictionary_t photoInfo(unsigned album, unsigned photo) const;
    // The "Master Image List" entry for key.
    CFDictionary_t pictureInfo(CFStringRef key) const;

    // Appends the album's records. A photo missing a required key ends the call with that key's
    // message; the records before it stay appended.
    void appendPhotoList(unsigned album, std::vector<PhotoInfo>& list) const;
    // The album's records without copying them; throws what appendPhotoList would throw.
    static AlbumPhotos photos(const std::shared_ptr<const AlbumSnapshot>& self, unsigned album);
    // The photo's resolved "ThumbPath" (thumbnail) or "ImagePath".
    CFString_t photoPath(unsigned album, unsigned photo, bool thumbnail) const;
    // The photo's "MediaType".
    CFString_t mediaType(unsigned album, unsigned photo) const;

  private:
    friend class AlbumPhotos;
    struct Album;
    struct Record {
        CFDictionaryRef dict;          // the photo dictionary, borrowed
        std::optional<PhotoInfo> info; // empty when a key the listing needs is missing
    };

    const Album& findAlbum(unsigned long album) const;
    // The record number of the album's first key whose value is photo, or kNone after
    // throwing what the walk over the album's keys throws.
    uint32_t findPhoto(const Album& album, unsigned photo) const;
    // The record a listing makes of key, with the listing's errors.
    PhotoInfo makeRecord(CFStringRef key) const;
    void indexAlbums();
    void indexKeys(Album& album, std::unordered_map<CFDictionaryRef, uint32_t>& numbers);

    CFDictionaryRef root_;
    uint32_t majorVersion_ = 0;
    PathRemap paths_;
    CFDictionaryRef master_ = nullptr; // "Master Image List" when it is a dictionary
    std::string listError_;            // what reading "List of Albums" throws, if anything
    std::vector<Album> albums_;        // in list order, before the first unreadable album
    std::string blockedError_;         // what reading that album throws ("" when none is)
    std::unordered_map<unsigned, uint32_t> albumIndex_; // id -> first position in albums_
    std::vector<Record> records_;                       // one per photo dictionary some album lists
};
