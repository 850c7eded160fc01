// password_guessing_bench.cpp - how long 2,000 password guesses sent on one connection take,
// against the same number of requests with the right password on the same server.
//
// Starts the tessellan beside this benchmark with a password set, sends 2,000 requests with the
// right credentials one after the other on one connection (the reference: what 2,000 guesses
// cost when nothing slows them), then wrong guesses on another connection until 2,000 are
// answered or 40 seconds have passed. Guesses that were not sent are counted at the delay the
// last answer took, which is the cap once reached. Target: the 2,000 guesses take at least
// 1,000x the reference (a wrong guess answered at once costs what a right one does).
//
// Usage: password_guessing_bench [port]
#include "BenchServer.h"

#include <cstring>

namespace {

using Clock = std::chrono::steady_clock;

double since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Sends a request for / with the given credentials and reads its reply; the status, or -1.
int ask(int fd, const std::string& credentials) {
    std::string request =
        "GET / HTTP/1.1\r\nHost: bench\r\nAuthorization: Basic " + credentials + "\r\n\r\n";
    if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != ssize_t(request.size()))
        return -1;
    std::string reply;
    char buffer[16384];
    for (;;) {
        ssize_t n = recv(fd, buffer, sizeof buffer, 0);
        if (n <= 0) return -1;
        reply.append(buffer, size_t(n));
        size_t end = reply.find("\r\n\r\n");
        if (end == std::string::npos) continue;
        size_t at = reply.find("Content-Length: ");
        if (at == std::string::npos || at > end) return -1;
        if (reply.size() >= end + 4 + std::stoul(reply.substr(at + 16)))
            return std::atoi(reply.c_str() + 9);
    }
}

} // namespace

int main(int argc, char** argv) {
    const int port = argc > 1 ? std::atoi(argv[1]) : 18931;
    const int guesses = 2000;
    const double budget = 40;
    char folder[] = "/tmp/tessellan-guessesXXXXXX";
    if (!mkdtemp(folder)) return 1;
    std::string prefs = bench::writeOnePictureLibrary(folder, "/none.jpg", "/none.jpg", port);
    {
        // The same preferences with a password: user "ana", password "secret".
        std::ifstream in(prefs);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        text.insert(text.find("<key>port</key>"), "<key>auth</key><true/><key>user</key>"
                                                  "<string>ana</string><key>pass</key>"
                                                  "<string>secret</string>");
        std::ofstream(prefs) << text;
    }
    pid_t server = bench::startServer(argv[0], prefs, port);

    int right = bench::connectTo(port);
    ask(right, "YW5hOnNlY3JldA=="); // loads what the first answer needs
    Clock::time_point start = Clock::now();
    for (int i = 0; i < guesses; ++i)
        if (ask(right, "YW5hOnNlY3JldA==") != 200) {
            fprintf(stderr, "the right password was refused\n");
            return 1;
        }
    double reference = since(start);
    close(right);

    int wrong = bench::connectTo(port);
    start = Clock::now();
    int answered = 0;
    double last = 0, lastDelay = 0;
    while (answered < guesses && since(start) < budget) {
        if (ask(wrong, "YW5hOnNlY3JldDE=") != 401) { // ana:secret1
            fprintf(stderr, "a wrong guess was not refused\n");
            return 1;
        }
        ++answered;
        double now = since(start);
        lastDelay = now - last;
        last = now;
    }
    close(wrong);
    bench::stopServer(server);
    std::string command = "rm -rf '" + std::string(folder) + "'";
    if (system(command.c_str()) != 0) fprintf(stderr, "could not remove %s\n", folder);

    double total = last + (guesses - answered) * lastDelay;
    printf("%d requests with the right password, one connection: %8.3f s (the reference)\n",
           guesses, reference);
    printf("wrong guesses answered in %.0f s: %d, the last %.2f s after the one before\n", last,
           answered, lastDelay);
    printf("%d wrong guesses, one connection:              %8.0f s%s\n", guesses, total,
           answered < guesses ? " (the rest counted at the last delay)" : "");
    printf("ratio: %.0fx the reference (target >= 1000x)\n", total / reference);
    printf("(figures from a shared machine: expect noise of several per cent)\n");
    return 0;
}
