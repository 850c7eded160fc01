// films_vs_nginx.cpp - big files through the connection engine: ten clients streaming a 1 GiB
// film with wrk, against nginx (one worker, sendfile on) serving the same file in the same run,
// the server's peak memory meanwhile, and fifty clients that ask for a 20 MB original and never
// read. The engine answers with a file-body handler of this benchmark (the picture responders
// hand the engine the same kind of body). Servers run on one core and wrk on the other.
// Targets: throughput at least 0.8 times nginx's; peak memory at most 64 MB in both cases.
#include "BenchServer.h"
#include "app/Startup.h"
#include "http/EventLoop.h"
#include "http/HttpContext.h"
#include "http/Server.h"

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>
#include <vector>

using namespace bench;

namespace {

std::string folder; // the files served

std::unique_ptr<HttpReply> serveFile(const HttpRequest& request) {
    int fd = open((folder + request.url()).c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info;
    if (fd < 0 || fstat(fd, &info) != 0) {
        if (fd >= 0) close(fd);
        return std::make_unique<HttpReply>(404);
    }
    auto reply = std::make_unique<HttpReply>(200);
    reply->setHeader("Content-Type", "video/quicktime");
    reply->setFileBody(fd, 0, uint64_t(info.st_size));
    return reply;
}

pid_t startEngine(int port, int core) {
    fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        pinToCore(core);
        HttpEngineConfig config;
        config.handler = [](void*, const HttpRequest& request) {
            return HttpAnswer{serveFile(request), nullptr};
        };
        config.classifier = [](void*, const HttpRequest&) { return HttpWorkKind::Heavy; };
        HttpContextConfigure(config);
        ServerContext context = {};
        Server* server = ServerCreate(AcceptConnection, &context);
        if (!server || !ServerConnect(server, nullptr, nullptr, uint32_t(port))) _exit(1);
        uv_run(EventLoop(), UV_RUN_DEFAULT);
        _exit(0);
    }
    return child;
}

// Bytes per second that wrk moved from url with clients connections for seconds.
double wrkRate(const std::string& url, int clients, int seconds, int core) {
    std::string command = "taskset -c " + std::to_string(core) + " wrk -t2 -c" +
                          std::to_string(clients) + " -d" + std::to_string(seconds) + "s " + url +
                          " 2>&1";
    FILE* wrk = popen(command.c_str(), "r");
    double rate = 0;
    char line[512], unit[8] = "";
    while (wrk && fgets(line, sizeof line, wrk))
        if (sscanf(line, "Transfer/sec: %lf%7s", &rate, unit) == 2) break;
    if (wrk) pclose(wrk);
    double scale = unit[0] == 'G'   ? 1 << 30
                   : unit[0] == 'M' ? 1 << 20
                   : unit[0] == 'K' ? 1 << 10
                                    : 1;
    return rate * scale;
}

void writeFile(const std::string& path, uint64_t size) {
    std::vector<char> block(1 << 20);
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = char('a' + i % 23);
    FILE* file = fopen(path.c_str(), "wb");
    for (uint64_t written = 0; written < size; written += block.size())
        fwrite(block.data(), 1, size_t(std::min<uint64_t>(block.size(), size - written)), file);
    fclose(file);
}

} // namespace

int main() {
    char dirTemplate[] = "/tmp/tessellan-bench-XXXXXX";
    if (!mkdtemp(dirTemplate)) return 1;
    folder = dirTemplate;
    writeFile(folder + "/film.mov", 1ull << 30);
    writeFile(folder + "/original.jpg", 20 << 20);
    bool twoCores = sysconf(_SC_NPROCESSORS_ONLN) >= 2;
    int serverCore = twoCores ? 1 : 0, clientCore = 0;
    int enginePort = 20000 + int(getpid() % 20000), nginxPort = enginePort + 20000;
    pid_t engine = startEngine(enginePort, serverCore);
    waitForPort(enginePort, "the engine");
    pid_t nginx = startNginx(folder, nginxPort, serverCore, "video/quicktime");

    const int seconds = 8, rounds = 3;
    std::vector<double> ours, theirs;
    wrkRate("http://127.0.0.1:" + std::to_string(enginePort) + "/film.mov", 10, 2, clientCore);
    for (int i = 0; i < rounds; ++i) {
        ours.push_back(wrkRate("http://127.0.0.1:" + std::to_string(enginePort) + "/film.mov", 10,
                               seconds, clientCore));
        theirs.push_back(wrkRate("http://127.0.0.1:" + std::to_string(nginxPort) + "/film.mov", 10,
                                 seconds, clientCore));
    }
    std::sort(ours.begin(), ours.end());
    std::sort(theirs.begin(), theirs.end());
    double ourRate = ours[rounds / 2], theirRate = theirs[rounds / 2];
    double streamingPeak = peakMegabytes(engine);
    printf("10 clients streaming a 1 GiB film (wrk, medians of %d runs of %d s):\n", rounds,
           seconds);
    printf("  engine %7.0f MB/s   nginx (sendfile on) %7.0f MB/s   ratio %.2f  (target >= 0.80)\n",
           ourRate / (1 << 20), theirRate / (1 << 20), ourRate / theirRate);
    printf("  engine peak memory %.1f MB  (target <= 64)\n", streamingPeak);

    std::vector<int> stalled;
    for (int i = 0; i < 50; ++i) {
        int fd = connectTo(enginePort);
        std::string request = "GET /original.jpg HTTP/1.1\r\nHost: bench\r\n\r\n";
        if (fd >= 0 && send(fd, request.data(), request.size(), 0) > 0) stalled.push_back(fd);
    }
    std::this_thread::sleep_for(std::chrono::seconds(3));
    printf("50 clients asking for a 20 MB original and never reading (%zu connected): engine peak "
           "memory %.1f MB  (target <= 64)\n",
           stalled.size(), peakMegabytes(engine));
    for (int fd : stalled)
        close(fd);
    stopServer(engine);
    stopServer(nginx);
    std::string clean = "rm -rf '" + folder + "'";
    return system(clean.c_str()) == 0 ? 0 : 1;
}
