// album_load_bench.cpp - loading a large album file, and looking things up in it, against
// references from the same run.
//
// Writes AlbumData.xml files of 50,000 photos and 200 albums into temporary folders, then
// measures in forked children (so each peak RSS is the child's own):
//   (a) expat walking the file with empty callbacks;
//   (b) PhotoLibrary loading it, every stored path under its "Archive Path" (so every path is
//       resolved against the library folder), and listing the album holding every photo;
//   (c) the same file whose "Archive Path" matches no stored path (nothing resolved).
// Targets: (b) within 2.5x the time of (a), and its peak memory above the process's baseline
// within 2x the file size; (b) at most 1.05x (c), in wall time and in processor time (the
// latter moves far less on a busy machine).
// Then, in this process, the lookups of each request against the 50,000-photo album and a
// 23-photo one through the registry: a page of 24 records (getpics), one record (getpicinfo),
// a thumbnail path (/thumbnail/) and a picture's record (/image/). Target: each at most 1.5x
// its cost on the small album.
//
// Usage: album_load_bench [photos] [runs]
#include "AlbumFileWriter.h"
#include "library/LibraryRegistry.h"
#include "library/PhotoLibrary.h"
#include "settings/PreferenceStore.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <expat.h>
#include <optional>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

double clockSeconds(clockid_t clock) {
    timespec t;
    clock_gettime(clock, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

double now() {
    return clockSeconds(CLOCK_MONOTONIC);
}

// Processor time of this process (user and system, page faults included): on a loaded machine
// it moves far less than the wall time.
double processorTime() {
    return clockSeconds(CLOCK_PROCESS_CPUTIME_ID);
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

// (b), (c): the store loading the file and listing the album of every photo.
bool loadLibrary(const std::string& folder, size_t photos) {
    PhotoLibrary* library = PhotoLibrary::getLibrary(folder);
    if (!library) return false;
    std::vector<PhotoInfo> list;
    library->getPhotoList(999000, list);
    return list.size() == photos;
}

// Runs work in a child; returns its wall time in seconds (negative on failure), and its
// processor time in *processor when given.
template <class Work> double timeInChild(Work work, double* processor = nullptr) {
    int fds[2];
    if (pipe(fds) != 0) return -1;
    pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        double start = now(), startProcessor = processorTime();
        bool ok = work();
        double elapsed[2] = {ok ? now() - start : -1, processorTime() - startProcessor};
        if (write(fds[1], elapsed, sizeof elapsed) != sizeof elapsed) _exit(2);
        _exit(0);
    }
    close(fds[1]);
    double elapsed[2] = {-1, -1};
    if (read(fds[0], elapsed, sizeof elapsed) != sizeof elapsed) elapsed[0] = -1;
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return -1;
    if (processor) *processor = elapsed[1];
    return elapsed[0];
}

// The largest peak resident size (bytes) of any child waited for so far.
double childrenPeak() {
    rusage usage;
    getrusage(RUSAGE_CHILDREN, &usage);
    return double(usage.ru_maxrss) * 1024.0;
}

// Seconds per call of op(i), over enough calls to take about a fifth of a second.
template <class Op> double perCall(Op op) {
    int calls = 1;
    for (;;) {
        double start = now();
        for (int i = 0; i < calls; ++i)
            op(i);
        double elapsed = now() - start;
        if (elapsed > 0.2) return elapsed / calls;
        calls *= 2;
    }
}

volatile size_t sink; // keeps the lookups from being optimised away

struct Lookups {
    double page, record, thumbnail, picture, copiedList;
};

// The lookups of one request each, against album 999000 of library id (photos of it).
Lookups timeLookups(unsigned id, size_t photos) {
    const unsigned album = 999000;
    libGetAlbumPhotos(id, album); // loads the album file
    Lookups result;
    result.page = perCall([&](int i) {
        std::optional<AlbumPhotos> list = libGetAlbumPhotos(id, album);
        size_t first = size_t(i) * 7 % list->size(), end = std::min(first + 24, list->size());
        for (size_t k = first; k < end; ++k)
            sink = sink + size_t((*list)[k].id) + size_t(CFStringGetLength((*list)[k].caption));
    });
    result.record = perCall([&](int i) {
        std::optional<AlbumPhotos> list = libGetAlbumPhotos(id, album);
        const PhotoInfo& photo = (*list)[size_t(i) % list->size()];
        sink = sink + size_t(CFStringGetLength(photo.imagePath.resolved())) + size_t(photo.date);
    });
    result.thumbnail = perCall([&](int i) {
        CFString_t path = libGetImagePath(id, album, unsigned(1000 + size_t(i) % photos), true);
        sink = sink + size_t(CFStringGetLength(path));
    });
    result.picture = perCall([&](int i) {
        std::optional<AlbumPhotos> list = libGetAlbumPhotos(id, album);
        sink = sink +
               size_t(CFStringGetLength((*list)[size_t(i) % list->size()].imagePath.resolved()));
    });
    result.copiedList = perCall([&](int) {
        std::vector<PhotoInfo> list;
        libGetPhotoList(id, album, list);
        sink = sink + list.size();
    });
    return result;
}

} // namespace

int main(int argc, char** argv) {
    int photos = argc > 1 ? atoi(argv[1]) : 50000;
    int runs = argc > 2 ? atoi(argv[2]) : 3;
    const int smallPhotos = 23;
    char folderName[] = "/tmp/tessellan-benchXXXXXX";
    if (!mkdtemp(folderName)) {
        perror("mkdtemp");
        return 1;
    }
    std::string folder = folderName;
    std::string moved = folder + "/Old Library \xC3\xA9t\xC3\xA9", kept = folder + "/Kept",
                small = folder + "/Small";
    for (const std::string& f : {moved, kept, small})
        mkdir(f.c_str(), 0755);
    // The same file twice but for its archive path, which in (c) differs from every stored
    // path at its fifth character.
    writeAlbumFile(moved + "/AlbumData.xml", photos, kOldHome);
    writeAlbumFile(kept + "/AlbumData.xml", photos, "/hom_/ana/Pictures/Old Library");
    writeAlbumFile(small + "/AlbumData.xml", smallPhotos, kOldHome);
    struct stat info;
    stat((moved + "/AlbumData.xml").c_str(), &info);
    double size = double(info.st_size);
    printf("album file: %d photos, %d albums, %.1f MiB\n", photos, kAlbums, size / 1048576);

    // A child that does nothing shows what every child starts with.
    timeInChild([] { return true; });
    double baseline = childrenPeak();

    double expat = 1e9, store = 1e9, plain = 1e9, storeProcessor = 1e9, plainProcessor = 1e9;
    for (int i = 0; i < runs; ++i) {
        double t = timeInChild([&] { return walkWithExpat(moved + "/AlbumData.xml"); });
        if (t < 0) {
            fprintf(stderr, "expat failed\n");
            return 1;
        }
        expat = std::min(expat, t);
    }
    double expatPeak = childrenPeak();
    double storePeak = 0;
    for (int i = 0; i < runs; ++i) {
        // Interleaved, so both see the same machine.
        double withProcessor = 0, withoutProcessor = 0;
        double with =
            timeInChild([&] { return loadLibrary(moved, size_t(photos)); }, &withProcessor);
        storePeak = childrenPeak();
        double without =
            timeInChild([&] { return loadLibrary(kept, size_t(photos)); }, &withoutProcessor);
        if (with < 0 || without < 0) {
            fprintf(stderr, "PhotoLibrary load or listing failed\n");
            return 1;
        }
        store = std::min(store, with);
        plain = std::min(plain, without);
        storeProcessor = std::min(storeProcessor, withProcessor);
        plainProcessor = std::min(plainProcessor, withoutProcessor);
    }

    // The lookups, through the registry as the responders make them.
    std::string prefs = folder + "/prefs.plist";
    FILE* out = fopen(prefs.c_str(), "w");
    fprintf(out,
            "<plist><dict><key>libraries</key><array>"
            "<dict><key>id</key><integer>1</integer><key>name</key><string>Big</string>"
            "<key>path</key><string>%s</string><key>albums</key><array><integer>999000</integer>"
            "</array></dict>"
            "<dict><key>id</key><integer>2</integer><key>name</key><string>Small</string>"
            "<key>path</key><string>%s</string><key>albums</key><array><integer>999000</integer>"
            "</array></dict></array></dict></plist>\n",
            moved.c_str(), small.c_str());
    fclose(out);
    CFPreferencesSetPath(prefs);
    Lookups big = timeLookups(1, size_t(photos)), few = timeLookups(2, smallPhotos);

    std::string command = "rm -rf '" + folder + "'";
    if (system(command.c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder.c_str());

    printf("(a) expat, empty callbacks:               %8.1f ms   peak +%.1f MiB\n", expat * 1e3,
           (expatPeak - baseline) / 1048576);
    printf("(b) PhotoLibrary + getPhotoList:          %8.1f ms   peak +%.1f MiB\n", store * 1e3,
           (storePeak - baseline) / 1048576);
    printf("(c) the same, no path resolved:           %8.1f ms\n", plain * 1e3);
    printf("time ratio (b)/(a):   %.2fx (target <= 2.5x)\n", store / expat);
    printf("memory / file size:   %.2fx (target <= 2x)\n", (storePeak - baseline) / size);
    printf("resolving paths (b)/(c): %.3fx (target <= 1.05x)\n", store / plain);
    printf("  in processor time:     %.3fx (target <= 1.05x; %.1f ms against %.1f ms)\n",
           storeProcessor / plainProcessor, storeProcessor * 1e3, plainProcessor * 1e3);
    printf("per request, %d photos vs %d photos (target <= 1.5x):\n", photos, smallPhotos);
    auto row = [](const char* what, double large, double tiny, bool target) {
        printf("  %-44s %9.2f us %9.2f us  %6.2fx%s\n", what, large * 1e6, tiny * 1e6, large / tiny,
               target ? "" : "  (no target)");
    };
    row("getpics: libGetAlbumPhotos + 24 records", big.page, few.page, true);
    row("getpicinfo: libGetAlbumPhotos + 1 record", big.record, few.record, true);
    row("/thumbnail/: libGetImagePath", big.thumbnail, few.thumbnail, true);
    row("/image/: libGetAlbumPhotos + 1 record", big.picture, few.picture, true);
    row("libGetPhotoList (copies every record)", big.copiedList, few.copiedList, false);
    printf("(figures from a shared machine: expect noise of several per cent)\n");
    return 0;
}
