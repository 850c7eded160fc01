// EncodeHEIF.h - HEIC bytes made with libheif's encoder for the tests' pictures.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <libheif/heif.h>

namespace testsupport {

struct HeifOptions {
    // Non-null: the samples (RGB, rows top-down); else a gradient.
    const std::vector<uint8_t>* samples = nullptr;
    heif_orientation orientation = heif_orientation_normal; // written as the file's transforms
    std::string exif;  // non-empty: an EXIF item (a TIFF block, "Exif" 00 00 allowed before it)
    std::string icc;   // non-empty: an ICC profile in the colour box
    int primaries = 0; // not 0: a colour box of these primaries (no ICC profile)
    bool lossless = true;
};

// Whether this machine's libheif can write HEIC at all.
inline bool canEncodeHEIF() {
    heif_init(nullptr);
    return heif_have_encoder_for_format(heif_compression_HEVC) != 0;
}

// The width × height picture as a HEIC file in memory; empty when encoding fails.
inline std::string encodeHEIF(int width, int height, const HeifOptions& options = {}) {
    heif_init(nullptr);
    heif_image* image = nullptr;
    if (heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &image)
            .code != heif_error_Ok)
        return {};
    heif_image_add_plane(image, heif_channel_interleaved, width, height, 8);
    int stride = 0;
    uint8_t* plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            uint8_t* p = plane + y * stride + x * 3;
            if (options.samples) {
                memcpy(p, options.samples->data() + (size_t(y) * size_t(width) + size_t(x)) * 3, 3);
            } else {
                p[0] = uint8_t(x * 255 / std::max(width - 1, 1));
                p[1] = uint8_t(y * 255 / std::max(height - 1, 1));
                p[2] = 96;
            }
        }
    if (!options.icc.empty())
        heif_image_set_raw_color_profile(image, "prof", options.icc.data(), options.icc.size());
    heif_color_profile_nclx* nclx = nullptr;
    if (options.primaries) {
        nclx = heif_nclx_color_profile_alloc();
        nclx->color_primaries = heif_color_primaries(options.primaries);
        nclx->transfer_characteristics = heif_transfer_characteristic_IEC_61966_2_1;
        nclx->matrix_coefficients = heif_matrix_coefficients_ITU_R_BT_601_6;
        nclx->full_range_flag = 1;
        heif_image_set_nclx_color_profile(image, nclx);
    }

    heif_context* context = heif_context_alloc();
    heif_encoder* encoder = nullptr;
    heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder);
    std::string bytes;
    if (encoder) {
        heif_encoder_set_lossless(encoder, options.lossless);
        heif_encoder_set_lossy_quality(encoder, 90);
        // The library's defaults leave the colour box out for some viewers' sake; starting from
        // zeros (every such switch off) at the library's own options version writes it.
        heif_encoding_options* defaults = heif_encoding_options_alloc();
        heif_encoding_options encoding{};
        encoding.version = defaults->version;
        encoding.save_alpha_channel = defaults->save_alpha_channel;
        heif_encoding_options_free(defaults);
        encoding.image_orientation = options.orientation;
        if (options.primaries) encoding.output_nclx_profile = nclx;
        heif_image_handle* handle = nullptr;
        if (heif_context_encode_image(context, image, encoder, &encoding, &handle).code ==
            heif_error_Ok) {
            if (!options.exif.empty())
                heif_context_add_exif_metadata(context, handle, options.exif.data(),
                                               int(options.exif.size()));
            heif_image_handle_release(handle);
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
    if (nclx) heif_nclx_color_profile_free(nclx);
    heif_image_release(image);
    return bytes;
}

} // namespace testsupport
