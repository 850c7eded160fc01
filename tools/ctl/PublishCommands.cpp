// PublishCommands.cpp - publish and unpublish: albums named by id or by name, or all of them.
#include "ctl/AlbumFile.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Settings.h"

#include <algorithm>

namespace ctl {

namespace {

bool allDigits(const std::string& text) {
    return !text.empty() && text.size() <= 10 &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// The album a word names: an album id of the file when it is digits and one has it, else the
// album whose name it is. Throws Refused for no album or several of that name.
uint32_t findAlbum(const std::string& word, const std::vector<AlbumSummary>& albums,
                   uint32_t library) {
    if (allDigits(word)) {
        unsigned long long id = std::stoull(word);
        for (const AlbumSummary& album : albums)
            if (album.id == id) return album.id;
    }
    std::vector<uint32_t> named;
    for (const AlbumSummary& album : albums)
        if (album.name == word) named.push_back(album.id);
    if (named.size() == 1) return named[0];
    std::string where = " in library " + std::to_string(library);
    if (named.empty())
        throw Refused("no album '" + word + "'" + where + " (see tessellanctl albums " +
                      std::to_string(library) + ")");
    std::string ids;
    for (uint32_t id : named)
        ids += (ids.empty() ? "" : ", ") + std::to_string(id);
    throw Refused("several albums are named '" + word + "'" + where + " (ids " + ids +
                  "); name one by its id");
}

std::string nameOf(uint32_t id, const std::vector<AlbumSummary>& albums) {
    for (const AlbumSummary& album : albums)
        if (album.id == id) return "\"" + album.name + "\"";
    return std::to_string(id);
}

void change(Context& context, const Words& words, bool publish) {
    std::string command = publish ? "publish" : "unpublish";
    CommandArgs args = splitCommandArgs(command, words, {}, {"--all"});
    bool all = args.flags.count("--all") > 0;
    std::string synopsis = command + " ID ALBUM... | " + command + " ID --all";
    expectPlain(command, args, all ? 1 : 2, all ? 1 : SIZE_MAX, synopsis);
    Settings settings(context.prefsPath);
    LibraryEntry entry = settings.library(parseLibraryId(args.plain[0]));
    std::vector<AlbumSummary> albums = readAlbums(entry.path);

    std::vector<uint32_t> named;
    if (all) {
        for (const AlbumSummary& album : albums)
            named.push_back(album.id);
        if (!publish) named = entry.albums;
    }
    for (size_t i = 1; i < args.plain.size(); ++i) {
        const std::string& word = args.plain[i];
        // A published id that the album file lost can still be unpublished.
        bool stale = !publish && allDigits(word) &&
                     std::count(entry.albums.begin(), entry.albums.end(), std::stoull(word));
        named.push_back(stale ? uint32_t(std::stoull(word)) : findAlbum(word, albums, entry.id));
    }

    std::vector<uint32_t> changed;
    for (uint32_t id : named) {
        auto at = std::find(entry.albums.begin(), entry.albums.end(), id);
        if (publish && at == entry.albums.end()) {
            entry.albums.push_back(id);
            changed.push_back(id);
        } else if (!publish && at != entry.albums.end()) {
            entry.albums.erase(at);
            changed.push_back(id);
        }
    }
    if (changed.empty()) {
        context.out << "nothing to change: " << (publish ? "already published" : "not published")
                    << "\n";
        return;
    }
    settings.replaceLibrary(entry);
    settings.save(context.out);
    context.out << command << "ed in library " << entry.id << ":";
    for (size_t i = 0; i < changed.size(); ++i)
        context.out << (i ? ", " : " ") << nameOf(changed[i], albums);
    context.out << "\n";
}

} // namespace

void publishCommand(Context& context, const Words& words) {
    change(context, words, true);
}

void unpublishCommand(Context& context, const Words& words) {
    change(context, words, false);
}

} // namespace ctl
