#include "tests/web/http_probe.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

namespace tw::test {

HttpProbe::HttpProbe(std::uint16_t port) {
    fd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(port);
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (fd_ >= 0 && ::connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

HttpProbe::~HttpProbe() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool sendAll(int fd, const std::string& bytes) {
    std::size_t sent = 0;
    while (fd >= 0 && sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) {
            return false;
        }
        sent += static_cast<std::size_t>(n);
    }
    return fd >= 0;
}

bool HttpProbe::send(const std::string& bytes) {
    return sendAll(fd_, bytes);
}

const std::string& HttpProbe::readUntil(const std::string& until, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (fd_ >= 0 && !closed_ && (until.empty() || in_.find(until) == std::string::npos)) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            break;
        }
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) {
            break;
        }
        char buf[16384];
        const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
        if (n <= 0) {
            closed_ = true;
            break;
        }
        in_.append(buf, static_cast<std::size_t>(n));
    }
    return in_;
}

bool HttpProbe::readToClose(std::chrono::milliseconds limit) {
    readUntil({}, limit);
    return closed_;
}

int HttpProbe::status() const {
    return statusOf(in_);
}

std::string roundTrip(std::uint16_t port, const std::string& request) {
    HttpProbe probe(port);
    probe.send(request);
    probe.readToClose(std::chrono::milliseconds(2000));
    return probe.received();
}

int statusOf(const std::string& answer) {
    // "HTTP/1.1 200 OK": the code follows the first space.
    const std::size_t space = answer.find(' ');
    if (answer.rfind("HTTP/", 0) != 0 || space == std::string::npos) {
        return 0;
    }
    return std::atoi(answer.c_str() + space + 1);
}

std::string bodyOf(const std::string& answer) {
    const std::size_t end = answer.find("\r\n\r\n");
    return end == std::string::npos ? std::string() : answer.substr(end + 4);
}

std::uint16_t freeLoopbackPort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t n = sizeof a;
    if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &n) != 0) {
        a.sin_port = 0;
    }
    if (fd >= 0) {
        ::close(fd);
    }
    return ntohs(a.sin_port);
}

}  // namespace tw::test
