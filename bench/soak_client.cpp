// soak_client.cpp - the load side of bench/soak.sh: many keep-alive connections asking a
// running tessellan for a mix of pages, JSON, thumbnails, shrunk pictures, film ranges, album
// downloads and revalidations (304), while the server is sent SIGHUP and its album file is
// rewritten under it; then thousands of connections held open at once. Prints requests served,
// errors, latency percentiles and the server's resident memory beside their targets.
//
// Usage: soak_client --port N --pid PID --album FILE [--seconds S] [--warmup S]
//                    [--connections N] [--think-ms MS] [--hup-every S] [--rewrite-every S]
//                    [--held N] [--hold-seconds S] [--growth-limit MB]
#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <queue>
#include <random>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

int64_t nowUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch())
        .count();
}

struct Options {
    int port = 0;
    pid_t pid = 0;
    std::string album;
    double seconds = 30, warmup = 0, thinkMs = 1000, hupEvery = 3, rewriteEvery = 5;
    int connections = 1000, held = 5000;
    double holdSeconds = 10;
    double growthLimit = 5; // MB the server may grow after warm-up
};

// The server's resident memory in MB (VmRSS), 0 when it cannot be read.
double rssMegabytes(pid_t pid) {
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    std::string line;
    while (std::getline(status, line))
        if (line.rfind("VmRSS:", 0) == 0) return std::stod(line.substr(6)) / 1024;
    return 0;
}

int connectTo(int port, bool blocking) {
    int fd = socket(AF_INET, SOCK_STREAM | (blocking ? 0 : SOCK_NONBLOCK), 0);
    if (fd < 0) return -1;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int yes = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 &&
        errno != EINPROGRESS) {
        close(fd);
        return -1;
    }
    return fd;
}

// Where a reply in buffer ends, 0 while it is incomplete; status gets its code. Replies carry
// Content-Length (none for 304).
size_t replyEnd(const std::string& buffer, int& status) {
    size_t head = buffer.find("\r\n\r\n");
    if (head == std::string::npos) return 0;
    status = buffer.size() > 12 ? atoi(buffer.c_str() + 9) : 0;
    size_t length = 0;
    size_t at = buffer.find("\r\nContent-Length: ");
    if (at != std::string::npos && at < head)
        length = strtoul(buffer.c_str() + at + 18, nullptr, 10);
    size_t end = head + 4 + length;
    return buffer.size() >= end ? end : 0;
}

// One request on a fresh blocking connection: the whole reply, or "" after 30 s.
std::string fetch(int port, const std::string& request) {
    int fd = connectTo(port, true);
    if (fd < 0) return "";
    send(fd, request.data(), request.size(), MSG_NOSIGNAL);
    std::string buffer;
    int status = 0;
    size_t end = 0;
    while (!(end = replyEnd(buffer, status))) {
        pollfd p = {fd, POLLIN, 0};
        char chunk[65536];
        ssize_t n = poll(&p, 1, 30000) > 0 ? recv(fd, chunk, sizeof chunk, 0) : -1;
        if (n <= 0) break;
        buffer.append(chunk, size_t(n));
    }
    close(fd);
    return end ? buffer.substr(0, end) : "";
}

// A request of the mix (accepting gzip, as browsers do).
std::string get(const std::string& target, const std::string& headers = "") {
    return "GET " + target + " HTTP/1.1\r\nHost: soak\r\nAccept-Encoding: gzip\r\n" + headers +
           "\r\n";
}

// A request whose reply is read here: plain text.
std::string plain(const std::string& target) {
    return "GET " + target + " HTTP/1.1\r\nHost: soak\r\n\r\n";
}

std::string headerOf(const std::string& reply, const std::string& name) {
    size_t at = reply.find("\r\n" + name + ": ");
    if (at == std::string::npos) return "";
    at += name.size() + 4;
    return reply.substr(at, reply.find("\r\n", at) - at);
}

std::vector<long> numbersAfter(const std::string& text, const std::string& key) {
    std::vector<long> found;
    std::regex pattern("\"" + key + "\":(-?[0-9]+)");
    for (std::sregex_iterator it(text.begin(), text.end(), pattern), end; it != end; ++it)
        found.push_back(std::stol((*it)[1]));
    return found;
}

// A kind of request in the mix: how often, which requests, which answers are right.
struct Kind {
    std::string name;
    int weight;
    std::vector<std::string> requests;
    std::set<int> good;
    uint64_t served = 0, errors = 0;
};

// Learns the demo library's albums, pictures and film from the JSON API and builds the mix.
std::vector<Kind> discover(int port) {
    std::vector<Kind> mix = {
        {"pages", 20, {}, {200, 304}},        {"json", 25, {}, {200, 304}},
        {"thumbnails", 25, {}, {200, 304}},   {"shrunk pictures", 3, {}, {200, 304}},
        {"film ranges", 6, {}, {206}},        {"album downloads", 1, {}, {200}},
        {"revalidations", 20, {}, {200, 304}}};
    for (const char* page : {"/", "/index.html"})
        mix[0].requests.push_back(get(page));
    std::string albums = fetch(port, plain("/json/getalbums?l=0"));
    mix[1].requests = {get("/json/getsite"), get("/json/getlibs"), get("/json/getalbums?l=0")};
    for (long album : numbersAfter(albums, "id")) {
        std::string a = std::to_string(album);
        mix[1].requests.push_back(get("/json/getpics?l=0&a=" + a + "&i=0&c=20"));
        std::string pics = fetch(port, plain("/json/getpics?l=0&a=" + a + "&i=0&c=1000"));
        std::vector<long> ids = numbersAfter(pics, "id");
        for (size_t i = 0; i < ids.size(); ++i) {
            std::string index = std::to_string(i);
            std::string info = fetch(port, plain("/json/getpicinfo?l=0&a=" + a + "&i=" + index));
            if (i < 3)
                mix[1].requests.push_back(get("/json/getpicinfo?l=0&a=" + a + "&i=" + index));
            std::string thumb = "/thumbnail/?l=0&a=" + a + "&p=" + std::to_string(ids[i]);
            mix[2].requests.push_back(get(thumb));
            if (info.find("\"mediaType\":\"Image\"") != std::string::npos) {
                if (mix[3].requests.size() < 4)
                    mix[3].requests.push_back(
                        get("/image/?l=0&a=" + a + "&i=" + index + "&mw=640&mh=480"));
            } else if (mix[4].requests.empty()) {
                // The start, a stretch from the middle and the end, as a player seeks.
                std::string film = "/image/?l=0&a=" + a + "&i=" + index;
                long size = atol(headerOf(fetch(port, get(film)), "Content-Length").c_str());
                long piece = std::max(1L, std::min(65536L, size / 4));
                for (std::string range :
                     {"0-" + std::to_string(piece - 1),
                      std::to_string(size / 2) + "-" + std::to_string(size / 2 + piece - 1),
                      "-" + std::to_string(piece)})
                    mix[4].requests.push_back(get(film, "Range: bytes=" + range + "\r\n"));
            }
            std::string tag = headerOf(fetch(port, get(thumb)), "ETag");
            if (!tag.empty() && mix[6].requests.size() < 8)
                mix[6].requests.push_back(get(thumb, "If-None-Match: " + tag + "\r\n"));
        }
        std::string download = "/download/?l=0&a=" + a;
        if (mix[5].requests.empty() && fetch(port, get(download)).rfind("HTTP/1.1 200", 0) == 0)
            mix[5].requests.push_back(get(download));
    }
    std::string site = fetch(port, get("/json/getsite"));
    if (std::string tag = headerOf(site, "ETag"); !tag.empty())
        mix[6].requests.push_back(get("/json/getsite", "If-None-Match: " + tag + "\r\n"));
    std::vector<Kind> kept;
    for (Kind& kind : mix)
        if (!kind.requests.empty())
            kept.push_back(kind);
        else
            printf("  (no %s: the server does not answer them; left out)\n", kind.name.c_str());
    return kept;
}

struct Conn {
    int fd = -1;
    std::string out, in;
    size_t sent = 0;
    int64_t started = 0;
    Kind* kind = nullptr;
    bool busy = false;
};

class Load {
  public:
    Load(const Options& options, std::vector<Kind>& mix) : o_(options), mix_(mix) {
        for (Kind& kind : mix_)
            total_ += kind.weight;
        epoll_ = epoll_create1(0);
        conns_.resize(size_t(o_.connections));
    }

    void run() {
        int64_t start = nowUs();
        int64_t warmEnd = start + int64_t(o_.warmup * 1e6);
        int64_t end = warmEnd + int64_t(o_.seconds * 1e6);
        int64_t nextHup = start + int64_t(o_.hupEvery * 1e6);
        int64_t nextRewrite = start + int64_t(o_.rewriteEvery * 1e6);
        int64_t nextCheck = start + 1000000;
        // Connections open in batches of 100, 10 ms apart, as visitors arrive.
        for (size_t i = 0; i < conns_.size(); ++i)
            schedule(i, start + int64_t(i / 100) * 10000);
        bool warm = o_.warmup <= 0;
        if (warm) startRss_ = rssMegabytes(o_.pid);
        epoll_event events[256];
        for (int64_t now = nowUs(); now < end; now = nowUs()) {
            if (!warm && now >= warmEnd) {
                warm = true;
                for (Kind& kind : mix_)
                    kind.served = kind.errors = 0;
                latencies_.clear();
                reconnects_ = hups_ = rewrites_ = errorsOutside_ = 0;
                startRss_ = rssMegabytes(o_.pid);
                printf("  warmed up: server RSS %.1f MB\n", startRss_);
            }
            while (!timers_.empty() && timers_.top().first <= now) {
                size_t i = timers_.top().second;
                timers_.pop();
                begin(i, now);
            }
            if (o_.hupEvery > 0 && now >= nextHup) {
                kill(o_.pid, SIGHUP);
                ++hups_;
                nextHup += int64_t(o_.hupEvery * 1e6);
            }
            if (o_.rewriteEvery > 0 && now >= nextRewrite) {
                rewriteAlbum();
                nextRewrite += int64_t(o_.rewriteEvery * 1e6);
            }
            if (now >= nextCheck) {
                checkStalled(now);
                peakRss_ = std::max(peakRss_, rssMegabytes(o_.pid));
                nextCheck += 1000000;
                if (kill(o_.pid, 0) != 0) {
                    printf("  the server has gone\n");
                    serverGone_ = true;
                    break;
                }
            }
            int wait = timers_.empty()
                           ? 50
                           : int(std::clamp<int64_t>((timers_.top().first - now) / 1000, 0, 50));
            int n = epoll_wait(epoll_, events, 256, wait);
            for (int e = 0; e < n; ++e)
                handle(events[e].data.u64, events[e].events);
        }
        endRss_ = rssMegabytes(o_.pid);
        for (Conn& c : conns_)
            if (c.fd >= 0) close(c.fd);
    }

    void report(double seconds) {
        uint64_t served = 0, errors = 0;
        printf("  %-18s %10s %8s\n", "kind", "served", "errors");
        for (Kind& kind : mix_) {
            printf("  %-18s %10lu %8lu\n", kind.name.c_str(), (unsigned long)kind.served,
                   (unsigned long)kind.errors);
            served += kind.served;
            errors += kind.errors;
        }
        std::sort(latencies_.begin(), latencies_.end());
        auto at = [&](double q) {
            return latencies_.empty()
                       ? 0.0
                       : latencies_[size_t(q * double(latencies_.size() - 1))] / 1000.0;
        };
        errors += errorsOutside_;
        printf("requests served: %lu (%.0f/s), errors: %lu (target 0; %lu failed connects), "
               "reconnects after a server close: %lu\n",
               (unsigned long)served, double(served) / seconds, (unsigned long)errors,
               (unsigned long)errorsOutside_, (unsigned long)reconnects_);
        printf("latency ms: p50 %.1f, p99 %.1f, max %.1f (%d connections, think time %.0f ms)\n",
               at(0.5), at(0.99), at(1.0), o_.connections, o_.thinkMs);
        printf("SIGHUPs sent: %lu, album file rewrites: %lu\n", (unsigned long)hups_,
               (unsigned long)rewrites_);
        double growth = endRss_ - startRss_;
        printf("server RSS MB: %.1f after warm-up, %.1f at the end, peak %.1f; growth %.1f MB "
               "(target < %g)\n",
               startRss_, endRss_, peakRss_, growth, o_.growthLimit);
        failed_ = errors > 0 || serverGone_ || growth >= o_.growthLimit;
    }
    bool failed() const { return failed_; }

  private:
    void schedule(size_t i, int64_t at) { timers_.push({at, i}); }

    // Sends the connection's next request, connecting first when it has no socket.
    void begin(size_t i, int64_t now) {
        Conn& c = conns_[i];
        if (c.busy) return;
        if (c.fd < 0) {
            c.fd = connectTo(o_.port, false);
            if (c.fd < 0) {
                ++errorsOutside_;
                return schedule(i, now + 100000);
            }
            epoll_event event = {};
            event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
            event.data.u64 = i;
            epoll_ctl(epoll_, EPOLL_CTL_ADD, c.fd, &event);
        }
        int pick = int(random_() % uint32_t(total_));
        Kind* kind = &mix_.front();
        for (Kind& k : mix_)
            if ((pick -= k.weight) < 0) {
                kind = &k;
                break;
            }
        c.kind = kind;
        c.out = kind->requests[random_() % kind->requests.size()];
        c.sent = 0;
        c.in.clear();
        c.busy = true;
        c.started = now;
        flush(i);
    }

    void flush(size_t i) {
        Conn& c = conns_[i];
        while (c.sent < c.out.size()) {
            ssize_t n = send(c.fd, c.out.data() + c.sent, c.out.size() - c.sent, MSG_NOSIGNAL);
            if (n < 0 && (errno == EAGAIN || errno == ENOTCONN)) return;
            if (n <= 0) return fail(i);
            c.sent += size_t(n);
        }
    }

    void handle(size_t i, uint32_t events) {
        Conn& c = conns_[i];
        if (c.fd < 0) return;
        if ((events & EPOLLOUT) && c.busy) flush(i);
        if (c.fd < 0) return;
        char chunk[65536];
        for (;;) {
            ssize_t n = recv(c.fd, chunk, sizeof chunk, 0);
            if (n > 0) {
                if (!c.busy) continue; // nothing is owed on an idle connection
                c.in.append(chunk, size_t(n));
                int status = 0;
                if (size_t end = replyEnd(c.in, status)) {
                    int64_t now = nowUs();
                    latencies_.push_back(uint32_t(std::min<int64_t>(now - c.started, UINT32_MAX)));
                    if (c.kind->good.count(status)) {
                        ++c.kind->served;
                    } else {
                        ++c.kind->errors;
                        if (c.kind->errors <= 3)
                            printf("  %s: answered %d to %s\n", c.kind->name.c_str(), status,
                                   c.out.substr(0, c.out.find('\r')).c_str());
                    }
                    c.busy = false;
                    c.in.erase(0, end);
                    double think = o_.thinkMs * (0.5 + double(random_() % 1000) / 1000.0);
                    schedule(i, now + int64_t(think * 1000));
                }
                continue;
            }
            if (n < 0 && errno == EAGAIN) return;
            // The server closed: an error when a reply was owed, else the next request (its
            // timer is set) connects again.
            if (c.busy) return fail(i);
            ++reconnects_;
            epoll_ctl(epoll_, EPOLL_CTL_DEL, c.fd, nullptr);
            close(c.fd);
            c.fd = -1;
            return;
        }
    }

    void fail(size_t i) {
        Conn& c = conns_[i];
        if (c.busy && c.kind) {
            ++c.kind->errors;
            if (c.kind->errors <= 3)
                printf("  %s: connection lost during %s\n", c.kind->name.c_str(),
                       c.out.substr(0, c.out.find('\r')).c_str());
        }
        c.busy = false;
        epoll_ctl(epoll_, EPOLL_CTL_DEL, c.fd, nullptr);
        close(c.fd);
        c.fd = -1;
        schedule(i, nowUs() + 100000);
    }

    // Requests owed for more than 30 s count as errors.
    void checkStalled(int64_t now) {
        for (size_t i = 0; i < conns_.size(); ++i)
            if (conns_[i].busy && now - conns_[i].started > 30000000) fail(i);
    }

    // The same album file written again: by turns replaced whole (a new file renamed over it,
    // as a photo program saves) and rewritten in place (which a reader may catch half done).
    void rewriteAlbum() {
        if (o_.album.empty()) return;
        std::ifstream in(o_.album, std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (text.empty()) return;
        if (++rewrites_ % 2) {
            std::string temporary = o_.album + ".soak";
            std::ofstream(temporary, std::ios::binary) << text;
            rename(temporary.c_str(), o_.album.c_str());
        } else {
            int fd = open(o_.album.c_str(), O_WRONLY | O_TRUNC);
            for (size_t done = 0; fd >= 0 && done < text.size();) {
                size_t piece = std::min<size_t>(4096, text.size() - done);
                if (write(fd, text.data() + done, piece) <= 0) break;
                done += piece;
            }
            if (fd >= 0) close(fd);
        }
    }

    const Options& o_;
    std::vector<Kind>& mix_;
    int total_ = 0;
    int epoll_;
    std::vector<Conn> conns_;
    std::priority_queue<std::pair<int64_t, size_t>, std::vector<std::pair<int64_t, size_t>>,
                        std::greater<>>
        timers_;
    std::vector<uint32_t> latencies_;
    std::mt19937 random_{12345};
    uint64_t reconnects_ = 0, hups_ = 0, rewrites_ = 0, errorsOutside_ = 0;
    double startRss_ = 0, endRss_ = 0, peakRss_ = 0;
    bool serverGone_ = false, failed_ = false;
};

// Opens held connections, each asking one request and then staying open idle; while they are
// held, a new visitor asks for the start page every 100 ms. False when the target is missed.
bool holdMany(const Options& o) {
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    rlim_t want = rlim_t(o.held) + 256;
    if (limit.rlim_cur < want) {
        limit.rlim_cur = std::min(want, limit.rlim_max);
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    if (limit.rlim_cur < want)
        printf("  open-file limit %lu: fewer than %d connections can be held\n",
               (unsigned long)limit.rlim_cur, o.held);
    double before = rssMegabytes(o.pid);
    std::string request = get("/json/getsite");
    std::vector<int> fds;
    std::vector<std::string> replies;
    int64_t began = nowUs();
    for (int i = 0; i < o.held; ++i) {
        int fd = connectTo(o.port, false);
        if (fd < 0) break;
        fds.push_back(fd);
        if (i % 200 == 199) usleep(5000);
    }
    // Each sends its request once connected and reads its reply.
    std::vector<size_t> sent(fds.size(), 0);
    replies.resize(fds.size());
    size_t answered = 0, lost = 0;
    std::vector<bool> done(fds.size(), false);
    while (answered + lost < fds.size() && nowUs() - began < 60000000) {
        std::vector<pollfd> polls;
        std::vector<size_t> which;
        for (size_t i = 0; i < fds.size(); ++i)
            if (!done[i]) {
                polls.push_back({fds[i], short(sent[i] < request.size() ? POLLOUT : POLLIN), 0});
                which.push_back(i);
            }
        if (poll(polls.data(), polls.size(), 1000) <= 0) continue;
        for (size_t p = 0; p < polls.size(); ++p) {
            size_t i = which[p];
            if (!polls[p].revents) continue;
            if (sent[i] < request.size()) {
                ssize_t n =
                    send(fds[i], request.data() + sent[i], request.size() - sent[i], MSG_NOSIGNAL);
                if (n > 0)
                    sent[i] += size_t(n);
                else if (errno != EAGAIN)
                    done[i] = true, ++lost;
                continue;
            }
            char chunk[16384];
            ssize_t n = recv(fds[i], chunk, sizeof chunk, 0);
            if (n > 0) {
                replies[i].append(chunk, size_t(n));
                int status = 0;
                if (replyEnd(replies[i], status)) done[i] = true, ++answered;
            } else if (n == 0 || errno != EAGAIN) {
                done[i] = true, ++lost;
            }
        }
    }
    double setup = double(nowUs() - began) / 1e6;
    printf("held connections: %zu opened, %zu answered, %zu lost in %.1f s\n", fds.size(), answered,
           lost, setup);
    std::vector<double> visits;
    int failedVisits = 0;
    int64_t holdEnd = nowUs() + int64_t(o.holdSeconds * 1e6);
    while (nowUs() < holdEnd) {
        int64_t t = nowUs();
        if (fetch(o.port, get("/")).rfind("HTTP/1.1 200", 0) == 0)
            visits.push_back(double(nowUs() - t) / 1000.0);
        else
            ++failedVisits;
        usleep(100000);
    }
    double during = rssMegabytes(o.pid);
    size_t stillOpen = 0;
    for (int fd : fds) {
        char byte;
        ssize_t n = recv(fd, &byte, 1, MSG_DONTWAIT);
        if (n < 0 && errno == EAGAIN) ++stillOpen;
    }
    for (int fd : fds)
        close(fd);
    std::sort(visits.begin(), visits.end());
    double p99 = visits.empty() ? 0 : visits[size_t(0.99 * double(visits.size() - 1))];
    printf("while %zu are held for %.0f s: %zu still open at the end; a new visitor's start "
           "page: %zu served, %d failed (target 0), p99 %.1f ms, max %.1f ms\n",
           fds.size(), o.holdSeconds, stillOpen, visits.size(), failedVisits, p99,
           visits.empty() ? 0.0 : visits.back());
    printf("server RSS MB: %.1f before, %.1f while holding (%.1f KB per connection)\n", before,
           during, fds.empty() ? 0.0 : (during - before) * 1024 / double(fds.size()));
    return answered == size_t(o.held) && stillOpen == size_t(o.held) && failedVisits == 0;
}

Options parse(int argc, char** argv) {
    Options o;
    for (int i = 1; i + 1 < argc; i += 2) {
        std::string name = argv[i];
        const char* value = argv[i + 1];
        if (name == "--port")
            o.port = atoi(value);
        else if (name == "--pid")
            o.pid = atoi(value);
        else if (name == "--album")
            o.album = value;
        else if (name == "--seconds")
            o.seconds = atof(value);
        else if (name == "--warmup")
            o.warmup = atof(value);
        else if (name == "--connections")
            o.connections = atoi(value);
        else if (name == "--think-ms")
            o.thinkMs = atof(value);
        else if (name == "--hup-every")
            o.hupEvery = atof(value);
        else if (name == "--rewrite-every")
            o.rewriteEvery = atof(value);
        else if (name == "--held")
            o.held = atoi(value);
        else if (name == "--hold-seconds")
            o.holdSeconds = atof(value);
        else if (name == "--growth-limit")
            o.growthLimit = atof(value);
        else {
            fprintf(stderr, "soak_client: unknown option %s\n", name.c_str());
            exit(2);
        }
    }
    if (o.port <= 0 || o.pid <= 0) {
        fprintf(stderr, "usage: soak_client --port N --pid PID --album FILE [--seconds S] ...\n");
        exit(2);
    }
    if (o.warmup <= 0) o.warmup = std::clamp(o.seconds / 10, 5.0, 60.0);
    return o;
}

} // namespace

int main(int argc, char** argv) {
    setvbuf(stdout, nullptr, _IOLBF, 0);
    signal(SIGPIPE, SIG_IGN);
    Options o = parse(argc, argv);
    rlimit limit;
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);

    std::vector<Kind> mix = discover(o.port);
    if (mix.empty()) {
        printf("the server answers none of the requests of the mix\n");
        return 1;
    }
    printf("mixed traffic: %d keep-alive connections for %.0f s after %.0f s of warm-up\n",
           o.connections, o.seconds, o.warmup);
    Load load(o, mix);
    load.run();
    load.report(o.seconds);
    bool ok = !load.failed();
    if (o.held > 0) ok = holdMany(o) && ok;
    printf("%s\n", ok ? "soak: every target met" : "soak: TARGET MISSED");
    return ok ? 0 : 1;
}
