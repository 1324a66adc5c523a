#include "tests/audio/icy_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>

namespace tw::audio::test {

std::string icyBlock(const std::string& text) {
    const std::size_t sixteens = (text.size() + 15) / 16;
    std::string block(1, static_cast<char>(sixteens));
    block += text;
    block.resize(1 + 16 * sixteens, '\0');
    return block;
}

IcyServer::IcyServer(Answer answer) : answer_(std::move(answer)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    EXPECT_EQ(::bind(listener_, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(::listen(listener_, 1), 0);
    socklen_t len = sizeof addr;
    ::getsockname(listener_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this] { serve(); });
}

IcyServer::~IcyServer() {
    release();
    thread_.join();
    ::close(listener_);
}

std::string IcyServer::request() const {
    std::lock_guard lock(mutex_);
    return request_;
}

void IcyServer::release() {
    std::lock_guard lock(mutex_);
    released_ = true;
    cv_.notify_all();
}

std::string IcyServer::compose(std::size_t& holdPos) const {
    const Answer& a = answer_;
    std::string out = a.icyStatus ? "ICY 200 OK\r\n" : "HTTP/1.0 200 OK\r\n";
    if (!a.contentType.empty()) {
        out += "content-type: " + a.contentType + "\r\n";
    }
    if (a.metaInterval > 0) {
        out += "icy-metaint: " + std::to_string(a.metaInterval) + "\r\n";
    }
    out += "\r\n";
    holdPos = kNever;
    const std::size_t stretch = a.metaInterval > 0 ? a.metaInterval : a.body.size();
    std::size_t block = 0;
    for (std::size_t i = 0; i < a.body.size(); i += stretch) {
        if (a.holdAt >= i && a.holdAt < i + stretch && a.holdAt < a.body.size()) {
            holdPos = out.size() + (a.holdAt - i);
        }
        out += a.body.substr(i, stretch);
        if (a.metaInterval > 0 && i + stretch <= a.body.size()) {
            const std::size_t title = a.blocksPerTitle == kNever
                                          ? 0
                                          : std::min(block / a.blocksPerTitle, a.titles.size() - 1);
            out += icyBlock(a.titles[title]);
            ++block;
        }
    }
    return out;
}

void IcyServer::serve() {
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, 10000) != 1) {
        return;
    }
    const int fd = ::accept(listener_, nullptr, nullptr);
    std::string request;
    char buf[2048];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n <= 0) {
            break;
        }
        request.append(buf, static_cast<std::size_t>(n));
    }
    {
        std::unique_lock lock(mutex_);
        request_ = request;
        if (answer_.silent) {
            cv_.wait(lock, [&] { return released_; });
            lock.unlock();
            ::close(fd);
            return;
        }
    }
    std::size_t holdPos = kNever;
    const std::string out = compose(holdPos);
    for (std::size_t sent = 0; sent < out.size();) {
        std::size_t chunk = out.size() - sent;
        if (sent < holdPos && sent + chunk > holdPos) {
            chunk = holdPos - sent;
        }
        if (answer_.bytesPerSecond > 0) {
            chunk = std::min(chunk, answer_.bytesPerSecond / 20);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        if (sent == holdPos) {
            if (answer_.closeAtHold) {
                break;
            }
            std::unique_lock lock(mutex_);
            cv_.wait(lock, [&] { return released_; });
        }
        const ssize_t n = ::send(fd, out.data() + sent, chunk, MSG_NOSIGNAL);
        if (n <= 0) {
            break;
        }
        sent += static_cast<std::size_t>(n);
    }
    ::close(fd);
}

}  // namespace tw::audio::test
