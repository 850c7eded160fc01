// AlbumXml.h - album files and preferences written as property-list text, for the tests and
// the fuzzers' library.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace albumxml {

// Property-list pieces: a key, a key and its value. REQUIRES: no text holds '&' or '<'.
inline std::string key(const std::string& name) {
    return "<key>" + name + "</key>";
}
inline std::string string(const std::string& name, const std::string& value) {
    return key(name) + "<string>" + value + "</string>";
}
inline std::string integer(const std::string& name, long value) {
    return key(name) + "<integer>" + std::to_string(value) + "</integer>";
}
inline std::string flag(const std::string& name, bool value) {
    return key(name) + (value ? "<true/>" : "<false/>");
}
inline std::string plist(const std::string& rootDictBody) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" +
           rootDictBody + "</dict></plist>\n";
}

// A "Master Image List" entry: the key id, then a photo dictionary with every key a listing reads.
inline std::string photo(const std::string& id, const std::string& caption,
                         const std::string& comment, const std::string& image,
                         const std::string& thumb, const std::string& type = "Image",
                         double date = 0, double modDate = 0) {
    return key(id) + "<dict>" + string("Caption", caption) + string("Comment", comment) +
           string("ImagePath", image) + string("ThumbPath", thumb) + string("MediaType", type) +
           key("DateAsTimerInterval") + "<real>" + std::to_string(date) + "</real>" +
           key("ModDateAsTimerInterval") + "<real>" + std::to_string(modDate) + "</real>" +
           integer("MetaModDateAsTimerInterval", 0) + "</dict>";
}
// A "List of Albums" entry listing keys; extra is laid into the dictionary as it is.
inline std::string album(long id, const std::string& name, const std::vector<std::string>& keys,
                         const std::string& extra = "") {
    std::string list;
    for (const std::string& k : keys)
        list += "<string>" + k + "</string>";
    return "<dict>" + integer("AlbumId", id) + string("AlbumName", name) + key("KeyList") +
           "<array>" + list + "</array>" + integer("PhotoCount", long(keys.size())) + extra +
           "</dict>";
}
inline std::string albumFile(const std::string& albums, const std::string& photos) {
    return plist(key("List of Albums") + "<array>" + albums + "</array>" +
                 key("Master Image List") + "<dict>" + photos + "</dict>");
}
// A "libraries" entry: library id, named "L", at folder, publishing albums.
inline std::string library(long id, const std::string& folder, bool fullSizeDownload,
                           std::initializer_list<long> albums = {1}) {
    std::string ids;
    for (long album : albums)
        ids += "<integer>" + std::to_string(album) + "</integer>";
    return "<dict>" + integer("id", id) + string("name", "L") + string("path", folder) +
           key("albums") + "<array>" + ids + "</array>" +
           flag("FullSizeDownload", fullSizeDownload) + "</dict>";
}

} // namespace albumxml
