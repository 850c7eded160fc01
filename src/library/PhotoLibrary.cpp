// PhotoLibrary.cpp - the album data store: the library cache, loading, the settling reload rule.
#include "library/PhotoLibrary.h"

#include "cf/CFPropertyList.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

const char* const PhotoLibrary::baseName = "/AlbumData.xml";

std::map<std::string, std::unique_ptr<PhotoLibrary>> PhotoLibrary::libMap;

namespace {

std::mutex& libMapMutex() {
    static std::mutex mutex;
    return mutex;
}

} // namespace

PhotoLibrary::PhotoLibrary(const std::string& path, Deferred)
    : path_(path), state_(Unloaded), modTime_{0, 0}, failed_(false), failedFile_{{0, 0}, 0},
      loadsStarted_(0), newestInstalled_(0) {}

PhotoLibrary::PhotoLibrary(const std::string& path) : PhotoLibrary(path, Deferred{}) {
    sync();
}

PhotoLibrary::PhotoLibrary(const PhotoLibrary& other) : PhotoLibrary(other.path_, Deferred{}) {
    std::lock_guard lock(other.mutex_);
    state_ = other.state_;
    modTime_ = other.modTime_;
    snapshot_ = other.snapshot_;
    failed_ = other.failed_;
    failedFile_ = other.failedFile_;
    failure_ = other.failure_;
    loadsStarted_ = newestInstalled_ = other.newestInstalled_;
}

PhotoLibrary::~PhotoLibrary() = default;

PhotoLibrary* PhotoLibrary::getLibrary(const std::string& path) {
    PhotoLibrary* library;
    {
        std::lock_guard lock(libMapMutex());
        std::unique_ptr<PhotoLibrary>& entry = libMap[path];
        if (!entry) entry.reset(new PhotoLibrary(path, Deferred{}));
        library = entry.get();
    }
    // Only a library that has never loaded is looked at here; loaded ones sync on each query.
    if (!library->hasTree()) library->sync();
    return library->hasTree() ? library : nullptr;
}

std::string PhotoLibrary::loadFailure(const std::string& path) {
    PhotoLibrary* library;
    {
        std::lock_guard lock(libMapMutex());
        auto found = libMap.find(path);
        if (found == libMap.end()) return "";
        library = found->second.get();
    }
    std::lock_guard lock(library->mutex_);
    return library->failed_ ? library->failure_ : "";
}

CFURL_t PhotoLibrary::getLibraryUrl() const {
    // The path's bytes go into the URL unchanged, so a folder whose name holds non-ASCII
    // characters opens the same file that stat found.
    std::string file = path_ + baseName;
    return CFURL_t(
        CFURLCreateFromFileSystemRepresentation(file.data(), CFIndex(file.size()), false),
        CFURL_t::Create);
}

bool PhotoLibrary::statFile(FileIdentity& identity) const {
    std::string file = path_ + baseName;
    struct stat info;
    if (stat(file.c_str(), &info) != 0) return false;
    identity = FileIdentity{info.st_mtim, info.st_size};
    return true;
}

std::shared_ptr<const AlbumSnapshot> PhotoLibrary::readSnapshot(std::string& why) const {
    std::string file = path_ + baseName;
    CFReadStreamRef stream = CFReadStreamCreateWithFile(getLibraryUrl());
    errno = 0;
    if (!CFReadStreamOpen(stream)) {
        struct stat info;
        why = stat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode) ? "not a regular file"
                                                                       : strerror(errno);
        CFRelease(stream);
        return nullptr;
    }
    CFPropertyListError error;
    CFTypeRef root = CFPropertyListCreateFromStream(stream, &error);
    CFRelease(stream);
    if (!root) {
        why = error.text();
        return nullptr;
    }
    if (CFGetTypeID(root) != CFDictionaryGetTypeID()) {
        CFRelease(root);
        why = "the property list is not a dictionary";
        return nullptr;
    }
    return std::make_shared<const AlbumSnapshot>(static_cast<CFDictionaryRef>(root), path_);
}

void PhotoLibrary::sync() {
    FileIdentity file;
    if (!statFile(file)) return;
    std::unique_lock lock(mutex_);
    switch (state_) {
    case Unloaded:
        lock.unlock();
        return firstLoad(file);
    case Current:
        if (file.time.tv_sec == modTime_.tv_sec && file.time.tv_nsec == modTime_.tv_nsec) return;
        state_ = Changed;
        return;
    case Changed:
        // Measured from the last load, not from when the change was noticed.
        if (file.time.tv_sec - modTime_.tv_sec <= 5) return;
        state_ = Current;
        break;
    }
    // From here on the new time counts as loaded: other queries answer from the old snapshot
    // while this one parses, and do not start a load of their own.
    modTime_ = file.time;
    uint64_t load = ++loadsStarted_;
    lock.unlock();
    std::string why;
    std::shared_ptr<const AlbumSnapshot> fresh = readSnapshot(why);
    if (!fresh) {
        printf("album file %s%s could not be read (%s); the version loaded before stays in "
               "service\n",
               path_.c_str(), baseName, why.c_str());
        return;
    }
    lock.lock();
    if (load > newestInstalled_) {
        newestInstalled_ = load;
        snapshot_.swap(fresh); // the old snapshot goes when fresh does, after the unlock
    }
    lock.unlock();
}

void PhotoLibrary::firstLoad(const FileIdentity& file) {
    std::lock_guard once(firstLoad_);
    {
        std::lock_guard lock(mutex_);
        if (state_ != Unloaded) return; // another thread loaded it meanwhile
        if (failed_ && failedFile_ == file) return;
        modTime_ = file.time;
    }
    std::string why;
    std::shared_ptr<const AlbumSnapshot> fresh = readSnapshot(why);
    std::lock_guard lock(mutex_);
    if (!fresh) {
        printf("album file %s%s could not be read (%s); its library stays unavailable until the "
               "file changes\n",
               path_.c_str(), baseName, why.c_str());
        failed_ = true;
        failedFile_ = file;
        failure_ = why;
        return;
    }
    failed_ = false;
    failure_.clear();
    snapshot_ = fresh;
    state_ = Current;
    newestInstalled_ = ++loadsStarted_;
}

std::shared_ptr<const AlbumSnapshot> PhotoLibrary::currentSnapshot() const {
    std::lock_guard lock(mutex_);
    return snapshot_ ? snapshot_ : AlbumSnapshot::empty();
}

std::shared_ptr<const AlbumSnapshot> PhotoLibrary::snapshot() {
    sync();
    return currentSnapshot();
}

PhotoLibrary::SyncState PhotoLibrary::state() const {
    std::lock_guard lock(mutex_);
    return state_;
}

bool PhotoLibrary::hasTree() const {
    std::lock_guard lock(mutex_);
    return snapshot_ != nullptr;
}

CFArray_t<CFDictionary_t> PhotoLibrary::getAlbumList() {
    return snapshot()->albumList();
}

CFDictionary_t PhotoLibrary::getPhotoInfo(unsigned album, unsigned photo) {
    return snapshot()->photoInfo(album, photo);
}

void PhotoLibrary::getPhotoList(unsigned album, std::vector<PhotoInfo>& list) {
    snapshot()->appendPhotoList(album, list);
}

CFString_t PhotoLibrary::getAlbumName(unsigned long album) {
    return snapshot()->albumInfo(album).get<CFString_t>(CFSTR("AlbumName"));
}
