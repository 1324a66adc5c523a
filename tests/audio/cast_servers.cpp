#include "tests/audio/cast_servers.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>

#include "audio/cast_protocol.h"

extern char** environ;

namespace tw::audio::test {

namespace {

int listenOn(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 || ::listen(fd, 8) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

int boundPort(int fd) {
    sockaddr_in addr{};
    socklen_t len = sizeof addr;
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
    return ntohs(addr.sin_port);
}

// Waits for a connection while the flag allows.
int acceptWhile(int listener, const std::atomic<bool>& stop) {
    while (!stop) {
        pollfd p{listener, POLLIN, 0};
        if (::poll(&p, 1, 50) == 1) {
            return ::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        }
    }
    return -1;
}

std::string readUntil(int fd, const std::string& end, const std::atomic<bool>& stop) {
    std::string got;
    char c;
    while (!stop && got.find(end) == std::string::npos) {
        pollfd p{fd, POLLIN, 0};
        if (::poll(&p, 1, 50) != 1) {
            continue;
        }
        if (::recv(fd, &c, 1, 0) != 1) {
            break;
        }
        got += c;
    }
    return got;
}

void sendText(int fd, const std::string& text) {
    ::send(fd, text.data(), text.size(), MSG_NOSIGNAL);
}

// Appends what arrives within pollMs; false once the peer has closed.
bool receiveSome(int fd, std::string& into, int pollMs) {
    pollfd p{fd, POLLIN, 0};
    if (::poll(&p, 1, pollMs) != 1) {
        return true;
    }
    char buf[8192];
    const ssize_t n = ::recv(fd, buf, sizeof buf, 0);
    if (n <= 0) {
        return false;
    }
    into.append(buf, static_cast<std::size_t>(n));
    return true;
}

// A connected socket to 127.0.0.1:port, or -1.
int connectLoopback(int port) {
    const int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<std::uint16_t>(port));
    if (::connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0) {
        ::close(fd);
        return -1;
    }
    return fd;
}

// A listener's connection with its request sent, or -1.
int connectListener(int port, const std::string& path) {
    const int fd = connectLoopback(port);
    if (fd >= 0) {
        sendText(fd, "GET " + path + " HTTP/1.0\r\nUser-Agent: listener\r\n\r\n");
    }
    return fd;
}

}  // namespace

int freePort(bool pair) {
    for (int attempt = 0; attempt < 50; ++attempt) {
        const int a = listenOn(0);
        const int port = boundPort(a);
        const int b = pair ? listenOn(port + 1) : -1;
        ::close(a);
        if (!pair) {
            return port;
        }
        if (b >= 0) {
            ::close(b);
            return port;
        }
    }
    return 0;
}

FakeShoutcast::FakeShoutcast(std::string password, std::string statsXml)
    : password_(std::move(password)), statsXml_(std::move(statsXml)) {
    for (int attempt = 0; attempt < 50 && sourceListener_ < 0; ++attempt) {
        httpListener_ = listenOn(0);
        port_ = boundPort(httpListener_);
        sourceListener_ = listenOn(port_ + 1);
        if (sourceListener_ < 0) {
            ::close(httpListener_);
        }
    }
    sourceThread_ = std::thread([this] { serveSource(); });
    httpThread_ = std::thread([this] { serveHttp(); });
}

FakeShoutcast::~FakeShoutcast() {
    stop_ = true;
    sourceThread_.join();
    httpThread_.join();
    ::close(sourceListener_);
    ::close(httpListener_);
}

std::string FakeShoutcast::received() const {
    std::lock_guard lock(mutex_);
    return received_;
}

std::vector<std::string> FakeShoutcast::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

void FakeShoutcast::dropSource() {
    const int fd = sourceClient_.load();
    if (fd >= 0) {
        ::shutdown(fd, SHUT_RDWR);
    }
}

void FakeShoutcast::serveSource() {
    while (!stop_) {
        const int fd = acceptWhile(sourceListener_, stop_);
        if (fd < 0) {
            continue;
        }
        std::string line = readUntil(fd, "\n", stop_);
        while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
            line.pop_back();
        }
        if (line != password_) {
            sendText(fd, "invalid password\r\n");
            ::close(fd);
            continue;
        }
        sendText(fd, "OK2\r\nicy-caps:11\r\n\r\n");
        sourceClient_ = fd;
        std::string got;
        for (bool open = true; open && !stop_;) {
            open = receiveSome(fd, got, 50);
            std::lock_guard lock(mutex_);
            received_ += got;
            got.clear();
        }
        sourceClient_ = -1;
        ::close(fd);
    }
}

void FakeShoutcast::serveHttp() {
    while (!stop_) {
        const int fd = acceptWhile(httpListener_, stop_);
        if (fd < 0) {
            continue;
        }
        const std::string request = readUntil(fd, "\r\n\r\n", stop_);
        std::string login;
        {
            std::lock_guard lock(mutex_);
            login = login_;
        }
        const bool loggedIn =
            login.empty() ? request.find("Authorization: Basic ") != std::string::npos
                          : request.find("Authorization: Basic " + base64(login) + "\r\n") !=
                                std::string::npos;
        {
            std::lock_guard lock(mutex_);
            requests_.push_back(request.substr(0, request.find("\r\n")) +
                                (loggedIn ? " [logged in]" : ""));
        }
        if (requireLogin_ && !loggedIn) {
            sendText(fd,
                     "HTTP/1.0 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"Shoutcast"
                     "\"\r\n\r\n");
            ::close(fd);
            continue;
        }
        const bool stats = request.find("mode=viewxml") != std::string::npos &&
                           request.find("pass=" + password_) != std::string::npos;
        sendText(fd, std::string("HTTP/1.0 200 OK\r\nContent-Type: text/xml\r\n\r\n") +
                         (stats ? statsXml_ : "<html>OK</html>"));
        ::close(fd);
    }
}

Icecast::Icecast(const std::filesystem::path& folder, const std::string& password,
                 std::string shoutcastMount)
    : folder_(folder), password_(password), shoutcastMount_(std::move(shoutcastMount)) {
    launch();
}

Icecast::~Icecast() {
    stop();
}

void Icecast::stop() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }
}

bool Icecast::restart() {
    stop();
    // The same port again: a server that gives up at once (its port not yet free on a busy
    // machine) is given two more tries.
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (launch()) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(500));
    }
    return false;
}

bool Icecast::launch() {
    if (!std::filesystem::exists("/usr/bin/icecast2")) {
        return false;
    }
    if (port_ == 0) {
        port_ = freePort(!shoutcastMount_.empty());
    }
    // Run as root, icecast insists on giving itself away; its logs must then be writable.
    std::filesystem::create_directories(folder_);
    ::chmod(folder_.c_str(), 0777);
    ::chmod(folder_.parent_path().c_str(), 0755);  // the test's own folder, to be passed through
    const auto config = folder_ / "icecast.xml";
    std::ofstream(config) << "<icecast><limits><sources>4</sources><source-timeout>10</"
                             "source-timeout></limits>"
                          << "<authentication><source-password>" << password_
                          << "</source-password><admin-user>admin</admin-user><admin-password>"
                          << password_ << "</admin-password></authentication>"
                          << "<hostname>127.0.0.1</hostname><listen-socket><port>" << port_
                          << "</port><bind-address>127.0.0.1</bind-address>"
                          << (shoutcastMount_.empty()
                                  ? std::string()
                                  : "<shoutcast-mount>" + shoutcastMount_ + "</shoutcast-mount>")
                          << "</listen-socket>"
                          << "<paths><basedir>/usr/share/icecast2</basedir><logdir>"
                          << folder_.string() << "</logdir><webroot>/usr/share/icecast2/web</"
                          << "webroot><adminroot>/usr/share/icecast2/admin</adminroot></paths>"
                          << "<logging><accesslog>access.log</accesslog><errorlog>error.log</"
                             "errorlog><loglevel>2</loglevel></logging>"
                          << "<security><chroot>0</chroot>"
                          << (::geteuid() == 0 ? "<changeowner><user>nobody</user><group>nogroup"
                                                 "</group></changeowner>"
                                               : "")
                          << "</security></icecast>\n";
    const std::string cfg = config.string();
    char* argv[] = {const_cast<char*>("icecast2"), const_cast<char*>("-c"),
                    const_cast<char*>(cfg.c_str()), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", 01, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", 01, 0);
    const int rc = ::posix_spawn(&pid_, "/usr/bin/icecast2", &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        pid_ = -1;
        return false;
    }
    // Up when it takes a connection.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
        const int fd = connectLoopback(port_);
        const bool up = fd >= 0;
        if (up) {
            ::close(fd);
        }
        // It listens before it gives itself away and opens its logs: up is still running then.
        if (up) {
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
            if (::waitpid(pid_, nullptr, WNOHANG) == 0) {
                return true;
            }
            pid_ = -1;
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    stop();
    return false;
}

std::string listen(int port, const std::string& path, int ms) {
    std::string got;
    const int fd = connectListener(port, path);
    if (fd < 0) {
        return got;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (std::chrono::steady_clock::now() < deadline && receiveSome(fd, got, 20)) {
    }
    ::close(fd);
    return got;
}

void listenWhile(int port, const std::string& path, const std::atomic<bool>& leave,
                 const std::function<void(const std::string&)>& heard) {
    const int fd = connectListener(port, path);
    if (fd < 0) {
        return;
    }
    std::string got;
    while (!leave && receiveSome(fd, got, 20)) {
        if (!got.empty()) {
            heard(got);
            got.clear();
        }
    }
    ::close(fd);
}

}  // namespace tw::audio::test
