// preference_store_write_test.cpp - how the preferences file is written: file modes, left-over
// temporary files, and failures that leave the old file alone.
#include "settings/PreferenceStore.h"
#include "support/TempFolder.h"

#include "cf/cftempl.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testsupport::TempFolder;

std::vector<std::string>& reported() {
    static std::vector<std::string> lines;
    return lines;
}

void setValue(const char* key, const char* value) {
    CFPreferencesSetAppValue(makeString(key), makeString(value), appID);
}

mode_t modeOf(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 ? info.st_mode & 07777 : 0;
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// A process id that no process has now.
pid_t deadPid() {
    pid_t child = fork();
    if (child == 0) _exit(0);
    waitpid(child, nullptr, 0);
    return child;
}

class PreferenceStoreWrite : public ::testing::Test {
  protected:
    void SetUp() override {
        reported().clear();
        CFPreferencesSetReporter([](const std::string& line) { reported().push_back(line); });
        path = files.path("prefs.plist");
    }
    void TearDown() override {
        CFPreferencesSetReporter([](const std::string& line) { puts(line.c_str()); });
    }
    TempFolder files;
    std::string path;
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
        if (c.before) {
            files.write("prefs.plist", "<plist><dict/></plist>");
            chmod(path.c_str(), c.before);
        }
        CFPreferencesSetPath(path);
        setValue("title", "T");
        if (c.password) setValue("pass", "secret");
        ASSERT_TRUE(CFPreferencesAppSynchronize(appID));
        EXPECT_EQ(modeOf(path), c.after);
        EXPECT_EQ(namesIn(files.path()), std::vector<std::string>{"prefs.plist"})
            << "no temporary file stays behind";
    }
}

TEST_F(PreferenceStoreWrite, LeftoversOfWritersThatAreGoneAreRemovedAtFirstUse) {
    files.write("prefs.plist", "<plist><dict><key>title</key><string>T</string></dict></plist>");
    std::string dead = "prefs.plist.tmp." + std::to_string(deadPid()) + ".Ab3xYz";
    std::string alive = "prefs.plist.tmp." + std::to_string(getppid()) + ".Qw9rTy";
    for (const std::string& name :
         {dead, alive, std::string("prefs.plist.backup"), std::string("prefs.plist.tmp.x.abcdef")})
        files.write(name, "<plist><dict><key>pass</key><string>old</string></dict></plist>");
    CFPreferencesSetPath(path);
    CFTypeRef title = CFPreferencesCopyAppValue(CFSTR("title"), appID);
    ASSERT_NE(title, nullptr);
    CFRelease(title);
    std::vector<std::string> expected = {"prefs.plist", alive, "prefs.plist.backup",
                                         "prefs.plist.tmp.x.abcdef"};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(namesIn(files.path()), expected)
        << "only a writer that is gone leaves a file that may go";
    ASSERT_EQ(reported().size(), 1u);
    EXPECT_EQ(reported()[0], "removed " + files.path(dead) + ", left over by an interrupted write");
}

TEST_F(PreferenceStoreWrite, AFailedWriteNamesTheCallAndLeavesTheOldFile) {
    // A folder no one may create files in, whatever the user: /proc/self.
    std::string where = "/proc/self/prefs.plist";
    CFPreferencesSetPath(where);
    setValue("title", "T");
    EXPECT_FALSE(CFPreferencesAppSynchronize(appID));
    ASSERT_EQ(reported().size(), 1u);
    const std::string& line = reported()[0];
    EXPECT_EQ(
        line.rfind("preferences file " + where + " could not be written (mkstemp in /proc/self/: ",
                   0),
        0u)
        << line;
    EXPECT_EQ(line.find("Success"), std::string::npos) << "a stale error: " << line;
    EXPECT_NE(line.find("it is left as it was"), std::string::npos) << line;
}

} // namespace
