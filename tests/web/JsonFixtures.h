// JsonFixtures.h - pictures, EXIF blocks, album files and preferences made on the fly for the web
// tests (which run in en_US and UTC), and a suite base sharing one running server.
#pragma once

#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace jsonfixture {

// JPEG bytes of a grey width × height picture; a non-empty app1 goes in an APP1 segment.
std::string jpeg(int width, int height, const std::string& app1 = "");
// A big-endian EXIF payload with Make, Model, ISOSpeedRatings and DateTimeOriginal.
std::string exifPayload(const std::string& make, const std::string& model, unsigned iso,
                        const std::string& dateTimeOriginal);

// Property-list pieces; text is escaped for XML.
std::string key(const std::string& name);
std::string string(const std::string& name, const std::string& value);
std::string integer(const std::string& name, long value);
std::string boolean(const std::string& name, bool value);
std::string plist(const std::string& rootDictBody);

// A "Master Image List" entry: the key id, then a photo dictionary with every key a listing reads.
std::string photo(const std::string& id, const std::string& caption, const std::string& comment,
                  const std::string& image, const std::string& thumb,
                  const std::string& type = "Image", double date = 0, double modDate = 0);
// A "List of Albums" entry listing keys; extra is laid into the dictionary as it is.
std::string album(long id, const std::string& name, const std::vector<std::string>& keys,
                  const std::string& extra = "");
std::string albumFile(const std::string& albums, const std::string& photos);
// A "libraries" entry: library id, named "L", at folder, publishing its album 1.
std::string library(long id, const std::string& folder, bool fullSizeDownload);
// Preferences (any port, the default layout) publishing these libraries; extra goes in the root.
std::string serverPrefs(const std::string& libraries, const std::string& extra = "");

// One server for the whole suite, started on the prefs.plist that Suite::write(files) made, with
// the repository's resources and its cache in files/cache.
template <class Suite> class ServedSuite : public ::testing::Test {
  protected:
    static void SetUpTestSuite() {
        files = new testsupport::TempFolder;
        Suite::write(*files);
        server = new testsupport::ServerProcess;
        ASSERT_TRUE(server->start({"--prefs", files->path("prefs.plist"), "--resources",
                                   TESSELLAN_SOURCE_DIR "/resources"},
                                  {{"XDG_CACHE_HOME", files->path("cache")}}))
            << server->output();
    }
    static void TearDownTestSuite() {
        delete server;
        delete files;
    }
    static std::string get(const std::string& target, const std::string& headers = "") {
        return testsupport::get(server->port(), target, headers);
    }
    static inline testsupport::TempFolder* files;
    static inline testsupport::ServerProcess* server;
};

} // namespace jsonfixture
