// Event-stream clients for the web service's benchmark, in a process of their own so that what
// they cost is not counted as the console's: N connections to 127.0.0.1:PORT/api/events, read
// on one epoll loop until SIGTERM, then one line on standard output:
//   "<connected> <closed by the server> <fewest start events a client got> <most>"
//
//   web_event_clients PORT N

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

volatile std::sig_atomic_t stopping = 0;

struct Client {
    int fd = -1;
    std::string tail;  // the end of what was read, so a frame split by a read is still counted
    long starts = 0;
    bool closed = false;
};

void count(Client& c, const char* data, std::size_t n) {
    static const std::string frame = "event: start\n";
    c.tail.append(data, n);
    for (std::size_t at = c.tail.find(frame); at != std::string::npos;
         at = c.tail.find(frame, at + frame.size())) {
        ++c.starts;
    }
    if (c.tail.size() >= frame.size()) {
        c.tail.erase(0, c.tail.size() - (frame.size() - 1));
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s PORT N\n", argv[0]);
        return 2;
    }
    const int port = std::atoi(argv[1]);
    const int n = std::atoi(argv[2]);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    std::signal(SIGTERM, [](int) { stopping = 1; });

    const int poller = epoll_create1(EPOLL_CLOEXEC);
    std::vector<Client> clients(static_cast<std::size_t>(n));
    const std::string request = "GET /api/events HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    int connected = 0;
    for (int i = 0; i < n; ++i) {
        Client& c = clients[static_cast<std::size_t>(i)];
        c.fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_port = htons(static_cast<std::uint16_t>(port));
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (c.fd < 0 || connect(c.fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 ||
            send(c.fd, request.data(), request.size(), MSG_NOSIGNAL) !=
                static_cast<ssize_t>(request.size())) {
            c.closed = true;
            continue;
        }
        epoll_event e{};
        e.events = EPOLLIN;
        e.data.u32 = static_cast<std::uint32_t>(i);
        epoll_ctl(poller, EPOLL_CTL_ADD, c.fd, &e);
        ++connected;
    }
    std::fprintf(stderr, "connected %d\n", connected);
    char buf[65536];
    std::vector<epoll_event> ready(256);
    while (!stopping) {
        const int k = epoll_wait(poller, ready.data(), static_cast<int>(ready.size()), 200);
        for (int j = 0; j < k; ++j) {
            Client& c = clients[ready[static_cast<std::size_t>(j)].data.u32];
            const ssize_t got = recv(c.fd, buf, sizeof buf, 0);
            if (got > 0) {
                count(c, buf, static_cast<std::size_t>(got));
            } else if (got == 0) {
                c.closed = true;
                epoll_ctl(poller, EPOLL_CTL_DEL, c.fd, nullptr);
            }
        }
    }
    int closed = 0;
    long fewest = -1, most = 0;
    for (const Client& c : clients) {
        closed += c.closed ? 1 : 0;
        fewest = fewest < 0 ? c.starts : std::min(fewest, c.starts);
        most = std::max(most, c.starts);
    }
    std::printf("%d %d %ld %ld\n", connected, closed, fewest, most);
    return 0;
}
