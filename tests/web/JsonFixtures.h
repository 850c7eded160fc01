// JsonFixtures.h - pictures, EXIF blocks, album files and preferences made on the fly for the web
// tests (which run in en_US and UTC, their servers too), and a suite base sharing one server.
#pragma once

#include "image/ImageFixtures.h"
#include "support/AlbumXml.h"
#include "support/EncodeJPEG.h"
#include "support/FixedLocale.h"
#include "support/ServerProcess.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace jsonfixture {

using namespace albumxml;

inline const testing::Environment* const fixedLocale =
    testing::AddGlobalTestEnvironment(new testsupport::FixedLocaleEnvironment("en_US.UTF-8"));

// JPEG bytes of a grey width × height picture; a non-empty app1 goes in an APP1 segment.
inline std::string jpeg(int width, int height, const std::string& app1 = "") {
    testsupport::JpegOptions options;
    options.components = 1;
    options.app1 = app1;
    options.gradient = false;
    return testsupport::encodeJPEG(width, height, options);
}

// A big-endian EXIF payload with Make, Model, ISOSpeedRatings and DateTimeOriginal.
inline std::string exifPayload(const std::string& make, const std::string& model, unsigned iso,
                               const std::string& date) {
    ExifBuilder b(false);
    uint32_t makeAt = b.text(make), modelAt = b.text(model), dateAt = b.text(date);
    b.first(b.directory({ExifBuilder::ascii(271, makeAt, uint32_t(make.size() + 1)),
                         ExifBuilder::ascii(272, modelAt, uint32_t(model.size() + 1)),
                         ExifBuilder::shortValue(34855, uint16_t(iso)),
                         ExifBuilder::ascii(36867, dateAt, uint32_t(date.size() + 1))}));
    return b.payload();
}

// Preferences (any port, the default layout) publishing these libraries; extra goes in the root.
inline std::string serverPrefs(const std::string& libraries, const std::string& extra = "") {
    return plist(integer("port", 0) + string("siteLayout", "Default") + key("libraries") +
                 "<array>" + libraries + "</array>" + extra);
}

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
