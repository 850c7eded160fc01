// preferences_test.cpp - preference readers and their defaults, and how the preferences file is
// written: file modes, left-over temporary files, failures that leave the old file alone.
#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"
#include "support/TempFolder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using testsupport::readFile;
using namespace std::string_literals;

class PreferencesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        CFPreferencesSetPath(path);
        syncPrefs = false;
    }
    void writePrefs(const std::string& dictBody) {
        folder.write("sub/prefs.plist",
                     "<plist version=\"1.0\"><dict>" + dictBody + "</dict></plist>\n");
        CFPreferencesSetPath(path); // forget what was loaded
    }
    // The layout read, and what the reading printed.
    std::pair<std::string, std::string> layout() {
        testing::internal::CaptureStdout();
        std::string name = CFStringGetUTF8(prefGetLayout());
        return {name, testing::internal::GetCapturedStdout()};
    }
    testsupport::TempFolder folder;
    std::string path = folder.path("sub/prefs.plist");
};

TEST_F(PreferencesTest, DefaultsAndFallBacks) {
    EXPECT_EQ(prefGetThumbnailQuality(), 50u);
    EXPECT_EQ(prefGetImageQuality(), 90u);
    EXPECT_EQ(prefGetPortNumber(), 8080);
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Tessellan - untitled");
    EXPECT_EQ(access(path.c_str(), F_OK), -1) << "readers other than the layout never write";

    writePrefs("<key>title</key><string></string><key>port</key><integer>70000</integer>");
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Tessellan - untitled");
    EXPECT_EQ(prefGetPortNumber(), 70000);
    writePrefs("<key>title</key><string>Dupr\xC3\xA9</string><key>port</key><string>80</string>");
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Dupr\xC3\xA9");
    EXPECT_EQ(prefGetPortNumber(), 8080) << "a port of the wrong type";

    // Quality levels 0-2 map to percentages; a real number counts by its whole part.
    auto quality = [&](const std::string& thumbnail, const std::string& image) {
        writePrefs("<key>ThumbnailQuality</key>" + thumbnail + "<key>ImageQuality</key>" + image);
        return std::make_pair(prefGetThumbnailQuality(), prefGetImageQuality());
    };
    EXPECT_EQ(quality("<integer>0</integer>", "<real>1.7</real>"), std::make_pair(30u, 70u));
    EXPECT_EQ(quality("<integer>2</integer>", "<integer>3</integer>"), std::make_pair(70u, 90u));
    EXPECT_EQ(quality("<string>2</string>", "<integer>-1</integer>"), std::make_pair(50u, 90u));
}

TEST_F(PreferencesTest, AnUnusableLayoutIsResetAndWrittenKeepingOtherKeys) {
    EXPECT_EQ(layout(), std::make_pair(std::string("Default"), "setting layout to default\n"s));
    EXPECT_NE(readFile(path).find("<string>Default</string>"), std::string::npos)
        << "a missing file and its folder are made";

    writePrefs("<key>siteLayout</key><integer>3</integer><key>libraries</key><array><dict>"
               "<key>id</key><integer>4</integer></dict></array><key>other</key><data>AAE=</data>");
    EXPECT_EQ(layout().second, "setting layout to default\n");
    std::string text = readFile(path);
    for (const char* kept : {"<key>siteLayout</key>\n\t<string>Default</string>",
                             "<integer>4</integer>", "<key>other</key>"})
        EXPECT_NE(text.find(kept), std::string::npos) << text;
    EXPECT_EQ(layout().second, "") << "reset once, not on every read";

    auto named = [&](const std::string& name) {
        writePrefs("<key>siteLayout</key><string>" + name + "</string>");
        return layout().first;
    };
    for (const char* name : {"", ".", "..", "a/b", "/etc", "../Default"})
        EXPECT_EQ(named(name), "Default") << name;
    for (const char* name : {"Dark Theme", "..hidden", "a.b", "Caf\xC3\xA9"})
        EXPECT_EQ(named(name), name);
}

TEST_F(PreferencesTest, AuthenticationSettings) {
    struct Case {
        const char *auth, *user, *pass; // values in the file; null: no key
        bool enabled;
        const char *wantUser, *wantPass;
    } cases[] = {
        {"<true/>", "<string>ann</string>", "<string>s3\xC3\xA9</string>", true, "ann",
         "s3\xC3\xA9"},
        {"<true/>", nullptr, "<string>p</string>", false, "", ""},
        {"<true/>", "<string></string>", "<string></string>", true, "", ""},
        {"<false/>", "<string>a</string>", "<string>b</string>", false, "", ""},
        {"<string>yes</string>", "<string>a</string>", "<string>b</string>", false, "", ""},
    };
    for (auto& c : cases) {
        SCOPED_TRACE(std::string(c.auth) + (c.user ? c.user : "(no user)"));
        writePrefs(std::string("<key>auth</key>") + c.auth +
                   (c.user ? std::string("<key>user</key>") + c.user : "") + "<key>pass</key>" +
                   c.pass);
        bool enabled = !c.enabled;
        std::string user = "stale", pass = "stale";
        prefGetAuthInfo(enabled, user, pass);
        EXPECT_EQ(enabled, c.enabled);
        EXPECT_EQ(user, c.wantUser);
        EXPECT_EQ(pass, c.wantPass);
    }
}

TEST_F(PreferencesTest, UnreadableFileIsNeverOverwritten) {
    const std::string broken = "<plist><dict><key>port</key><integer>81</integer>"; // cut short
    folder.write("sub/prefs.plist", broken);
    CFPreferencesSetPath(path);
    testing::internal::CaptureStdout();
    EXPECT_EQ(prefGetPortNumber(), 8080);
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
    EXPECT_EQ(prefGetPortNumber(), 8080);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("preferences file " + path + " could not be read ("), std::string::npos)
        << printed;
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 2)
        << "the reason once, the layout once";
    EXPECT_EQ(readFile(path), broken);

    // Once the file is mended, its own values win over what was set while it was unreadable.
    folder.write("sub/prefs.plist",
                 "<plist><dict><key>siteLayout</key><string>Fancy</string></dict></plist>");
    uint64_t before = prefGeneration();
    EXPECT_TRUE(sigHup(SIGHUP));
    EXPECT_FALSE(sigHup(SIGHUP)) << "a second SIGHUP before the re-read asks for another";
    EXPECT_GT(prefGeneration(), before) << "what was made before the SIGHUP is still used";
    testing::internal::CaptureStdout();
    checkPrefSync();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "sync prefs\n");
    EXPECT_EQ(layout(), std::make_pair(std::string("Fancy"), ""s));
    EXPECT_EQ(readFile(path).find("Default"), std::string::npos);
}

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
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::filesystem::remove(path);
        if (c.before) chmod(files.write("prefs.plist", "<plist><dict/></plist>").c_str(), c.before);
        CFPreferencesSetPath(path);
        setValue("title", "T");
        if (c.password) setValue("pass", "secret");
        ASSERT_TRUE(CFPreferencesAppSynchronize(appID));
        EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(c.after));
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
    EXPECT_TRUE(line.starts_with("preferences file /proc/self/prefs.plist could not be written "
                                 "(mkstemp in /proc/self/: "))
        << line;
    EXPECT_EQ(line.find("Success"), std::string::npos) << "a stale error: " << line;
    EXPECT_NE(line.find("it is left as it was"), std::string::npos) << line;
}

} // namespace
