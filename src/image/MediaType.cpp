// MediaType.cpp - signatures of pictures and films, and the extensions that refine them.
#include "image/MediaType.h"

#include <cstring>

namespace {

constexpr MediaType picture(const char* type, bool jpeg = false) {
    return MediaType{MediaKind::Picture, type, jpeg};
}
constexpr MediaType film(const char* type) {
    return MediaType{MediaKind::Film, type, false};
}

bool startsWith(const uint8_t* head, size_t length, size_t at, const char* bytes, size_t count) {
    return length >= at + count && memcmp(head + at, bytes, count) == 0;
}

uint32_t be32(const uint8_t* p) {
    return uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3];
}
uint32_t le32(const uint8_t* p) {
    return uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}

// The name's extension in lower case ("mov" of "/a/Clip.MOV"), at most 7 characters; empty
// when there is none.
struct Extension {
    char text[8] = {};
    bool is(const char* e) const { return strcmp(text, e) == 0; }
};

Extension extensionOf(std::string_view name) {
    Extension extension;
    size_t slash = name.rfind('/');
    if (slash != std::string_view::npos) name.remove_prefix(slash + 1);
    size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || name.size() - dot - 1 >= sizeof extension.text)
        return extension;
    std::string_view tail = name.substr(dot + 1);
    for (size_t i = 0; i < tail.size(); ++i) {
        char c = tail[i];
        extension.text[i] = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
    }
    return extension;
}

// --- ISO media files (a "ftyp" box first) ----------------------------------------------------

struct Brand {
    const char code[5];
    MediaType type;
    bool generic; // says only "some ISO media file": a later, specific brand decides
};

const Brand kBrands[] = {
    {"heic", picture("image/heic"), false},
    {"heix", picture("image/heic"), false},
    {"heim", picture("image/heic"), false},
    {"heis", picture("image/heic"), false},
    {"hevc", picture("image/heic-sequence"), false},
    {"hevx", picture("image/heic-sequence"), false},
    {"avif", picture("image/avif"), false},
    {"avis", picture("image/avif"), false},
    {"crx ", picture("image/x-canon-cr3"), false},
    {"mif1", picture("image/heif"), true},
    {"msf1", picture("image/heif-sequence"), true},
    {"qt  ", film("video/quicktime"), false},
    {"M4V ", film("video/x-m4v"), false},
    {"M4VH", film("video/x-m4v"), false},
    {"M4VP", film("video/x-m4v"), false},
    {"3gp4", film("video/3gpp"), false},
    {"3gp5", film("video/3gpp"), false},
    {"3gp6", film("video/3gpp"), false},
    {"3gp7", film("video/3gpp"), false},
    {"3gg6", film("video/3gpp"), false},
    {"3ge6", film("video/3gpp"), false},
    {"3ge7", film("video/3gpp"), false},
    {"3g2a", film("video/3gpp2"), false},
    {"3g2b", film("video/3gpp2"), false},
    {"3g2c", film("video/3gpp2"), false},
    {"isom", film("video/mp4"), true},
    {"iso2", film("video/mp4"), true},
    {"iso4", film("video/mp4"), true},
    {"iso5", film("video/mp4"), true},
    {"iso6", film("video/mp4"), true},
    {"mp41", film("video/mp4"), true},
    {"mp42", film("video/mp4"), true},
    {"avc1", film("video/mp4"), true},
    {"mmp4", film("video/mp4"), true},
    {"dash", film("video/mp4"), true},
    {"MSNV", film("video/mp4"), true},
    {"f4v ", film("video/mp4"), true},
};

// Sound alone is neither a picture nor a film.
bool isAudioBrand(const uint8_t* code) {
    return memcmp(code, "M4A ", 4) == 0 || memcmp(code, "M4B ", 4) == 0 ||
           memcmp(code, "M4P ", 4) == 0;
}

const Brand* findBrand(const uint8_t* code) {
    for (const Brand& brand : kBrands)
        if (memcmp(brand.code, code, 4) == 0) return &brand;
    return nullptr;
}

// The ISO type that the extension names, if any.
const MediaType* isoTypeByExtension(const Extension& e) {
    static const MediaType mp4 = film("video/mp4"), m4v = film("video/x-m4v"),
                           mov = film("video/quicktime"), gpp = film("video/3gpp"),
                           gpp2 = film("video/3gpp2"), heic = picture("image/heic"),
                           heif = picture("image/heif"), avif = picture("image/avif");
    if (e.is("mp4")) return &mp4;
    if (e.is("m4v")) return &m4v;
    if (e.is("mov") || e.is("qt")) return &mov;
    if (e.is("3gp")) return &gpp;
    if (e.is("3g2")) return &gpp2;
    if (e.is("heic")) return &heic;
    if (e.is("heif") || e.is("hif")) return &heif;
    if (e.is("avif")) return &avif;
    return nullptr;
}

MediaType sniffISO(const uint8_t* head, size_t length, const Extension& extension) {
    // Brands: the major one at 8, then the compatible ones from 16 to the end of the box.
    size_t end = be32(head);
    if (end == 0 || end > length) end = length; // 0: the box runs to the end of the file
    if (isAudioBrand(head + 8)) return MediaType{};
    const Brand* generic = nullptr;
    for (size_t at = 8; at + 4 <= end; at += at == 8 ? 8 : 4) {
        const Brand* brand = findBrand(head + at);
        if (!brand) continue;
        if (!brand->generic) return brand->type;
        if (!generic ||
            (generic->type.kind == MediaKind::Film && brand->type.kind != MediaKind::Film))
            generic = brand;
    }
    if (generic && generic->type.kind == MediaKind::Picture) return generic->type;
    if (const MediaType* byName = isoTypeByExtension(extension)) return *byName;
    return film("video/mp4");
}

// A QuickTime file that starts with a movie, data or padding atom instead of a type box.
bool isQuickTimeAtom(const uint8_t* head, size_t length) {
    if (length < 8) return false;
    static const char* const atoms[] = {"moov", "mdat", "wide", "free", "skip", "pnot"};
    uint32_t size = be32(head);
    if (size != 0 && size != 1 && size < 8) return false;
    for (const char* atom : atoms)
        if (memcmp(head + 4, atom, 4) == 0) return true;
    return false;
}

// --- TIFF and camera raw files ---------------------------------------------------------------

MediaType sniffTIFF(const uint8_t* head, size_t length, const Extension& e) {
    if (startsWith(head, length, 8, "CR", 2) || e.is("cr2")) return picture("image/x-canon-cr2");
    if (e.is("nef")) return picture("image/x-nikon-nef");
    if (e.is("nrw")) return picture("image/x-nikon-nrw");
    if (e.is("arw") || e.is("srf") || e.is("sr2")) return picture("image/x-sony-arw");
    if (e.is("dng")) return picture("image/x-adobe-dng");
    if (e.is("pef")) return picture("image/x-pentax-pef");
    if (e.is("erf")) return picture("image/x-epson-erf");
    return picture("image/tiff");
}

bool isTransportStream(const uint8_t* head, size_t length, size_t first, size_t packet) {
    if (length < first + packet + 1) return false;
    for (size_t at = first; at < length; at += packet)
        if (head[at] != 0x47) return false;
    return true;
}

// A bitmap file header followed by one of the known information header sizes.
bool isBMP(const uint8_t* head, size_t length) {
    if (length < 18 || head[0] != 'B' || head[1] != 'M') return false;
    switch (le32(head + 14)) {
    case 12:
    case 16:
    case 40:
    case 52:
    case 56:
    case 64:
    case 108:
    case 124:
        return true;
    default:
        return false;
    }
}

bool contains(const uint8_t* head, size_t length, const char* text) {
    size_t n = strlen(text);
    for (size_t at = 0; at + n <= length; ++at)
        if (memcmp(head + at, text, n) == 0) return true;
    return false;
}

} // namespace

MediaType sniffMediaType(const uint8_t* head, size_t length, std::string_view name) {
    Extension extension = extensionOf(name);
    if (startsWith(head, length, 0, "\xFF\xD8\xFF", 3)) return picture("image/jpeg", true);
    if (startsWith(head, length, 0, "\x89PNG\r\n\x1A\n", 8)) return picture("image/png");
    if (startsWith(head, length, 0, "GIF87a", 6) || startsWith(head, length, 0, "GIF89a", 6))
        return picture("image/gif");
    if (isBMP(head, length)) return picture("image/bmp");
    if (startsWith(head, length, 0, "IIRO", 4) || startsWith(head, length, 0, "IIRS", 4) ||
        startsWith(head, length, 0, "MMOR", 4))
        return picture("image/x-olympus-orf");
    if (startsWith(head, length, 0, "IIU\0", 4)) return picture("image/x-panasonic-rw2");
    if (startsWith(head, length, 0, "II*\0", 4) || startsWith(head, length, 0, "MM\0*", 4) ||
        startsWith(head, length, 0, "II+\0", 4) || startsWith(head, length, 0, "MM\0+", 4))
        return sniffTIFF(head, length, extension);
    if (startsWith(head, length, 0, "FUJIFILMCCD-RAW", 15)) return picture("image/x-fuji-raf");
    if (startsWith(head, length, 0, "\0\0\0\x0CjP  \r\n\x87\n", 12)) return picture("image/jp2");
    if (startsWith(head, length, 0, "RIFF", 4) && startsWith(head, length, 8, "WEBP", 4))
        return picture("image/webp");
    if (startsWith(head, length, 0, "RIFF", 4) && startsWith(head, length, 8, "AVI ", 4))
        return film("video/x-msvideo");
    if (startsWith(head, length, 4, "ftyp", 4) && length >= 12) {
        uint32_t size = be32(head);
        if (size >= 12 || size == 0) return sniffISO(head, length, extension);
    }
    if (isQuickTimeAtom(head, length)) {
        if (extension.is("mp4")) return film("video/mp4");
        if (extension.is("m4v")) return film("video/x-m4v");
        return film("video/quicktime");
    }
    if (startsWith(head, length, 0, "\x1A\x45\xDF\xA3", 4)) {
        if (contains(head, length, "webm")) return film("video/webm");
        if (contains(head, length, "matroska")) return film("video/x-matroska");
        return MediaType{};
    }
    if (startsWith(head, length, 0, "\0\0\x01\xBA", 4) ||
        startsWith(head, length, 0, "\0\0\x01\xB3", 4))
        return film("video/mpeg");
    if (isTransportStream(head, length, 0, 188) || isTransportStream(head, length, 4, 192))
        return film("video/mp2t");
    return MediaType{};
}
