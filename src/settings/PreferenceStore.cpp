// PreferenceStore.cpp - the preferences domain: load, overlay, atomic write, reload.
#include "settings/PreferenceStore.h"

#include "cf/CFDictionary.h"
#include "cf/CFPropertyList.h"
#include "cf/CFReadStream.h"
#include "cf/CFURL.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

const CFStringRef appID = CFSTR("org.tessellan.Tessellan");

namespace {

// A retained value, or null; released when replaced or destroyed.
class Held {
  public:
    Held() = default;
    explicit Held(CFTypeRef value) : value_(value) {}
    Held(const Held& other) : value_(other.value_ ? CFRetain(other.value_) : nullptr) {}
    Held& operator=(Held other) {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Held() {
        if (value_) CFRelease(value_);
    }
    CFTypeRef get() const { return value_; }

  private:
    CFTypeRef value_ = nullptr;
};

struct Store {
    explicit Store(std::string where) : path(std::move(where)) {}
    std::string path;
    bool loaded = false;
    bool readable = true;                // false: the file exists and does not parse
    std::string lastError;               // the last unreadable-file message printed
    Held file;                           // the file's root dictionary, or null
    std::map<std::string, Held> pending; // set since the last write; null values remove
};

// Moves on with every change to what the store answers.
std::atomic<uint64_t> changes{1};

Store& store() {
    static Store* instance = new Store(CFPreferencesDefaultPath());
    return *instance;
}

// Guards the store: settings are read from every thread that answers requests.
std::mutex& storeLock() {
    static std::mutex* lock = new std::mutex;
    return *lock;
}

std::string keyText(CFStringRef key) {
    return CFStringGetUTF8(key);
}

// Reads the file: its root dictionary, an empty domain when there is no file, or false with
// why when it cannot be read.
bool readFile(const std::string& path, Held& root, std::string& why) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0 && errno == ENOENT) {
        root = Held();
        return true;
    }
    CFURLRef url =
        CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false);
    CFReadStreamRef stream = CFReadStreamCreateWithFile(url);
    CFRelease(url);
    bool ok = false;
    if (!CFReadStreamOpen(stream)) {
        why = strerror(errno);
    } else {
        CFTypeRef value = CFPropertyListCreateFromStream(stream, &why);
        if (value && CFGetTypeID(value) != kCFDictionaryTypeID) {
            why = "the property list is not a dictionary";
            CFRelease(value);
        } else if (value) {
            root = Held(value);
            ok = true;
        }
    }
    CFRelease(stream);
    return ok;
}

// Where the store's one-line messages about writing go.
void (*reporter)(const std::string& line) = [](const std::string& line) { puts(line.c_str()); };

// Removes the temporary files that writers killed mid-write left beside path: those named
// after a process that no longer runs (or after this one, which has written nothing yet).
void removeLeftoverTemporaries(const std::string& path) {
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    std::string prefix = path.substr(slash + 1) + ".tmp."; // then "<pid>.XXXXXX"
    DIR* dir = opendir(folder.c_str());
    if (!dir) return;
    while (dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.compare(0, prefix.size(), prefix) != 0) continue;
        char* end = nullptr;
        long pid = strtol(name.c_str() + prefix.size(), &end, 10);
        if (pid <= 0 || *end != '.' || strlen(end + 1) != 6) continue;
        if (pid != getpid() && !(kill(pid_t(pid), 0) != 0 && errno == ESRCH)) continue;
        if (unlinkat(dirfd(dir), name.c_str(), 0) == 0)
            reporter("removed " + folder + name + ", left over by an interrupted write");
    }
    closedir(dir);
}

void load(Store& s) {
    Held root;
    std::string why;
    if (!s.loaded) removeLeftoverTemporaries(s.path);
    s.loaded = true;
    if (readFile(s.path, root, why)) {
        if (!s.readable)
            s.pending.clear(); // values set while unreadable were never meant for this file
        s.readable = true;
        s.lastError.clear();
        s.file = root;
        ++changes; // after the new values are in place, so no reader keeps the old ones
        return;
    }
    s.readable = false;
    s.file = Held();
    ++changes;
    std::string line =
        "preferences file " + s.path + " could not be read (" + why + "); using defaults";
    if (line != s.lastError) puts(line.c_str());
    s.lastError = line;
}

// Makes the folders on the way to path (0700). False with why (the failed call and its error)
// when one cannot be made.
bool makeParentFolders(const std::string& path, std::string& why) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        std::string folder = path.substr(0, slash);
        if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
            why = "mkdir " + folder + ": " + strerror(errno);
            return false;
        }
    }
    return true;
}

// Writes text to a new temporary file beside path (readable by its owner only from the moment
// it exists), gives it mode, and renames it over path. On a failure the temporary file is
// removed, path is left as it was, and why names the failed call with its own error.
bool writeAtomically(const std::string& path, const std::string& text, mode_t mode,
                     std::string& why) {
    if (!makeParentFolders(path, why)) return false;
    std::string temporary = PreferencesTemporaryPrefix(path) + "XXXXXX";
    int fd = mkstemp(temporary.data()); // O_CREAT | O_EXCL, mode 0600
    if (fd < 0) {
        why = "mkstemp in " + path.substr(0, path.rfind('/') + 1) + ": " + strerror(errno);
        return false;
    }
    auto fail = [&](const char* call) {
        why = std::string(call) + " " + temporary + ": " + strerror(errno);
        close(fd);
        unlink(temporary.c_str());
        return false;
    };
    for (size_t done = 0; done < text.size();) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return fail("write");
        if (n == 0) {
            errno = ENOSPC;
            return fail("write");
        }
        done += size_t(n);
    }
    if (fchmod(fd, mode) != 0) return fail("fchmod");
    if (fsync(fd) != 0) return fail("fsync");
    if (close(fd) != 0) {
        why = "close " + temporary + ": " + strerror(errno);
        unlink(temporary.c_str());
        return false;
    }
    if (rename(temporary.c_str(), path.c_str()) != 0) {
        why = "rename " + temporary + ": " + strerror(errno);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

// The mode the new file gets: the old file's, but owner-only while it holds a password; 0600
// for a new file.
mode_t modeFor(const std::string& path, CFDictionaryRef root) {
    struct stat info;
    mode_t mode = stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0600;
    if (CFDictionaryGetValue(root, CFSTR("pass"))) mode &= 0700;
    return mode | 0600;
}

// The text of root when it reads back as the same dictionary; empty otherwise, so that a file
// that cannot be parsed is never written.
std::string checkedText(CFDictionaryRef root, std::string& why) {
    std::string text = CFPropertyListCreateXMLText(root);
    CFTypeRef back = CFPropertyListCreateFromXMLData(text, &why);
    bool same =
        back && CFGetTypeID(back) == kCFDictionaryTypeID &&
        CFDictionaryGetCount(static_cast<CFDictionaryRef>(back)) == CFDictionaryGetCount(root);
    if (back) CFRelease(back);
    if (same) return text;
    if (why.empty()) why = "the values do not make a property list that reads back";
    return "";
}

} // namespace

std::string PreferencesTemporaryPrefix(const std::string& path) {
    return path + ".tmp." + std::to_string(getpid()) + ".";
}

void CFPreferencesSetReporter(void (*report)(const std::string& line)) {
    reporter = report;
}

std::string CFPreferencesDefaultPath() {
    const char* config = getenv("XDG_CONFIG_HOME");
    std::string folder;
    if (config && *config) {
        folder = config;
    } else {
        const char* home = getenv("HOME");
        folder = std::string(home && *home ? home : ".") + "/.config";
    }
    return folder + "/tessellan/org.tessellan.Tessellan.plist";
}

void CFPreferencesSetPath(const std::string& path) {
    std::lock_guard<std::mutex> hold(storeLock());
    Store& s = store();
    s = Store(path);
    ++changes;
}

const std::string& CFPreferencesGetPath() {
    return store().path;
}

CFTypeRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef) {
    std::lock_guard<std::mutex> hold(storeLock());
    Store& s = store();
    if (!s.loaded) load(s);
    if (!s.pending.empty()) {
        auto found = s.pending.find(keyText(key));
        if (found != s.pending.end())
            return found->second.get() ? CFRetain(found->second.get()) : nullptr;
    }
    if (!s.file.get()) return nullptr;
    CFTypeRef value = CFDictionaryGetValue(static_cast<CFDictionaryRef>(s.file.get()), key);
    return value ? CFRetain(value) : nullptr;
}

void CFPreferencesSetAppValue(CFStringRef key, CFTypeRef value, CFStringRef) {
    std::lock_guard<std::mutex> hold(storeLock());
    Store& s = store();
    if (!s.loaded) load(s);
    s.pending[keyText(key)] = Held(value ? CFRetain(value) : nullptr);
    ++changes;
}

uint64_t CFPreferencesChangeCount() {
    return changes.load();
}

bool CFPreferencesAppSynchronize(CFStringRef) {
    std::lock_guard<std::mutex> hold(storeLock());
    Store& s = store();
    bool written = true;
    if (!s.loaded) load(s);
    // Values set while the file was unreadable stay in memory: the file is left as it was.
    if (!s.pending.empty() && s.readable) {
        Held current;
        std::string why;
        if (readFile(s.path, current, why)) {
            // Lay the pending values over what the file holds now, keeping every other key.
            std::map<std::string, Held> merged;
            if (current.get()) {
                auto dict = static_cast<CFDictionaryRef>(current.get());
                std::vector<CFTypeRef> keys(size_t(CFDictionaryGetCount(dict))),
                    values(keys.size());
                CFDictionaryGetKeysAndValues(dict, keys.data(), values.data());
                for (size_t i = 0; i < keys.size(); ++i)
                    merged[keyText(static_cast<CFStringRef>(keys[i]))] = Held(CFRetain(values[i]));
            }
            for (auto& [key, value] : s.pending)
                merged[key] = value;
            std::vector<CFTypeRef> keys, values;
            for (auto& [key, value] : merged) {
                if (!value.get()) continue;
                keys.push_back(CFStringCreateWithBytes(key.data(), CFIndex(key.size()),
                                                       kCFStringEncodingUTF8));
                values.push_back(value.get());
            }
            auto root = static_cast<CFDictionaryRef>(
                CFDictionaryCreate(keys.data(), values.data(), CFIndex(keys.size())));
            for (CFTypeRef key : keys)
                CFRelease(key);
            std::string why, text = checkedText(root, why);
            written = !text.empty() && writeAtomically(s.path, text, modeFor(s.path, root), why);
            CFRelease(root);
            if (written) {
                s.pending.clear();
            } else {
                reporter("preferences file " + s.path + " could not be written (" + why +
                         "); it is left as it was");
            }
        } else {
            written = false;
        }
    }
    load(s);
    return written && s.readable;
}
