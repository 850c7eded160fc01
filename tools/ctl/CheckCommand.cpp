// CheckCommand.cpp - check: are the pictures and thumbnails of every published photo there,
// and are they pictures the server can read?
#include "ctl/AlbumFile.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Settings.h"
#include "image/ImageInfo.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

namespace ctl {

namespace {

constexpr size_t kShown = 5; // paths listed per kind of problem

struct Tally {
    size_t found = 0, missing = 0, unreadable = 0;
    std::vector<std::string> missingPaths, unreadablePaths;
};

// A regular file that this user can open (after following links).
bool present(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISREG(info.st_mode)) return false;
    int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (fd < 0) return false;
    close(fd);
    return true;
}

bool readablePicture(const std::string& path) {
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    ImageSize size;
    return getImageInfo(url, &size, nullptr) != kImageUnknown;
}

void count(Tally& tally, const std::string& path, bool probe) {
    if (!present(path)) {
        ++tally.missing;
        if (tally.missingPaths.size() < kShown) tally.missingPaths.push_back(path);
    } else if (probe && !readablePicture(path)) {
        ++tally.unreadable;
        if (tally.unreadablePaths.size() < kShown) tally.unreadablePaths.push_back(path);
    } else {
        ++tally.found;
    }
}

void report(std::ostream& out, const char* what, const Tally& tally) {
    out << what << ": " << tally.found << " found, " << tally.missing << " missing, "
        << tally.unreadable << " not readable as pictures\n";
    for (const std::string& path : tally.missingPaths)
        out << "  missing: " << path << "\n";
    for (const std::string& path : tally.unreadablePaths)
        out << "  not readable: " << path << "\n";
}

} // namespace

void checkCommand(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("check", words, {}, {});
    expectPlain("check", args, 1, 1, "check ID");
    Settings settings(context.prefsPath);
    LibraryEntry entry = settings.library(parseLibraryId(args.plain[0]));
    std::vector<AlbumSummary> albums = readAlbums(entry.path);

    Tally pictures, thumbnails;
    std::set<std::string> seen; // a photo in several albums is checked once
    size_t photos = 0, lost = 0;
    for (uint32_t album : entry.albums) {
        bool known = false;
        for (const AlbumSummary& summary : albums)
            known = known || summary.id == album;
        if (!known) {
            ++lost;
            context.out << "album " << album << " is published but not in the album file\n";
            continue;
        }
        for (const PhotoFiles& photo : albumPhotos(entry.path, album)) {
            if (!seen.insert(photo.picture + '\n' + photo.thumbnail).second) continue;
            ++photos;
            count(pictures, photo.picture, !photo.film);
            count(thumbnails, photo.thumbnail, true);
        }
    }
    context.out << "library " << entry.id << " \"" << entry.name << "\": " << entry.albums.size()
                << " published albums, " << photos << " photos\n";
    report(context.out, "pictures", pictures);
    report(context.out, "thumbnails", thumbnails);
    size_t problems =
        pictures.missing + pictures.unreadable + thumbnails.missing + thumbnails.unreadable + lost;
    if (problems)
        throw Refused("library " + std::to_string(entry.id) + ": " + std::to_string(problems) +
                      " problems found");
}

} // namespace ctl
