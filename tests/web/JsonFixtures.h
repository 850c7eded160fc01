// JsonFixtures.h - pictures, EXIF blocks, library folders and preferences made on the fly for
// the JSON API tests, which run in en_US and UTC whatever the machine's settings are.
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

// A fresh folder under /tmp, removed with what it holds when the object goes away.
class Folder {
  public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    // Writes path/relative (making the folders on the way) and returns its full path.
    std::string write(const std::string& relative, const std::string& contents) const;
    std::string path(const std::string& relative) const { return path_ + "/" + relative; }
    const std::string& path() const { return path_; }

  private:
    std::string path_;
};

// Property-list XML pieces. Text is escaped for XML.
std::string key(const std::string& name);
std::string string(const std::string& name, const std::string& value);
std::string integer(const std::string& name, long value);
std::string real(const std::string& name, double value);
std::string boolean(const std::string& name, bool value);
std::string plist(const std::string& rootDictBody);

} // namespace jsonfixture
