// tessellanctl_albums_bench.cpp - `tessellanctl albums` on a large album file against the
// server's own load of that file.
//
// Writes the 50,000-photo album file of AlbumFileWriter.h, publishes its folder as library 1
// in a preferences file, then measures, best of several runs: (a) the album data store loading
// the file in a forked child (what the server does on the library's first request), (b) the
// tessellanctl executable beside this one answering `albums 1`, from exec to exit. Target:
// (b) within 1.5x of (a).
//
// Usage: tessellanctl_albums_bench [photos] [runs]
#include "AlbumFileWriter.h"
#include "library/PhotoLibrary.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// Runs work in a child; its wall time in seconds, negative on failure.
template <class Work> double timeInChild(Work work) {
    double start = now();
    pid_t child = fork();
    if (child == 0) _exit(work() ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    double elapsed = now() - start;
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? elapsed : -1;
}

// tessellanctl with these arguments, its output thrown away; its exit status.
int runCtl(const std::string& ctl, std::vector<std::string> arguments) {
    pid_t child = fork();
    if (child == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        std::vector<char*> argv{const_cast<char*>(ctl.c_str())};
        for (std::string& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string besideThisProgram(const char* name) {
    char exe[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
    std::string folder = n > 0 ? std::string(exe, size_t(n)) : std::string("./x");
    return folder.substr(0, folder.rfind('/') + 1) + name;
}

} // namespace

int main(int argc, char** argv) {
    int photos = argc > 1 ? atoi(argv[1]) : 50000;
    int runs = argc > 2 ? atoi(argv[2]) : 5;
    std::string ctl = besideThisProgram("tessellanctl");
    if (access(ctl.c_str(), X_OK) != 0) {
        fprintf(stderr, "%s is not built\n", ctl.c_str());
        return 1;
    }
    char folderName[] = "/tmp/tessellan-benchXXXXXX";
    if (!mkdtemp(folderName)) {
        perror("mkdtemp");
        return 1;
    }
    std::string folder = folderName, prefs = folder + "/prefs.plist";
    writeAlbumFile(folder + "/AlbumData.xml", photos);
    if (runCtl(ctl, {"--prefs", prefs, "library", "add", folder}) != 0) {
        fprintf(stderr, "tessellanctl library add failed\n");
        return 1;
    }
    printf("album file: %d photos, %d albums\n", photos, kAlbums);

    double load = 1e9, albums = 1e9;
    for (int i = 0; i < runs; ++i) {
        double t = timeInChild([&] { return PhotoLibrary::getLibrary(folder) != nullptr; });
        double u = timeInChild([&] { return runCtl(ctl, {"--prefs", prefs, "albums", "1"}) == 0; });
        if (t < 0 || u < 0) {
            fprintf(stderr, "a run failed\n");
            return 1;
        }
        load = std::min(load, t);
        albums = std::min(albums, u);
    }
    std::string command = "rm -rf '" + folder + "'";
    if (system(command.c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder.c_str());

    printf("(a) server's load of the album file:   %8.1f ms\n", load * 1e3);
    printf("(b) tessellanctl albums, exec to exit: %8.1f ms\n", albums * 1e3);
    printf("time ratio (b)/(a):   %.2fx (target <= 1.5x)\n", albums / load);
    return 0;
}
