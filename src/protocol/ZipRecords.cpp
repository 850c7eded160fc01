// ZipRecords.cpp - little-endian ZIP records, ZIP64 where the classic fields are too small.
#include "protocol/ZipRecords.h"

#include <algorithm>

namespace {

constexpr uint16_t kFlags = 0x0808;            // data descriptor (bit 3), UTF-8 name (bit 11)
constexpr uint16_t kMadeBy = (3 << 8) | 45;    // Unix, ZIP 4.5
constexpr uint16_t kNeeds = 20, kNeeds64 = 45; // stored members; ZIP64 members
constexpr uint32_t kRegularFile = 0100644u << 16;

void put16(std::string& out, uint16_t value) {
    out += char(value & 0xFF);
    out += char(value >> 8);
}
void put32(std::string& out, uint32_t value) {
    put16(out, uint16_t(value & 0xFFFF));
    put16(out, uint16_t(value >> 16));
}
void put64(std::string& out, uint64_t value) {
    put32(out, uint32_t(value & 0xFFFFFFFF));
    put32(out, uint32_t(value >> 32));
}
// A 32-bit field that says "see the ZIP64 field" when value does not fit.
uint32_t clamp32(uint64_t value) {
    return uint32_t(std::min(value, kZip64Limit));
}

} // namespace

void ZipAppendLocalHeader(std::string& out, const ZipEntry& entry) {
    bool wide = entry.size >= kZip64Limit;
    put32(out, 0x04034b50);
    put16(out, wide ? kNeeds64 : kNeeds);
    put16(out, kFlags);
    put16(out, 0); // stored
    put16(out, entry.dosTime);
    put16(out, entry.dosDate);
    put32(out, 0);                   // CRC-32: in the descriptor
    put32(out, clamp32(entry.size)); // compressed size
    put32(out, clamp32(entry.size)); // uncompressed size
    put16(out, uint16_t(entry.name.size()));
    put16(out, wide ? 20 : 0);
    out += entry.name;
    if (wide) {
        put16(out, 0x0001);
        put16(out, 16);
        put64(out, entry.size); // uncompressed first, as the format orders them
        put64(out, entry.size);
    }
}

void ZipAppendDataDescriptor(std::string& out, const ZipEntry& entry) {
    put32(out, 0x08074b50);
    put32(out, entry.crc);
    if (entry.size >= kZip64Limit) {
        put64(out, entry.size);
        put64(out, entry.size);
    } else {
        put32(out, uint32_t(entry.size));
        put32(out, uint32_t(entry.size));
    }
}

void ZipAppendCentralEntry(std::string& out, const ZipEntry& entry) {
    bool wideSize = entry.size >= kZip64Limit, wideOffset = entry.offset >= kZip64Limit;
    uint16_t extra = uint16_t((wideSize ? 16 : 0) + (wideOffset ? 8 : 0));
    put32(out, 0x02014b50);
    put16(out, kMadeBy);
    put16(out, extra ? kNeeds64 : kNeeds);
    put16(out, kFlags);
    put16(out, 0);
    put16(out, entry.dosTime);
    put16(out, entry.dosDate);
    put32(out, entry.crc);
    put32(out, clamp32(entry.size));
    put32(out, clamp32(entry.size));
    put16(out, uint16_t(entry.name.size()));
    put16(out, extra ? uint16_t(extra + 4) : 0);
    put16(out, 0); // comment
    put16(out, 0); // disk
    put16(out, 0); // internal attributes
    put32(out, kRegularFile);
    put32(out, clamp32(entry.offset));
    out += entry.name;
    if (extra) {
        put16(out, 0x0001);
        put16(out, extra);
        if (wideSize) {
            put64(out, entry.size);
            put64(out, entry.size);
        }
        if (wideOffset) put64(out, entry.offset);
    }
}

void ZipAppendEnd(std::string& out, uint64_t entries, uint64_t directoryOffset,
                  uint64_t directorySize) {
    if (entries >= kZip64EntryLimit || directoryOffset >= kZip64Limit ||
        directorySize >= kZip64Limit) {
        uint64_t recordOffset = directoryOffset + directorySize;
        put32(out, 0x06064b50);
        put64(out, 44); // the record's length after this field
        put16(out, kMadeBy);
        put16(out, kNeeds64);
        put32(out, 0); // this disk
        put32(out, 0); // the directory's disk
        put64(out, entries);
        put64(out, entries);
        put64(out, directorySize);
        put64(out, directoryOffset);
        put32(out, 0x07064b50); // the locator
        put32(out, 0);
        put64(out, recordOffset);
        put32(out, 1); // disks
    }
    uint16_t count = uint16_t(std::min(entries, kZip64EntryLimit));
    put32(out, 0x06054b50);
    put16(out, 0);
    put16(out, 0);
    put16(out, count);
    put16(out, count);
    put32(out, clamp32(directorySize));
    put32(out, clamp32(directoryOffset));
    put16(out, 0); // comment
}

void ZipDosTime(time_t when, uint16_t& dosTime, uint16_t& dosDate) {
    struct tm local = {};
    localtime_r(&when, &local);
    int year = local.tm_year + 1900;
    if (year < 1980) {
        dosTime = 0;
        dosDate = (1 << 5) | 1; // 1980-01-01
        return;
    }
    if (year > 2107) {
        dosTime = uint16_t((23 << 11) | (59 << 5) | 29);
        dosDate = uint16_t((127 << 9) | (12 << 5) | 31);
        return;
    }
    dosTime = uint16_t((local.tm_hour << 11) | (local.tm_min << 5) | (local.tm_sec / 2));
    dosDate = uint16_t(((year - 1980) << 9) | ((local.tm_mon + 1) << 5) | local.tm_mday);
}
