// PhotoLibrary.h - one photo library folder: its album file, the reload rule, and the album and
// photo queries over it.
//
// Library objects are made on first use and cached by folder path for the life of the process.
// Each successful load of the album file makes an immutable AlbumSnapshot (tree, indexes,
// records with resolved paths); queries answer from the snapshot current when they start.
// Every album query first stats the album file and may reload it under the settling rule below.
// Errors are std::runtime_error from throwRTE; a missing required key reads "dictionary doesn't
// have key '...'".
//
// A file that cannot be read or parsed is not a crash: the load logs one line naming the file
// and, for a broken document, the line and column where it breaks ("album file F could not be
// read (not well-formed (invalid token) at line 3, column 14)"). A library whose first load
// failed answers like a missing library and is not read again until the file's size or
// modification time changes; a reload that fails keeps the previous snapshot in service.
//
// Threads: every member may be called from any thread at once. A reload parses outside the
// library's lock, so queries meanwhile answer from the previous snapshot; a first load makes
// the others asking for the same library wait for it.
#pragma once

#include "library/AlbumSnapshot.h"
#include "library/PhotoInfo.h"

#include <cstdint>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <sys/types.h>
#include <vector>

class PhotoLibrary {
  public:
    enum SyncState { Unloaded = 0, Current = 1, Changed = 2 };

    // The album file's name, appended to the folder path.
    static const char* const baseName;

    // Stores the folder path (no trailing slash expected) and loads the album file once
    // through sync. Without a file that can be stat'ed, or when the load fails, the object has
    // no snapshot (hasTree() false); loadFailure() then says why a load failed.
    explicit PhotoLibrary(const std::string& path);
    // Copies every member; the snapshot is shared.
    PhotoLibrary(const PhotoLibrary& other);
    PhotoLibrary& operator=(const PhotoLibrary&) = delete;
    ~PhotoLibrary();

    // The cached object of the folder, made and loaded on first use. The address stays valid
    // for the life of the process. Null when the folder's AlbumData.xml cannot be stat'ed (the
    // next call tries again) or could not be loaded (the next call tries again only once the
    // file's size or modification time has changed).
    static PhotoLibrary* getLibrary(const std::string& path);
    // The cached object of the library entry with this "id" in the "libraries" preference
    // (defined with the registry). Null when its folder has no loadable album file.
    static PhotoLibrary* getLibrary(unsigned long id);
    // Why the last load of the folder's album file failed (one line, without the file name);
    // empty when it has not failed or the folder was never asked for.
    static std::string loadFailure(const std::string& path);

    // The file URL of path + baseName, made from the path's bytes as they are.
    CFURL_t getLibraryUrl() const;

    // The reload rule. Does nothing when the file cannot be stat'ed. Unloaded: loads (unless the
    // last load failed on a file of the same size and time). A changed modification time is
    // first only noticed (Changed); the file is reloaded on a later call once its time is 6 or
    // more whole seconds past the time recorded at the last load. A reload that fails logs its
    // line and keeps the old snapshot in service, counted as current at the new time.
    void sync();
    // sync, then the current snapshot; never null (an empty one when nothing is loaded).
    std::shared_ptr<const AlbumSnapshot> snapshot();
    // The current snapshot without sync.
    std::shared_ptr<const AlbumSnapshot> currentSnapshot() const;

    // The root's "List of Albums" (after sync).
    CFArray_t<CFDictionary_t> getAlbumList();
    // The photo dictionary of the first key in the album's "KeyList" whose integer value is
    // photo ("0042" and "42" both answer 42). Throws "couldn't find photo with id %u".
    CFDictionary_t getPhotoInfo(unsigned album, unsigned photo);
    // Appends one record per key of the album's "KeyList", paths resolved. A photo missing a
    // required key ends the call with that key's message; records appended before it stay.
    void getPhotoList(unsigned album, std::vector<PhotoInfo>& list);
    // The album's "AlbumName".
    CFString_t getAlbumName(unsigned long album);

    const std::string& path() const { return path_; }
    SyncState state() const;
    bool hasTree() const;
    // The leading decimal digits of "Application Version"; 0 when the key is absent.
    uint32_t majorVersion() const { return currentSnapshot()->majorVersion(); }

  private:
    struct FileIdentity {
        timespec time;
        off_t size;
        bool operator==(const FileIdentity& other) const {
            return time.tv_sec == other.time.tv_sec && time.tv_nsec == other.time.tv_nsec &&
                   size == other.size;
        }
    };
    struct Deferred {};
    // An object that has not tried to load yet (for the cache).
    PhotoLibrary(const std::string& path, Deferred);

    bool statFile(FileIdentity& identity) const;
    void firstLoad(const FileIdentity& file);
    // Reads the file into a snapshot, or null after logging why not (see loadFailure).
    std::shared_ptr<const AlbumSnapshot> readSnapshot(std::string& why) const;

    std::string path_;
    mutable std::mutex mutex_; // guards the members below
    std::mutex firstLoad_;     // held through a first load, so one thread does it
    SyncState state_;
    timespec modTime_;
    std::shared_ptr<const AlbumSnapshot> snapshot_; // null until the first successful load
    bool failed_;                                   // the last load attempt failed
    FileIdentity failedFile_;                       // the file as it was then
    std::string failure_;                           // and why
    uint64_t loadsStarted_, newestInstalled_;       // so a slower, older load never wins

    // Every library object ever asked for, by folder path as given; entries are never removed.
    static std::map<std::string, std::unique_ptr<PhotoLibrary>> libMap;
};
