// LibraryRegistry.h - which photo libraries are published, and the lib... facade over them.
#pragma once

// Prepares the registry; always true.
bool libInit();
// Releases the registry; nothing to do.
void libTerm();
// Re-reads the preferences domain (after a SIGHUP). Returns whether it could be read.
bool libSync();
