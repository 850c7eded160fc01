// ServerProcess.h - runs the tessellan executable for a test on a port the system picks, and
// talks to it over plain sockets.
#pragma once

#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sstream>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testsupport {

// A client connection with a read timeout.
class Connection {
  public:
    explicit Connection(int port) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(uint16_t(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connected_ = connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
        int yes = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    }
    Connection(const Connection&) = delete;
    ~Connection() { close(fd_); }
    bool connected() const { return connected_; }
    int fd() const { return fd_; }
    bool send(const std::string& bytes) {
        size_t done = 0;
        while (done < bytes.size()) {
            ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += size_t(n);
        }
        return true;
    }
    // Reads what arrives until the peer closes or nothing comes for timeoutMs.
    std::string receiveAll(int timeoutMs = 2000) {
        std::string data;
        for (;;) {
            pollfd p = {fd_, POLLIN, 0};
            if (poll(&p, 1, timeoutMs) <= 0) break;
            char buffer[65536];
            ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
            if (n <= 0) {
                closed_ = true;
                break;
            }
            data.append(buffer, size_t(n));
        }
        return data;
    }
    // Reads one whole reply (header and Content-Length body; none for HEAD). The default wait
    // is long: a sanitized build shrinking a large picture on a busy machine takes seconds.
    std::string receiveReply(bool head = false, int timeoutMs = 20000) {
        for (;;) {
            size_t end = buffer_.find("\r\n\r\n");
            if (end != std::string::npos) {
                size_t length = 0;
                size_t at = buffer_.find("Content-Length: ");
                if (at != std::string::npos && at < end)
                    length = std::stoul(buffer_.substr(at + 16));
                size_t total = end + 4 + (head ? 0 : length);
                if (buffer_.size() >= total) {
                    std::string reply = buffer_.substr(0, total);
                    buffer_.erase(0, total);
                    return reply;
                }
            }
            pollfd p = {fd_, POLLIN, 0};
            if (poll(&p, 1, timeoutMs) <= 0) return "";
            char chunk[65536];
            ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
            if (n <= 0) {
                closed_ = true;
                return "";
            }
            buffer_.append(chunk, size_t(n));
        }
    }
    // True once the server has closed the connection (waits up to timeoutMs).
    bool closedByPeer(int timeoutMs) {
        if (closed_) return true;
        receiveAll(timeoutMs);
        return closed_;
    }
    const std::string& pending() const { return buffer_; }

  private:
    int fd_;
    bool connected_ = false;
    bool closed_ = false;
    std::string buffer_;
};

// The tessellan executable running with a preferences file of the test's.
class ServerProcess {
  public:
    ServerProcess() = default;
    ServerProcess(const ServerProcess&) = delete;
    ~ServerProcess() { stop(); }

    // Starts the server with the given arguments and environment additions. Its preferences
    // should name port 0: the system then picks a free port, with no window in which another
    // process could take it. With waitForPort, waits (up to 10 s) for the server's "serving on
    // port N" line, after which port() is N; false when the server ended or never said so.
    bool start(const std::vector<std::string>& arguments,
               const std::map<std::string, std::string>& environment, bool waitForPort = true) {
        output_ = std::string("/tmp/tessellan-out-") + std::to_string(getpid()) + "-" +
                  std::to_string(++serial());
        port_ = 0;
        pid_ = fork();
        if (pid_ == 0) {
            int fd = open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(fd, 1);
            dup2(fd, 2);
            for (auto& [name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            std::vector<char*> argv;
            std::string binary = TESSELLAN_BINARY_DIR "/tessellan";
            argv.push_back(binary.data());
            for (auto& argument : arguments)
                argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        if (!waitForPort) return true;
        static const std::string said = "serving on port ";
        for (int i = 0; i < 400; ++i) {
            std::string text = output();
            size_t at = text.find(said);
            if (at != std::string::npos && text.find('\n', at) != std::string::npos) {
                port_ = std::atoi(text.c_str() + at + said.size());
                return port_ > 0;
            }
            if (exited()) return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        return false;
    }
    // The port the server said it serves on (0 before that).
    int port() const { return port_; }
    bool exited() {
        if (pid_ <= 0) return true;
        int status;
        if (waitpid(pid_, &status, WNOHANG) == pid_) {
            status_ = status;
            pid_ = -1;
            return true;
        }
        return false;
    }
    // Waits for the process to end by itself; its exit status, or -1 after timeoutMs.
    int waitForExit(int timeoutMs) {
        for (int waited = 0; waited < timeoutMs; waited += 20) {
            if (exited()) return WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return -1;
    }
    pid_t pid() const { return pid_; }
    void signal(int number) {
        if (pid_ > 0) kill(pid_, number);
    }
    void stop() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, &status_, 0);
            pid_ = -1;
        }
        if (!output_.empty()) unlink(output_.c_str());
        output_.clear();
    }
    // What the server printed so far (standard output and error).
    std::string output() const {
        std::ifstream in(output_);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    }

  private:
    static int& serial() {
        static int n = 0;
        return n;
    }
    pid_t pid_ = -1;
    int port_ = 0;
    int status_ = 0;
    std::string output_;
};

// Sends one request on a fresh connection and returns the whole reply.
inline std::string request(int port, const std::string& bytes, bool head = false) {
    Connection connection(port);
    connection.send(bytes);
    return connection.receiveReply(head);
}

inline std::string get(int port, const std::string& target, const std::string& extraHeaders = "") {
    return request(port,
                   "GET " + target + " HTTP/1.1\r\nHost: localhost\r\n" + extraHeaders + "\r\n");
}

inline std::string statusLine(const std::string& reply) {
    return reply.substr(0, reply.find("\r\n"));
}

inline std::string bodyOf(const std::string& reply) {
    size_t end = reply.find("\r\n\r\n");
    return end == std::string::npos ? "" : reply.substr(end + 4);
}

inline std::string headerOf(const std::string& reply, const std::string& name) {
    size_t at = reply.find("\r\n" + name + ": ");
    if (at == std::string::npos) return "";
    at += name.size() + 4;
    return reply.substr(at, reply.find("\r\n", at) - at);
}

} // namespace testsupport
