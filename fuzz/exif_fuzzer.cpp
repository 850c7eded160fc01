// exif_fuzzer.cpp - libFuzzer entry point: any bytes as an APP1 payload through ExifData.
//
// The reader must neither crash, nor hang, nor read outside the payload. A date or text it
// cannot turn into a string is a runtime error, which callers answer as a failed request.
#include "image/ExifData.h"

#include <cstdint>
#include <stdexcept>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // The numbers-only walk the scaler and the probe use: never throws, always 1-8.
    int orientation = ExifData::readOrientation(data, size);
    if (orientation < 1 || orientation > 8) __builtin_trap();
    try {
        ExifData exif(CFDataCreate(data, CFIndex(size)));
        // Touch every field, as the metadata emitter does.
        for (CFStringRef field :
             {exif.cameraMake.get(), exif.cameraModel.get(), exif.captureDate.get(),
              exif.modifiedDate.get(), exif.width.get(), exif.height.get(), exif.aperture.get(),
              exif.shutter.get(), exif.iso.get(), exif.focalLength.get()})
            (void)CFStringGetUTF8(field);
    } catch (const std::runtime_error&) {
    }
    return 0;
}
