// LibraryCommands.cpp - library add, list and remove, and the album listing.
#include "ctl/AlbumFile.h"
#include "ctl/Commands.h"
#include "ctl/Failure.h"
#include "ctl/Settings.h"
#include "ctl/Values.h"

#include <algorithm>
#include <filesystem>
#include <iomanip>
#include <sys/stat.h>

namespace ctl {

namespace {

// The folder as an absolute path without "." or ".." parts or a trailing slash (links are
// kept: the library is found where the user named it).
std::string absoluteFolder(const std::string& given) {
    std::error_code error;
    std::string path = std::filesystem::absolute(given, error).lexically_normal().string();
    while (path.size() > 1 && path.back() == '/')
        path.pop_back();
    struct stat info;
    if (stat(path.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
        throw Refused("'" + given + "' is not a folder");
    return path;
}

bool yesNo(const std::string& option, const std::string& value) {
    if (value == "yes") return true;
    if (value == "no") return false;
    throw Refused(option + " takes yes or no, not '" + value + "'");
}

void printAlbums(std::ostream& out, const std::vector<AlbumSummary>& albums,
                 const std::vector<uint32_t>& published) {
    if (albums.empty()) {
        out << "the album file lists no albums\n";
        return;
    }
    out << std::setw(10) << "ALBUM" << std::setw(8) << "PHOTOS"
        << "  PUBLISHED  NAME\n";
    for (const AlbumSummary& album : albums) {
        bool shown = std::find(published.begin(), published.end(), album.id) != published.end();
        out << std::setw(10) << album.id << std::setw(8) << album.photos << "  "
            << (shown ? "yes      " : "no       ") << "  " << album.name << "\n";
    }
    for (uint32_t id : published) {
        bool known = std::any_of(albums.begin(), albums.end(),
                                 [id](const AlbumSummary& album) { return album.id == id; });
        if (!known)
            out << "album " << id
                << " is published but not in the album file: unpublish it with tessellanctl "
                   "unpublish\n";
    }
}

void add(Context& context, const Words& words) {
    CommandArgs args =
        splitCommandArgs("library add", words, {"--name", "--full-size-download", "--id"}, {});
    expectPlain("library add", args, 1, 1,
                "library add FOLDER [--name NAME] [--full-size-download yes|no] [--id ID]");
    Settings settings(context.prefsPath);
    std::string folder = absoluteFolder(args.plain[0]);
    std::vector<LibraryEntry> entries = settings.libraries();
    for (const LibraryEntry& entry : entries)
        if (entry.path == folder)
            throw Refused(folder + " is already library " + std::to_string(entry.id));

    uint32_t id = 1;
    if (args.values.count("--id")) {
        id = parseLibraryId(args.values["--id"]);
        for (const LibraryEntry& entry : entries)
            if (entry.id == id)
                throw Refused("library id " + std::to_string(id) + " is taken by \"" + entry.name +
                              "\"");
    } else if (!entries.empty()) {
        uint32_t highest = 0;
        for (const LibraryEntry& entry : entries)
            highest = std::max(highest, entry.id);
        if (highest == UINT32_MAX) throw Refused("no library id is left; use --id");
        id = highest + 1;
    }
    std::vector<AlbumSummary> albums = readAlbums(folder);
    std::string name = args.values.count("--name")
                           ? args.values["--name"]
                           : std::filesystem::path(folder).filename().string();
    if (name.empty()) throw Refused("the library's name is empty; give one with --name");
    bool full = args.values.count("--full-size-download") &&
                yesNo("--full-size-download", args.values["--full-size-download"]);

    entries.push_back(readLibraryEntry(
        CFDictionary_t(newDictionaryWith(nullptr, {{"id", newInteger(id)},
                                                   {"name", newString(name)},
                                                   {"path", newString(folder)},
                                                   {"albums", newArray({})},
                                                   {"FullSizeDownload", newBoolean(full)}}),
                       CFDictionary_t::Create)));
    settings.setLibraries(entries);
    settings.save(context.out);
    context.out << "added library " << id << " \"" << name << "\" (" << folder
                << "), full-size download " << (full ? "on" : "off") << ", no album published\n";
    printAlbums(context.out, albums, {});
    context.out << "publish albums with: tessellanctl publish " << id << " ALBUM... (or --all)\n";
}

void list(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("library list", words, {}, {});
    expectPlain("library list", args, 0, 0, "library list");
    Settings settings(context.prefsPath);
    std::vector<LibraryEntry> entries = settings.libraries();
    if (entries.empty()) {
        context.out << "no library is published; add one with: tessellanctl library add FOLDER\n";
        return;
    }
    for (const LibraryEntry& entry : entries) {
        struct stat info;
        bool present = stat(albumFilePath(entry.path).c_str(), &info) == 0;
        context.out << std::setw(4) << entry.id << "  \"" << entry.name << "\"  "
                    << entry.albums.size() << (entry.albums.size() == 1 ? " album" : " albums")
                    << " published, "
                    << "full-size download " << (entry.fullSizeDownload ? "on" : "off") << "  "
                    << entry.path << (present ? "" : "  (no album file there)") << "\n";
    }
}

void remove(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("library remove", words, {}, {});
    expectPlain("library remove", args, 1, 1, "library remove ID");
    Settings settings(context.prefsPath);
    uint32_t id = parseLibraryId(args.plain[0]);
    LibraryEntry removed = settings.library(id);
    std::vector<LibraryEntry> entries = settings.libraries();
    std::erase_if(entries, [id](const LibraryEntry& entry) { return entry.id == id; });
    settings.setLibraries(entries);
    settings.save(context.out);
    context.out << "removed library " << id << " \"" << removed.name << "\"; " << removed.path
                << " is untouched\n";
}

} // namespace

void libraryCommand(Context& context, const Words& words) {
    if (words.empty()) throw UsageError("library needs add, list or remove");
    Words rest(words.begin() + 1, words.end());
    if (words[0] == "add") return add(context, rest);
    if (words[0] == "list") return list(context, rest);
    if (words[0] == "remove") return remove(context, rest);
    throw UsageError("library: unknown subcommand '" + words[0] + "' (add, list or remove)");
}

void albumsCommand(Context& context, const Words& words) {
    CommandArgs args = splitCommandArgs("albums", words, {}, {});
    expectPlain("albums", args, 1, 1, "albums ID");
    Settings settings(context.prefsPath);
    LibraryEntry entry = settings.library(parseLibraryId(args.plain[0]));
    printAlbums(context.out, readAlbums(entry.path), entry.albums);
}

} // namespace ctl
