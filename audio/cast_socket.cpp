#include "audio/cast_socket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "audio/name_resolver.h"

namespace tw::audio {

namespace {

using Clock = std::chrono::steady_clock;
using Kind = ConnectError::Kind;
using namespace std::chrono_literals;

// A refusal's body comes behind its status line; this long at most is waited for it.
constexpr auto kRefusalTextWait = 300ms;

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

bool contains(std::string text, std::string_view what) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text.find(what) != std::string::npos;
}

// Sorts what the server answered into a reason.
ConnectError refusal(const std::string& answer) {
    ConnectError e;
    if (answer.empty()) {
        e.kind = Kind::Closed;
        return e;
    }
    const ServerRefusal r = readRefusal(answer);
    e.status = r.status;
    e.serverText = r.text;
    if (r.status == 401 || (r.status == 0 && contains(r.text, "password"))) {
        e.kind = Kind::WrongPassword;
    } else if (r.status == 403 || (r.status == 0 && contains(r.text, "in use"))) {
        e.kind = Kind::MountInUse;
    } else {
        e.kind = Kind::Rejected;
    }
    return e;
}

// Reads what follows a refusal's first line (its body), until the server closes or a moment
// has passed.
void readRest(int fd, std::string& answer, Clock::time_point deadline) {
    const auto until = std::min(deadline, Clock::now() + kRefusalTextWait);
    char buf[1024];
    while (answer.size() < 8192) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, msLeft(until)) != 1) {
            return;
        }
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        answer.append(buf, static_cast<std::size_t>(n));
    }
}

// Reads the server's answer until readSourceAnswer decides or the time is up.
bool awaitAnswer(int fd, CastProtocol protocol, Clock::time_point deadline, ConnectError& error) {
    std::string answer;
    char buf[1024];
    for (;;) {
        const SourceAnswer verdict = readSourceAnswer(protocol, answer);
        if (verdict == SourceAnswer::Accepted) {
            return true;
        }
        if (verdict == SourceAnswer::Refused) {
            readRest(fd, answer, deadline);
            error = refusal(answer);
            return false;
        }
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, msLeft(deadline)) != 1) {
            error = {};
            error.kind = Kind::TimedOut;
            return false;
        }
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) {
            continue;
        }
        if (n <= 0) {
            // Closed before a whole line: what came is all the server said.
            error = refusal(answer);
            return false;
        }
        answer.append(buf, static_cast<std::size_t>(n));
    }
}

int tryHandshake(const CastTarget& target, const StationInfo& info, Clock::time_point deadline,
                 ConnectError& error, const std::string& nameServers) {
    const int fd =
        connectWithin(target.host, sourcePort(target), msLeft(deadline), error, nameServers);
    if (fd < 0) {
        return -1;
    }
    const std::string hello = sourceHandshake(target, info);
    if (!sendAll(fd, hello.data(), hello.size(), msLeft(deadline))) {
        error = {};
        error.kind = msLeft(deadline) == 0 ? Kind::TimedOut : Kind::Closed;
        ::close(fd);
        return -1;
    }
    if (!awaitAnswer(fd, target.protocol, deadline, error)) {
        ::close(fd);
        return -1;
    }
    if (target.protocol == CastProtocol::Shoutcast1 ||
        target.protocol == CastProtocol::Shoutcast2) {
        const std::string headers = shoutcastHeaders(info);
        if (!sendAll(fd, headers.data(), headers.size(), msLeft(deadline))) {
            error = {};
            error.kind = Kind::Closed;
            ::close(fd);
            return -1;
        }
    }
    error = {};
    return fd;
}

// An Icecast 2 server refuses with an HTTP status; anything else may be an older server that
// does not take a source by HTTP.
bool worthTheOldProtocol(const ConnectError& e) {
    return e.kind == Kind::Closed || (e.kind == Kind::Rejected && e.status == 0);
}

// Of the two tries' reasons, the one that says more.
bool saysMore(const ConnectError& e) {
    return e.kind == Kind::WrongPassword || e.kind == Kind::MountInUse ||
           (e.kind == Kind::Rejected && !e.serverText.empty());
}

std::string seconds(int ms) {
    const int tenths = (ms + 50) / 100;
    return std::to_string(tenths / 10) + (tenths % 10 ? "." + std::to_string(tenths % 10) : "") +
           " s";
}

}  // namespace

std::string describe(const ConnectError& e, int timeoutMs) {
    std::string text;
    switch (e.kind) {
        case Kind::None:
            return {};
        case Kind::BadAddress:
            text = "not a server address";
            break;
        case Kind::NameNotFound:
            text = "host name not found";
            break;
        case Kind::NameTimedOut:
            text = "host name not resolved, no answer from the name server within " +
                   seconds(timeoutMs);
            break;
        case Kind::NameFailed:
            text = "host name not resolved (" + e.detail + ")";
            break;
        case Kind::Refused:
            text = "connection refused";
            break;
        case Kind::Unreachable:
            text = "server not reachable (" + e.detail + ")";
            break;
        case Kind::TimedOut:
            text = "timed out, no answer within " + seconds(timeoutMs);
            break;
        case Kind::Closed:
            text = "the server closed the connection without an answer";
            break;
        case Kind::WrongPassword:
            text = "wrong password";
            break;
        case Kind::MountInUse:
            text = "mount in use";
            break;
        case Kind::Rejected:
            text = "refused by the server";
            break;
    }
    if (e.status != 0) {
        text += " (" + std::to_string(e.status) + ")";
    }
    if (!e.serverText.empty()) {
        text += ", the server says: " + e.serverText;
    }
    return text;
}

int connectWithin(const std::string& host, int port, int timeoutMs, ConnectError& error,
                  const std::string& nameServers) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    error = {};
    const Resolved found = resolveHost(host, port, timeoutMs, nameServers);
    switch (found.result) {
        case ResolveResult::Found:
            break;
        case ResolveResult::NotFound:
            error.kind = Kind::NameNotFound;
            return -1;
        case ResolveResult::TimedOut:
            error.kind = Kind::NameTimedOut;
            return -1;
        case ResolveResult::Failed:
            error.kind = Kind::NameFailed;
            error.detail = found.detail;
            return -1;
    }
    error.kind = Kind::TimedOut;
    for (const SocketAddress& a : found.addresses) {
        if (msLeft(deadline) == 0) {
            break;
        }
        const int fd = ::socket(a.family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (fd < 0) {
            continue;
        }
        int err = 0;
        if (::connect(fd, reinterpret_cast<const sockaddr*>(&a.address), a.length) != 0 &&
            errno != EINPROGRESS) {
            err = errno;
        } else {
            pollfd p{fd, POLLOUT, 0};
            socklen_t len = sizeof err;
            if (::poll(&p, 1, msLeft(deadline)) != 1) {
                err = ETIMEDOUT;
            } else if (::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0) {
                err = errno;
            }
        }
        if (err == 0) {
            const int one = 1;
            ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
            error = {};
            return fd;
        }
        ::close(fd);
        // The last address tried gives the reason.
        error = {};
        if (err == ECONNREFUSED) {
            error.kind = Kind::Refused;
        } else if (err == ETIMEDOUT) {
            error.kind = Kind::TimedOut;
        } else {
            error.kind = Kind::Unreachable;
            error.detail = std::strerror(err);
        }
    }
    return -1;
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

int openSource(CastTarget& target, const StationInfo& info, int timeoutMs, ConnectError& error,
               const std::string& nameServers) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    int fd = tryHandshake(target, info, deadline, error, nameServers);
    if (fd < 0 && target.protocol == CastProtocol::Icecast2 && worthTheOldProtocol(error) &&
        msLeft(deadline) > 0) {
        CastTarget old = target;
        old.protocol = CastProtocol::Icecast1;
        ConnectError oldError;
        fd = tryHandshake(old, info, deadline, oldError, nameServers);
        if (fd >= 0) {
            target = old;
            error = {};
        } else if (saysMore(oldError)) {
            error = oldError;
        }
    }
    return fd;
}

}  // namespace tw::audio
