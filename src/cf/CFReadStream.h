// CFReadStream.h - read streams over files, with a settable file offset.
//
// Reads go through a small buffer, so byte-at-a-time readers (the image header probe) cost no
// system call per byte; reads of a buffer's size or more go straight to the file.
#pragma once

#include "cf/CFBase.h"
#include "cf/CFString.h"
#include "cf/CFURL.h"

struct CFReadStream;
typedef CFReadStream* CFReadStreamRef;

// The property that reads and sets the file offset, as a number.
extern const CFStringRef kCFStreamPropertyFileCurrentOffset;

CFTypeID CFReadStreamGetTypeID();
// A stream on the URL's file, not yet open. The caller must release.
CFReadStreamRef CFReadStreamCreateWithFile(CFURLRef url);
// Opens the file for reading. False when it cannot be opened or is not a regular file.
bool CFReadStreamOpen(CFReadStreamRef stream);
// Reads up to length bytes: the count read, 0 at the end of the file (as large as it was when
// the stream opened), -1 on an error (and when the stream is not open).
CFIndex CFReadStreamRead(CFReadStreamRef stream, uint8_t* buffer, CFIndex length);
void CFReadStreamClose(CFReadStreamRef stream);
// The file's size when the stream opened; -1 when it is not open.
int64_t _CFReadStreamGetFileSize(CFReadStreamRef stream);
// The open file's descriptor, for readers that need to read anywhere in it (pread); -1 when the
// stream is not open. The stream keeps it: the caller must not close it.
int _CFReadStreamGetFileDescriptor(CFReadStreamRef stream);
// Sets a property; only kCFStreamPropertyFileCurrentOffset with a number is accepted.
bool CFReadStreamSetProperty(CFReadStreamRef stream, CFStringRef name, CFTypeRef value);
// Copies a property: the file offset as a number, or null. The caller must release.
CFTypeRef CFReadStreamCopyProperty(CFReadStreamRef stream, CFStringRef name);
