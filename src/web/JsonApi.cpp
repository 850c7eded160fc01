// JsonApi.cpp - the commands of the JSON API, written by hand onto the reply stream.
#include "web/JsonApi.h"

#include "image/FilmFacts.h"
#include "image/FittedJPEG.h"
#include "image/ImageInfo.h"
#include "library/LibraryRegistry.h"
#include "protocol/StaticFiles.h"
#include "settings/Preferences.h"
#include "web/Bundle.h"
#include "web/JsonValidator.h"
#include "web/LibraryFiles.h"
#include "web/MetadataEmitter.h"
#include "web/PictureResponders.h"
#include "web/RequestScope.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <vector>

namespace {

constexpr const char* kTextJavascript = "text/javascript";
constexpr const char* kTextJavascriptUTF8 = "text/javascript; charset=UTF-8";
constexpr const char* kApplicationJavascript = "application/x-javascript";

// Photos per page of getpics when "c" is absent.
constexpr int kDefaultPageSize = 24;

bool sameText(const CFString_t& text, CFStringRef literal) {
    return CFStringCompare(text, literal, 0) == kCFCompareEqualTo;
}

void answer(std::unique_ptr<HttpReply>& reply, const char* contentType) {
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", contentType);
}

// The library array of getlibs and getallalbums; withAlbums adds each library's album array.
void emitLibraries(std::ostream& os, bool withAlbums) {
    std::vector<LibraryInfo> libraries;
    libGetLibraryInfo(libraries);
    os << "[\n";
    bool first = true;
    for (const LibraryInfo& library : libraries) {
        if (!first) os << ",\n";
        first = false;
        os << "{ \"name\":" << JavascriptString(library.name) << ", \"id\":" << library.id
           << ", \"fullSizeDownload\":" << (library.fullSizeDownload ? "true" : "false");
        if (withAlbums) {
            os << ", \"albums\": ";
            EmitAlbumList(os, int(library.id));
        }
        os << "}";
    }
    os << "\n]\n";
}

// The facts of a photo that is a film whose file can be read; nothing otherwise. *contentType
// receives the film file's type when given.
std::optional<FilmFacts> filmFactsOf(const PhotoInfo& photo, std::string* contentType = nullptr) {
    if (!sameText(photo.mediaType, CFSTR("Movie"))) return std::nullopt;
    std::optional<MediaFile> film = MediaFile::open(CFStringGetUTF8(photo.imagePath.resolved()));
    FilmFacts facts;
    if (!film || !film->isFilm() || !readFilmFacts(film->fd(), &facts)) return std::nullopt;
    if (contentType) *contentType = film->type().contentType;
    return facts;
}

// The type a browser is asked whether it can play (canPlayType): ISO media files of every brand
// as "video/mp4", the others by their own type, with the codecs parameter when there is one.
std::string playType(const std::string& contentType, const FilmFacts& facts) {
    bool isoMedia = contentType == "video/mp4" || contentType == "video/quicktime" ||
                    contentType == "video/x-m4v";
    std::string type = isoMedia ? "video/mp4" : contentType;
    if (!facts.codecs.empty()) type += "; codecs=\"" + facts.codecs + "\"";
    return type;
}

// Writes UTF-8 text as a quoted string.
void emitText(std::ostream& os, const std::string& text) {
    CFString_t string(
        CFStringCreateWithBytes(text.data(), CFIndex(text.size()), kCFStringEncodingUTF8),
        CFString_t::Create);
    os << JavascriptString(string);
}

// One page of an album's photos, each with its thumbnail's pixel size once upright.
void emitPhotoPage(std::ostream& os, int library, int album, std::optional<int> index,
                   std::optional<int> count) {
    // The album's records as loaded: a page costs the same in a small album as in a huge one.
    std::optional<AlbumPhotos> photos =
        libGetAlbumPhotos(static_cast<unsigned long>(library), unsigned(album));
    int64_t total = photos ? int64_t(photos->size()) : 0;
    int64_t first = index && *index < total ? *index : 0;
    int64_t end = total;
    int64_t size = count ? *count : kDefaultPageSize;
    if (size > 0 && first + size < total) end = first + size;
    os << "[\n";
    for (int64_t i = first; i < end; ++i) {
        const PhotoInfo& photo = (*photos)[size_t(i)];
        ImageSize thumbnail = {0, 0};
        probeLibraryFile(photo.thumbPath.resolved(), &thumbnail, nullptr);
        thumbnail = uprightSize(thumbnail); // as the thumbnail is sent: upright
        if (thumbnail.width <= 0 || thumbnail.height <= 0) {
            // A film without a stored thumbnail is shown by its poster.
            if (std::optional<FilmFacts> film = filmFactsOf(photo)) {
                FittedSize poster =
                    fitInBox(film->width, film->height, kPosterThumbnailSide, kPosterThumbnailSide);
                thumbnail = {int32_t(poster.width), int32_t(poster.height)};
            }
        }
        if (i != first) os << ",\n";
        os << "{ \"caption\":" << JavascriptString(photo.caption)
           << ", \"id\":" << unsigned(photo.id) << ", \"h\":" << thumbnail.height
           << ", \"w\":" << thumbnail.width << " }";
    }
    os << "\n]\n";
}

// One photo's sizes, texts, dates and camera metadata, as an expression in parentheses.
void emitPhotoDetails(std::ostream& os, const PhotoInfo& photo) {
    // A film's own file cannot be probed; its thumbnail stands in for it.
    CFString_t probed =
        (sameText(photo.mediaType, CFSTR("Movie")) ? photo.thumbPath : photo.imagePath).resolved();
    os << "({ ";
    ImageSize size = {0, 0};
    CFDataRef block = nullptr;
    probeLibraryFile(probed, &size, &block);
    size = uprightSize(size); // as shrunk pictures are sent: upright
    ExifData exif(block);
    std::string contentType;
    std::optional<FilmFacts> film = filmFactsOf(photo, &contentType);
    if (film && (size.width <= 0 || size.height <= 0)) // shown by its poster
        size = {int32_t(film->width), int32_t(film->height)};
    os << "\"h\":" << size.height << ", \"w\":" << size.width;
    os << ", \"fileName\":" << JavascriptString(photo.fileName)
       << ", \"mediaType\":" << JavascriptString(photo.mediaType)
       << ", \"caption\":" << JavascriptString(photo.caption)
       << ", \"comment\":" << JavascriptString(photo.comment);
    os << ", \"captureDate\":";
    emit(os, photo.date, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    os << ", \"modifiedDate\":";
    emit(os, photo.modDate, kCFDateFormatterMediumStyle, kCFDateFormatterMediumStyle);
    os << ", \"exif\":";
    emit(os, exif);
    if (film) {
        char duration[32];
        snprintf(duration, sizeof duration, "%.3f", film->duration);
        os << ", \"film\":{ \"duration\":" << duration << ", \"codec\":";
        emitText(os, film->codec);
        os << ", \"codecs\":";
        emitText(os, film->codecs);
        os << ", \"type\":";
        emitText(os, playType(contentType, *film));
        os << ", \"w\":" << film->width << ", \"h\":" << film->height << " }";
    }
    os << " })\n";
}

// The value of an integer variable, or nothing when the request lacks it.
std::optional<int> variable(const VarMap& vars, const char* name) {
    int value = 0;
    if (!vars.getInt(name, value, 0)) return std::nullopt;
    return value;
}

// Sends the shipped script file of that name from the resources' "json" folder.
void sendResource(std::unique_ptr<HttpReply>& reply, const CFString_t& name) {
    std::string text = CFStringGetUTF8(name);
    const std::string& resources = BundleResourcesPath();
    std::optional<StaticFile> file =
        resources.empty() || !isPlainFileName(text)
            ? std::nullopt
            : StaticFile::open(currentRequest().site.files, resources + "/json", text);
    if (!file)
        throwRTE("JavascriptApiResponder", "no script file '%s' in the resources", text.c_str());
    Validator validator = FileValidator(file->info(), "");
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Revalidate);
    answer(reply, kApplicationJavascript);
    SetValidator(*reply, validator, CachePolicy::Revalidate);
    file->giveTo(*reply);
}

bool isCommand(const CFString_t& path) {
    static const CFStringRef commands[] = {CFSTR("getlibs"),      CFSTR("getalbums"),
                                           CFSTR("getallalbums"), CFSTR("getpics"),
                                           CFSTR("getsite"),      CFSTR("getpicinfo")};
    for (CFStringRef command : commands)
        if (sameText(path, command)) return true;
    return false;
}

void answerCommand(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                   std::ostream& out) {
    std::optional<int> library = variable(vars, "l");
    std::optional<int> album = variable(vars, "a");
    std::optional<int> index = variable(vars, "i");

    if (sameText(path, CFSTR("getlibs"))) {
        emitLibraries(out, false);
        answer(reply, kTextJavascript);
    } else if (sameText(path, CFSTR("getalbums"))) {
        if (library) EmitAlbumList(out, *library);
        answer(reply, kApplicationJavascript);
    } else if (sameText(path, CFSTR("getallalbums"))) {
        emitLibraries(out, true);
        answer(reply, kTextJavascript);
    } else if (sameText(path, CFSTR("getpics"))) {
        if (library && album && !(index && *index < 0))
            emitPhotoPage(out, *library, *album, index, variable(vars, "c"));
        answer(reply, kApplicationJavascript);
    } else if (sameText(path, CFSTR("getsite"))) {
        out << JavascriptString(prefGetServerName());
        answer(reply, kTextJavascriptUTF8);
    } else if (sameText(path, CFSTR("getpicinfo"))) {
        if (library && album && index) {
            std::optional<AlbumPhotos> photos =
                libGetAlbumPhotos(static_cast<unsigned long>(*library), unsigned(*album));
            if (photos && unsigned(*index) < photos->size())
                emitPhotoDetails(out, (*photos)[unsigned(*index)]);
        }
        answer(reply, kTextJavascriptUTF8);
    }
}

} // namespace

std::ostream& EmitAlbumList(std::ostream& os, int library) {
    CFDictionary_t details = libraryEntry(static_cast<unsigned long>(library));
    std::optional<CFDictionary_t> config;
    CFTypeRef value;
    if (CFDictionaryGetValueIfPresent(details, CFSTR("albumConfig"), &value))
        config.emplace(value, CFDictionary_t::Get);
    std::vector<CFDictionary_t> albums;
    libGetAlbumsInLibrary(static_cast<unsigned long>(library), albums);

    os << "[\n";
    bool first = true;
    for (const CFDictionary_t& album : albums) {
        if (!first) os << ",\n";
        first = false;
        int id = album.get<CFNumber_t>(CFSTR("AlbumId"));
        int count = album.get<CFNumber_t>(CFSTR("PhotoCount"));
        CFString_t comments = album.get(CFSTR("Comments"), CFString_t(""));
        CFString_t name = album.get<CFString_t>(CFSTR("AlbumName"));
        os << "{ \"name\":" << JavascriptString(name) << ", \"id\":" << id
           << ", \"comment\":" << JavascriptString(comments) << ", \"size\":" << count;
        if (config) {
            char key[16];
            snprintf(key, sizeof key, "%d", id);
            CFTypeRef entry;
            if (CFDictionaryGetValueIfPresent(*config, makeString(key), &entry)) {
                CFString_t theme =
                    CFDictionary_t(entry, CFDictionary_t::Get).get<CFString_t>(CFSTR("theme"));
                os << ", \"theme\":" << JavascriptString(theme);
            }
        }
        os << " }";
    }
    return os << "]\n";
}

void JavascriptApiResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                            const VarMap& vars, std::ostream& out) {
    if (!isCommand(path)) return sendResource(reply, path);
    // Every command's reply is made of the preferences and the album files: while they stay
    // the same, a client that holds the reply gets 304 before anything is read.
    Validator validator = JsonValidator();
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Revalidate);
    answerCommand(reply, path, vars, out);
    SetValidator(*reply, validator, CachePolicy::Revalidate);
}
