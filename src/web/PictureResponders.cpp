// PictureResponders.cpp - thumbnails and pictures.
#include "web/PictureResponders.h"

#include "image/ImageInfo.h"
#include "image/ScaledJPEG.h"
#include "library/LibraryRegistry.h"
#include "web/Globals.h"
#include "settings/Preferences.h"
#include "web/PageFrame.h"

#include <vector>

namespace {

CFURL_t fileURL(const CFString_t& path) {
    return CFURL_t(CFURLCreateWithFileSystemPath(path, kCFURLPOSIXPathStyle, false),
                   CFURL_t::Create);
}

std::unique_ptr<HttpReply> jpegReply() {
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "image/jpeg");
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
    CFString_t thumbPath =
        libGetImagePath(unsigned(library), unsigned(album), unsigned(photo), true);
    if (!writeScaledJPEG(fileURL(thumbPath), 0, 0, int(prefGetThumbnailQuality()), out, 1))
        return ErrorPageResponder(reply, path, vars, out);
    reply = jpegReply();
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

    std::vector<PhotoInfo> photos;
    libGetPhotoList(unsigned(library), unsigned(album), photos);
    if (index < 0 || size_t(index) >= photos.size())
        return ErrorPageResponder(reply, path, vars, out);
    const PhotoInfo& photo = photos[size_t(index)];
    // A film asked for in a box is shown by its still picture.
    bool movie = CFStringCompare(photo.mediaType, CFSTR("Movie"), 0) == kCFCompareEqualTo;
    CFURL_t url = fileURL(scaling && movie ? photo.thumbPath : photo.imagePath);

    switch (getImageInfo(url, nullptr, nullptr)) {
    case kImageJPEG:
        if (!scaling) {
            reply = deliverImage(out, url, "image/jpeg");
        } else if (writeScaledJPEG(url, uint32_t(maxWidth), uint32_t(maxHeight),
                                   int(prefGetImageQuality()), out, -1)) {
            reply = jpegReply();
            ++stats.imageCount;
        }
        break;
    case kImageGIF:
        reply = deliverImage(out, url, "image/gif");
        break;
    case kImagePNG:
        reply = deliverImage(out, url, "image/png");
        break;
    case kImageBMP:
        reply = deliverImage(out, url, "image/bmp");
        break;
    default: {
        // Unknown types (films, TIFF, unreadable headers) go out as stored, with no type.
        CFReadStream_t stream(url);
        stream.writeToStream(out);
        reply = std::make_unique<HttpReply>(200);
        break;
    }
    }
    // A picture that could not be shrunk leaves no reply: the request step says so in one
    // line and answers with the error page.
}

std::unique_ptr<HttpReply> deliverImage(std::ostream& out, const CFURL_t& url,
                                        const char* contentType) {
    CFReadStream_t stream(url);
    stream.writeToStream(out);
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", contentType);
    ++stats.imageCount;
    return reply;
}
