#pragma once
// The source connection to a server: a TCP connection opened within a time limit (the host name
// resolved within it too), the source handshake, and sending with a limit on how long the server
// may hold a write. A connection that fails says why.
//
// Thread contract: plain functions on a socket the caller owns; any thread.

#include <cstddef>
#include <string>

#include "audio/cast_protocol.h"

namespace tw::audio {

// Why a source connection failed.
struct ConnectError {
    enum class Kind {
        None,
        BadAddress,     // the server text names no host and port
        NameNotFound,   // the name servers know no such host
        NameTimedOut,   // the name servers did not answer within the limit
        NameFailed,     // the resolver failed otherwise (detail)
        Refused,        // nothing listens on the port
        Unreachable,    // no route to the server (detail)
        TimedOut,       // no connection or no answer within the limit
        Closed,         // the server closed the connection without an answer
        WrongPassword,  // 401, or the older protocols' "invalid password"
        MountInUse,     // 403, or a source already on the mount
        Rejected,       // any other refusal
    };
    Kind kind = Kind::None;
    int status = 0;          // the server's HTTP status, when it gave one
    std::string serverText;  // the server's own words, when it gave some
    std::string detail;      // the system's or the resolver's words
};

// The reason as the operator reads it, e.g. "wrong password (401), the server says: You need to
// authenticate". timeoutMs is the limit the connection had.
std::string describe(const ConnectError& error, int timeoutMs);

// A connected, non-blocking socket, or -1 with the reason after at most timeoutMs. nameServers:
// see resolveHost.
int connectWithin(const std::string& host, int port, int timeoutMs, ConnectError& error,
                  const std::string& nameServers = {});
// False when the server took nothing for timeoutMs or the connection broke.
bool sendAll(int fd, const char* data, std::size_t size, int timeoutMs);
// Connects and completes the source handshake of the target's protocol; an Icecast server that
// does not speak HTTP to a source is tried once more in the old protocol. -1 on failure, with
// the reason.
int openSource(CastTarget& target, const StationInfo& info, int timeoutMs, ConnectError& error,
               const std::string& nameServers = {});

}  // namespace tw::audio
