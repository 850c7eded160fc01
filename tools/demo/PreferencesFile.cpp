// PreferencesFile.cpp - publishes the demo library in a preferences file, through the
// server's own preference store, so the file is written exactly as the server writes it.
#include "demo/Library.h"
#include "demo/Plist.h"

#include "cf/CFPropertyList.h"
#include "cf/CFReadStream.h"
#include "cf/CFURL.h"
#include "settings/PreferenceStore.h"

#include <cstdio>
#include <stdexcept>
#include <sys/stat.h>

namespace demo {

namespace {

void set(const char* key, CFTypeRef value) {
    CFStringRef name = static_cast<CFStringRef>(plString(key));
    CFPreferencesSetAppValue(name, value, appID);
    CFRelease(name);
    CFRelease(value);
}

} // namespace

void checkPreferencesFile(const std::string& file) {
    struct stat info;
    if (stat(file.c_str(), &info) != 0) return;
    CFURLRef url =
        CFURLCreateFromFileSystemRepresentation(file.data(), CFIndex(file.size()), false);
    CFReadStreamRef stream = CFReadStreamCreateWithFile(url);
    CFRelease(url);
    std::string why = "cannot be opened";
    CFTypeRef root = nullptr;
    if (CFReadStreamOpen(stream)) {
        root = CFPropertyListCreateFromStream(stream, &why);
        CFReadStreamClose(stream);
    }
    CFRelease(stream);
    if (root && CFGetTypeID(root) != kCFDictionaryTypeID) why = "not a dictionary";
    bool usable = root && CFGetTypeID(root) == kCFDictionaryTypeID;
    if (root) CFRelease(root);
    if (!usable)
        throw std::runtime_error(file + ": not a preferences file we can keep (" + why +
                                 "); leaving it alone");
}

void writePreferences(const std::string& file, const std::string& root, const std::string& title,
                      int port) {
    checkPreferencesFile(file);
    std::vector<CFTypeRef> published;
    for (int id : publishedAlbums())
        published.push_back(plInteger(id));
    CFTypeRef library = plDict({
        {"id", plInteger(0)},
        {"name", plString(kLibraryName)},
        {"path", plString(root)},
        {"albums", plArray(published)},
        {"FullSizeDownload", plBoolean(true)},
        {"albumConfig",
         plDict({{std::to_string(kThemedAlbum), plDict({{"theme", plString(kTheme)}})}})},
    });
    CFPreferencesSetPath(file);
    set("title", plString(title));
    set("port", plInteger(port));
    set("libraries", plArray({library}));
    if (!CFPreferencesAppSynchronize(appID))
        throw std::runtime_error(file + ": could not be written");
}

} // namespace demo
