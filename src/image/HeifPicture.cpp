// HeifPicture.cpp - HEIF files through libheif: a reader on a descriptor, facts, decoding.
#include "image/HeifPicture.h"

#include "image/ColourProfile.h"
#include "image/ImageInfo.h"
#include "image/ReadAt.h"

#include <libheif/heif.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// The decoder's plug-ins are registered once, before the first context is made.
void initialiseOnce() {
    static const bool done = [] {
        heif_init(nullptr);
        return true;
    }();
    (void)done;
}

// Reads the file on fd at absolute offsets for the decoder.
struct FdReader {
    int fd;
    int64_t size;
    int64_t position = 0;

    static int64_t tell(void* self) { return static_cast<FdReader*>(self)->position; }

    static int read(void* data, size_t length, void* self) {
        auto* r = static_cast<FdReader*>(self);
        if (!readAt(r->fd, uint64_t(r->position), data, length)) return 1;
        r->position += int64_t(length);
        return 0;
    }

    static int seek(int64_t to, void* self) {
        auto* r = static_cast<FdReader*>(self);
        if (to < 0 || to > r->size) return 1;
        r->position = to;
        return 0;
    }

    static heif_reader_grow_status wait(int64_t target, void* self) {
        return target <= static_cast<FdReader*>(self)->size
                   ? heif_reader_grow_status_size_reached
                   : heif_reader_grow_status_size_beyond_eof;
    }
};

const heif_reader kFdReader = {1, FdReader::tell, FdReader::read, FdReader::seek, FdReader::wait};

struct ContextFree {
    void operator()(heif_context* c) const { heif_context_free(c); }
};
struct HandleRelease {
    void operator()(const heif_image_handle* h) const { heif_image_handle_release(h); }
};
struct ImageRelease {
    void operator()(const heif_image* i) const { heif_image_release(i); }
};
using Context = std::unique_ptr<heif_context, ContextFree>;
using Handle = std::unique_ptr<const heif_image_handle, HandleRelease>;
using Image = std::unique_ptr<const heif_image, ImageRelease>;

// An open file and its primary picture, checked against kMaxHeifPixels.
struct Primary {
    FdReader reader;
    Context context;
    Handle handle;
    const char* failure = nullptr; // why open failed, for a log line

    bool open(int fd) {
        initialiseOnce();
        struct stat info;
        if (fstat(fd, &info) != 0) return fail("cannot be read");
        reader = FdReader{fd, int64_t(info.st_size)};
        context.reset(heif_context_alloc());
        if (!context) return fail("cannot be decoded (out of memory)");
        // Tiles are decoded on the calling thread: requests already run on a pool.
        heif_context_set_max_decoding_threads(context.get(), 0);
        heif_error error =
            heif_context_read_from_reader(context.get(), &kFdReader, &reader, nullptr);
        if (error.code != heif_error_Ok) return fail(error.message);
        heif_image_handle* primary = nullptr;
        error = heif_context_get_primary_image_handle(context.get(), &primary);
        if (error.code != heif_error_Ok) return fail(error.message);
        handle.reset(primary);
        int width = heif_image_handle_get_width(primary);
        int height = heif_image_handle_get_height(primary);
        if (width < 1 || height < 1) return fail("has a picture without pixels");
        if (uint64_t(width) * uint64_t(height) > kMaxHeifPixels)
            return fail("claims a picture too large to decode");
        return true;
    }

    bool fail(const char* why) {
        failure = why;
        return false;
    }
};

// The EXIF item as an APP1 payload, or empty. The item starts with the offset of the TIFF
// header past its first four bytes.
std::string exifOf(const heif_image_handle* handle) {
    heif_item_id id;
    if (heif_image_handle_get_list_of_metadata_block_IDs(handle, "Exif", &id, 1) < 1) return {};
    size_t size = heif_image_handle_get_metadata_size(handle, id);
    if (size < 4 || size > kMaxHeifExifBytes) return {};
    std::string item(size, '\0');
    if (heif_image_handle_get_metadata(handle, id, item.data()).code != heif_error_Ok) return {};
    uint64_t offset = toUInt32_BE(reinterpret_cast<const uint8_t*>(item.data()));
    if (offset > size - 4) return {};
    std::string tiff = item.substr(4 + size_t(offset));
    // Some writers keep the APP1 signature in the item.
    if (tiff.compare(0, 6, std::string_view("Exif\0\0", 6)) == 0) return tiff;
    return std::string("Exif\0\0", 6) + tiff;
}

// The transform into sRGB the picture's colour profile asks for, or null.
std::shared_ptr<const SrgbTransform> colourOf(const heif_image_handle* handle, const char* name) {
    switch (heif_image_handle_get_color_profile_type(handle)) {
    case heif_color_profile_type_prof:
    case heif_color_profile_type_rICC: {
        size_t size = heif_image_handle_get_raw_color_profile_size(handle);
        if (size == 0) return nullptr;
        // Too large a profile is refused unread, with its one line.
        if (size > kMaxProfileBytes) return srgbTransformFor(std::string(size, '\0'), name);
        std::string profile(size, '\0');
        if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code != heif_error_Ok)
            return nullptr;
        return srgbTransformFor(profile, name);
    }
    case heif_color_profile_type_nclx: {
        heif_color_profile_nclx* nclx = nullptr;
        if (heif_image_handle_get_nclx_color_profile(handle, &nclx).code != heif_error_Ok)
            return nullptr;
        int primaries = nclx->color_primaries;
        heif_nclx_color_profile_free(nclx);
        std::string profile = profileForPrimaries(primaries);
        return profile.empty() ? nullptr : srgbTransformFor(profile, name);
    }
    default:
        return nullptr;
    }
}

// The decoder's message without the line ends some of them carry.
std::string oneLine(const char* message) {
    std::string text = message ? message : "";
    for (char& c : text)
        if (c == '\n' || c == '\r') c = ' ';
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    return text;
}

bool hasHeifBrand(const uint8_t* code) {
    static const char* const kBrands[] = {"heic", "heix", "heim", "heis", "mif1", "avif"};
    for (const char* brand : kBrands)
        if (memcmp(code, brand, 4) == 0) return true;
    return false;
}

} // namespace

bool looksLikeHeif(const uint8_t* head, size_t length) {
    if (length < 16 || memcmp(head + 4, "ftyp", 4) != 0) return false;
    if (hasHeifBrand(head + 8)) return true;
    size_t end = std::min<size_t>(toUInt32_BE(head), length);
    for (size_t at = 16; at + 4 <= end; at += 4)
        if (hasHeifBrand(head + at)) return true;
    return false;
}

bool readHeifFacts(int fd, HeifFacts* facts, bool wantExif) {
    Primary primary;
    if (!primary.open(fd)) return false;
    facts->width = uint32_t(heif_image_handle_get_width(primary.handle.get()));
    facts->height = uint32_t(heif_image_handle_get_height(primary.handle.get()));
    facts->exif = wantExif ? exifOf(primary.handle.get()) : std::string();
    return true;
}

bool writeFittedHeif(int fd, const char* name, uint32_t boxWidth, uint32_t boxHeight, int quality,
                     std::ostream& out) {
    Primary primary;
    if (!primary.open(fd)) {
        fprintf(stderr, "HEIF picture '%s' is refused: %s\n", name,
                oneLine(primary.failure).c_str());
        return false;
    }
    heif_image* decoded = nullptr;
    heif_decoding_options* options = heif_decoding_options_alloc();
    options->ignore_transformations = 0; // upright: the turns and mirrors are applied here
    options->convert_hdr_to_8bit = 1;    // 10-bit pictures come out as 8-bit
    heif_error error = heif_decode_image(primary.handle.get(), &decoded, heif_colorspace_RGB,
                                         heif_chroma_interleaved_RGB, options);
    heif_decoding_options_free(options);
    Image image(decoded);
    if (error.code != heif_error_Ok) {
        fprintf(stderr, "HEIF picture '%s' cannot be decoded: %s\n", name,
                oneLine(error.message).c_str());
        return false;
    }
    int stride = 0;
    const uint8_t* pixels =
        heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    int width = heif_image_get_width(image.get(), heif_channel_interleaved);
    int height = heif_image_get_height(image.get(), heif_channel_interleaved);
    if (!pixels || width < 1 || height < 1 || stride < width * 3) {
        fprintf(stderr, "HEIF picture '%s' decoded without pixels\n", name);
        return false;
    }
    std::shared_ptr<const SrgbTransform> colour = colourOf(primary.handle.get(), name);
    RGBPicture picture{pixels, uint32_t(width), uint32_t(height), size_t(stride)};
    return writeFittedRGB(picture, boxWidth, boxHeight, quality, out, colour.get());
}
