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
#include <cstdint>
#include <iterator>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The names whose extensions refine what the bytes say; the input's size picks one.
    static constexpr const char* kNames[] = {"/h/a.jpg", "/h/b.MOV", "/h/c.cr2", "/h/d.heic",
                                             "/h/e",     "/h/f.mp4", "/h/g.nef"};
    const char* name = kNames[size % std::size(kNames)];
    MediaType type = sniffMediaType(data, std::min(size, kMediaSniffBytes), name);
    if ((type.kind == MediaKind::None) != (type.contentType == nullptr)) __builtin_trap();
    if (type.jpeg && !(size >= 3 && data[0] == 0xFF && data[1] == 0xD8 && data[2] == 0xFF))
        __builtin_trap();

    for (int way = 0; way < 4; ++way) { // with or without a size, and with or without EXIF
        ImageSize got{-1, -1, -1};
        CFDataRef exif = nullptr;
        int probed = getImageInfo(fuzzfiles::memoryFile(data, size, "/home/ana/probe.jpg"),
                                  way & 1 ? &got : nullptr, way & 2 ? &exif : nullptr);
        if (probed < kImageUnknown || probed > kImageRaw) __builtin_trap();
        // A block is part of the file, with at most the 6-byte APP1 header put before it.
        if (exif && CFDataGetLength(exif) > CFIndex(size) + 6) __builtin_trap();
        if (exif) CFRelease(exif);
        if (way & 1 && probed == kImageJPEG && (got.orientation < 1 || got.orientation > 8))
            __builtin_trap();
    }
    int width = -1, height = -1;
    if (getJPEGSize(fuzzfiles::memoryFile(data, size, name), width, height) &&
        (width <= 0 || height <= 0))
        __builtin_trap();
    return 0;
}
