// preferences_test.cpp - preference readers, their defaults, and the preferences file.
#include "settings/PreferenceStore.h"
#include "settings/Preferences.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

using testsupport::readFile;
using namespace std::string_literals;

class PreferencesTest : public ::testing::Test {
  protected:
    void SetUp() override {
        CFPreferencesSetPath(path);
        syncPrefs = 0;
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
    writePrefs(
        "<key>ThumbnailQuality</key><integer>0</integer><key>ImageQuality</key><real>1.7</real>");
    EXPECT_EQ(std::make_pair(prefGetThumbnailQuality(), prefGetImageQuality()),
              std::make_pair(30u, 70u));
    writePrefs("<key>ThumbnailQuality</key><integer>2</integer><key>ImageQuality</key><integer>3</"
               "integer>");
    EXPECT_EQ(std::make_pair(prefGetThumbnailQuality(), prefGetImageQuality()),
              std::make_pair(70u, 90u));
    writePrefs("<key>ThumbnailQuality</key><string>2</string><key>ImageQuality</key><integer>-1</"
               "integer>");
    EXPECT_EQ(std::make_pair(prefGetThumbnailQuality(), prefGetImageQuality()),
              std::make_pair(50u, 90u));
}

TEST_F(PreferencesTest, AnUnusableLayoutIsResetAndWrittenKeepingOtherKeys) {
    EXPECT_EQ(layout(), std::make_pair(std::string("Default"), "setting layout to default\n"s));
    EXPECT_NE(readFile(path).find("<string>Default</string>"), std::string::npos)
        << "a missing file and its folder are made";

    writePrefs("<key>siteLayout</key><integer>3</integer><key>libraries</key><array><dict>"
               "<key>id</key><integer>4</integer></dict></array><key>other</key><data>AAE=</data>");
    EXPECT_EQ(layout().second, "setting layout to default\n");
    std::string text = readFile(path);
    EXPECT_NE(text.find("<key>siteLayout</key>\n\t<string>Default</string>"), std::string::npos)
        << text;
    EXPECT_NE(text.find("<integer>4</integer>"), std::string::npos);
    EXPECT_NE(text.find("<key>other</key>"), std::string::npos);
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
        {"<true/>", "<integer>1</integer>", "<string>b</string>", false, "", ""},
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
    sigHup(SIGHUP);
    EXPECT_EQ(layout(), std::make_pair(std::string("Fancy"), "sync prefs\n"s));
    EXPECT_EQ(readFile(path).find("Default"), std::string::npos);
}

} // namespace
