#include "audio/cast_socket.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace tw::audio {

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// Reads the server's answer until readSourceAnswer decides or the time is up.
SourceAnswer awaitAnswer(int fd, CastProtocol protocol, Clock::time_point deadline) {
    std::string answer;
    char buf[1024];
    for (;;) {
        const SourceAnswer verdict = readSourceAnswer(protocol, answer);
        if (verdict != SourceAnswer::NeedMore) {
            return verdict;
        }
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, msLeft(deadline)) != 1) {
            return SourceAnswer::Refused;
        }
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (n <= 0) {
            return SourceAnswer::Refused;
        }
        answer.append(buf, static_cast<std::size_t>(n));
    }
}

int tryHandshake(const CastTarget& target, const StationInfo& info, Clock::time_point deadline) {
    const int fd = connectWithin(target.host, sourcePort(target), msLeft(deadline));
    if (fd < 0) {
        return -1;
    }
    const std::string hello = sourceHandshake(target, info);
    if (!sendAll(fd, hello.data(), hello.size(), msLeft(deadline)) ||
        awaitAnswer(fd, target.protocol, deadline) != SourceAnswer::Accepted) {
        ::close(fd);
        return -1;
    }
    if (target.protocol == CastProtocol::Shoutcast1 ||
        target.protocol == CastProtocol::Shoutcast2) {
        const std::string headers = shoutcastHeaders(info);
        if (!sendAll(fd, headers.data(), headers.size(), msLeft(deadline))) {
            ::close(fd);
            return -1;
        }
    }
    return fd;
}

}  // namespace

int connectWithin(const std::string& host, int port, int timeoutMs) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) {
        return -1;
    }
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int result = -1;
    for (addrinfo* a = found; a && result < 0 && msLeft(deadline) > 0; a = a->ai_next) {
        const int fd =
            ::socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) {
            continue;
        }
        if (::connect(fd, a->ai_addr, a->ai_addrlen) != 0 && errno != EINPROGRESS) {
            ::close(fd);
            continue;
        }
        pollfd p{fd, POLLOUT, 0};
        int err = 0;
        socklen_t len = sizeof err;
        if (::poll(&p, 1, msLeft(deadline)) == 1 &&
            ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0) {
            const int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            result = fd;
        } else {
            ::close(fd);
        }
    }
    ::freeaddrinfo(found);
    return result;
}

bool sendAll(int fd, const char* data, std::size_t size, int timeoutMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (size > 0) {
        const ssize_t n = ::send(fd, data, size, MSG_NOSIGNAL);
        if (n > 0) {
            data += n;
            size -= static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd p{fd, POLLOUT, 0};
            const int left = msLeft(deadline);
            if (left == 0 || ::poll(&p, 1, left) != 1 || (p.revents & (POLLERR | POLLHUP))) {
                return false;
            }
            continue;
        }
        return false;
    }
    return true;
}

int openSource(CastTarget& target, const StationInfo& info, int timeoutMs) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int fd = tryHandshake(target, info, deadline);
    if (fd < 0 && target.protocol == CastProtocol::Icecast2 && msLeft(deadline) > 0) {
        CastTarget old = target;
        old.protocol = CastProtocol::Icecast1;
        fd = tryHandshake(old, info, deadline);
        if (fd >= 0) {
            target = old;
        }
    }
    return fd;
}

}  // namespace tw::audio
