// album_fixture.h - temporary library folders and album files for the library tests.
#pragma once

#include "cf/cftempl.h"
#include "settings/PreferenceStore.h"
#include "support/AlbumXml.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <sys/stat.h>

namespace fixture {

using testsupport::TempFolder;
inline constexpr auto* str = &albumxml::string; // a key and its string value

// A photo dictionary with every key a listing needs; the key named in drop is left out.
inline std::string photoDict(const std::string& key, const std::string& drop = "") {
    const std::pair<std::string, std::string> entries[] = {
        {"Caption", "<string>Caption " + key + "</string>"},
        {"Comment", "<string>Comment " + key + "</string>"},
        {"ImagePath", "<string>/photos/2009/img_" + key + ".jpg</string>"},
        {"OriginalPath", "<string>/photos/Originals/img_" + key + ".jpg</string>"},
        {"ThumbPath", "<string>/photos/Thumbs/" + key + ".jpg</string>"},
        {"MediaType", "<string>Image</string>"},
        {"DateAsTimerInterval", "<real>" + key + ".5</real>"},
        {"ModDateAsTimerInterval", "<real>2" + key + ".25</real>"},
        {"MetaModDateAsTimerInterval", "<integer>3" + key + "</integer>"},
    };
    std::string body = albumxml::key(key) + "<dict>";
    for (auto& [name, value] : entries)
        if (name != drop) body += albumxml::key(name) + value;
    return body + "</dict>";
}

inline std::string albumDict(unsigned id, const std::string& name,
                             std::initializer_list<const char*> keys) {
    return albumxml::album(id, name, {keys.begin(), keys.end()});
}

// A whole album file. version empty: no "Application Version".
inline std::string albumData(const std::string& version, const std::string& albums,
                             const std::string& photos) {
    std::string text = albumxml::albumFile(albums, photos);
    if (!version.empty()) text.insert(text.find("<key>"), str("Application Version", version));
    return text;
}

// Writes folder/AlbumData.xml and, when seconds is non-zero, sets its modification time.
inline void writeAlbumFile(const std::string& folder, const std::string& text, time_t seconds = 0,
                           long nanoseconds = 0) {
    std::string file = folder + "/AlbumData.xml";
    std::ofstream(file, std::ios::trunc) << text;
    timespec times[2] = {{seconds, nanoseconds}, {seconds, nanoseconds}};
    if (seconds && utimensat(AT_FDCWD, file.c_str(), times, 0) != 0) ADD_FAILURE() << file;
}

// A small library: album 1 "Summer" with photos 10, 11; album 2 "Winter" with photo 12.
inline std::string smallLibrary(const std::string& version = "6.0.5 (316)") {
    return albumData(version, albumDict(1, "Summer", {"10", "11"}) + albumDict(2, "Winter", {"12"}),
                     photoDict("10") + photoDict("11") + photoDict("12"));
}

inline std::string utf8(CFStringRef s) {
    return CFStringGetUTF8(s);
}

// One "libraries" entry: id empty leaves "id" out, albums (ids) empty leaves "albums" out; extra
// is laid into the dictionary as it is.
inline std::string libraryEntry(const std::string& id, const std::string& name,
                                const std::string& path, std::initializer_list<int> albums = {},
                                const std::string& extra = "") {
    std::string body = "<dict>" + (id.empty() ? "" : "<key>id</key><integer>" + id + "</integer>") +
                       str("name", name) + str("path", path);
    if (albums.size()) body += "<key>albums</key><array>";
    for (int album : albums)
        body += "<integer>" + std::to_string(album) + "</integer>";
    return body + (albums.size() ? "</array>" : "") + extra + "</dict>";
}

// Writes a preferences file with these "libraries" entries as folder/name and points the
// preference store at it.
inline void useLibraries(const TempFolder& folder, const std::string& entries,
                         const std::string& name = "prefs.plist") {
    CFPreferencesSetPath(folder.write(
        name, albumxml::plist(albumxml::key("libraries") + "<array>" + entries + "</array>")));
}

} // namespace fixture
