// AlbumDownload.cpp - the /download/ responder: which files go in, under which names.
#include "web/AlbumDownload.h"

#include "image/MediaFile.h"
#include "library/LibraryRegistry.h"
#include "web/PageFrame.h"
#include "web/PictureResponders.h"
#include "protocol/ZipStream.h"

#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <optional>
#include <unordered_set>
#include <vector>

namespace {

// Names longer than this (in bytes) are cut at a character's start.
constexpr size_t kLongestName = 240;

// A name that no extraction can turn into a path: one component, no controls, never "." or "..".
std::string safeName(std::string name, const std::string& path) {
    if (name.empty()) name = path.substr(path.rfind('/') + 1);
    for (char& c : name)
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F || c == '/' || c == '\\') c = '_';
    if (name.size() > kLongestName) {
        size_t cut = kLongestName;
        while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80)
            --cut;
        name.resize(cut);
    }
    if (name.empty() || name == "." || name == "..") name = "photo";
    return name;
}

std::string lowerASCII(std::string text) {
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = char(c - 'A' + 'a');
    return text;
}

// name, or the first of "stem (2).ext", "stem (3).ext"... not taken yet; it is taken from now on.
std::string uniqueName(const std::string& name, std::unordered_set<std::string>& taken) {
    if (taken.insert(lowerASCII(name)).second) return name;
    size_t dot = name.rfind('.');
    if (dot == 0 || dot == std::string::npos) dot = name.size();
    for (unsigned n = 2;; ++n) {
        std::string candidate =
            name.substr(0, dot) + " (" + std::to_string(n) + ")" + name.substr(dot);
        if (taken.insert(lowerASCII(candidate)).second) return candidate;
    }
}

bool isAttrChar(unsigned char c) {
    return isalnum(c) || (c && strchr("!#$&+-.^_`|~", c));
}

} // namespace

std::string AttachmentDisposition(std::string_view albumName) {
    std::string name = std::string(albumName.empty() ? "album" : albumName) + ".zip";
    std::string fallback, encoded;
    bool ascii = true;
    for (size_t i = 0; i < name.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(name[i]);
        if (c >= 0x80) {
            ascii = false;
            if ((c & 0xC0) != 0x80) fallback += '_'; // one per character
        } else {
            fallback += c < 0x20 || c == 0x7F || c == '"' || c == '\\' || c == '/' ? '_' : char(c);
        }
        if (c == '/' || c == '\\' || c < 0x20 || c == 0x7F) c = '_';
        if (isAttrChar(c)) {
            encoded += char(c);
        } else {
            char hex[4];
            snprintf(hex, sizeof hex, "%%%02X", c);
            encoded += hex;
        }
    }
    std::string value = "attachment; filename=\"" + fallback + "\"";
    if (!ascii) value += "; filename*=UTF-8''" + encoded;
    return value;
}

void AlbumDownloadResponder(std::unique_ptr<HttpReply>& reply, const CFString_t& path,
                            const VarMap& vars, std::ostream& out) {
    int library, album;
    if (!vars.getInt("l", library, 0) || !vars.getInt("a", album, 0) || !fullSizeAllowed(library))
        return ErrorPageResponder(reply, path, vars, out);
    // An album that is not published throws here, as it does for every other route.
    std::optional<AlbumPhotos> photos = libGetAlbumPhotos(unsigned(library), unsigned(album));
    if (!photos) return ErrorPageResponder(reply, path, vars, out);
    std::string albumName = CFStringGetUTF8(libGetAlbumName(unsigned(library), unsigned(album)));

    std::vector<ZipMember> members;
    members.reserve(photos->size() + 1);
    std::unordered_set<std::string> taken;
    std::string missing;
    for (size_t i = 0; i < photos->size(); ++i) {
        const PhotoInfo& photo = (*photos)[i];
        std::string imagePath = CFStringGetUTF8(photo.imagePath.resolved());
        std::string name = safeName(CFStringGetUTF8(photo.fileName), imagePath);
        const char* why = "";
        std::optional<MediaFile> file = MediaFile::open(imagePath, &why);
        if (!file) {
            printf("'%s' %s; left out of the album download\n", imagePath.c_str(), why);
            missing += name + "\n";
            continue;
        }
        ZipMember member;
        member.name = uniqueName(name, taken);
        member.path = file->path();
        member.info = file->info();
        members.push_back(std::move(member));
    }
    if (!missing.empty()) {
        ZipMember list;
        list.name = uniqueName(kMissingFilesName, taken);
        list.bytes =
            "These files of the album could not be read and are not in the archive:\n" + missing;
        list.madeAt = time(nullptr);
        members.push_back(std::move(list));
    }
    reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "application/zip");
    reply->setHeader("Content-Disposition", AttachmentDisposition(albumName));
    reply->setSourceBody(ZipStreamCreate(std::move(members)));
}
