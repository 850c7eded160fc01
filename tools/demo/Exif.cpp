// Exif.cpp - builds the TIFF structure of an EXIF block in either byte order.
#include "demo/Exif.h"

#include "demo/Bytes.h"

#include <vector>

namespace demo {

namespace {

enum : uint16_t { kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kUndefined = 7 };

struct Entry {
    uint16_t tag, type;
    uint32_t count;
    std::string value; // already in the block's byte order
};

class Directory {
  public:
    explicit Directory(bool bigEndian) : big_(bigEndian) {}

    void text(uint16_t tag, const std::string& s) {
        add(tag, kAscii, uint32_t(s.size() + 1), s + '\0');
    }
    void shortValue(uint16_t tag, uint32_t v) {
        std::string bytes;
        put16(bytes, v, big_);
        add(tag, kShort, 1, bytes);
    }
    void longValue(uint16_t tag, uint32_t v) {
        std::string bytes;
        put32(bytes, v, big_);
        add(tag, kLong, 1, bytes);
    }
    void rational(uint16_t tag, Rational r) {
        std::string bytes;
        put32(bytes, r.numerator, big_);
        put32(bytes, r.denominator, big_);
        add(tag, kRational, 1, bytes);
    }
    void undefined(uint16_t tag, const std::string& bytes) {
        add(tag, kUndefined, uint32_t(bytes.size()), bytes);
    }
    // Changes the value of a LONG entry added before.
    void setLong(uint16_t tag, uint32_t v) {
        for (Entry& e : entries_)
            if (e.tag == tag) {
                e.value.clear();
                put32(e.value, v, big_);
            }
    }

    // Bytes the directory takes with its out-of-line values.
    uint32_t size() const {
        uint32_t n = 2 + 12 * uint32_t(entries_.size()) + 4;
        for (const Entry& e : entries_)
            if (e.value.size() > 4) n += uint32_t((e.value.size() + 1) & ~size_t(1));
        return n;
    }

    // Appends the directory, placed at TIFF offset `at` (= tiff.size()), with no next one.
    // Entries must have been added in ascending tag order.
    void write(std::string& tiff) const {
        uint32_t at = uint32_t(tiff.size());
        uint32_t data = at + 2 + 12 * uint32_t(entries_.size()) + 4;
        std::string values;
        put16(tiff, uint32_t(entries_.size()), big_);
        for (const Entry& e : entries_) {
            put16(tiff, e.tag, big_);
            put16(tiff, e.type, big_);
            put32(tiff, e.count, big_);
            if (e.value.size() <= 4) {
                tiff += e.value;
                tiff.append(4 - e.value.size(), '\0');
            } else {
                put32(tiff, data + uint32_t(values.size()), big_);
                values += e.value;
                if (values.size() % 2) values += '\0';
            }
        }
        put32(tiff, 0, big_);
        tiff += values;
    }

  private:
    void add(uint16_t tag, uint16_t type, uint32_t count, const std::string& value) {
        entries_.push_back({tag, type, count, value});
    }
    bool big_;
    std::vector<Entry> entries_;
};

} // namespace

std::string exifPayload(const ExifFields& f, bool bigEndian) {
    Directory exif(bigEndian);
    exif.rational(33434, f.exposureTime);
    exif.rational(33437, f.fNumber);
    exif.shortValue(34855, f.iso);
    exif.undefined(36864, "0230"); // ExifVersion
    exif.text(36867, f.dateTimeOriginal);
    exif.text(36868, f.dateTimeOriginal); // DateTimeDigitized
    exif.rational(37386, f.focalLength);
    exif.shortValue(40961, 1); // ColorSpace: sRGB
    exif.longValue(40962, f.pixelWidth);
    exif.longValue(40963, f.pixelHeight);

    Directory ifd0(bigEndian);
    ifd0.text(271, f.make);
    ifd0.text(272, f.model);
    ifd0.shortValue(274, f.orientation); // Orientation (1: from the top left, 6: on its side)
    ifd0.rational(282, {72, 1});
    ifd0.rational(283, {72, 1});
    ifd0.shortValue(296, 2); // ResolutionUnit: inches
    ifd0.text(306, f.dateTime);
    ifd0.longValue(34665, 0);             // ExifIFDPointer: the sub-directory follows IFD0
    ifd0.setLong(34665, 8 + ifd0.size()); // and its values, after the 8-byte header

    std::string tiff = bigEndian ? "MM" : "II";
    put16(tiff, 42, bigEndian);
    put32(tiff, 8, bigEndian); // IFD0 right after the header
    ifd0.write(tiff);
    exif.write(tiff);
    return std::string("Exif\0\0", 6) + tiff;
}

} // namespace demo
