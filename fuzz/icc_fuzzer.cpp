// icc_fuzzer.cpp - libFuzzer entry point: any bytes as an embedded colour profile, whole and as
// APP2 chunks, through the colour engine to a transform applied to a few pixels.
//
// A profile must neither crash, nor hang, nor leak: it gives a transform to sRGB, or none.
#include "image/ColourProfile.h"

#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view bytes(reinterpret_cast<const char*>(data), size);
    uint8_t pixels[] = {0, 0, 0, 255, 255, 255, 234, 51, 35, 12, 200, 90};
    if (auto transform = srgbTransformFor(bytes, "fuzz")) transform->apply(pixels, 4);
    // The same bytes cut into chunks, the first byte of each naming its number and count.
    IccChunks chunks;
    for (size_t at = 0; at + 2 < size; at += 64) {
        std::string payload = std::string("ICC_PROFILE") + '\0' + char(data[at] % 4) +
                              char(data[at + 1] % 4) + std::string(bytes.substr(at + 2, 62));
        chunks.add(reinterpret_cast<const uint8_t*>(payload.data()), payload.size());
    }
    if (auto transform = srgbTransformFor(chunks.profile(), "fuzz chunks"))
        transform->apply(pixels, 4);
    return 0;
}
