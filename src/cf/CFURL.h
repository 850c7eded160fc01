// CFURL.h - file URLs made from POSIX paths.
//
// A file URL keeps its path as the bytes it was given (UTF-8 from strings), so a path with
// non-ASCII characters names exactly the file it spells.
#pragma once

#include "cf/CFBase.h"
#include "cf/CFString.h"

struct CFURL;
typedef const CFURL* CFURLRef;

CFTypeID CFURLGetTypeID();
// A file URL for a POSIX path (absolute, or relative to the working directory). A directory
// URL ends in "/". The caller must release.
CFURLRef CFURLCreateFromFileSystemRepresentation(const char* path, CFIndex length,
                                                 bool isDirectory);
// The URL with "/" and component appended to its path. The caller must release.
CFURLRef CFURLCreateCopyAppendingPathComponent(CFURLRef url, CFStringRef component,
                                               bool isDirectory);
// The URL's text: "file://" and the percent-encoded absolute path, or the encoded relative
// path. Borrowed: valid while the URL lives.
CFStringRef CFURLGetString(CFURLRef url);
// The path as a NUL-terminated byte string, for POSIX calls. Borrowed.
const char* CFURLGetPOSIXPath(CFURLRef url);

// A URL may carry an open descriptor of its regular file, made when a lookup checked that the
// file is there: the first read stream opened on the URL takes it over instead of opening the
// path again. The URL closes a descriptor nobody took.
// Opens path; returns a URL carrying the descriptor, or null when path is not a regular file
// that can be opened. The caller must release it.
CFURLRef _CFURLCreateOpeningFile(const char* path, CFIndex length);
// A URL for path carrying fd, an open descriptor of that regular file of size bytes, which the
// URL owns from now on (as if _CFURLCreateOpeningFile had opened it). The caller must release it.
CFURLRef _CFURLCreateWithOpenFile(const char* path, CFIndex length, int fd, int64_t size);
// Hands over the carried descriptor (and the file's size), or returns -1 when there is none.
int _CFURLTakeOpenFile(CFURLRef url, int64_t* size);
