#pragma once
// The source connection to a server: a TCP connection opened within a time limit, the source
// handshake, and sending with a limit on how long the server may hold a write.
//
// Thread contract: plain functions on a socket the caller owns; any thread.

#include <cstddef>
#include <string>

#include "audio/cast_protocol.h"

namespace tw::audio {

// A connected, non-blocking socket, or -1 after timeoutMs.
int connectWithin(const std::string& host, int port, int timeoutMs);
// False when the server took nothing for timeoutMs or the connection broke.
bool sendAll(int fd, const char* data, std::size_t size, int timeoutMs);
// Connects and completes the source handshake of the target's protocol; an Icecast server that
// does not speak HTTP to a source is tried once more in the old protocol. -1 on failure.
int openSource(CastTarget& target, const StationInfo& info, int timeoutMs);

}  // namespace tw::audio
