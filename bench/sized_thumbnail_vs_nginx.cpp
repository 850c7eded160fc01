// sized_thumbnail_vs_nginx.cpp - a 1024-pixel sized thumbnail of a 12 MP photo asked for again
// and again once it is made: the server answers from its made-pictures cache, against nginx (one
// worker, sendfile on) serving the same bytes as a plain file in the same run. Both servers run
// on core 0 and wrk on core 1. Target: at least 0.8 times nginx's replies per second.
#include "BenchPictures.h"
#include "BenchServer.h"

#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

using namespace bench;

int main(int, char** argv) {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string dir = dirTemplate, big = dir + "/big.jpg", thumb = dir + "/thumb.jpg";
    std::string www = dir + "/www";
    mkdir(www.c_str(), 0755);
    writePicture(big, 4000, 3000, 90);
    writePicture(thumb, 240, 180, 75);
    setenv("XDG_CACHE_HOME", (dir + "/cache").c_str(), 1);

    int port = freePort(), nginxPort = freePort();
    std::string prefs = writeOnePictureLibrary(dir, big, thumb, port);
    pinToCore(0);
    pid_t server = startServer(argv[0], prefs, port);
    pid_t nginx = startNginx(www, nginxPort, 0, "image/jpeg");
    pinToCore(1);

    std::string path = "/thumbnail/?l=0&a=1&p=1&size=1024";
    std::string url = "http://127.0.0.1:" + std::to_string(port) + path;
    std::string copy = "curl -s -o '" + www + "/sized.jpg' '" + url + "'";
    struct stat made;
    if (system(copy.c_str()) != 0 || stat((www + "/sized.jpg").c_str(), &made) != 0) {
        fprintf(stderr, "could not fetch %s (curl installed?)\n", url.c_str());
        return 1;
    }
    double ours = wrkRepliesPerSecond(url, "-t1 -c8 -d5s", 1);
    double theirs = wrkRepliesPerSecond(
        "http://127.0.0.1:" + std::to_string(nginxPort) + "/sized.jpg", "-t1 -c8 -d5s", 1);
    if (ours <= 0 || theirs <= 0) {
        printf("wrk is not installed (apt-get install wrk)\n");
    } else {
        printf("1024-px sized thumbnail of a 4000x3000 photo (%lld bytes), asked again once made "
               "(wrk -t1 -c8, 5 s, servers on one core):\n",
               (long long)made.st_size);
        printf("  tessellan %8.0f replies/s   nginx (sendfile on) %8.0f replies/s   ratio %.2f  "
               "(target >= 0.80)\n",
               ours, theirs, ours / theirs);
    }
    stopServer(nginx);
    stopServer(server);
    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
