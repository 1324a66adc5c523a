#pragma once
// A raw HTTP client for the service's tests: it sends exactly the bytes a test gives (malformed,
// huge or dribbled out slowly) and reads what comes back, with a deadline.

#include <chrono>
#include <cstdint>
#include <string>

namespace tw::test {

class HttpProbe {
  public:
    explicit HttpProbe(std::uint16_t port);  // connects to 127.0.0.1:port
    ~HttpProbe();
    HttpProbe(const HttpProbe&) = delete;
    HttpProbe& operator=(const HttpProbe&) = delete;

    bool connected() const { return fd_ >= 0; }
    // False when the connection would not take the bytes (closed by the server).
    bool send(const std::string& bytes);
    // Reads until `until` shows up in what was read, the server closes, or the time is up.
    // Returns everything read so far on this connection.
    const std::string& readUntil(const std::string& until, std::chrono::milliseconds limit);
    // Reads until the server closes the connection or the time is up; true when it closed.
    bool readToClose(std::chrono::milliseconds limit);
    const std::string& received() const { return in_; }
    // The status code of the answer read so far; 0 when there is none yet.
    int status() const;

  private:
    int fd_ = -1;
    bool closed_ = false;
    std::string in_;
};

// One whole exchange on a connection of its own; the answer as read until the server closed or
// two seconds passed.
std::string roundTrip(std::uint16_t port, const std::string& request);
int statusOf(const std::string& answer);
// Sends every byte on a connected socket; false when the peer would not take them.
bool sendAll(int fd, const std::string& bytes);
// A port on the loopback address that was free a moment ago.
std::uint16_t freeLoopbackPort();
std::string bodyOf(const std::string& answer);

}  // namespace tw::test
