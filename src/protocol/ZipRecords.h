// ZipRecords.h - the records of a stored ZIP archive written in one pass: local headers, data
// descriptors, central directory entries and the end records, ZIP64 wherever a size or an
// offset reaches 4 GiB.
//
// Members are stored as they are (method 0), named in UTF-8 (flag bit 11). A member's CRC-32 is
// known only once its data has gone by, so it follows the data in a data descriptor (flag bit
// 3); its sizes are known before and stand in the local header as well, so that a reader that
// walks the local headers finds where each member ends. A record's length never depends on
// the CRC: lengths can be measured before any data is read, by appending with crc 0.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

// One member of the archive.
struct ZipEntry {
    std::string name;     // UTF-8, as stored
    uint64_t size = 0;    // bytes of data
    uint64_t offset = 0;  // where its local header starts in the archive
    uint32_t crc = 0;     // CRC-32 of the data
    uint16_t dosTime = 0; // modification time as MS-DOS stores it (local time)
    uint16_t dosDate = 0;
};

// A size or offset from this value on is written in a ZIP64 extra field.
constexpr uint64_t kZip64Limit = 0xFFFFFFFF;
// Entry counts from this value on are written in the ZIP64 end record.
constexpr uint64_t kZip64EntryLimit = 0xFFFF;

// Appends entry's local file header (its CRC left 0: the descriptor carries it).
void ZipAppendLocalHeader(std::string& out, const ZipEntry& entry);
// Appends the data descriptor that follows entry's data: signed, with 8-byte sizes when the
// local header gave them in a ZIP64 field.
void ZipAppendDataDescriptor(std::string& out, const ZipEntry& entry);
// Appends entry's central directory header (a regular file, mode 0644, made on Unix).
void ZipAppendCentralEntry(std::string& out, const ZipEntry& entry);
// Appends the end records of an archive of entries members whose central directory of
// directorySize bytes starts at directoryOffset: the ZIP64 end record and its locator first
// when a count, size or offset does not fit the classic record.
void ZipAppendEnd(std::string& out, uint64_t entries, uint64_t directoryOffset,
                  uint64_t directorySize);

// when as an MS-DOS time and date in local time, clamped to 1980..2107.
void ZipDosTime(time_t when, uint16_t& dosTime, uint16_t& dosDate);
