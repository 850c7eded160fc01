// ZipStream.h - a stored ZIP archive of library files, made while it is sent.
//
// The archive's layout and length are fixed when it is made, from the sizes the files had when
// they were checked; the data is read, and its CRC-32 taken, only as the connection pulls it,
// a piece at a time, so memory stays bounded whatever the sizes. A file is opened when its turn
// comes and must then still be the file that was checked (same device, inode, size and
// modification time), and must not change while it is read; otherwise the archive would carry
// wrong bytes, so the source logs one line and fails, and the connection closes: the client sees
// a truncated download, never a wrong archive.
#pragma once

#include "http/HttpMessage.h"

#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

// One member: a library file, or bytes made in memory.
struct ZipMember {
    std::string name;  // the name inside the archive (UTF-8)
    std::string path;  // the file to read; empty for a member made in memory
    struct stat info;  // the file as it was checked (unused for a member made in memory)
    std::string bytes; // the content of a member made in memory
    time_t madeAt = 0; // the modification time of a member made in memory
};

// Bytes a file is read in (the most a source holds of file data at once).
constexpr size_t kZipPieceBytes = 1 << 20;

// A body source for the archive of members, in order. Never null.
std::unique_ptr<HttpBodySource> ZipStreamCreate(std::vector<ZipMember> members);
