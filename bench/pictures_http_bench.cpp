// pictures_http_bench.cpp - pictures through the running server: a 4000x3000 JPEG shrunk into a
// 1024x768 box over HTTP against the same decode and encode by a bare libjpeg loop, and
// thumbnails per second with wrk.
//
// The server runs as its own process (the tessellan beside this program); its share of the work
// is read from its processor time in /proc, which other programs on the machine disturb far less
// than wall-clock time. Targets: at most 1.15 times the bare loop, at least 500 thumbnails per
// second on one core.
#include "BenchPictures.h"
#include "BenchServer.h"

#include <fstream>
#include <unistd.h>

using namespace bench;

int main(int, char** argv) {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string dir = dirTemplate, big = dir + "/big.jpg", thumb = dir + "/thumb.jpg";
    writePicture(big, 4000, 3000, 90);
    writePicture(thumb, 160, 120, 75);

    int port = 20000 + int(getpid() % 30000);
    std::string prefs = writeOnePictureLibrary(dir, big, thumb, port);
    pid_t server = startServer(argv[0], prefs, port);
    int fd = connectTo(port);

    // 4000x3000 into 1024x768: 1/4 is the first reduction inside the box, so 1/2 is used; the
    // server encodes at the default image quality, 90.
    const std::string target = "/image/?l=0&a=1&i=0&mw=1024&mh=768";
    const int runs = 15;
    fetch(fd, target); // warm up: the library is loaded on the first request
    double served = 1e9, bare = 1e9;
    size_t servedSize = 0, bareSize = 0;
    for (int i = 0; i < runs; ++i) {
        double before = processSeconds(server);
        servedSize = fetch(fd, target);
        served = std::min(served, processSeconds(server) - before);
        bare = std::min(bare, cpuTime([&] { bareSize = bareTranscode(big, 2, 90); }));
    }
    // /proc counts in clock ticks: average over a batch as well, so a tick's rounding washes out.
    double before = processSeconds(server);
    for (int i = 0; i < runs; ++i)
        fetch(fd, target);
    double servedMean = (processSeconds(server) - before) / runs;
    double bareMean = cpuTime([&] {
                          for (int i = 0; i < runs; ++i)
                              bareTranscode(big, 2, 90);
                      }) /
                      runs;
    printf("4000x3000 into 1024x768 through HTTP (decoded at 1/2, quality 90), server processor "
           "time:\n");
    printf("  through HTTP      best %7.1f ms  mean %7.1f ms  (%zu bytes)\n", served * 1000,
           servedMean * 1000, servedSize);
    printf("  bare libjpeg loop best %7.1f ms  mean %7.1f ms  (%zu bytes)\n", bare * 1000,
           bareMean * 1000, bareSize);
    printf("  ratio of means    %7.3f  (target <= 1.15)\n", servedMean / bareMean);
    close(fd);

    // Thumbnails: wrk on one connection per core's worth of load.
    double cpuBefore = processSeconds(server);
    double rate = wrkRepliesPerSecond(
        "http://127.0.0.1:" + std::to_string(port) + "/thumbnail/?l=0&a=1&p=1", "-t1 -c8 -d5s");
    double cpu = processSeconds(server) - cpuBefore;
    if (rate > 0) {
        printf(
            "160x120 thumbnails through HTTP with wrk (-c8, 5 s): %.0f per second, %.0f per server "
            "processor second  (target >= 500 on one core)\n",
            rate, cpu > 0 ? rate * 5 / cpu : 0.0);
    } else {
        printf("thumbnails: wrk is not installed (apt-get install wrk)\n");
    }

    stopServer(server);
    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
