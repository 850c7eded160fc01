// pictures_http_bench.cpp - pictures through the running server: a 4000x3000 JPEG shrunk into a
// 1024x768 box over HTTP against the same decode and encode by a bare libjpeg loop, and
// thumbnails per second with wrk.
//
// The server runs as its own process (the tessellan beside this program); its share of the work
// is read from its processor time in /proc, which other programs on the machine disturb far less
// than wall-clock time. Targets: at most 1.15 times the bare loop, at least 500 thumbnails per
// second on one core.
#include "BenchPictures.h"
#include "cf/CFPropertyList.h"

#include <arpa/inet.h>
#include <csignal>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sstream>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace bench;

namespace {

// The server's processor time (user and system) in seconds, from /proc/PID/stat.
double processSeconds(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(text.rfind(')') + 2));
    std::string skip;
    for (int i = 0; i < 11; ++i)
        fields >> skip;
    double user = 0, system = 0;
    fields >> user >> system;
    return (user + system) / double(sysconf(_SC_CLK_TCK));
}

int connectTo(int port) {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        close(fd);
        return -1;
    }
    int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    return fd;
}

// Sends one request on the connection and reads its reply whole; returns the body's size.
size_t fetch(int fd, const std::string& target) {
    std::string request = "GET " + target + " HTTP/1.1\r\nHost: bench\r\n\r\n";
    if (send(fd, request.data(), request.size(), 0) != ssize_t(request.size())) exit(1);
    std::string reply;
    char buffer[65536];
    size_t headerEnd = std::string::npos, length = 0;
    for (;;) {
        ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) exit(1);
        reply.append(buffer, size_t(n));
        if (headerEnd == std::string::npos &&
            (headerEnd = reply.find("\r\n\r\n")) != std::string::npos) {
            size_t at = reply.find("Content-Length: ");
            length = std::stoul(reply.substr(at + 16));
            headerEnd += 4;
        }
        if (headerEnd != std::string::npos && reply.size() >= headerEnd + length) return length;
    }
}

} // namespace

int main(int, char** argv) {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string dir = dirTemplate, big = dir + "/big.jpg", thumb = dir + "/thumb.jpg";
    writePicture(big, 4000, 3000, 90);
    writePicture(thumb, 160, 120, 75);

    int port = 20000 + int(getpid() % 30000);
    std::ofstream(dir + "/AlbumData.xml")
        << "<plist><dict><key>List of "
           "Albums</key><array><dict><key>AlbumId</key><integer>1</integer>"
           "<key>KeyList</key><array><string>1</string></array></dict></array><key>Master Image "
           "List</key>"
           "<dict><key>1</key><dict><key>ImagePath</key><string>"
        << big << "</string><key>ThumbPath</key><string>" << thumb
        << "</string><key>MediaType</key><string>Image</string><key>Caption</key><string>c</string>"
           "<key>Comment</key><string></string><key>DateAsTimerInterval</key><real>0</real>"
           "<key>ModDateAsTimerInterval</key><real>0</real><key>MetaModDateAsTimerInterval</"
           "key><real>0</real>"
           "</dict></dict></dict></plist>";
    std::ofstream(dir + "/prefs.plist") << "<plist><dict><key>port</key><integer>" << port
                                        << "</integer><key>siteLayout</key><string>Default</"
                                           "string><key>libraries</key><array><dict>"
                                           "<key>id</key><integer>0</integer><key>name</"
                                           "key><string>b</string><key>path</key><string>"
                                        << dir
                                        << "</string><key>albums</key><array><integer>1</integer></"
                                           "array></dict></array></dict></plist>";

    std::string exe = argv[0];
    exe = exe.substr(0, exe.rfind('/') + 1) + "tessellan";
    pid_t server = fork();
    if (server == 0) {
        freopen("/dev/null", "w", stdout);
        std::string prefs = dir + "/prefs.plist";
        execl(exe.c_str(), exe.c_str(), "--prefs", prefs.c_str(), nullptr);
        _exit(127);
    }
    int fd = -1;
    for (int i = 0; i < 200 && fd < 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        fd = connectTo(port);
    }
    if (fd < 0) {
        fprintf(stderr, "the server at %s did not start\n", exe.c_str());
        return 1;
    }

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
    std::string command = "wrk -t1 -c8 -d5s 'http://127.0.0.1:" + std::to_string(port) +
                          "/thumbnail/?l=0&a=1&p=1' 2>&1";
    double cpuBefore = processSeconds(server);
    FILE* wrk = popen(command.c_str(), "r");
    double rate = 0;
    char line[512];
    while (wrk && fgets(line, sizeof line, wrk))
        if (sscanf(line, "Requests/sec: %lf", &rate) == 1) break;
    if (wrk) pclose(wrk);
    double cpu = processSeconds(server) - cpuBefore;
    if (rate > 0) {
        printf(
            "160x120 thumbnails through HTTP with wrk (-c8, 5 s): %.0f per second, %.0f per server "
            "processor second  (target >= 500 on one core)\n",
            rate, cpu > 0 ? rate * 5 / cpu : 0.0);
    } else {
        printf("thumbnails: wrk is not installed (apt-get install wrk)\n");
    }

    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
    std::string clean = "rm -rf '" + dir + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
