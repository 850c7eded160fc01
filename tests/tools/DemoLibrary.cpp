// DemoLibrary.cpp - runs the tool and keeps the shared demo library up to date.
#include "DemoLibrary.h"

#include "cf/CFPropertyList.h"

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

const char* kTool = TESSELLAN_BINARY_DIR "/make_demo_library";

std::string quoted(const std::string& argument) {
    std::string out = "'";
    for (char c : argument)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

// True when the stamp was written after the tool was last built.
bool upToDate(const std::string& stamp) {
    std::error_code error;
    auto made = fs::last_write_time(stamp, error);
    if (error) return false;
    return made >= fs::last_write_time(kTool);
}

} // namespace

ToolRun runTool(const std::vector<std::string>& arguments) {
    std::string command = quoted(kTool);
    for (const std::string& argument : arguments)
        command += " " + quoted(argument);
    command += " 2>&1";
    ToolRun run{-1, ""};
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return run;
    char buffer[4096];
    size_t n;
    while ((n = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        run.output.append(buffer, n);
    int status = pclose(pipe);
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return run;
}

const DemoLibrary& demoLibrary() {
    static const DemoLibrary library = [] {
        std::string base = TESSELLAN_BINARY_DIR "/tests/demo-library";
        fs::create_directories(base);
        int lock = open((base + ".lock").c_str(), O_CREAT | O_RDWR, 0644);
        if (lock < 0 || flock(lock, LOCK_EX) != 0)
            throw std::runtime_error("cannot lock " + base + ".lock");
        DemoLibrary made{base + "/library", base + "/prefs.plist"};
        std::string stamp = base + "/stamp";
        std::string failure;
        if (!upToDate(stamp)) {
            fs::remove(stamp);
            fs::remove_all(made.folder);
            fs::remove(made.preferences);
            ToolRun run = runTool({made.folder, made.preferences});
            if (run.status == 0)
                std::ofstream(stamp) << "written by " << kTool << "\n";
            else
                failure =
                    "make_demo_library failed (" + std::to_string(run.status) + "): " + run.output;
        }
        close(lock); // also lets go of the lock
        if (!failure.empty()) throw std::runtime_error(failure);
        made.folder = fs::canonical(made.folder).string();
        return made;
    }();
    return library;
}

CFDictionary_t readPropertyList(const std::string& path) {
    CFURL_t url(CFURLCreateFromFileSystemRepresentation(path.data(), CFIndex(path.size()), false),
                CFURL_t::Create);
    CFReadStream_t stream(url);
    std::string error;
    CFTypeRef root = CFPropertyListCreateFromStream(stream, &error);
    if (!root) throw std::runtime_error(path + ": " + error);
    return CFDictionary_t(root, CFDictionary_t::Create);
}

std::string text(const CFDictionary_t& dict, CFStringRef key) {
    return CFStringGetUTF8(dict.get<CFString_t>(key));
}
