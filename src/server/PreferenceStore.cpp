// PreferenceStore.cpp - the preferences domain: load, overlay, atomic write, reload.
#include "server/PreferenceStore.h"

#include "cf/CFDictionary.h"
#include "cf/CFPropertyList.h"
#include "cf/CFReadStream.h"
#include "cf/CFURL.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <map>
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

void load(Store& s) {
    Held root;
    std::string why;
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

bool makeParentFolders(const std::string& path) {
    for (size_t slash = path.find('/', 1); slash != std::string::npos;
         slash = path.find('/', slash + 1)) {
        std::string folder = path.substr(0, slash);
        if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) return false;
    }
    return true;
}

// Writes text to a temporary file beside path and renames it over path.
bool writeAtomically(const std::string& path, const std::string& text) {
    if (!makeParentFolders(path)) return false;
    std::string temporary = path + ".XXXXXX";
    int fd = mkstemp(temporary.data());
    if (fd < 0) return false;
    struct stat info;
    fchmod(fd, stat(path.c_str(), &info) == 0 ? (info.st_mode & 07777) : 0600);
    size_t done = 0;
    while (done < text.size()) {
        ssize_t n = write(fd, text.data() + done, text.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) break;
        done += size_t(n);
    }
    bool ok = done == text.size() && fsync(fd) == 0;
    ok = close(fd) == 0 && ok;
    if (ok && rename(temporary.c_str(), path.c_str()) == 0) return true;
    unlink(temporary.c_str());
    return false;
}

} // namespace

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
    Store& s = store();
    s = Store(path);
    ++changes;
}

const std::string& CFPreferencesGetPath() {
    return store().path;
}

CFTypeRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef) {
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
    Store& s = store();
    if (!s.loaded) load(s);
    s.pending[keyText(key)] = Held(value ? CFRetain(value) : nullptr);
    ++changes;
}

uint64_t CFPreferencesChangeCount() {
    return changes.load();
}

bool CFPreferencesAppSynchronize(CFStringRef) {
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
            CFTypeRef root = CFDictionaryCreate(keys.data(), values.data(), CFIndex(keys.size()));
            for (CFTypeRef key : keys)
                CFRelease(key);
            written = writeAtomically(s.path, CFPropertyListCreateXMLText(root));
            CFRelease(root);
            if (written) {
                s.pending.clear();
            } else {
                printf("preferences file %s could not be written (%s)\n", s.path.c_str(),
                       strerror(errno));
            }
        } else {
            written = false;
        }
    }
    load(s);
    return written && s.readable;
}
