#include "tests/audio/name_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace tw::audio::test {

namespace {

void put16(std::string& out, std::size_t at, unsigned value) {
    out[at] = static_cast<char>((value >> 8) & 0xFF);
    out[at + 1] = static_cast<char>(value & 0xFF);
}

void append16(std::string& out, unsigned value) {
    out += static_cast<char>((value >> 8) & 0xFF);
    out += static_cast<char>(value & 0xFF);
}

// The answer to one query: its header and question, then what the mode says.
std::string answer(const std::string& query, FakeNameServer::Mode mode) {
    if (query.size() < 12) {
        return {};
    }
    std::size_t at = 12;
    while (at < query.size() && query[at] != 0) {
        at += 1 + static_cast<unsigned char>(query[at]);
    }
    if (at + 5 > query.size()) {
        return {};
    }
    const unsigned type = (static_cast<unsigned char>(query[at + 1]) << 8) |
                          static_cast<unsigned char>(query[at + 2]);
    std::string out = query.substr(0, at + 5);  // header and question
    const bool notFound = mode == FakeNameServer::Mode::NotFound;
    const bool address = !notFound && type == 1;
    put16(out, 2, notFound ? 0x8183 : 0x8180);  // a response; rcode 3 is "no such name"
    put16(out, 4, 1);
    put16(out, 6, address ? 1 : 0);
    put16(out, 8, 0);
    put16(out, 10, 0);
    if (address) {
        append16(out, 0xC00C);  // the name of the question
        append16(out, 1);       // A
        append16(out, 1);       // IN
        append16(out, 0);
        append16(out, 60);  // seconds to keep it
        append16(out, 4);
        out += std::string("\x7F\x00\x00\x01", 4);
    }
    return out;
}

}  // namespace

FakeNameServer::FakeNameServer(Mode mode) : mode_(mode) {
    fd_ = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(fd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    ::getsockname(fd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    thread_ = std::thread([this] { serve(); });
}

FakeNameServer::~FakeNameServer() {
    stop_ = true;
    thread_.join();
    ::close(fd_);
}

void FakeNameServer::serve() {
    char buf[1500];
    while (!stop_) {
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, 50) != 1) {
            continue;
        }
        sockaddr_in from{};
        socklen_t len = sizeof from;
        const ssize_t n =
            ::recvfrom(fd_, buf, sizeof buf, 0, reinterpret_cast<sockaddr*>(&from), &len);
        if (n <= 0) {
            continue;
        }
        ++queries_;
        if (mode_ == Mode::Silent) {
            continue;  // read, never answered
        }
        const std::string out = answer(std::string(buf, static_cast<std::size_t>(n)), mode_);
        ::sendto(fd_, out.data(), out.size(), 0, reinterpret_cast<sockaddr*>(&from), len);
    }
}

}  // namespace tw::audio::test
