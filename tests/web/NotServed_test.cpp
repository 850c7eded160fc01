// NotServed_test.cpp - what a crafted album file must not get out of the running server, route
// by route: system files, the preferences file, a link to it, a folder, a FIFO, a text file
// that starts like a bitmap. Each is answered exactly like a file that is missing.
#include "JsonFixtures.h"

#include <gtest/gtest.h>
#include <regex>
#include <sys/stat.h>
#include <unistd.h>

using namespace jsonfixture;
using testsupport::bodyOf;
using testsupport::statusLine;

namespace {

const char* const kPassword = "s3cret-Pa55";

class NotServedTest : public ServedSuite<NotServedTest> {
  public:
    static void write(testsupport::TempFolder& files) {
        std::string lib = files.path("Library"), prefs = files.path("prefs.plist");
        files.write("Library/real.jpg", jpeg(64, 48));
        files.write("Library/notes.txt", "BMW service notes: 2019-04-02 oil, 2021-06-11 tyres");
        files.sub("Library/folder.jpg");
        mkfifo(files.path("Library/pipe.jpg").c_str(), 0600);
        symlink(prefs.c_str(), files.path("Library/prefs-link.jpg").c_str());
        std::string photos;
        std::vector<std::string> keys;
        for (size_t i = 0; i < std::size(kPaths); ++i) {
            std::string path = kPaths[i] == std::string("PREFS") ? prefs
                               : kPaths[i][0] == '/'             ? std::string(kPaths[i])
                                                                 : lib + "/" + kPaths[i];
            keys.push_back(std::to_string(i + 1));
            photos += photo(keys.back(), "c", "", path, path);
        }
        files.write("Library/AlbumData.xml", albumFile(album(1, "A", keys), photos));
        files.write("prefs.plist",
                    serverPrefs(library(0, lib, true), flag("auth", false) + string("user", "ana") +
                                                           string("pass", kPassword)));
    }
    // Photo 1 is a real picture; photo 2 is missing: every other one must answer like it.
    static constexpr const char* kPaths[] = {
        "real.jpg",   "missing.jpg", "/etc/passwd", "PREFS",       "prefs-link.jpg",
        "folder.jpg", "pipe.jpg",    "notes.txt",   "/etc/shadow", "/proc/self/environ"};
    // The reply without the lines that name one photo.
    static std::string answer(const std::string& target) {
        std::string reply = get(target);
        EXPECT_EQ(reply.find(kPassword), std::string::npos) << target;
        EXPECT_EQ(reply.find("root:"), std::string::npos) << target;
        EXPECT_EQ(reply.find("BMW"), std::string::npos) << target;
        return statusLine(reply) + "\n" +
               std::regex_replace(bodyOf(reply), std::regex("\"fileName\":\"[^\"]*\""), "");
    }
};

TEST_F(NotServedTest, EveryRouteAnswersLikeAMissingFile) {
    // Each route with the photo's place in the album (from 0) or its key (place + 1) at the end.
    const std::pair<std::string, size_t> routes[] = {{"/image/?l=0&a=1&i=", 0},
                                                     {"/image/?l=0&a=1&mw=100&mh=100&i=", 0},
                                                     {"/thumbnail/?l=0&a=1&p=", 1},
                                                     {"/json/getpicinfo?l=0&a=1&i=", 0},
                                                     {"/json/getpics?l=0&a=1&c=1&i=", 0}};
    for (auto& [route, offset] : routes) {
        auto target = [&](size_t i) { return route + std::to_string(i + offset); };
        std::string real = answer(target(0));
        EXPECT_EQ(real.substr(0, real.find('\n')), "HTTP/1.1 200 OK")
            << route << ": the route works";
        std::string missing = answer(target(1));
        for (size_t i = 2; i < std::size(kPaths); ++i) {
            std::string reply = answer(target(i));
            // The page names the photo by its id; nothing else may differ.
            if (route.find("getpics") != std::string::npos)
                reply = std::regex_replace(reply, std::regex("\"id\":\\d+"), "\"id\":2");
            EXPECT_EQ(reply, missing) << target(i);
        }
    }
}

} // namespace
