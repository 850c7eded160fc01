// RuntimeRecord.cpp - writing, finding and removing the running server's record.
#include "app/RuntimeRecord.h"

#include "cf/CFDictionary.h"
#include "cf/CFNumber.h"
#include "cf/CFPropertyList.h"
#include "cf/cftempl.h"
#include "web/Bundle.h"
#include "settings/PreferenceStore.h"

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

std::string callError(const std::string& call, const std::string& path) {
    return call + " " + path + ": " + strerror(errno);
}

// Makes folder (0700) when missing and checks that it is this user's own folder, closed to
// others and not a link, so that no one else can plant or read a record there.
bool ownFolder(const std::string& folder, std::string& why) {
    if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
        why = callError("mkdir", folder);
        return false;
    }
    struct stat info;
    if (lstat(folder.c_str(), &info) != 0) {
        why = callError("lstat", folder);
        return false;
    }
    if (!S_ISDIR(info.st_mode) || info.st_uid != getuid() || (info.st_mode & 077) != 0) {
        why = folder + " is not a folder of this user's own with mode 0700";
        return false;
    }
    return true;
}

CFTypeRef text(const std::string& value) {
    return CFRetain(makeString(value).get());
}

CFTypeRef number(long long value) {
    int64_t v = value;
    return CFNumberCreate(kCFNumberSInt64Type, &v);
}

std::string recordText(const RuntimeRecord& record) {
    const char* names[] = {"pid", "port", "name", "prefs", "resources"};
    CFTypeRef values[] = {number(record.pid), number(record.port), text(record.name),
                          text(record.prefsPath), text(record.resourcesPath)};
    std::vector<CFTypeRef> keys;
    for (const char* name : names)
        keys.push_back(text(name));
    CFDictionaryRef root = CFDictionaryCreate(keys.data(), values, CFIndex(keys.size()));
    for (size_t i = 0; i < keys.size(); ++i) {
        CFRelease(keys[i]);
        CFRelease(values[i]);
    }
    std::string xml = CFPropertyListCreateXMLText(root);
    CFRelease(root);
    return xml;
}

bool running(pid_t pid) {
    return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM);
}

} // namespace

std::string RuntimeRecordFolder() {
    const char* runtime = getenv("XDG_RUNTIME_DIR");
    if (runtime && *runtime) return std::string(runtime) + "/tessellan";
    return "/tmp/tessellan-" + std::to_string(getuid());
}

std::string RuntimeRecordKeyPath(const std::string& prefsPath) {
    namespace fs = std::filesystem;
    std::error_code error;
    fs::path path = fs::absolute(fs::path(prefsPath), error).lexically_normal();
    fs::path resolved = fs::canonical(path, error);
    if (!error) return resolved.string();
    fs::path folder = fs::canonical(path.parent_path(), error);
    if (!error) return (folder / path.filename()).string();
    return path.string();
}

std::string RuntimeRecordFile(const std::string& prefsPath) {
    uint64_t hash = 14695981039346656037ull; // FNV-1a
    for (unsigned char c : RuntimeRecordKeyPath(prefsPath))
        hash = (hash ^ c) * 1099511628211ull;
    char name[40];
    snprintf(name, sizeof name, "/server-%016llx.plist", static_cast<unsigned long long>(hash));
    return RuntimeRecordFolder() + name;
}

bool RuntimeRecordWrite(const RuntimeRecord& given, std::string& why) {
    std::string folder = RuntimeRecordFolder();
    if (const char* runtime = getenv("XDG_RUNTIME_DIR"); runtime && *runtime) {
        struct stat info;
        if (stat(runtime, &info) != 0) {
            why = callError("stat", runtime);
            return false;
        }
    }
    if (!ownFolder(folder, why)) return false;
    RuntimeRecord record = given;
    record.prefsPath = RuntimeRecordKeyPath(given.prefsPath);
    std::string file = RuntimeRecordFile(record.prefsPath);
    std::string temporary = file + ".tmp." + std::to_string(getpid());
    int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        why = callError("open", temporary);
        return false;
    }
    std::string xml = recordText(record);
    ssize_t n = write(fd, xml.data(), xml.size());
    if (n != ssize_t(xml.size())) {
        if (n >= 0) errno = ENOSPC;
        why = callError("write", temporary);
        close(fd);
        unlink(temporary.c_str());
        return false;
    }
    close(fd);
    if (rename(temporary.c_str(), file.c_str()) != 0) {
        why = callError("rename", temporary);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}

std::optional<RuntimeRecord> RuntimeRecordFind(const std::string& prefsPath) {
    std::string file = RuntimeRecordFile(prefsPath);
    std::ifstream in(file, std::ios::binary);
    if (!in) return std::nullopt;
    std::stringstream bytes;
    bytes << in.rdbuf();
    CFTypeRef root = CFPropertyListCreateFromXMLData(bytes.str());
    if (!root) return std::nullopt;
    try {
        CFDictionary_t dict(root, CFDictionary_t::Create);
        RuntimeRecord record;
        record.pid = pid_t(int(dict.get<CFNumber_t>(CFSTR("pid"))));
        record.port = int(dict.get<CFNumber_t>(CFSTR("port")));
        record.name = toString(dict.get<CFString_t>(CFSTR("name")));
        record.prefsPath = toString(dict.get<CFString_t>(CFSTR("prefs")));
        record.resourcesPath = toString(dict.get<CFString_t>(CFSTR("resources")));
        if (record.prefsPath != RuntimeRecordKeyPath(prefsPath) || !running(record.pid))
            return std::nullopt;
        return record;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void RuntimeRecordRemove(const std::string& prefsPath) {
    std::optional<RuntimeRecord> record = RuntimeRecordFind(prefsPath);
    if (record && record->pid == getpid()) unlink(RuntimeRecordFile(prefsPath).c_str());
}

void RuntimeRecordPublish(int port, const std::string& name) {
    RuntimeRecord record{getpid(), port, name, CFPreferencesGetPath(), BundleResourcesPath()};
    std::string why;
    if (!RuntimeRecordWrite(record, why))
        printf("could not record this server for tessellanctl (%s)\n", why.c_str());
}

void RuntimeRecordWithdraw() {
    RuntimeRecordRemove(CFPreferencesGetPath());
}
