// PictureResponders.cpp - thumbnails and pictures.
#include "web/PictureResponders.h"

#include "image/FilmPoster.h"
#include "image/FittedJPEG.h"
#include "image/HeifPicture.h"
#include "image/ImageInfo.h"
#include "image/RawPreview.h"
#include "image/ScaledJPEG.h"
#include "library/LibraryRegistry.h"
#include "protocol/Validators.h"
#include "settings/Preferences.h"
#include "web/LibraryFiles.h"
#include "web/MadeCache.h"
#include "web/PageFrame.h"
#include "web/RequestScope.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

std::unique_ptr<HttpReply> jpegReply() {
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "image/jpeg");
    return reply;
}

Stats& stats() {
    return currentRequest().site.stats;
}

// The tag variant of a made picture: box, limit and quality. Made pictures are turned upright
// ("u"), so a browser holding one made before they were gets a fresh one.
std::string madeVariant(uint32_t maxWidth, uint32_t maxHeight, uint32_t limit, unsigned quality) {
    char text[64];
    snprintf(text, sizeof text, "uw%uh%ul%uq%u", maxWidth, maxHeight, limit, quality);
    return text;
}

// The whole file as the reply's body, with its validator.
std::unique_ptr<HttpReply> sendFile(MediaFile& file, const char* contentType,
                                    const Validator& validator) {
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", contentType);
    SetValidator(*reply, validator, CachePolicy::Keep);
    uint64_t size = uint64_t(file.info().st_size);
    reply->setFileBody(file.release(), 0, size);
    return reply;
}

// Answers from the cache of made pictures when it holds variant of file: true when it did.
bool replyFromCache(std::unique_ptr<HttpReply>& reply, const MediaFile& file,
                    const std::string& variant, const Validator& validator) {
    std::optional<int> fd = currentRequest().site.made.open(MadeCache::key(file.info(), variant));
    if (!fd) return false;
    struct stat info;
    if (fstat(*fd, &info) != 0) {
        close(*fd);
        return false;
    }
    reply = jpegReply();
    SetValidator(*reply, validator, CachePolicy::Keep);
    reply->setFileBody(*fd, 0, uint64_t(info.st_size));
    return true;
}

// Sends made (a picture just made from file as variant describes) and keeps it in the cache,
// unless the file changed while it was being read.
void sendAndKeep(std::unique_ptr<HttpReply>& reply, std::ostream& out, const MediaFile& file,
                 const std::string& variant, const Validator& validator, std::string_view made) {
    struct stat now;
    const struct stat& then = file.info();
    if (fstat(file.fd(), &now) == 0 && now.st_size == then.st_size &&
        now.st_mtim.tv_sec == then.st_mtim.tv_sec && now.st_mtim.tv_nsec == then.st_mtim.tv_nsec)
        currentRequest().site.made.store(MadeCache::key(then, variant), made);
    out.write(made.data(), std::streamsize(made.size()));
    reply = jpegReply();
    SetValidator(*reply, validator, CachePolicy::Keep);
}

// A query value that is a whole decimal number (an optional "-", then 1 to 18 digits, nothing
// else); nothing otherwise.
std::optional<int64_t> strictInteger(const VarMap& vars, const char* name) {
    std::string text;
    if (!vars.getString(name, text, "")) return std::nullopt;
    size_t start = !text.empty() && text[0] == '-' ? 1 : 0;
    if (text.size() == start || text.size() - start > 18) return std::nullopt;
    int64_t value = 0;
    for (size_t i = start; i < text.size(); ++i) {
        if (text[i] < '0' || text[i] > '9') return std::nullopt;
        value = value * 10 + (text[i] - '0');
    }
    return start ? -value : value;
}

// The type of a source that is a film, made into JPEGs by its poster frame (see FilmPoster.h).
constexpr int kFilmPoster = -1;

// Whether sources of this type (a probed ImageType, or kFilmPoster) are made into JPEGs here.
bool canFit(int type) {
    return type == kImageJPEG || type == kImageHEIF || type == kImageRaw || type == kFilmPoster;
}

// Makes a JPEG of file, a picture of the probed type (canFit), fitted into the box.
bool makeFitted(const MediaFile& file, int type, uint32_t boxWidth, uint32_t boxHeight, int quality,
                std::ostream& out) {
    if (type == kFilmPoster)
        return writeFilmPoster(file.fd(), file.path().c_str(), boxWidth, boxHeight, quality, out);
    if (type == kImageHEIF)
        return writeFittedHeif(file.fd(), file.path().c_str(), boxWidth, boxHeight, quality, out);
    if (type == kImageRaw) { // its JPEG preview, turned by the raw file's orientation
        RawPreview preview;
        return findRawPreview(file.fd(), &preview) &&
               writeFittedJPEGAt(readingURL(file), preview.offset, preview.orientation, boxWidth,
                                 boxHeight, quality, out);
    }
    return writeFittedJPEG(readingURL(file), boxWidth, boxHeight, quality, out);
}

// A picture file and its probed type, or a film and kFilmPoster.
struct Source {
    MediaFile file;
    int type;
};

// The film at imagePath, standing in for a stored thumbnail that cannot be opened; throws as
// openLibraryFile does when that is no film either.
Source posterSource(const CFString_t& thumbPath, const CFString_t& imagePath) {
    std::optional<MediaFile> film = MediaFile::open(CFStringGetUTF8(imagePath));
    if (!film || !film->isFilm()) openLibraryFile(thumbPath); // throws: no thumbnail, no film
    return {std::move(*film), kFilmPoster};
}

// The source of a sized thumbnail: the photo's picture when it is one made into JPEGs here
// (canFit) and can be opened, else (films, other types, a missing picture) its stored thumbnail,
// and for a film without one, its poster.
Source sizedThumbnailSource(int library, int album, int photo) {
    CFString_t imagePath =
        libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), false);
    std::optional<MediaFile> image = MediaFile::open(CFStringGetUTF8(imagePath));
    if (image && !image->isFilm()) {
        int type = getImageInfo(readingURL(*image), nullptr, nullptr);
        if (canFit(type)) return {std::move(*image), type};
    }
    CFString_t thumbPath =
        libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), true);
    std::optional<MediaFile> stored = MediaFile::open(CFStringGetUTF8(thumbPath));
    if (!stored) return posterSource(thumbPath, imagePath);
    int type = getImageInfo(readingURL(*stored), nullptr, nullptr);
    return {std::move(*stored), canFit(type) ? type : kImageJPEG};
}

// A thumbnail made from source fitted into side × side at quality, tagged and kept among made
// pictures as variant: from the cache when it holds it, else made as heavy work.
void FittedThumbnail(std::unique_ptr<HttpReply>& reply, const CFString_t& path, Source source,
                     uint32_t side, int quality, const std::string& variant) {
    Validator validator = FileValidator(source.file.info(), variant);
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Keep);
    if (replyFromCache(reply, source.file, variant, validator)) {
        ++stats().thumbnailCount;
        return;
    }
    answerAsHeavy([file = std::move(source.file), type = source.type, side, quality, variant,
                   validator, path](std::unique_ptr<HttpReply>& reply, std::ostream& out) {
        std::ostringstream made;
        if (!makeFitted(file, type, side, side, quality, made))
            return ErrorPageResponder(reply, path, VarMap(), out);
        sendAndKeep(reply, out, file, variant, validator, made.view());
        ++stats().thumbnailCount;
    });
}

// The reply to /thumbnail/ without "size" for a film without a stored thumbnail: its poster
// fitted into kPosterThumbnailSide, at the thumbnail quality.
void PosterThumbnail(std::unique_ptr<HttpReply>& reply, const CFString_t& path, Source source) {
    unsigned quality = prefGetThumbnailQuality();
    char variant[32];
    snprintf(variant, sizeof variant, "p%uq%u", kPosterThumbnailSide, quality);
    FittedThumbnail(reply, path, std::move(source), kPosterThumbnailSide, int(quality), variant);
}

// The reply to /thumbnail/ with "size": see PictureResponders.h.
void SizedThumbnail(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out, int library, int album, int photo) {
    std::optional<int64_t> asked = strictInteger(vars, "size");
    if (!asked) return ErrorPageResponder(reply, path, vars, out);
    uint32_t side = uint32_t(std::clamp<int64_t>(*asked, kMinThumbnailSide, kMaxThumbnailSide));
    char variant[32];
    snprintf(variant, sizeof variant, "s%uq%d", side, kSizedThumbnailQuality);
    FittedThumbnail(reply, path, sizedThumbnailSource(library, album, photo), side,
                    kSizedThumbnailQuality, variant);
}

// The reply to /image/ with "fit=exact" for a JPEG, and to any box for a picture of another type
// made into JPEGs here (canFit): see PictureResponders.h.
void ExactFitPicture(std::unique_ptr<HttpReply>& reply, MediaFile& file, int type,
                     uint32_t askedWidth, uint32_t askedHeight, bool fullSize) {
    uint32_t cap = fullSize ? kMaxFittedSide : kLimitedPictureSide;
    uint32_t boxWidth = std::min(askedWidth, cap), boxHeight = std::min(askedHeight, cap);
    unsigned quality = prefGetImageQuality();
    char variant[64];
    snprintf(variant, sizeof variant, "fw%uh%uq%u%s", boxWidth, boxHeight, quality,
             fullSize ? "" : "l");
    Validator made = FileValidator(file.info(), variant);
    if (NotModified(made)) return ReplyNotModified(reply, made, CachePolicy::Keep);
    // The original as a browser shows it: upright. Only a JPEG is one every browser shows.
    ImageSize stored = {0, 0};
    if (type == kImageJPEG) getImageInfo(readingURL(file), &stored, nullptr);
    ImageSize shown = uprightSize(stored);
    bool known = shown.width > 0 && shown.height > 0;
    if (known && fullSize && uint32_t(shown.width) <= askedWidth &&
        uint32_t(shown.height) <= askedHeight) {
        // It already fits: the original is smaller than any re-encode of it.
        reply = deliverImage(file, "image/jpeg");
        SetValidator(*reply, made, CachePolicy::Keep);
        return;
    }
    // A picture that cannot be decoded leaves no reply: the request step answers with the
    // error page.
    if (replyFromCache(reply, file, variant, made)) {
        ++stats().imageCount;
        return;
    }
    answerAsHeavy([file = std::move(file), type, boxWidth, boxHeight, quality,
                   variant = std::string(variant),
                   made](std::unique_ptr<HttpReply>& reply, std::ostream& out) {
        std::ostringstream picture;
        if (!makeFitted(file, type, boxWidth, boxHeight, int(quality), picture)) return;
        sendAndKeep(reply, out, file, variant, made, picture.view());
        ++stats().imageCount;
    });
}

} // namespace

bool fullSizeAllowed(int library) {
    try {
        return libFullSizeDownload(unsigned(library));
    } catch (const std::exception&) {
        return false;
    }
}

void ThumbnailResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out) {
    int library, album, photo;
    bool hasLibrary = vars.getInt("l", library, 0);
    bool hasAlbum = vars.getInt("a", album, 0);
    bool hasPhoto = vars.getInt("p", photo, 0);
    if (!hasLibrary || !hasAlbum || !hasPhoto) return ErrorPageResponder(reply, path, vars, out);
    if (vars.count("size")) return SizedThumbnail(reply, path, vars, out, library, album, photo);
    CFString_t thumbPath =
        libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), true);
    std::optional<MediaFile> stored = MediaFile::open(CFStringGetUTF8(thumbPath));
    if (!stored) {
        CFString_t imagePath =
            libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), false);
        return PosterThumbnail(reply, path, posterSource(thumbPath, imagePath));
    }
    MediaFile& file = *stored;
    unsigned quality = prefGetThumbnailQuality();
    char variant[16];
    snprintf(variant, sizeof variant, "ut%u", quality); // upright, at this quality
    Validator validator = FileValidator(file.info(), variant);
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Keep);
    answerAsHeavy([file = std::move(file), quality, validator,
                   path](std::unique_ptr<HttpReply>& reply, std::ostream& out) {
        // A stored thumbnail that is a HEIF picture is made into a JPEG as a sized one would be.
        bool made = getImageInfo(readingURL(file), nullptr, nullptr) == kImageHEIF
                        ? makeFitted(file, kImageHEIF, kMaxThumbnailSide, kMaxThumbnailSide,
                                     int(quality), out)
                        : writeScaledJPEG(readingURL(file), 0, 0, int(quality), out, 1);
        if (!made) return ErrorPageResponder(reply, path, VarMap(), out);
        reply = jpegReply();
        SetValidator(*reply, validator, CachePolicy::Keep);
        ++stats().thumbnailCount;
    });
}

void ImageResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path, const VarMap& vars,
                    std::ostream& out) {
    int library, album, index;
    bool hasLibrary = vars.getInt("l", library, 0);
    bool hasAlbum = vars.getInt("a", album, 0);
    bool hasIndex = vars.getInt("i", index, 0);
    // Without them there is no reply; the request step answers with the error page.
    if (!hasLibrary || !hasAlbum || !hasIndex) return;
    int maxWidth, maxHeight;
    bool hasWidth = vars.getInt("mw", maxWidth, 0);
    bool hasHeight = vars.getInt("mh", maxHeight, 0);
    bool scaling = hasWidth && hasHeight;
    std::string fit;
    bool exact = vars.getString("fit", fit, "");
    std::optional<int64_t> fitWidth, fitHeight;
    if (exact) {
        fitWidth = strictInteger(vars, "mw");
        fitHeight = strictInteger(vars, "mh");
        if (fit != "exact" || !fitWidth || !fitHeight || *fitWidth < 1 || *fitHeight < 1)
            return ErrorPageResponder(reply, path, vars, out);
    }

    std::optional<AlbumPhotos> photos = libGetAlbumPhotos(unsigned(library), unsigned(album));
    if (!photos || index < 0 || size_t(index) >= photos->size())
        return ErrorPageResponder(reply, path, vars, out);
    const PhotoInfo& photo = (*photos)[size_t(index)];
    // A film asked for in a box is shown by its still picture, or without one by its poster.
    bool movie = CFStringCompare(photo.mediaType, CFSTR("Movie"), 0) == kCFCompareEqualTo;
    if (scaling && movie) {
        CFString_t thumbPath = photo.thumbPath.resolved();
        if (!MediaFile::open(CFStringGetUTF8(thumbPath))) {
            Source poster = posterSource(thumbPath, photo.imagePath.resolved());
            return ExactFitPicture(reply, poster.file, kFilmPoster, uint32_t(std::max(maxWidth, 1)),
                                   uint32_t(std::max(maxHeight, 1)), fullSizeAllowed(library));
        }
    }
    MediaFile file =
        openLibraryFile((scaling && movie ? photo.thumbPath : photo.imagePath).resolved());
    Validator asStored = FileValidator(file.info(), "");

    // Films play whatever the library allows.
    if (file.isFilm()) {
        if (NotModified(asStored)) return ReplyNotModified(reply, asStored, CachePolicy::Keep);
        reply = sendFile(file, file.type().contentType, asStored);
        return;
    }

    bool fullSize = fullSizeAllowed(library);
    int probed = getImageInfo(readingURL(file), nullptr, nullptr);
    bool jpeg = probed == kImageJPEG || (!fullSize && file.type().jpeg);
    auto side = [](int64_t asked) { return uint32_t(std::clamp<int64_t>(asked, 1, UINT32_MAX)); };
    if (jpeg && exact)
        return ExactFitPicture(reply, file, kImageJPEG, side(*fitWidth), side(*fitHeight),
                               fullSize);
    // A HEIF picture, which few browsers show, and a raw file's preview are made into a JPEG
    // for any box.
    if ((probed == kImageHEIF || probed == kImageRaw) && (exact || scaling || !fullSize)) {
        uint32_t boxWidth = exact     ? side(*fitWidth)
                            : scaling ? side(maxWidth)
                                      : kLimitedPictureSide;
        uint32_t boxHeight = exact     ? side(*fitHeight)
                             : scaling ? side(maxHeight)
                                       : kLimitedPictureSide;
        return ExactFitPicture(reply, file, probed, boxWidth, boxHeight, fullSize);
    }
    if (jpeg && (scaling || !fullSize)) {
        uint32_t limit = fullSize ? 0 : kLimitedPictureSide;
        uint32_t boxWidth = scaling ? uint32_t(maxWidth) : kLimitedPictureSide;
        uint32_t boxHeight = scaling ? uint32_t(maxHeight) : kLimitedPictureSide;
        unsigned quality = prefGetImageQuality();
        Validator made =
            FileValidator(file.info(), madeVariant(boxWidth, boxHeight, limit, quality));
        if (NotModified(made)) return ReplyNotModified(reply, made, CachePolicy::Keep);
        // A picture that cannot be shrunk leaves no reply: the request step says so in one line
        // and answers with the error page.
        return answerAsHeavy([file = std::move(file), boxWidth, boxHeight, quality, limit,
                              made](std::unique_ptr<HttpReply>& reply, std::ostream& out) {
            if (!writeScaledJPEG(readingURL(file), boxWidth, boxHeight, int(quality), out, -1,
                                 limit))
                return;
            reply = jpegReply();
            SetValidator(*reply, made, CachePolicy::Keep);
            ++stats().imageCount;
        });
    }
    if (!fullSize)
        throwRTE("ImageResponder", "'%s' is an original of a library without full-size downloads",
                 file.path().c_str());
    if (NotModified(asStored)) return ReplyNotModified(reply, asStored, CachePolicy::Keep);
    // The types the probe knows count as images; others (TIFF, camera raw files) go out uncounted.
    if (probed == kImageUnknown) {
        reply = sendFile(file, file.type().contentType, asStored);
    } else {
        reply = deliverImage(file, file.type().contentType);
        SetValidator(*reply, asStored, CachePolicy::Keep);
    }
}

std::unique_ptr<HttpReply> deliverImage(MediaFile& file, const char* contentType) {
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", contentType);
    uint64_t size = uint64_t(file.info().st_size);
    reply->setFileBody(file.release(), 0, size);
    ++stats().imageCount;
    return reply;
}
