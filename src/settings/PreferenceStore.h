// PreferenceStore.h - the application's preferences domain, kept in a property-list file.
//
// The domain is read from the file on first use and held in memory. Set values are pending
// until synchronised: then the file is read again, the pending values are laid over it (every
// other key is kept as the file has it), and the result is written to a temporary file that is
// renamed over the old one (see PreferencesTemporaryPrefix). A file that exists but cannot be
// parsed is never overwritten: its domain reads as empty (so every reader answers its default),
// values set meanwhile live in memory only, and one line says which file could not be read and
// why. Every function may be called from any thread.
#pragma once

#include "cf/CFBase.h"
#include "cf/CFString.h"

#include <cstdint>
#include <string>

// The preferences domain of this application.
extern const CFStringRef appID;

// The file the domain lives in: `--prefs FILE`, else
// $XDG_CONFIG_HOME/tessellan/org.tessellan.Tessellan.plist (~/.config when unset).
std::string CFPreferencesDefaultPath();
// Points the store at path and forgets everything held in memory (start-up and tests).
void CFPreferencesSetPath(const std::string& path);
const std::string& CFPreferencesGetPath();

// The value for key, or null when absent. The caller must release it.
CFTypeRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationID);
// Sets (or, with a null value, removes) key; written at the next synchronisation.
void CFPreferencesSetAppValue(CFStringRef key, CFTypeRef value, CFStringRef applicationID);
// Writes pending values (when the file could be read) and reads the file again. False when
// the file could not be read or written.
bool CFPreferencesAppSynchronize(CFStringRef applicationID);

// Temporary files are named PreferencesTemporaryPrefix(path) + six random characters: the
// file's path, ".tmp.", the writer's process id and ".". They are created readable by their
// owner only, get the old file's mode just before the rename (owner-only whenever the
// values hold "pass"), and are removed when the write fails. The first use of a path removes
// the ones left there by writers that no longer run.
std::string PreferencesTemporaryPrefix(const std::string& path);
// Sends the store's messages about writing (a failed write naming the failed call and its
// error, a removed left-over) to report instead of standard output. A failed write leaves
// the old file as it was.
void CFPreferencesSetReporter(void (*report)(const std::string& line));

// A number that moves on whenever what CFPreferencesCopyAppValue answers may have changed (the
// file was read, a value was set, the store was pointed elsewhere), so readers can keep what
// they derived from the preferences until it does. Never goes back; safe from any thread.
uint64_t CFPreferencesChangeCount();
