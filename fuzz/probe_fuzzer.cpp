// probe_fuzzer.cpp - libFuzzer entry point: any bytes as a library file's header, through the
// media type sniffer and the picture header probe.
//
// Files in a library come from anywhere: the sniffer and the probe must answer every file
// without a crash, a hang or a read outside what they were given, and agree with themselves:
// a type has a content type, a JPEG starts like one, a probed orientation is one of the eight.
#include "FuzzFiles.h"
#include "cf/CFData.h"
#include "image/ImageInfo.h"
#include "image/MediaType.h"
#include "image/ScaledJPEG.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

namespace {

// The names whose extensions refine what the bytes say; the input's size picks one.
constexpr const char* kNames[] = {"/home/ana/a.jpg",  "/home/ana/b.MOV", "/home/ana/c.cr2",
                                  "/home/ana/d.heic", "/home/ana/e",     "/home/ana/f.mp4",
                                  "/home/ana/g.nef"};

int probe(const uint8_t* data, size_t size, ImageSize* imageSize, bool wantExif) {
    CFURL_t url(fuzzfiles::copyMemoryFileURL(data, size, "/home/ana/probe.jpg"), CFURL_t::Create);
    CFDataRef exif = nullptr;
    int type = getImageInfo(url, imageSize, wantExif ? &exif : nullptr);
    if (type < kImageUnknown || type > kImageBMP) __builtin_trap();
    if (exif) {
        if (CFDataGetLength(exif) > CFIndex(size)) __builtin_trap();
        CFRelease(exif);
    }
    return type;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const char* name = kNames[size % std::size(kNames)];
    MediaType type = sniffMediaType(data, std::min(size, kMediaSniffBytes), name);
    if ((type.kind == MediaKind::None) != (type.contentType == nullptr)) __builtin_trap();
    if (type.jpeg && !(size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF))
        __builtin_trap();

    probe(data, size, nullptr, false);
    probe(data, size, nullptr, true);
    ImageSize stored{-1, -1, -1};
    if (probe(data, size, &stored, false) == kImageJPEG &&
        (stored.orientation < 1 || stored.orientation > 8))
        __builtin_trap();
    ImageSize both{-1, -1, -1};
    probe(data, size, &both, true);

    int width = -1, height = -1;
    CFURL_t url(fuzzfiles::copyMemoryFileURL(data, size, name), CFURL_t::Create);
    if (getJPEGSize(url, width, height) && (width <= 0 || height <= 0)) __builtin_trap();
    return 0;
}
