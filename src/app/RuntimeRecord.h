// RuntimeRecord.h - the record a running server leaves for tessellanctl: its process id, port,
// advertised name and files, one record per preferences file.
//
// Records live in $XDG_RUNTIME_DIR/tessellan/ (or /tmp/tessellan-<uid>/ when the variable is
// unset; that folder must be the user's own, mode 0700, and no link), one file per preferences
// file, named after a hash of the preferences file's absolute path, which the record also holds.
// A record is a property list written atomically (temporary file, then rename), mode 0600.
// A record whose process no longer runs is stale: finding it answers nothing.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

struct RuntimeRecord {
    pid_t pid = 0;             // the server's process id
    int port = 0;              // the port it listens on, as bound
    std::string name;          // the name it advertises
    std::string prefsPath;     // its preferences file (absolute; see RuntimeRecordKeyPath)
    std::string resourcesPath; // its resources folder (layouts/ and json/)
};

// The folder the records live in (not made here).
std::string RuntimeRecordFolder();
// The absolute form of a preferences path that two programs naming the same file agree on:
// links resolved in the file (when it exists) or in its folder, "." and ".." removed.
std::string RuntimeRecordKeyPath(const std::string& prefsPath);
// The record file of the server serving prefsPath.
std::string RuntimeRecordFile(const std::string& prefsPath);

// Writes the record of this process (record.prefsPath is made absolute here), making the
// folder when missing. False with why (the failed call and its error) when it cannot.
bool RuntimeRecordWrite(const RuntimeRecord& record, std::string& why);
// Removes the record for prefsPath when it is this process's own; leaves another's alone.
void RuntimeRecordRemove(const std::string& prefsPath);
// The record of a running server serving prefsPath; nothing when there is none, when it
// cannot be read, or when its process has ended.
std::optional<RuntimeRecord> RuntimeRecordFind(const std::string& prefsPath);

// The server's side: after it started listening, records this process (printing one line
// when it cannot), and at its clean end removes the record.
void RuntimeRecordPublish(int port, const std::string& name);
void RuntimeRecordWithdraw();
