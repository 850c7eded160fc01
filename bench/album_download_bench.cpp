// album_download_bench.cpp - an album of 40 originals of 25 MB (1 GB in all) downloaded as one
// ZIP archive through the running tessellan by a client that reads as fast as it can, against
// nginx (one worker, sendfile on) serving one file of the same total size in the same run, and
// the server's peak memory meanwhile. Servers run on one core and the client on the other.
// Targets: throughput at least 0.8 times nginx's; peak memory at most 64 MB.
#include "BenchServer.h"

#include <algorithm>
#include <random>
#include <vector>

using namespace bench;

namespace {

constexpr int kPhotos = 40;
constexpr size_t kPhotoBytes = 25'000'000;

// A file of size bytes that starts like a JPEG and goes on with noise (nothing to compress).
void writePhoto(const std::string& path, size_t size, uint64_t seed) {
    std::vector<uint64_t> noise(size / 8 + 1);
    std::mt19937_64 random(seed);
    for (uint64_t& word : noise)
        word = random();
    auto* bytes = reinterpret_cast<unsigned char*>(noise.data());
    const unsigned char head[] = {0xFF, 0xD8, 0xFF, 0xE0, 0x00, 0x10, 'J', 'F', 'I', 'F', 0};
    std::copy(std::begin(head), std::end(head), bytes);
    std::ofstream(path, std::ios::binary).write(reinterpret_cast<char*>(bytes), long(size));
}

// Asks for target and reads the reply to its end, dropping the bytes; returns the body's length
// (-1 on failure) and the seconds it took.
std::pair<long, double> download(int port, const std::string& target) {
    int fd = connectTo(port);
    std::string request = "GET " + target + " HTTP/1.1\r\nHost: bench\r\nConnection: close\r\n\r\n";
    auto start = std::chrono::steady_clock::now();
    if (fd < 0 || send(fd, request.data(), request.size(), MSG_NOSIGNAL) <= 0) return {-1, 0};
    static char buffer[1 << 20];
    std::string head;
    long body = 0;
    for (;;) {
        ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) break;
        if (head.find("\r\n\r\n") == std::string::npos) {
            head.append(buffer, size_t(n));
            size_t end = head.find("\r\n\r\n");
            if (end != std::string::npos) body = long(head.size() - end - 4);
        } else {
            body += n;
        }
    }
    close(fd);
    double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    size_t at = head.find("Content-Length: ");
    if (at == std::string::npos || std::stol(head.substr(at + 16)) != body) return {-1, seconds};
    return {body, seconds};
}

double medianRate(std::vector<double> rates) {
    std::sort(rates.begin(), rates.end());
    return rates[rates.size() / 2];
}

} // namespace

int main(int, char** argv) {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    std::string folder = dirTemplate;
    std::string photos, keys;
    for (int i = 1; i <= kPhotos; ++i) {
        std::string path = folder + "/IMG_" + std::to_string(i) + ".JPG";
        writePhoto(path, kPhotoBytes, uint64_t(i));
        photos += "<key>" + std::to_string(i) + "</key><dict><key>ImagePath</key><string>" + path +
                  "</string><key>ThumbPath</key><string>" + path +
                  "</string><key>MediaType</key><string>Image</string>"
                  "<key>Caption</key><string>c</string><key>Comment</key><string></string>"
                  "<key>DateAsTimerInterval</key><real>0</real><key>ModDateAsTimerInterval</key>"
                  "<real>0</real><key>MetaModDateAsTimerInterval</key><real>0</real></dict>";
        keys += "<string>" + std::to_string(i) + "</string>";
    }
    std::ofstream(folder + "/AlbumData.xml")
        << "<plist><dict><key>List of Albums</key><array><dict><key>AlbumId</key><integer>1"
           "</integer><key>AlbumName</key><string>Bench</string><key>KeyList</key><array>"
        << keys << "</array></dict></array><key>Master Image List</key><dict>" << photos
        << "</dict></dict></plist>";
    writePhoto(folder + "/whole.bin", size_t(kPhotos) * kPhotoBytes, 0);

    bool twoCores = sysconf(_SC_NPROCESSORS_ONLN) >= 2;
    int serverCore = twoCores ? 1 : 0, clientCore = 0;
    int port = freePort(), nginxPort = freePort();
    std::string prefs = folder + "/prefs.plist";
    std::ofstream(prefs) << "<plist><dict><key>port</key><integer>" << port
                         << "</integer><key>siteLayout</key><string>Default</string>"
                            "<key>libraries</key><array><dict><key>id</key><integer>0</integer>"
                            "<key>name</key><string>b</string><key>path</key><string>"
                         << folder
                         << "</string><key>albums</key><array><integer>1</integer></array>"
                            "<key>FullSizeDownload</key><true/></dict></array></dict></plist>";
    // Set before the server makes its worker threads, which then keep to the same core.
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(serverCore, &set);
    pid_t nginx = startNginx(folder, nginxPort, serverCore, "application/octet-stream");
    pid_t server = startServer(argv[0], prefs, port);
    sched_setaffinity(server, sizeof set, &set);
    pinToCore(clientCore);

    const int rounds = 5;
    std::vector<double> ours, theirs;
    long zipBytes = 0, fileBytes = 0;
    download(port, "/download/?l=0&a=1"); // the files into the page cache
    download(nginxPort, "/whole.bin");
    for (int i = 0; i < rounds; ++i) {
        auto [zip, zipSeconds] = download(port, "/download/?l=0&a=1");
        auto [file, fileSeconds] = download(nginxPort, "/whole.bin");
        if (zip < 0 || file < 0) {
            fprintf(stderr, "a download failed\n");
            stopServer(server);
            stopServer(nginx);
            return 1;
        }
        zipBytes = zip;
        fileBytes = file;
        ours.push_back(double(zip) / zipSeconds);
        theirs.push_back(double(file) / fileSeconds);
    }
    double ourRate = medianRate(ours), theirRate = medianRate(theirs);
    printf("an album of %d originals of %zu MB downloaded as one ZIP (%ld bytes), one client "
           "(medians of %d runs):\n",
           kPhotos, kPhotoBytes / 1000000, zipBytes, rounds);
    printf("  tessellan %7.0f MB/s   nginx (sendfile on) one file of %ld bytes %7.0f MB/s   "
           "ratio %.2f  (target >= 0.80)\n",
           ourRate / (1 << 20), fileBytes, theirRate / (1 << 20), ourRate / theirRate);
    printf("  tessellan peak memory %.1f MB  (target <= 64)\n", peakMegabytes(server));
    stopServer(server);
    stopServer(nginx);
    std::string clean = "rm -rf '" + folder + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
