// FuzzFiles.cpp - in-memory input files and the small library the request target serves.
#include "FuzzFiles.h"

#include "cf/CFURL.h"
#include "library/LibraryRegistry.h"
#include "settings/PreferenceStore.h"
#include "support/EncodeJPEG.h"
#include "web/Bundle.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzzfiles {

CFURLRef copyMemoryFileURL(const uint8_t* data, size_t size, const char* path) {
    int fd = memfd_create("fuzz-input", MFD_CLOEXEC);
    if (fd < 0) abort();
    for (size_t done = 0; done < size;) {
        ssize_t wrote = write(fd, data + done, size - done);
        if (wrote <= 0) abort();
        done += size_t(wrote);
    }
    if (lseek(fd, 0, SEEK_SET) != 0) abort();
    std::string name(path);
    return _CFURLCreateWithOpenFile(name.c_str(), CFIndex(name.size()), fd, int64_t(size));
}

static std::string gFolder;

static void removeFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(gFolder, ignored);
}

// Bytes of a width × height JPEG (the tests' encoder). exifOrientation 0: no EXIF segment.
static std::string jpegBytes(int width, int height, int exifOrientation = 0, bool grey = false,
                             bool progressive = false) {
    testsupport::JpegOptions options;
    options.components = grey ? 1 : 3;
    options.progressive = progressive;
    if (exifOrientation) {
        // A big-endian TIFF header and one directory holding Orientation (274) alone.
        options.app1 = std::string("Exif\0\0MM\0\x2a\0\0\0\x08\0\x01"
                                   "\x01\x12\0\x03\0\0\0\x01\0\x06\0\0\0\0\0\0",
                                   32);
        options.app1[25] = char(exifOrientation);
    }
    return testsupport::encodeJPEG(width, height, options);
}

static void writeFile(const std::string& path, const std::string& bytes) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << bytes;
}

static std::string photo(int id, const std::string& caption, const std::string& image,
                         const std::string& thumb, const char* type) {
    return "<key>" + std::to_string(id) + "</key><dict><key>Caption</key><string>" + caption +
           "</string><key>Comment</key><string>a &amp; b</string><key>ImagePath</key><string>" +
           image + "</string><key>ThumbPath</key><string>" + thumb +
           "</string><key>MediaType</key><string>" + type +
           "</string><key>DateAsTimerInterval</key><real>168179400</real>"
           "<key>ModDateAsTimerInterval</key><real>-978307200</real>"
           "<key>MetaModDateAsTimerInterval</key><integer>0</integer></dict>";
}

static std::string album(int id, const char* name, std::initializer_list<int> photos) {
    std::string keys;
    for (int key : photos)
        keys += "<string>" + std::to_string(key) + "</string>";
    return "<dict><key>AlbumId</key><integer>" + std::to_string(id) +
           "</integer><key>AlbumName</key><string>" + name + "</string><key>KeyList</key><array>" +
           keys + "</array><key>PhotoCount</key><integer>" + std::to_string(photos.size()) +
           "</integer></dict>";
}

static std::string plist(const std::string& body) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" + body +
           "</dict></plist>\n";
}

static std::string library(int id, const char* name, const std::string& path, bool fullSize,
                           const char* albums) {
    return "<dict><key>id</key><integer>" + std::to_string(id) +
           "</integer><key>name</key><string>" + name + "</string><key>path</key><string>" + path +
           "</string><key>FullSizeDownload</key><" + (fullSize ? "true" : "false") +
           "/><key>albums</key><array>" + albums + "</array></dict>";
}

void setUpLibrary() {
    static const bool done = [] {
        gFolder = std::filesystem::temp_directory_path() / "tessellan-fuzz-XXXXXX";
        if (!mkdtemp(gFolder.data()) || atexit(removeFolder) != 0) abort();
        const std::string& root = gFolder;
        std::string family = root + "/Family", trips = root + "/Trips";
        writeFile(family + "/img10.jpg", jpegBytes(64, 48, 6));
        writeFile(family + "/thumbs/10.jpg", jpegBytes(24, 18, 6));
        writeFile(family + "/clip11.mov", std::string("\0\0\0\x14"
                                                      "ftypqt  \0\0\0\0qt  ",
                                                      20));
        writeFile(family + "/thumbs/11.jpg", jpegBytes(20, 16));
        writeFile(family + "/grey12.jpg", jpegBytes(40, 40, 0, true, true));
        writeFile(family + "/thumbs/12.jpg", jpegBytes(16, 16, 0, true));
        writeFile(
            family + "/AlbumData.xml",
            plist("<key>List of Albums</key><array>" + album(1, "Summer", {10, 11, 12, 13}) +
                  album(2, "Winter &lt;3", {12}) + "</array><key>Master Image List</key><dict>" +
                  photo(10, "Beach \xC3\xA9", family + "/img10.jpg", family + "/thumbs/10.jpg",
                        "Image") +
                  photo(11, "Film", family + "/clip11.mov", family + "/thumbs/11.jpg", "Movie") +
                  photo(12, "Grey", family + "/grey12.jpg", family + "/thumbs/12.jpg", "Image") +
                  photo(13, "Gone", family + "/gone13.jpg", family + "/thumbs/13.jpg", "Image") +
                  "</dict>"));
        writeFile(trips + "/p.jpg", jpegBytes(300, 200));
        writeFile(trips + "/t.jpg", jpegBytes(30, 20));
        writeFile(trips + "/AlbumData.xml",
                  plist("<key>List of Albums</key><array>" + album(5, "Road", {100, 101, 102}) +
                        "</array><key>Master Image List</key><dict>" +
                        photo(100, "P100", trips + "/p.jpg", trips + "/t.jpg", "Image") +
                        photo(101, "P101", trips + "/p.jpg", trips + "/t.jpg", "Image") +
                        photo(102, "P102", trips + "/t.jpg", trips + "/p.jpg", "Image") +
                        "</dict>"));
        writeFile(
            root + "/prefs.plist",
            plist("<key>title</key><string>Fuzz \xE6\x97\x85</string>"
                  "<key>CacheSizeMB</key><integer>0</integer>"
                  "<key>auth</key><true/><key>user</key><string>" +
                  std::string(kUser) + "</string><key>pass</key><string>" + kPass +
                  "</string><key>libraries</key><array>" +
                  library(1, "Family", family, false, "<integer>1</integer><integer>2</integer>") +
                  library(2, "Trips", trips, true, "<integer>5</integer>") + "</array>"));
        setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
        CFPreferencesSetPath(root + "/prefs.plist");
        BundleSetResourcesPath(TESSELLAN_SOURCE_DIR "/resources");
        libInit();
        return true;
    }();
    (void)done;
}

} // namespace fuzzfiles
