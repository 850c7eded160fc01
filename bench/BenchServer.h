// BenchServer.h - what the benchmarks that talk to a running server share: a one-picture library
// and its preferences, starting the tessellan beside the benchmark, connecting, fetching a reply
// whole, and reading a process's processor time and peak memory from /proc.
#pragma once

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace bench {

// A process's processor time (user and system) in seconds, from /proc/PID/stat.
inline double processSeconds(pid_t pid) {
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

// A process's peak resident memory in MB (VmHWM), or 0 when it cannot be read.
inline double peakMegabytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmHWM:", 0) == 0) return std::stod(line.substr(6)) / 1024;
    return 0;
}

// A port nothing listens on now (the system's pick), for a server about to start.
inline int freePort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

inline int connectTo(int port) {
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

// Sends one request on the connection and reads its reply whole; returns the body's size, or
// -1 when the connection failed.
inline long fetch(int fd, const std::string& target) {
    std::string request = "GET " + target + " HTTP/1.1\r\nHost: bench\r\n\r\n";
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != ssize_t(request.size()))
        return -1;
    std::string reply;
    char buffer[65536];
    size_t headerEnd = std::string::npos, length = 0;
    for (;;) {
        ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) return -1;
        reply.append(buffer, size_t(n));
        if (headerEnd == std::string::npos &&
            (headerEnd = reply.find("\r\n\r\n")) != std::string::npos) {
            size_t at = reply.find("Content-Length: ");
            length = std::stoul(reply.substr(at + 16));
            headerEnd += 4;
        }
        if (headerEnd != std::string::npos && reply.size() >= headerEnd + length)
            return long(length);
    }
}

// Writes DIR/AlbumData.xml with one album holding one picture, and DIR/prefs.plist publishing
// it on port; returns the preferences' path.
inline std::string writeOnePictureLibrary(const std::string& dir, const std::string& picture,
                                          const std::string& thumb, int port) {
    std::ofstream(dir + "/AlbumData.xml")
        << "<plist><dict><key>List of "
           "Albums</key><array><dict><key>AlbumId</key><integer>1</integer>"
           "<key>KeyList</key><array><string>1</string></array></dict></array><key>Master Image "
           "List</key>"
           "<dict><key>1</key><dict><key>ImagePath</key><string>"
        << picture << "</string><key>ThumbPath</key><string>" << thumb
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
    return dir + "/prefs.plist";
}

// Starts the tessellan beside this benchmark (argv0 names the benchmark) with prefs, its output
// thrown away, and waits until it answers on port. With openFiles, the server may hold at most
// that many descriptors. Returns its pid; exits the benchmark when it does not come up.
inline pid_t startServer(const std::string& argv0, const std::string& prefs, int port,
                         rlim_t openFiles = 0) {
    std::string exe = argv0.substr(0, argv0.rfind('/') + 1) + "tessellan";
    fflush(stdout); // or the child would print what this process has not written out yet
    pid_t server = fork();
    if (server == 0) {
        if (!freopen("/dev/null", "w", stdout)) _exit(127);
        if (openFiles) {
            rlimit limit = {openFiles, openFiles};
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        execl(exe.c_str(), exe.c_str(), "--prefs", prefs.c_str(), nullptr);
        _exit(127);
    }
    for (int i = 0; i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        int fd = connectTo(port);
        if (fd >= 0) {
            close(fd);
            return server;
        }
    }
    fprintf(stderr, "the server at %s did not start\n", exe.c_str());
    exit(1);
}

// Keeps the calling process (and the threads and children it makes from now on) on one core.
inline void pinToCore(int core) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(core, &set);
    sched_setaffinity(0, sizeof set, &set);
}

// Waits until something answers on port; exits the benchmark when nothing does.
inline void waitForPort(int port, const char* what) {
    for (int i = 0; i < 200; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        int fd = connectTo(port);
        if (fd >= 0) {
            close(fd);
            return;
        }
    }
    fprintf(stderr, "%s did not start\n", what);
    exit(1);
}

// Starts nginx with one worker and sendfile on, on core, serving the files of root with
// defaultType on port; its configuration and logs go to root. Returns its pid once it answers.
inline pid_t startNginx(const std::string& root, int port, int core, const char* defaultType) {
    std::ofstream(root + "/nginx.conf")
        << "worker_processes 1;\ndaemon off;\nmaster_process off;\npid " << root
        << "/nginx.pid;\nerror_log " << root << "/nginx-error.log;\n"
        << "events { worker_connections 1024; }\nhttp {\n access_log off;\n sendfile on;\n"
           " keepalive_requests 1000000;\n default_type "
        << defaultType << ";\n server { listen 127.0.0.1:" << port << "; root " << root
        << "; }\n}\n";
    fflush(stdout);
    pid_t child = fork();
    if (child == 0) {
        pinToCore(core);
        std::string conf = root + "/nginx.conf";
        execlp("nginx", "nginx", "-c", conf.c_str(), nullptr);
        _exit(127);
    }
    waitForPort(port, "nginx (apt-get install nginx-light)");
    return child;
}

// Replies per second wrk reported for url with its arguments (e.g. "-t1 -c8 -d5s"), run on
// core when core >= 0; 0 when wrk is missing or failed.
inline double wrkRepliesPerSecond(const std::string& url, const std::string& arguments,
                                  int core = -1) {
    std::string command = (core >= 0 ? "taskset -c " + std::to_string(core) + " " : "") + "wrk " +
                          arguments + " '" + url + "' 2>&1";
    FILE* wrk = popen(command.c_str(), "r");
    double rate = 0;
    char line[512];
    while (wrk && fgets(line, sizeof line, wrk))
        if (sscanf(line, "Requests/sec: %lf", &rate) == 1) break;
    if (wrk) pclose(wrk);
    return rate;
}

inline void stopServer(pid_t server) {
    kill(server, SIGTERM);
    waitpid(server, nullptr, 0);
}

} // namespace bench
