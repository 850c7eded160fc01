// rawpreview_fuzzer.cpp - libFuzzer entry point: any bytes as a camera raw file through the
// preview search, the header probe and the shrink of the preview found.
//
// A preview found must lie inside the file and start like a JPEG; its shrink comes out inside
// the box or is refused with nothing written; nothing crashes, hangs or leaks.
#include "FuzzFiles.h"
#include "image/FittedJPEG.h"
#include "image/ImageInfo.h"
#include "image/RawPreview.h"

#include <cstdint>
#include <sstream>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ImageSize probed = {0, 0};
    CFDataRef exif = nullptr;
    getImageInfo(fuzzfiles::memoryFile(data, size, "/home/ana/in.nef"), &probed, &exif);
    if (exif) CFRelease(exif);

    int fd = fuzzfiles::memoryDescriptor(data, size);
    RawPreview preview;
    bool found = findRawPreview(fd, &preview);
    close(fd);
    if (!found) return 0;
    if (preview.length < 4 || preview.offset + preview.length > size ||
        data[preview.offset] != 0xFF || data[preview.offset + 1] != 0xD8 ||
        preview.orientation < 1 || preview.orientation > 8)
        __builtin_trap();
    std::ostringstream out;
    bool made = writeFittedJPEGAt(fuzzfiles::memoryFile(data, size, "/home/ana/in.nef"),
                                  preview.offset, preview.orientation, 32, 24, 50, out);
    fuzzfiles::expectMade(made, out.str(), 32, 24);
    return 0;
}
