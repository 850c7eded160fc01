// album_fixture.h - temporary library folders and album files for the library tests.
#pragma once

#include "cf/cftempl.h"
#include "settings/PreferenceStore.h"
#include "support/TempFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <sys/stat.h>

namespace fixture {

using testsupport::TempFolder;

// A key and its string value. REQUIRES: neither holds '&' or '<'.
inline std::string str(const std::string& key, const std::string& value) {
    return "<key>" + key + "</key><string>" + value + "</string>";
}

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
    std::string body = "<key>" + key + "</key><dict>";
    for (auto& [name, value] : entries)
        if (name != drop) body += "<key>" + name + "</key>" + value;
    return body + "</dict>";
}

inline std::string albumDict(unsigned id, const std::string& name,
                             std::initializer_list<const char*> keys) {
    std::string body = "<dict><key>AlbumId</key><integer>" + std::to_string(id) + "</integer>" +
                       str("AlbumName", name) + "<key>KeyList</key><array>";
    for (const char* key : keys)
        body += std::string("<string>") + key + "</string>";
    return body + "</array></dict>";
}

// A whole album file. version empty: no "Application Version".
inline std::string albumData(const std::string& version, const std::string& albums,
                             const std::string& photos) {
    return "<plist version=\"1.0\"><dict>" +
           (version.empty() ? "" : str("Application Version", version)) +
           "<key>List of Albums</key><array>" + albums +
           "</array><key>Master Image List</key><dict>" + photos + "</dict></dict></plist>\n";
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
    CFPreferencesSetPath(
        folder.write(name, "<plist version=\"1.0\"><dict><key>libraries</key><array>" + entries +
                               "</array></dict></plist>\n"));
}

} // namespace fixture
