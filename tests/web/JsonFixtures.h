// JsonFixtures.h - pictures, EXIF blocks and property lists made on the fly for the JSON API
// tests, which run in en_US and UTC whatever the machine's settings are.
#pragma once

#include <initializer_list>
#include <string>
#include <vector>

namespace jsonfixture {

// JPEG bytes of a width × height picture. A non-empty app1 is written as an APP1 segment
// between the JFIF header and the tables, so before the frame header.
std::string jpeg(int width, int height, const std::string& app1 = "");

// A big-endian EXIF APP1 payload whose first directory holds Make, Model, ISOSpeedRatings
// and DateTimeOriginal ("yyyy:MM:dd HH:mm:ss").
std::string exifPayload(const std::string& make, const std::string& model, unsigned iso,
                        const std::string& dateTimeOriginal);

// Property-list XML pieces. Text is escaped for XML.
std::string key(const std::string& name);
std::string string(const std::string& name, const std::string& value);
std::string integer(const std::string& name, long value);
std::string real(const std::string& name, double value);
std::string boolean(const std::string& name, bool value);
std::string plist(const std::string& rootDictBody);

// A "Master Image List" entry: the key id, then a photo dictionary with every key a listing
// reads (MetaModDateAsTimerInterval 0).
std::string photo(const std::string& id, const std::string& caption, const std::string& comment,
                  const std::string& image, const std::string& thumb,
                  const std::string& type = "Image", double date = 0, double modDate = 0);
// A "List of Albums" entry listing keys; extra is laid into the dictionary as it is.
std::string album(long id, const std::string& name, const std::vector<std::string>& keys,
                  const std::string& extra = "");
// A whole album file of these albums and photos.
std::string albumFile(const std::string& albums, const std::string& photos);

// A "libraries" entry: library id, named "L", at folder, publishing its album 1.
std::string library(long id, const std::string& folder, bool fullSizeDownload);
// Preferences for a server under test (any port, the default layout) publishing these
// library entries; extra is laid into the root dictionary as it is.
std::string serverPrefs(const std::string& libraries, const std::string& extra = "");

} // namespace jsonfixture
