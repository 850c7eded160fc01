// preferences_test.cpp - preference readers, their defaults, and the preferences file.
#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"

#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

namespace {

class PreferencesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        char folder[] = "/tmp/tessellan-prefsXXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        dir = folder;
        path = dir + "/sub/prefs.plist";
        CFPreferencesSetPath(path);
        syncPrefs = 0;
    }
    void TearDown() override {
        std::string command = "rm -rf '" + dir + "'";
        ASSERT_EQ(system(command.c_str()), 0);
    }
    void writeFile(const std::string& text) {
        std::string command = "mkdir -p '" + dir + "/sub'";
        ASSERT_EQ(system(command.c_str()), 0);
        std::ofstream(path) << text;
        CFPreferencesSetPath(path); // forget what was loaded
    }
    void writePrefs(const std::string& dictBody) {
        writeFile("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>" +
                  dictBody + "</dict></plist>\n");
    }
    std::string readFile() const {
        std::ifstream in(path);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }
    std::string dir, path;
};

TEST_F(PreferencesTest, MissingFileGivesEveryDefault) {
    EXPECT_EQ(prefGetThumbnailQuality(), 50u);
    EXPECT_EQ(prefGetImageQuality(), 90u);
    EXPECT_EQ(prefGetPortNumber(), 8080);
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Tessellan - untitled");
    bool enabled = true;
    std::string user = "x", pass = "y";
    prefGetAuthInfo(enabled, user, pass);
    EXPECT_FALSE(enabled);
    EXPECT_EQ(access(path.c_str(), F_OK), -1) << "readers other than the layout never write";
}

TEST_F(PreferencesTest, QualityLevelsMapToPercentages) {
    struct Case {
        const char* value;
        unsigned thumbnail, image;
    } cases[] = {
        {"<integer>0</integer>", 30, 50},  {"<integer>1</integer>", 50, 70},
        {"<integer>2</integer>", 70, 90},  {"<integer>3</integer>", 50, 90},
        {"<integer>-1</integer>", 50, 90}, {"<real>1.7</real>", 50, 70},
        {"<string>2</string>", 50, 90},
    };
    for (auto& c : cases) {
        writePrefs(std::string("<key>ThumbnailQuality</key>") + c.value +
                   "<key>ImageQuality</key>" + c.value);
        EXPECT_EQ(prefGetThumbnailQuality(), c.thumbnail) << c.value;
        EXPECT_EQ(prefGetImageQuality(), c.image) << c.value;
    }
}

TEST_F(PreferencesTest, TitleAndPortFallBacks) {
    writePrefs("<key>title</key><string></string><key>port</key><integer>70000</integer>");
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Tessellan - untitled");
    EXPECT_EQ(prefGetPortNumber(), 70000);
    writePrefs(
        "<key>title</key><string>Famille Dupr\xC3\xA9</string><key>port</key><string>80</string>");
    EXPECT_EQ(CFStringGetUTF8(prefGetServerName()), "Famille Dupr\xC3\xA9");
    EXPECT_EQ(prefGetPortNumber(), 8080);
}

TEST_F(PreferencesTest, LayoutOfWrongTypeIsResetAndWrittenKeepingOtherKeys) {
    writePrefs(
        "<key>siteLayout</key><integer>3</integer><key>libraries</key><array><dict><key>id</key>"
        "<integer>4</integer></dict></array><key>other</key><data>AAE=</data>");
    testing::internal::CaptureStdout();
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "setting layout to default\n");
    std::string text = readFile();
    EXPECT_NE(text.find("<key>siteLayout</key>\n\t<string>Default</string>"), std::string::npos)
        << text;
    EXPECT_NE(text.find("<integer>4</integer>"), std::string::npos);
    EXPECT_NE(text.find("<key>other</key>"), std::string::npos);
    testing::internal::CaptureStdout();
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(PreferencesTest, UnusableLayoutNamesAreTreatedAsMissing) {
    const char* unusable[] = {"", ".", "..", "a/b", "/etc", "Themes/Dark", "../Default"};
    for (const char* name : unusable) {
        SCOPED_TRACE(name);
        writePrefs(std::string("<key>siteLayout</key><string>") + name + "</string>");
        testing::internal::CaptureStdout();
        EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "setting layout to default\n");
        EXPECT_NE(readFile().find("<string>Default</string>"), std::string::npos);
    }
    const char* usable[] = {"Default", "Dark Theme", "..hidden", "a.b", "Caf\xC3\xA9"};
    for (const char* name : usable) {
        SCOPED_TRACE(name);
        writePrefs(std::string("<key>siteLayout</key><string>") + name + "</string>");
        EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), name);
    }
}

TEST_F(PreferencesTest, MissingLayoutCreatesTheFileAndItsFolder) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
    testing::internal::GetCapturedStdout();
    EXPECT_NE(readFile().find("<string>Default</string>"), std::string::npos);
}

TEST_F(PreferencesTest, AuthenticationSettings) {
    struct Case {
        const char* body;
        bool enabled;
        const char* user;
        const char* pass;
    } cases[] = {
        {"<key>auth</key><true/><key>user</key><string>ann</string><key>pass</"
         "key><string>s3cr\xC3\xA9t</string>",
         true, "ann", "s3cr\xC3\xA9t"},
        {"<key>auth</key><true/><key>pass</key><string>p</string>", false, "", ""},
        {"<key>auth</key><true/><key>user</key><string></string><key>pass</key><string></string>",
         true, "", ""},
        {"<key>auth</key><false/><key>user</key><string>a</string><key>pass</key><string>b</"
         "string>",
         false, "", ""},
        {"<key>auth</key><string>yes</string><key>user</key><string>a</string><key>pass</"
         "key><string>b</string>",
         false, "", ""},
        {"<key>auth</key><true/><key>user</key><integer>1</integer><key>pass</key><string>b</"
         "string>",
         false, "", ""},
    };
    for (auto& c : cases) {
        writePrefs(c.body);
        bool enabled = !c.enabled;
        std::string user = "stale", pass = "stale";
        prefGetAuthInfo(enabled, user, pass);
        EXPECT_EQ(enabled, c.enabled) << c.body;
        EXPECT_EQ(user, c.user) << c.body;
        EXPECT_EQ(pass, c.pass) << c.body;
    }
}

TEST_F(PreferencesTest, UnreadableFileIsNeverOverwritten) {
    const std::string broken = "<plist><dict><key>port</key><integer>81</integer>"; // cut short
    writeFile(broken);
    testing::internal::CaptureStdout();
    EXPECT_EQ(prefGetPortNumber(), 8080);
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Default");
    EXPECT_EQ(prefGetPortNumber(), 8080);
    std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("preferences file " + path + " could not be read ("), std::string::npos)
        << printed;
    EXPECT_EQ(std::count(printed.begin(), printed.end(), '\n'), 2)
        << printed; // the reason once, the layout once
    EXPECT_EQ(readFile(), broken);

    // Once the file is mended, its own values win over what was set while it was unreadable.
    std::ofstream(path)
        << "<plist><dict><key>siteLayout</key><string>Fancy</string></dict></plist>";
    sigHup(SIGHUP);
    testing::internal::CaptureStdout();
    EXPECT_EQ(CFStringGetUTF8(prefGetLayout()), "Fancy");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "sync prefs\n");
    EXPECT_EQ(readFile().find("Default"), std::string::npos);
}

TEST_F(PreferencesTest, TwoHangupsBeforeAReadSyncOnce) {
    writePrefs("<key>port</key><integer>9000</integer>");
    EXPECT_EQ(prefGetPortNumber(), 9000);
    std::ofstream(path) << "<plist><dict><key>port</key><integer>9001</integer></dict></plist>";
    EXPECT_EQ(prefGetPortNumber(), 9000) << "the domain is only re-read after a hangup";
    sigHup(SIGHUP);
    sigHup(SIGHUP);
    testing::internal::CaptureStdout();
    EXPECT_EQ(prefGetPortNumber(), 9001);
    EXPECT_EQ(prefGetPortNumber(), 9001);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "sync prefs\n");
}

} // namespace
