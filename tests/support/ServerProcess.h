// ServerProcess.h - runs the tessellan executable for a test on a port the system picks, and
// talks to it over plain sockets.
#pragma once

#include "support/TempFolder.h"

#include <arpa/inet.h>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace testsupport {

// A client connection to the loopback port.
class Connection {
  public:
    // from: the loopback address to connect from (127.0.0.1 when 0), e.g. 0x7f000002.
    explicit Connection(int port, uint32_t from = 0) : fd_(socket(AF_INET, SOCK_STREAM, 0)) {
        sockaddr_in address = {};
        if (from) {
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(from);
            bind(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        }
        address.sin_family = AF_INET;
        address.sin_port = htons(uint16_t(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
        int yes = 1;
        setsockopt(fd_, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    }
    Connection(const Connection&) = delete;
    ~Connection() { close(fd_); }
    int fd() const { return fd_; }
    bool send(const std::string& bytes) {
        for (size_t done = 0; done < bytes.size();) {
            ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
            if (n <= 0) return false;
            done += size_t(n);
        }
        return true;
    }
    // One whole reply (header and Content-Length body; none for HEAD), "" on a timeout or close.
    // The long default wait allows for a sanitized build shrinking a picture on a busy machine.
    std::string receiveReply(bool head = false, int timeoutMs = 20000) {
        for (;;) {
            size_t end = buffer_.find("\r\n\r\n"), at = buffer_.find("Content-Length: ");
            if (end == std::string::npos) at = end;
            size_t length = at < end && !head ? std::stoul(buffer_.substr(at + 16)) : 0;
            if (end != std::string::npos && buffer_.size() >= end + 4 + length) {
                std::string reply = buffer_.substr(0, end + 4 + length);
                buffer_.erase(0, reply.size());
                return reply;
            }
            if (!readSome(timeoutMs)) return "";
        }
    }
    // True once the server has closed the connection (waits up to timeoutMs for more bytes).
    bool closedByPeer(int timeoutMs) {
        while (!closed_ && readSome(timeoutMs)) {
        }
        return closed_;
    }

  private:
    bool readSome(int timeoutMs) {
        pollfd p = {fd_, POLLIN, 0};
        if (poll(&p, 1, timeoutMs) <= 0) return false;
        char chunk[65536];
        ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
        if (n > 0) buffer_.append(chunk, size_t(n));
        closed_ = n <= 0;
        return n > 0;
    }
    int fd_;
    bool closed_ = false;
    std::string buffer_;
};

// The tessellan executable running with a preferences file of the test's.
class ServerProcess {
  public:
    ServerProcess() = default;
    ServerProcess(const ServerProcess&) = delete;
    ~ServerProcess() { stop(); }

    // Starts the server with the arguments and environment additions. Its preferences should
    // name port 0, so that the system picks a free port that no other process can take first.
    // With waitForPort, waits (up to 10 s) for its "serving on port N" line, after which port()
    // is N; false when the server ended or never said so.
    bool start(const std::vector<std::string>& arguments,
               const std::map<std::string, std::string>& environment, bool waitForPort = true) {
        output_ = outputs_.path("out" + std::to_string(++started_));
        port_ = 0;
        if ((pid_ = fork()) == 0) {
            int fd = open(output_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
            dup2(fd, 1);
            dup2(fd, 2);
            for (auto& [name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            std::string binary = TESSELLAN_BINARY_DIR "/tessellan";
            std::vector<char*> argv{binary.data()};
            for (auto& argument : arguments)
                argv.push_back(const_cast<char*>(argument.c_str()));
            argv.push_back(nullptr);
            execv(argv[0], argv.data());
            _exit(127);
        }
        const std::string said = "serving on port ";
        for (int i = 0; waitForPort && i < 400 && !exited(); ++i) {
            std::string text = output();
            size_t at = text.find(said);
            if (at != std::string::npos && text.find('\n', at) != std::string::npos)
                return (port_ = std::atoi(text.c_str() + at + said.size())) > 0;
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
        }
        return !waitForPort;
    }
    // The port the server said it serves on (0 before that).
    int port() const { return port_; }
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
    // Ends the server; a report that a sanitizer wrote into its output fails the test.
    void stop() {
        if (pid_ > 0 && kill(pid_, SIGTERM) == 0) waitpid(pid_, &status_, 0);
        if (!output_.empty() && checked_ != output_) {
            checked_ = output_;
            std::string text = output();
            for (const char* report : {"WARNING: ThreadSanitizer", "ERROR: AddressSanitizer",
                                       "ERROR: LeakSanitizer", "runtime error:"})
                if (text.find(report) != std::string::npos)
                    ADD_FAILURE() << "the server's sanitizer reported:\n" << text;
        }
        pid_ = -1;
    }
    // What the server printed so far (standard output and error).
    std::string output() const { return readFile(output_); }

  private:
    bool exited() {
        if (pid_ > 0 && waitpid(pid_, &status_, WNOHANG) == pid_) pid_ = -1;
        return pid_ <= 0;
    }
    TempFolder outputs_;
    int started_ = 0;
    pid_t pid_ = -1;
    int port_ = 0, status_ = 0;
    std::string output_;
    std::string checked_; // the output whose sanitizer reports stop() has looked for
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
