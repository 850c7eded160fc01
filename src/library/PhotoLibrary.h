// PhotoLibrary.h - one photo library folder: its parsed AlbumData.xml, the reload rule, and the
// album and photo queries over it.
//
// Library objects are made on first use and cached by folder path for the life of the process.
// Every album query first stats the album file (sync) and may reload it under the settling
// rule below; the parsed tree is shared by all queries. Errors are std::runtime_error from
// throwRTE; a missing required key reads "dictionary doesn't have key '...'".
#pragma once

#include "cf/cftempl.h"

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <vector>

// One photo of an album, as getPhotoList lists it.
struct PhotoInfo {
    // thumbPath, imagePath and originalPath wrap the given strings (retained); the other
    // strings start empty and id and the dates at 0. REQUIRES: the three strings are non-null.
    PhotoInfo(CFStringRef thumb, CFStringRef image, CFStringRef original);

    int32_t id;              // the integer value of the photo's key
    CFString_t thumbPath;    // "ThumbPath"
    CFString_t mediaType;    // "MediaType"
    CFString_t imagePath;    // "ImagePath"
    CFString_t fileName;     // last path component of imagePath
    CFString_t originalPath; // "OriginalPath", or "ImagePath" when absent
    CFString_t caption;      // "Caption"
    CFString_t comment;      // "Comment"
    double date;             // "DateAsTimerInterval"
    double modDate;          // "ModDateAsTimerInterval"
    double metaModDate;      // "MetaModDateAsTimerInterval"
};

class PhotoLibrary {
  public:
    enum SyncState { Unloaded = 0, Current = 1, Changed = 2 };

    // The album file's name, appended to the folder path.
    static const char* const baseName;

    // Stores the folder path (no trailing slash expected) and loads the album file once
    // through sync. A file that cannot be stat'ed leaves the object without a tree (hasTree()
    // false); one that is present but unreadable or not a property list throws.
    explicit PhotoLibrary(const std::string& path);
    // Copies every member; the tree is shared (retained).
    PhotoLibrary(const PhotoLibrary& other);
    PhotoLibrary& operator=(const PhotoLibrary&) = delete;
    ~PhotoLibrary();

    // The cached object of the folder, made and loaded on first use. The address stays valid
    // for the life of the process. Null (and nothing cached, so the next call tries again)
    // when the folder's AlbumData.xml cannot be stat'ed; load errors propagate.
    static PhotoLibrary* getLibrary(const std::string& path);
    // The cached object of the library entry with this "id" in the "libraries" preference
    // (defined with the registry). Null when its folder has no album file.
    static PhotoLibrary* getLibrary(unsigned long id);

    // The file URL of path + baseName, made from the path's bytes as they are.
    CFURL_t getLibraryUrl() const;
    // Opens and parses the album file. Throws "couldn't open read stream (file not found?)",
    // or the null message of the dictionary wrapper when the file is not a property list.
    CFDictionary_t getPropList() const;
    // Parses a property list from an open stream to its end; the root must be a dictionary.
    static CFDictionary_t readPropList(const CFReadStream_t& stream);
    // 0 with the album file's modification time, or -1 (time untouched) when stat fails.
    int getModTime(timespec& time);

    // The reload rule. Does nothing when the file cannot be stat'ed. A changed modification
    // time is first only noticed (Changed); the file is reloaded on a later call once its time
    // is 6 or more whole seconds past the time recorded at the last load. A reload that throws
    // keeps the old tree in service, counted as current at the new time.
    void sync();

    // The root's "List of Albums" (after sync).
    CFArray_t<CFDictionary_t> getAlbumList();
    // The first album whose "AlbumId" equals album. Throws "couldn't find album with id %u".
    CFDictionary_t getAlbumInfo(unsigned long album);
    // The album's "KeyList": its photo keys in album order.
    StrArray getPhotoListFromAlbum(unsigned album);
    // The photo dictionary of the first key in the album's "KeyList" whose integer value is
    // photo ("0042" and "42" both answer 42). Throws "couldn't find photo with id %u".
    CFDictionary_t getPhotoInfo(unsigned album, unsigned photo);
    // The "Master Image List" entry for key, from the tree as it stands (no sync).
    CFDictionary_t getPictureInfo(CFStringRef key);
    // Appends one record per key of the album's "KeyList". A photo missing a required key
    // ends the call with that key's message; records appended before it stay.
    void getPhotoList(unsigned album, std::vector<PhotoInfo>& list);
    // The album's "AlbumName".
    CFString_t getAlbumName(unsigned long album);

    const std::string& path() const { return path_; }
    SyncState state() const { return state_; }
    // The modification time recorded at the last load.
    const timespec& modTime() const { return modTime_; }
    bool hasTree() const { return propList_ != nullptr; }
    // The leading decimal digits of "Application Version"; 0 when the key is absent.
    uint32_t majorVersion() const { return majorVersion_; }

  private:
    void load(const timespec& time);
    // The root's value for key, borrowed, or null (also before the first load).
    CFTypeRef rootValue(CFStringRef key) const;

    std::string path_;
    SyncState state_;
    timespec modTime_;
    CFDictionaryRef propList_; // owned; null until the first successful load
    uint32_t majorVersion_;

    // Every library object ever loaded, by folder path as given.
    static std::map<std::string, PhotoLibrary> libMap;
};
