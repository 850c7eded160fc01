// RawPreview.cpp - a walk over a raw file's image file directories for its largest JPEG.
#include "image/RawPreview.h"

#include "image/ReadAt.h"

#include <cstring>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

// TIFF tags the walk reads.
enum : uint16_t {
    kCompression = 259,
    kStripOffsets = 273,
    kOrientation = 274,
    kStripByteCounts = 279,
    kSubIFDs = 330,
    kJpegOffset = 513,
    kJpegLength = 514,
};

class Walk {
  public:
    Walk(int fd, uint64_t size, bool little) : fd_(fd), size_(size), little_(little) {}

    // Reads the directory at offset and, through its SubIFDs, those below it; returns the
    // offset of the next directory in its chain (0 for none).
    uint32_t directory(uint32_t offset, bool first) {
        if (visited_.size() >= kMaxRawDirectories || seen(offset)) return 0;
        visited_.push_back(offset);
        uint8_t countBytes[2];
        if (!readAt(fd_, offset, countBytes, 2)) return 0;
        unsigned count = u16(countBytes);
        if (count > kMaxRawEntries) return 0;
        std::vector<uint8_t> entries(size_t(count) * 12 + 4);
        if (!readAt(fd_, uint64_t(offset) + 2, entries.data(), entries.size())) return 0;
        uint64_t jpegOffset = 0, jpegLength = 0, stripOffset = 0, stripLength = 0;
        unsigned compression = 0, strips = 0;
        std::vector<uint32_t> below;
        for (unsigned i = 0; i < count; ++i) {
            const uint8_t* e = &entries[size_t(i) * 12];
            unsigned tag = u16(e), type = u16(e + 2);
            uint32_t n = u32(e + 4);
            uint32_t value = type == 3 ? u16(e + 8) : u32(e + 8);
            switch (tag) {
            case kCompression:
                compression = value;
                break;
            case kOrientation:
                if (first && value >= 1 && value <= 8) preview_.orientation = int(value);
                break;
            case kJpegOffset:
                jpegOffset = value;
                break;
            case kJpegLength:
                jpegLength = value;
                break;
            case kStripOffsets:
                strips = n;
                stripOffset = value;
                break;
            case kStripByteCounts:
                stripLength = value;
                break;
            case kSubIFDs:
                subdirectories(e, type, n, below);
                break;
            default:
                break;
            }
        }
        consider(jpegOffset, jpegLength);
        // Old-style (6) and plain (7) JPEG compression in one strip: the strip is a JPEG.
        if ((compression == 6 || compression == 7) && strips == 1)
            consider(stripOffset, stripLength);
        for (uint32_t at : below)
            directory(at, false);
        return u32(&entries[size_t(count) * 12]);
    }

    // A range that may be the preview: kept when it is the largest JPEG so far.
    void consider(uint64_t offset, uint64_t length) {
        if (length < 4 || offset >= size_ || length > size_ - offset || length <= preview_.length)
            return;
        uint8_t start[3];
        if (!readAt(fd_, offset, start, 3) || start[0] != 0xFF || start[1] != 0xD8 ||
            start[2] != 0xFF)
            return;
        preview_.offset = offset;
        preview_.length = length;
    }

    const RawPreview& preview() const { return preview_; }

  private:
    bool seen(uint32_t offset) const {
        for (uint32_t v : visited_)
            if (v == offset) return true;
        return offset == 0 || offset >= size_;
    }

    // The SubIFDs entry's offsets: in the entry when there is one, else where it points.
    void subdirectories(const uint8_t* entry, unsigned type, uint32_t count,
                        std::vector<uint32_t>& into) {
        if ((type != 4 && type != 13) || count == 0 || count > 16) return;
        if (count == 1) {
            into.push_back(u32(entry + 8));
            return;
        }
        uint8_t offsets[64];
        if (!readAt(fd_, u32(entry + 8), offsets, size_t(count) * 4)) return;
        for (uint32_t i = 0; i < count; ++i)
            into.push_back(u32(offsets + i * 4));
    }

    unsigned u16(const uint8_t* p) const {
        return little_ ? unsigned(p[0] | p[1] << 8) : unsigned(p[0] << 8 | p[1]);
    }
    uint32_t u32(const uint8_t* p) const {
        return little_ ? uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 |
                             uint32_t(p[3]) << 24
                       : uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 |
                             uint32_t(p[3]);
    }

    int fd_;
    uint64_t size_;
    bool little_;
    std::vector<uint32_t> visited_;
    RawPreview preview_;
};

bool isRaf(const uint8_t* head, size_t length) {
    return length >= 15 && memcmp(head, "FUJIFILMCCD-RAW", 15) == 0;
}

// A TIFF header, or the variants with another magic number some cameras write.
bool isTiffLike(const uint8_t* head, size_t length) {
    if (length < 8) return false;
    return memcmp(head, "II*\0", 4) == 0 || memcmp(head, "MM\0*", 4) == 0 ||
           memcmp(head, "IIRO", 4) == 0 || memcmp(head, "IIRS", 4) == 0 ||
           memcmp(head, "MMOR", 4) == 0 || memcmp(head, "IIU\0", 4) == 0;
}

} // namespace

bool looksLikeRaw(const uint8_t* head, size_t length) {
    return isTiffLike(head, length) || isRaf(head, length);
}

bool findRawPreview(int fd, RawPreview* preview) {
    struct stat info;
    uint8_t head[92];
    if (fstat(fd, &info) != 0 || info.st_size < 8 || !readAt(fd, 0, head, 8)) return false;
    uint64_t size = uint64_t(info.st_size);
    if (size >= sizeof head && readAt(fd, 0, head, sizeof head) && isRaf(head, sizeof head)) {
        // The header's big-endian JPEG offset and length, at 84 and 88.
        auto be32 = [](const uint8_t* p) {
            return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
        };
        Walk walk(fd, size, false);
        walk.consider(be32(head + 84), be32(head + 88));
        *preview = walk.preview();
        return preview->length > 0;
    }
    if (!isTiffLike(head, 8)) return false;
    bool little = head[0] == 'I';
    Walk walk(fd, size, little);
    uint32_t next = little ? uint32_t(head[4]) | uint32_t(head[5]) << 8 | uint32_t(head[6]) << 16 |
                                 uint32_t(head[7]) << 24
                           : uint32_t(head[4]) << 24 | uint32_t(head[5]) << 16 |
                                 uint32_t(head[6]) << 8 | uint32_t(head[7]);
    for (bool first = true; next != 0; first = false)
        next = walk.directory(next, first);
    *preview = walk.preview();
    return preview->length > 0;
}
