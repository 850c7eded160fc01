// PhoneFiles.cpp - the demo library's newer kinds of file: HEIC from a phone, a camera raw file
// carrying its preview, and pictures stored in a wide-gamut colour space with its profile.
#include "demo/Encoders.h"
#include "image/ColourProfile.h"

#include <lcms2.h>
#include <libheif/heif.h>

#include <cstring>
#include <iterator>
#include <stdexcept>

namespace demo {

namespace {

void append16(std::string& to, uint16_t v) {
    to += char(v & 0xFF);
    to += char(v >> 8);
}
void append32(std::string& to, uint32_t v) {
    append16(to, uint16_t(v & 0xFFFF));
    append16(to, uint16_t(v >> 16));
}

} // namespace

void convertFromSrgb(Canvas& canvas, Gamut gamut) {
    std::string profile = gamutProfile(gamut);
    if (profile.empty()) return;
    cmsHPROFILE srgb = cmsCreate_sRGBProfile();
    cmsHPROFILE target = cmsOpenProfileFromMem(profile.data(), cmsUInt32Number(profile.size()));
    cmsHTRANSFORM transform =
        cmsCreateTransform(srgb, TYPE_RGB_8, target, TYPE_RGB_8, INTENT_RELATIVE_COLORIMETRIC, 0);
    cmsCloseProfile(srgb);
    cmsCloseProfile(target);
    if (!transform) throw std::runtime_error("cannot convert the demo pictures' colours");
    for (int y = 0; y < canvas.height(); ++y)
        cmsDoTransform(transform, canvas.row(y), canvas.row(y), cmsUInt32Number(canvas.width()));
    cmsDeleteTransform(transform);
}

std::string encodeHeic(const Canvas& canvas, int quality) {
    heif_init(nullptr);
    heif_image* image = nullptr;
    heif_image_create(canvas.width(), canvas.height(), heif_colorspace_RGB,
                      heif_chroma_interleaved_RGB, &image);
    heif_image_add_plane(image, heif_channel_interleaved, canvas.width(), canvas.height(), 8);
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    for (int y = 0; y < canvas.height(); ++y)
        memcpy(plane + size_t(y) * size_t(stride), canvas.row(y), size_t(canvas.width()) * 3);
    heif_context* context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder);
    std::string bytes;
    if (encoder) {
        heif_encoder_set_lossy_quality(encoder, quality);
        if (heif_context_encode_image(context, image, encoder, nullptr, nullptr).code ==
            heif_error_Ok) {
            heif_writer writer = {
                1, [](heif_context*, const void* data, size_t size, void* into) {
                    static_cast<std::string*>(into)->append(static_cast<const char*>(data), size);
                    return heif_error{heif_error_Ok, heif_suberror_Unspecified, "ok"};
                }};
            heif_context_write(context, &writer, &bytes);
        }
        heif_encoder_release(encoder);
    }
    heif_context_free(context);
    heif_image_release(image);
    if (bytes.empty()) throw std::runtime_error("this machine's libheif cannot write HEIC");
    return bytes;
}

std::string rawFile(const Canvas& canvas, int quality) {
    std::string preview = encodeJpeg(canvas, quality, false, std::string());
    // Header, the preview, then the first directory: orientation 1 and the preview's place.
    std::string file = "II*";
    file += '\0';
    const uint32_t previewAt = 8, directoryAt = previewAt + uint32_t(preview.size());
    append32(file, directoryAt);
    file += preview;
    const uint16_t kShort = 3, kLong = 4;
    const struct {
        uint16_t tag, type;
        uint32_t value;
    } entries[] = {
        {274, kShort, 1}, {513, kLong, previewAt}, {514, kLong, uint32_t(preview.size())}};
    append16(file, uint16_t(std::size(entries)));
    for (const auto& e : entries) {
        append16(file, e.tag);
        append16(file, e.type);
        append32(file, 1);
        append32(file, e.value);
    }
    append32(file, 0); // no next directory
    return file;
}

} // namespace demo

// The HEVC encoder behind encodeHeic keeps some buffers for the life of the process: not leaks
// of this program's.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libx265.so\n";
}
// Quietly: the table of suppressions used would end every run's output.
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}
