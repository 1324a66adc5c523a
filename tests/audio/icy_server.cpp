#include "tests/audio/icy_server.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>

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

namespace {

// One accepted connection, in the clear or over TLS.
class Connection {
  public:
    Connection(int fd, const IcyServer::Answer& a) : fd_(fd) {
        if (a.certificate.empty()) {
            return;
        }
        ctx_ = SSL_CTX_new(TLS_server_method());
        if (!ctx_ ||
            SSL_CTX_use_certificate_file(ctx_, a.certificate.c_str(), SSL_FILETYPE_PEM) != 1 ||
            SSL_CTX_use_PrivateKey_file(ctx_, a.key.c_str(), SSL_FILETYPE_PEM) != 1) {
            ADD_FAILURE() << "the test's certificate cannot be used";
            broken_ = true;
            return;
        }
        ssl_ = SSL_new(ctx_);
        SSL_set_fd(ssl_, fd_);
        // A client that refuses the certificate ends the handshake: nothing more is served.
        broken_ = SSL_accept(ssl_) != 1;
    }
    ~Connection() {
        if (ssl_) {
            if (!broken_) {
                SSL_shutdown(ssl_);
            }
            SSL_free(ssl_);
        }
        if (ctx_) {
            SSL_CTX_free(ctx_);
        }
        ::close(fd_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    bool broken() const { return broken_; }
    ssize_t receive(char* buf, std::size_t size) {
        return ssl_ ? SSL_read(ssl_, buf, static_cast<int>(size)) : ::recv(fd_, buf, size, 0);
    }
    ssize_t send(const char* data, std::size_t size) {
        return ssl_ ? SSL_write(ssl_, data, static_cast<int>(size))
                    : ::send(fd_, data, size, MSG_NOSIGNAL);
    }

  private:
    int fd_;
    SSL_CTX* ctx_ = nullptr;
    SSL* ssl_ = nullptr;
    bool broken_ = false;
};

}  // namespace

bool makeLoopbackCertificate(const std::filesystem::path& dir, std::string& certificate,
                             std::string& key) {
    certificate = (dir / "cert.pem").string();
    key = (dir / "key.pem").string();
    const std::string cmd =
        "openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj "
        "/CN=127.0.0.1 -addext subjectAltName=IP:127.0.0.1 -keyout '" +
        key + "' -out '" + certificate + "' > /dev/null 2>&1";
    return std::system(cmd.c_str()) == 0;
}

void IcyServer::serve() {
    // A client that goes away mid-write must not end the test program: the write fails instead.
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    pollfd p{listener_, POLLIN, 0};
    if (::poll(&p, 1, 10000) != 1) {
        return;
    }
    Connection connection(::accept(listener_, nullptr, nullptr), answer_);
    if (connection.broken()) {
        return;
    }
    std::string request;
    char buf[2048];
    while (request.find("\r\n\r\n") == std::string::npos) {
        const ssize_t n = connection.receive(buf, sizeof buf);
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
        const ssize_t n = connection.send(out.data() + sent, chunk);
        if (n <= 0) {
            break;
        }
        sent += static_cast<std::size_t>(n);
    }
}

}  // namespace tw::audio::test
