// prefs_faults_process_test.cpp - the preferences file when its writer dies mid-write or the
// disk fills: it is always the old file or the new one, whole, and no copy stays readable.
#include "ToolRun.h"
#include "settings/PreferenceStore.h"

#include <chrono>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <poll.h>
#include <random>
#include <sys/inotify.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

// A preferences file of some 30 KB (a library with many album settings).
std::string bigPrefs(const std::string& title, bool withLayout) {
    std::string config;
    for (int i = 1; i <= 400; ++i)
        config += "<key>" + std::to_string(i) + "</key><dict><key>theme</key><string>theme" +
                  "</string></dict>\n";
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
           "<key>port</key><integer>0</integer>\n<key>title</key><string>" +
           title + "</string>\n" +
           (withLayout ? "<key>siteLayout</key><string>Default</string>\n" : "") +
           "<key>libraries</key><array><dict><key>id</key><integer>1</integer><key>name</key>"
           "<string>L</string><key>path</key><string>/nowhere</string><key>albums</key><array/>"
           "<key>FullSizeDownload</key><false/><key>albumConfig</key>\n<dict>\n" +
           config + "</dict></dict></array>\n</dict>\n</plist>\n";
}

// The programs' environment: a quicker exit (leaks are checked elsewhere).
Environment environment(const std::string& runtime) {
    return {{"XDG_RUNTIME_DIR", runtime}, {"ASAN_OPTIONS", "detect_leaks=0"}};
}

// Events in one folder (inotify): waits for a file to be created in it or renamed into it.
class Watch {
  public:
    explicit Watch(const std::string& folder) : fd_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        inotify_add_watch(fd_, folder.c_str(), IN_CREATE | IN_MOVED_TO);
    }
    ~Watch() { close(fd_); }
    // True once an event of that kind arrives (within 10 s).
    bool next(uint32_t kind) {
        for (;;) {
            while (at_ < length_) {
                auto* event = reinterpret_cast<inotify_event*>(buffer_ + at_);
                at_ += sizeof(inotify_event) + event->len;
                if (event->mask & kind) return true;
            }
            pollfd p = {fd_, POLLIN, 0};
            if (poll(&p, 1, 10000) <= 0) return false;
            ssize_t n = read(fd_, buffer_, sizeof buffer_);
            at_ = 0, length_ = n > 0 ? size_t(n) : 0;
        }
    }

  private:
    int fd_;
    alignas(inotify_event) char buffer_[4096];
    size_t at_ = 0, length_ = 0;
};

// Every file in folder but the preferences file.
std::vector<std::string> others(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().filename() != "prefs.plist")
            names.push_back(entry.path().filename().string());
    return names;
}

std::string titleOf(int round) { // eight bytes
    return "Title" + std::to_string(1000 + round % 1000).substr(1);
}

class PrefsFaults : public ::testing::Test {
  protected:
    std::string prefs() const { return files.path("prefs/prefs.plist"); }
    std::string runtime() const { return files.path("run"); }
    TempFolder files;
};

TEST_F(PrefsFaults, AWriterKilledAnywhereLeavesTheOldFileOrTheNewOneWhole) {
    // A sanitized program takes a tenth of a second to start, so the real programs are killed a
    // few dozen times each, and the preferences store they share, in a forked child, 150 times.
    // The server runs until stopped and rewrites a file that lacks the layout name.
    struct Case {
        const char* name;
        const char* program; // null: the store itself, in a forked child
        int rounds;
        bool server;
    } cases[] = {
        {"tessellanctl setting the title", "tessellanctl", 30, false},
        {"the server storing the missing layout name", "tessellan", 15, true},
        {"the preferences store setting the title", nullptr, 150, false},
    };
    auto start = [&](const Case& c, int round) {
        if (c.program) {
            std::vector<std::string> tail = {"set", "title", titleOf(round)};
            if (c.server) tail = {"--resources", TESSELLAN_SOURCE_DIR "/resources"};
            tail.insert(tail.begin(), {"--prefs", prefs()});
            return spawnProgram(c.program, tail, environment(runtime()));
        }
        pid_t child = fork(); // the store setting the title as tessellanctl does
        if (child == 0) {
            CFPreferencesSetPath(prefs());
            CFPreferencesSetAppValue(CFSTR("title"), makeString(titleOf(round).c_str()), appID);
            _exit(CFPreferencesAppSynchronize(appID) ? 0 : 1);
        }
        return child;
    };
    std::mt19937 random(20240611);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        files.sub("prefs");
        files.sub("run");
        chmod(runtime().c_str(), 0700);
        const std::string before = bigPrefs(titleOf(999), !c.server);
        files.write("prefs/prefs.plist", before);
        // One undisturbed run: the file it writes (round i's has its own title), how long the run
        // takes and how long its write stays open, from the temporary file's creation to the
        // rename.
        Watch watch(files.path("prefs"));
        auto began = Clock::now();
        pid_t whole = start(c, 0);
        ASSERT_TRUE(watch.next(IN_CREATE));
        auto created = Clock::now();
        ASSERT_TRUE(watch.next(IN_MOVED_TO));
        auto window = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - created);
        if (c.server) kill(whole, SIGTERM);
        finish(whole);
        auto span = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - began);
        const std::string written = readFile(prefs());
        ASSERT_NE(written, before) << "an undisturbed run writes the file";
        auto after = [&](int round) {
            std::string text = written;
            if (!c.server) text.replace(text.find(titleOf(0)), 8, titleOf(round));
            return text;
        };

        // Most kills land inside the write (after the temporary file appears); every fourth
        // anywhere in the run.
        std::string committed = written;
        for (int i = 1; i <= c.rounds; ++i) {
            if (c.server) files.write("prefs/prefs.plist", committed = before);
            bool inWrite = i % 4 != 0;
            Watch round(files.path("prefs"));
            pid_t writer = start(c, i);
            if (inWrite) {
                ASSERT_TRUE(round.next(IN_CREATE)) << "round " << i << " wrote no temp file";
            }
            long range = inWrite ? window.count() * 3 / 2 : span.count();
            std::this_thread::sleep_for(
                std::chrono::microseconds(std::uniform_int_distribution<long>(0, range)(random)));
            kill(writer, SIGKILL);
            finish(writer);
            std::string now = readFile(prefs());
            EXPECT_TRUE(now == committed || now == after(i))
                << "round " << i << ": a torn file of " << now.size() << " bytes";
            committed = now;
            // A copy a killed writer left is never more open than the file itself.
            struct stat file, copy;
            ASSERT_EQ(stat(prefs().c_str(), &file), 0);
            for (const std::string& name : others(files.path("prefs"))) {
                ASSERT_EQ(stat(files.path("prefs/" + name).c_str(), &copy), 0);
                EXPECT_EQ(copy.st_mode & ~file.st_mode & 0777, 0u) << name;
            }
        }
        // The next start clears what the killed writers left.
        finish(
            spawnProgram("tessellanctl", {"--prefs", prefs(), "status"}, environment(runtime())));
        EXPECT_EQ(others(files.path("prefs")), std::vector<std::string>{});
        fs::remove_all(files.path("prefs"));
        fs::remove_all(runtime());
    }
}

TEST_F(PrefsFaults, AFullDiskLeavesTheOldFileAndSaysSoInOneLine) {
    // A real full disk: a small file system, filled up.
    std::string disk = files.sub("prefs");
    if (mount("tmpfs", disk.c_str(), "tmpfs", 0, "size=512k,mode=0700") != 0)
        GTEST_SKIP() << "cannot mount a small file system here: " << strerror(errno);
    struct Unmount {
        std::string path;
        ~Unmount() { umount2(path.c_str(), MNT_DETACH); }
    } unmount{disk};
    std::string old = bigPrefs("Title001", true);
    files.write("prefs/prefs.plist", old);
    files.write("prefs/filler", std::string(1 << 20, 'x')); // as much as fits
    files.sub("run");
    chmod(runtime().c_str(), 0700);
    ToolRun run = runProgram("tessellanctl", {"--prefs", prefs(), "set", "title", "Title002"},
                             environment(runtime()));
    std::string said = run.out + run.err;
    EXPECT_EQ(run.status, 1) << said;
    EXPECT_EQ(lineCount(said), 1) << said;
    EXPECT_NE(said.find("No space left on device"), std::string::npos) << said;
    EXPECT_NE(said.find("left as it was"), std::string::npos) << said;
    EXPECT_EQ(readFile(prefs()), old);
    EXPECT_EQ(others(disk), std::vector<std::string>{"filler"});
}

} // namespace
