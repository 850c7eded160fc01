// RawPreview.h - the JPEG preview a camera raw file carries, found without decoding anything.
//
// Nearly every raw file holds a full-size or large JPEG beside its sensor data, for the camera's
// own screen. TIFF-based files (NEF, CR2, ARW, DNG, PEF, ORF, RW2, ...) name it in one of their
// image file directories: the first, those chained after it, and their SubIFDs, as a JPEG
// interchange offset and length, or as the single strip of an old-style or plain JPEG
// compression. A RAF file names it in its header. The largest JPEG found is the preview; the
// first directory's orientation (1-8) says how to turn it upright.
//
// Files are untrusted: offsets past the end, directory loops, huge counts and directories nested
// without end are passed over; only a range that lies inside the file and starts like a JPEG
// (FF D8 FF) is a preview.
//
// Threads: no state; any number of calls may run at once.
#pragma once

#include <cstddef>
#include <cstdint>

struct RawPreview {
    uint64_t offset = 0, length = 0; // the JPEG's bytes in the file
    int orientation = 1;             // the raw file's EXIF orientation, 1-8
};

// Directories read at most, and entries read per directory.
constexpr unsigned kMaxRawDirectories = 64;
constexpr unsigned kMaxRawEntries = 1024;

// Whether the first length bytes of a file begin like a raw file findRawPreview reads: a TIFF
// header of either byte order (and the variants some cameras write), or a RAF header.
bool looksLikeRaw(const uint8_t* head, size_t length);

// Finds the preview of the raw file open on fd (read at absolute offsets; the descriptor's own
// offset is left alone). False when it has none.
bool findRawPreview(int fd, RawPreview* preview);
