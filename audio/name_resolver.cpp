#include "audio/name_resolver.h"

#include <ares.h>
#include <poll.h>

#include <chrono>
#include <cstring>

namespace tw::audio {

namespace {

using Clock = std::chrono::steady_clock;

int msLeft(Clock::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

// The library's one-time set-up, done once for the process before the first channel.
bool libraryReady() {
    static const bool ready = ares_library_init(ARES_LIB_INIT_ALL) == ARES_SUCCESS;
    return ready;
}

struct Answer {
    bool done = false;
    Resolved resolved;
};

void collect(void* arg, int status, int /*timeouts*/, ares_addrinfo* info) {
    auto* answer = static_cast<Answer*>(arg);
    answer->done = true;
    Resolved& r = answer->resolved;
    switch (status) {
        case ARES_SUCCESS:
            r.result = ResolveResult::Found;
            break;
        case ARES_ENOTFOUND:
        case ARES_ENODATA:
        case ARES_ENONAME:
            r.result = ResolveResult::NotFound;
            break;
        case ARES_ETIMEOUT:
        case ARES_ECANCELLED:
        case ARES_EDESTRUCTION:
            r.result = ResolveResult::TimedOut;
            break;
        default:
            r.result = ResolveResult::Failed;
            break;
    }
    if (status != ARES_SUCCESS) {
        r.detail = ares_strerror(status);
    }
    for (const ares_addrinfo_node* n = info ? info->nodes : nullptr; n; n = n->ai_next) {
        if (n->ai_addrlen > sizeof(sockaddr_storage)) {
            continue;
        }
        SocketAddress a;
        std::memcpy(&a.address, n->ai_addr, n->ai_addrlen);
        a.length = static_cast<socklen_t>(n->ai_addrlen);
        a.family = n->ai_family;
        r.addresses.push_back(a);
    }
    if (r.result == ResolveResult::Found && r.addresses.empty()) {
        r.result = ResolveResult::NotFound;
    }
    if (info) {
        ares_freeaddrinfo(info);
    }
}

// Runs the channel's sockets until the answer is in or the deadline has passed.
void await(ares_channel channel, const Answer& answer, Clock::time_point deadline) {
    while (!answer.done) {
        const int left = msLeft(deadline);
        if (left == 0) {
            return;
        }
        ares_socket_t sockets[ARES_GETSOCK_MAXNUM];
        const int mask = ares_getsock(channel, sockets, ARES_GETSOCK_MAXNUM);
        pollfd fds[ARES_GETSOCK_MAXNUM];
        nfds_t count = 0;
        for (int i = 0; i < ARES_GETSOCK_MAXNUM; ++i) {
            const bool reading = ARES_GETSOCK_READABLE(mask, i);
            const bool writing = ARES_GETSOCK_WRITABLE(mask, i);
            if (!reading && !writing) {
                continue;
            }
            fds[count++] = {sockets[i],
                            static_cast<short>((reading ? POLLIN : 0) | (writing ? POLLOUT : 0)),
                            0};
        }
        // Wake for the library's own retries as well as for the deadline.
        timeval most{left / 1000, (left % 1000) * 1000};
        timeval next{};
        const timeval* wait = ares_timeout(channel, &most, &next);
        const int waitMs = static_cast<int>(wait->tv_sec * 1000 + wait->tv_usec / 1000);
        const int ready = ::poll(fds, count, waitMs > 0 ? waitMs : 1);
        if (ready <= 0) {
            ares_process_fd(channel, ARES_SOCKET_BAD, ARES_SOCKET_BAD);
            continue;
        }
        for (nfds_t i = 0; i < count; ++i) {
            const bool in = (fds[i].revents & (POLLIN | POLLERR | POLLHUP)) != 0;
            const bool out = (fds[i].revents & POLLOUT) != 0;
            if (in || out) {
                ares_process_fd(channel, in ? fds[i].fd : ARES_SOCKET_BAD,
                                out ? fds[i].fd : ARES_SOCKET_BAD);
            }
        }
    }
}

}  // namespace

Resolved resolveHost(const std::string& host, int port, int timeoutMs,
                     const std::string& nameServers) {
    const auto deadline = Clock::now() + std::chrono::milliseconds(timeoutMs);
    Answer answer;
    if (!libraryReady()) {
        answer.resolved.detail = "the resolver could not be set up";
        return answer.resolved;
    }
    ares_channel channel = nullptr;
    ares_options options{};
    // The system's configuration but this call's limit: each try gets at most what is left.
    options.timeout = timeoutMs > 0 ? timeoutMs : 1;
    options.tries = 1;
    if (ares_init_options(&channel, &options, ARES_OPT_TIMEOUTMS | ARES_OPT_TRIES) !=
        ARES_SUCCESS) {
        answer.resolved.detail = "the resolver could not be set up";
        return answer.resolved;
    }
    if (!nameServers.empty() &&
        ares_set_servers_ports_csv(channel, nameServers.c_str()) != ARES_SUCCESS) {
        ares_destroy(channel);
        answer.resolved.detail = "no usable name server in \"" + nameServers + "\"";
        return answer.resolved;
    }
    ares_addrinfo_hints hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = ARES_AI_NUMERICSERV;
    const std::string service = std::to_string(port);
    ares_getaddrinfo(channel, host.c_str(), service.c_str(), &hints, collect, &answer);
    await(channel, answer, deadline);
    // Whatever is still asked is given up here: the channel closes its sockets and calls back
    // (with cancelled) before it returns, so nothing outlives this call.
    const bool timedOut = !answer.done;
    ares_destroy(channel);
    if (timedOut) {
        answer.resolved.result = ResolveResult::TimedOut;
        answer.resolved.addresses.clear();
        answer.resolved.detail.clear();
    }
    return answer.resolved;
}

}  // namespace tw::audio
