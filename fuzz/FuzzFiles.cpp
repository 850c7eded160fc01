// FuzzFiles.cpp - in-memory input files and the small library the request target serves.
#include "FuzzFiles.h"

#include "cf/CFURL.h"
#include "image/ScaledJPEG.h"
#include "library/LibraryRegistry.h"
#include "settings/PreferenceStore.h"
#include "support/AlbumXml.h"
#include "support/EncodeJPEG.h"
#include "support/TempFolder.h"
#include "web/Bundle.h"
#include "web/Site.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace fuzzfiles {

using namespace albumxml;

int memoryDescriptor(const uint8_t* data, size_t size) {
    int fd = memfd_create("fuzz-input", MFD_CLOEXEC);
    if (fd < 0 || pwrite(fd, data, size, 0) != ssize_t(size)) abort();
    return fd;
}

CFURL_t memoryFile(const uint8_t* data, size_t size, const char* path) {
    int fd = memoryDescriptor(data, size);
    return CFURL_t(_CFURLCreateWithOpenFile(path, CFIndex(strlen(path)), fd, int64_t(size)),
                   CFURL_t::Create);
}

void expectMade(bool made, const std::string& jpeg, uint32_t width, uint32_t height) {
    if (!made && !jpeg.empty()) __builtin_trap();
    if (!made) return;
    auto bytes = reinterpret_cast<const uint8_t*>(jpeg.data());
    int w = 0, h = 0;
    if (!getJPEGSize(memoryFile(bytes, jpeg.size(), "/home/ana/out.jpg"), w, h) || w <= 0 ||
        h <= 0 || uint32_t(w) > width || uint32_t(h) > height)
        __builtin_trap();
}

namespace {

// A width × height JPEG; exifOrientation 0: no EXIF segment.
std::string jpeg(int width, int height, int exifOrientation = 0, bool grey = false) {
    testsupport::JpegOptions options;
    options.components = grey ? 1 : 3;
    options.progressive = grey;
    if (exifOrientation) // a big-endian TIFF header and one directory: Orientation (274) alone
        options.app1 =
            std::string("Exif\0\0MM\0\x2a\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0", 24) +
            char(exifOrientation) + std::string(6, '\0');
    return testsupport::encodeJPEG(width, height, options);
}

// A photo as the fuzz library holds it: a non-ASCII caption, an escaped comment and dates at
// both ends of the scale.
std::string photo(int id, const std::string& image, const std::string& thumb,
                  const char* type = "Image") {
    return albumxml::photo(std::to_string(id), "P" + std::to_string(id) + " \xC3\xA9", "a &amp; b",
                           image, thumb, type, 168179400, -978307200);
}

} // namespace

void setUpLibrary() {
    static testsupport::TempFolder folder; // removed as the process exits
    static const bool done = [] {
        std::string family = folder.sub("Family"), trips = folder.sub("Trips");
        folder.write("Family/img10.jpg", jpeg(64, 48, 6));
        folder.write("Family/thumbs/10.jpg", jpeg(24, 18, 6));
        folder.write("Family/clip11.mov", std::string("\0\0\0\024ftypqt  \0\0\0\0qt  ", 20));
        folder.write("Family/thumbs/11.jpg", jpeg(20, 16));
        folder.write("Family/grey12.jpg", jpeg(40, 40, 0, true));
        folder.write("Family/thumbs/12.jpg", jpeg(16, 16, 0, true));
        std::string f = family + "/";
        folder.write("Family/AlbumData.xml",
                     albumFile(album(1, "Summer", {"10", "11", "12", "13"}) +
                                   album(2, "Winter &lt;3", {"12"}),
                               photo(10, f + "img10.jpg", f + "thumbs/10.jpg") +
                                   photo(11, f + "clip11.mov", f + "thumbs/11.jpg", "Movie") +
                                   photo(12, f + "grey12.jpg", f + "thumbs/12.jpg") +
                                   photo(13, f + "gone13.jpg", f + "thumbs/13.jpg")));
        std::string p = folder.write("Trips/p.jpg", jpeg(300, 200));
        std::string t = folder.write("Trips/t.jpg", jpeg(30, 20));
        folder.write("Trips/AlbumData.xml",
                     albumFile(album(5, "Road", {"100", "101", "102"}),
                               photo(100, p, t) + photo(101, p, t) + photo(102, t, p)));
        std::string prefs =
            folder.write("prefs.plist",
                         plist(string("title", "Fuzz \xE6\x97\x85") + integer("CacheSizeMB", 0) +
                               flag("auth", true) + string("user", kUser) + string("pass", kPass) +
                               key("libraries") + "<array>" + library(1, family, false, {1, 2}) +
                               library(2, trips, true, {5}) + "</array>"));
        setenv("XDG_CACHE_HOME", folder.path("cache").c_str(), 1);
        CFPreferencesSetPath(prefs);
        BundleSetResourcesPath(TESSELLAN_SOURCE_DIR "/resources");
        return true;
    }();
    (void)done;
}

Site& fuzzSite() {
    setUpLibrary();
    static Site* site = new Site(siteCacheFolder());
    return *site;
}

} // namespace fuzzfiles
