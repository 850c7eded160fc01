// ZipReader.h - the album download test's own reading of a small ZIP file: the end record, the
// central directory, and each member's data found through its local header.
#pragma once

#include <cstdint>
#include <string>
#include <unistd.h>
#include <vector>

namespace ziptest {

struct Entry {
    std::string name;
    uint16_t flags = 0, method = 0;
    uint32_t crc = 0;
    uint64_t size = 0, storedSize = 0, offset = 0;
};

struct Archive {
    std::string error; // empty when the structure is sound
    std::vector<Entry> entries = {};
};

inline uint64_t le(const std::string& bytes, size_t at, int width) {
    uint64_t value = 0;
    for (int i = width - 1; i >= 0; --i)
        value = value << 8 | static_cast<unsigned char>(bytes.at(at + size_t(i)));
    return value;
}

inline std::string readAt(int fd, uint64_t offset, size_t length) {
    std::string bytes(length, '\0');
    ssize_t got = pread(fd, bytes.data(), length, off_t(offset));
    bytes.resize(got > 0 ? size_t(got) : 0);
    return bytes;
}

// The members of the archive in the file fd of fileSize bytes (no archive comment expected). A
// ZIP64 record or field is an error: these archives are small.
inline Archive readArchive(int fd, uint64_t fileSize) {
    Archive archive;
    std::string end = readAt(fd, fileSize - 22, 22);
    if (fileSize < 22 || le(end, 0, 4) != 0x06054b50) return {"no end record at the end"};
    uint64_t count = le(end, 10, 2), directorySize = le(end, 12, 4), directory = le(end, 16, 4);
    if (count == 0xFFFF || directorySize == 0xFFFFFFFF || directory == 0xFFFFFFFF)
        return {"ZIP64 end records"};
    std::string bytes = readAt(fd, directory, size_t(directorySize));
    size_t at = 0;
    for (uint64_t i = 0; i < count; ++i) {
        if (at + 46 > bytes.size() || le(bytes, at, 4) != 0x02014b50)
            return {"central entry " + std::to_string(i) + " is not where it should be"};
        Entry entry{bytes.substr(at + 46, le(bytes, at + 28, 2)),
                    uint16_t(le(bytes, at + 8, 2)),
                    uint16_t(le(bytes, at + 10, 2)),
                    uint32_t(le(bytes, at + 16, 4)),
                    le(bytes, at + 24, 4),
                    le(bytes, at + 20, 4),
                    le(bytes, at + 42, 4)};
        size_t extra = at + 46 + entry.name.size(), extraEnd = extra + le(bytes, at + 30, 2);
        for (; extra + 4 <= extraEnd; extra += 4 + le(bytes, extra + 2, 2))
            if (le(bytes, extra, 2) == 1) return {"a ZIP64 field for " + entry.name};
        at = extraEnd + le(bytes, at + 32, 2);
        if (le(readAt(fd, entry.offset, 4) + "    ", 0, 4) != 0x04034b50)
            return {"no local header for " + entry.name};
        archive.entries.push_back(entry);
    }
    if (at != bytes.size()) return {"the central directory has bytes after its entries"};
    return archive;
}

// The data of entry, read through its local header (whole: for small members only).
inline std::string memberData(int fd, const Entry& entry) {
    std::string local = readAt(fd, entry.offset, 30);
    uint64_t data = entry.offset + 30 + le(local, 26, 2) + le(local, 28, 2);
    return readAt(fd, data, size_t(entry.size));
}

} // namespace ziptest
