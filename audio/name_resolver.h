#pragma once
// Host names to addresses within a time limit. The system's resolver call cannot be given one: a
// name server that never answers holds it for as long as its own retries last, and with it the
// thread that asked. Here the question is asked without blocking and given up, with nothing left
// running, when the limit is reached.
//
// Thread contract: resolveHost on any thread; each call is independent and owns all it uses.

#include <sys/socket.h>

#include <string>
#include <vector>

namespace tw::audio {

struct SocketAddress {
    sockaddr_storage address{};
    socklen_t length = 0;
    int family = 0;
};

enum class ResolveResult { Found, NotFound, TimedOut, Failed };

struct Resolved {
    ResolveResult result = ResolveResult::Failed;
    std::vector<SocketAddress> addresses;  // stream sockets to the port, when found
    std::string detail;                    // the resolver's own words on a failure
};

// Addresses for host (a name or a numeric address) and port, within timeoutMs. nameServers, when
// not empty ("127.0.0.1:5353", comma-separated), is asked instead of the system's name servers;
// the hosts file is read either way.
Resolved resolveHost(const std::string& host, int port, int timeoutMs,
                     const std::string& nameServers = {});

}  // namespace tw::audio
