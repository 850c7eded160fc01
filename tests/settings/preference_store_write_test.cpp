// preference_store_write_test.cpp - how the preferences file is written: file modes, left-over
// temporary files, and failures that leave the old file alone.
#include "settings/PreferenceStore.h"
#include "support/TempFolder.h"

#include "cf/cftempl.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::vector<std::string> reported;

void setValue(const char* key, const char* value) {
    CFPreferencesSetAppValue(makeString(key), makeString(value), appID);
}

class PreferenceStoreWrite : public ::testing::Test {
  protected:
    void SetUp() override {
        reported.clear();
        CFPreferencesSetReporter([](const std::string& line) { reported.push_back(line); });
    }
    void TearDown() override {
        CFPreferencesSetReporter([](const std::string& line) { puts(line.c_str()); });
    }
    std::set<std::string> names() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(files.path()))
            names.insert(entry.path().filename().string());
        return names;
    }
    testsupport::TempFolder files;
    std::string path = files.path("prefs.plist");
};

TEST_F(PreferenceStoreWrite, ModeFollowsTheOldFileButAPasswordKeepsItOwnerOnly) {
    struct Case {
        const char* name;
        mode_t before; // 0: no file yet
        bool password;
        mode_t after;
    } cases[] = {
        {"a new file is private", 0, false, 0600},
        {"an old file's mode is kept", 0644, false, 0644},
        {"a password closes the file to others", 0644, true, 0600},
        {"a password keeps a private file private", 0600, true, 0600},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(path);
        if (c.before) chmod(files.write("prefs.plist", "<plist><dict/></plist>").c_str(), c.before);
        CFPreferencesSetPath(path);
        setValue("title", "T");
        if (c.password) setValue("pass", "secret");
        ASSERT_TRUE(CFPreferencesAppSynchronize(appID));
        struct stat info = {};
        stat(path.c_str(), &info);
        EXPECT_EQ(info.st_mode & 07777, c.after);
        EXPECT_EQ(names(), std::set<std::string>{"prefs.plist"}) << "no temporary file stays";
    }
}

TEST_F(PreferenceStoreWrite, LeftoversOfWritersThatAreGoneAreRemovedAtFirstUse) {
    files.write("prefs.plist", "<plist><dict><key>title</key><string>T</string></dict></plist>");
    pid_t gone = fork(); // a process id that no process has now
    if (gone == 0) _exit(0);
    waitpid(gone, nullptr, 0);
    std::string dead = "prefs.plist.tmp." + std::to_string(gone) + ".Ab3xYz";
    std::set<std::string> kept = {"prefs.plist", "prefs.plist.backup", "prefs.plist.tmp.x.abcdef",
                                  "prefs.plist.tmp." + std::to_string(getppid()) + ".Qw9rTy"};
    for (const std::string& name : kept)
        if (name != "prefs.plist") files.write(name, "<plist><dict/></plist>");
    files.write(dead, "<plist><dict><key>pass</key><string>old</string></dict></plist>");
    CFPreferencesSetPath(path);
    CFRelease(CFPreferencesCopyAppValue(CFSTR("title"), appID));
    EXPECT_EQ(names(), kept) << "only a writer that is gone leaves a file that may go";
    EXPECT_EQ(reported, std::vector<std::string>{"removed " + files.path(dead) +
                                                 ", left over by an interrupted write"});
}

TEST_F(PreferenceStoreWrite, AFailedWriteNamesTheCallAndLeavesTheOldFile) {
    // A folder no one may create files in, whatever the user: /proc/self.
    CFPreferencesSetPath("/proc/self/prefs.plist");
    setValue("title", "T");
    EXPECT_FALSE(CFPreferencesAppSynchronize(appID));
    ASSERT_EQ(reported.size(), 1u);
    const std::string& line = reported[0];
    EXPECT_EQ(line.rfind("preferences file /proc/self/prefs.plist could not be written (mkstemp "
                         "in /proc/self/: ",
                         0),
              0u)
        << line;
    EXPECT_EQ(line.find("Success"), std::string::npos) << "a stale error: " << line;
    EXPECT_NE(line.find("it is left as it was"), std::string::npos) << line;
}

} // namespace
