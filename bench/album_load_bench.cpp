// album_load_bench.cpp - time and peak memory of loading a large album file, against expat alone.
//
// Writes an AlbumData.xml of 50,000 photos and 200 albums into a temporary folder, then
// measures in forked children (so each peak RSS is the child's own): (a) expat walking the
// file with empty callbacks, (b) PhotoLibrary loading it and answering one getPhotoList for
// the album holding every photo. Targets: (b) within 2.5x the time of (a), and its peak memory
// above the process's baseline within 2x the file size.
//
// Usage: album_load_bench [photos] [runs]
#include "AlbumFileWriter.h"
#include "library/PhotoLibrary.h"

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <expat.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

double now() {
    timespec t;
    clock_gettime(CLOCK_MONOTONIC, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

void XMLCALL emptyStart(void*, const XML_Char*, const XML_Char**) {}
void XMLCALL emptyEnd(void*, const XML_Char*) {}
void XMLCALL emptyText(void*, const XML_Char*, int) {}

// (a): expat over the file with callbacks that do nothing, in 64 KiB reads.
bool walkWithExpat(const std::string& file) {
    FILE* in = fopen(file.c_str(), "rb");
    if (!in) return false;
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(parser, emptyStart, emptyEnd);
    XML_SetCharacterDataHandler(parser, emptyText);
    bool ok = true;
    for (;;) {
        void* buffer = XML_GetBuffer(parser, 1 << 16);
        size_t n = fread(buffer, 1, 1 << 16, in);
        if (XML_ParseBuffer(parser, int(n), n == 0) == XML_STATUS_ERROR) {
            ok = false;
            break;
        }
        if (n == 0) break;
    }
    XML_ParserFree(parser);
    fclose(in);
    return ok;
}

// (b): the store loading the file and listing the album of every photo.
bool loadLibrary(const std::string& folder, size_t photos) {
    PhotoLibrary* library = PhotoLibrary::getLibrary(folder);
    if (!library) return false;
    std::vector<PhotoInfo> list;
    library->getPhotoList(999000, list);
    return list.size() == photos;
}

// Runs work in a child; returns its wall time in seconds (negative on failure).
template <class Work> double timeInChild(Work work) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        double start = now();
        bool ok = work();
        double elapsed = ok ? now() - start : -1;
        if (write(fds[1], &elapsed, sizeof elapsed) != sizeof elapsed) _exit(2);
        _exit(0);
    }
    close(fds[1]);
    double elapsed = -1;
    if (read(fds[0], &elapsed, sizeof elapsed) != sizeof elapsed) elapsed = -1;
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    return elapsed;
}

// The largest peak resident size (bytes) of any child waited for so far.
double childrenPeak() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_maxrss) * 1024.0;
}

} // namespace

int main(int argc, char** argv) {
    int photos = argc > 1 ? atoi(argv[1]) : 50000;
    int runs = argc > 2 ? atoi(argv[2]) : 3;
    char folderName[] = "/tmp/tessellan-benchXXXXXX";
    if (!mkdtemp(folderName)) {
        perror("mkdtemp");
        return 1;
    }
    std::string folder = folderName, file = folder + "/AlbumData.xml";
    writeAlbumFile(file, photos);
    struct stat info;
    stat(file.c_str(), &info);
    double size = double(info.st_size);
    printf("album file: %d photos, %d albums, %.1f MiB\n", photos, kAlbums, size / 1048576);

    // A child that does nothing shows what every child starts with.
    timeInChild([] { return true; });
    double baseline = childrenPeak();

    double expat = 1e9, store = 1e9;
    for (int i = 0; i < runs; ++i) {
        double t = timeInChild([&] { return walkWithExpat(file); });
        if (t < 0) {
            fprintf(stderr, "expat failed\n");
            return 1;
        }
        expat = std::min(expat, t);
    }
    double expatPeak = childrenPeak();
    for (int i = 0; i < runs; ++i) {
        double t = timeInChild([&] { return loadLibrary(folder, size_t(photos)); });
        if (t < 0) {
            fprintf(stderr, "PhotoLibrary load or listing failed\n");
            return 1;
        }
        store = std::min(store, t);
    }
    double storePeak = childrenPeak();

    std::string command = "rm -rf '" + folder + "'";
    if (system(command.c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder.c_str());

    printf("(a) expat, empty callbacks:        %8.1f ms   peak +%.1f MiB\n", expat * 1e3,
           (expatPeak - baseline) / 1048576);
    printf("(b) PhotoLibrary + getPhotoList:   %8.1f ms   peak +%.1f MiB\n", store * 1e3,
           (storePeak - baseline) / 1048576);
    printf("time ratio (b)/(a):   %.2fx (target <= 2.5x)\n", store / expat);
    printf("memory / file size:   %.2fx (target <= 2x)\n", (storePeak - baseline) / size);
    return 0;
}
