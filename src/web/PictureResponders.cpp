// PictureResponders.cpp - thumbnails and pictures.
#include "web/PictureResponders.h"

#include "image/ImageInfo.h"
#include "image/ScaledJPEG.h"
#include "library/LibraryRegistry.h"
#include "settings/Preferences.h"
#include "web/Globals.h"
#include "web/LibraryFiles.h"
#include "web/PageFrame.h"
#include "web/Validators.h"

#include <cstdio>
#include <vector>

namespace {

std::unique_ptr<HttpReply> jpegReply() {
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "image/jpeg");
    return reply;
}

// Whether the library lets originals leave; an entry without the setting does not.
bool fullSizeAllowed(int library) {
    try {
        return libFullSizeDownload(unsigned(library));
    } catch (const std::exception&) {
        return false;
    }
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

} // namespace

void ThumbnailResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                        const VarMap& vars, std::ostream& out) {
    int library, album, photo;
    bool hasLibrary = vars.getInt("l", library, 0);
    bool hasAlbum = vars.getInt("a", album, 0);
    bool hasPhoto = vars.getInt("p", photo, 0);
    if (!hasLibrary || !hasAlbum || !hasPhoto) return ErrorPageResponder(reply, path, vars, out);
    MediaFile file =
        openLibraryFile(libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), true));
    unsigned quality = prefGetThumbnailQuality();
    char variant[16];
    snprintf(variant, sizeof variant, "ut%u", quality); // upright, at this quality
    Validator validator = FileValidator(file.info(), variant);
    if (NotModified(validator)) return ReplyNotModified(reply, validator, CachePolicy::Keep);
    if (!writeScaledJPEG(readingURL(file), 0, 0, int(quality), out, 1))
        return ErrorPageResponder(reply, path, vars, out);
    reply = jpegReply();
    SetValidator(*reply, validator, CachePolicy::Keep);
    ++stats.thumbnailCount;
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

    std::optional<AlbumPhotos> photos = libGetAlbumPhotos(unsigned(library), unsigned(album));
    if (!photos || index < 0 || size_t(index) >= photos->size())
        return ErrorPageResponder(reply, path, vars, out);
    const PhotoInfo& photo = (*photos)[size_t(index)];
    // A film asked for in a box is shown by its still picture.
    bool movie = CFStringCompare(photo.mediaType, CFSTR("Movie"), 0) == kCFCompareEqualTo;
    MediaFile file = openLibraryFile(scaling && movie ? photo.thumbPath : photo.imagePath);
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
        if (writeScaledJPEG(readingURL(file), boxWidth, boxHeight, int(quality), out, -1, limit)) {
            reply = jpegReply();
            SetValidator(*reply, made, CachePolicy::Keep);
            ++stats.imageCount;
        }
        return;
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
    ++stats.imageCount;
    return reply;
}
