// heif_fuzzer.cpp - libFuzzer entry point: any bytes as a HEIF file through the header probe, the
// facts reader and the decoder to a fitted JPEG.
//
// A file either gives facts inside the pixel limit and a JPEG inside the box, or is refused with
// nothing written; nothing crashes, hangs or leaks.
#include "FuzzFiles.h"
#include "image/HeifPicture.h"
#include "image/ImageInfo.h"

#include <cstdint>
#include <sstream>
#include <string>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    ImageSize probed = {0, 0};
    CFDataRef exif = nullptr;
    getImageInfo(fuzzfiles::memoryFile(data, size, "/home/ana/in.heic"), &probed, &exif);
    if (exif) CFRelease(exif);

    int fd = fuzzfiles::memoryDescriptor(data, size);
    HeifFacts facts;
    if (readHeifFacts(fd, &facts, true) && (facts.width == 0 || facts.height == 0 ||
                                            uint64_t(facts.width) * facts.height > kMaxHeifPixels ||
                                            facts.exif.size() > kMaxHeifExifBytes + 6))
        __builtin_trap();
    // The last byte picks the box.
    uint32_t box = 8u << ((size ? data[size - 1] : 0) & 3); // 8 to 64
    std::ostringstream out;
    bool made = writeFittedHeif(fd, "/home/ana/in.heic", box, box, 50, out);
    close(fd);
    fuzzfiles::expectMade(made, out.str(), box, box);
    return 0;
}
