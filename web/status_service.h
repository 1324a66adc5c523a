#pragma once
// The web status service: an HTTP server (libmicrohttpd, on its own polling thread) that answers
// from what the console last published, and hands control requests back to the console.
//
//   GET  /                 the status page (web/status_page.h) and its files
//   GET  /api/nowplaying   the latest snapshot (503 until the first one)
//   GET  /api/events       Server-Sent Events: the snapshot at once ("snapshot"), then one event
//                          per change as published; a comment line every keepAlive
//   POST /api/next | /api/mode | /api/message   only with "Authorization: Bearer <token>"
//
// The service never reads the console: a slow or stuck client can hold nothing but its own
// connection. A client that lets more than clientBacklog bytes of events pile up is dropped.
// The token is never written anywhere, and no request is logged.
//
// Thread contract: the constructor, start(), publish(), eventClients() and the destructor from
// any one thread at a time (the console thread in the console). Requests are answered on the
// library's polling thread, and `onControl` runs there: it must only post the request to the
// console's event loop, never act on it. The keep-alive comments come from a thread of the
// service's own. The destructor ends every connection and joins both threads.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "web/control_request.h"

namespace tw::web {

struct ServiceSettings {
    std::string address = "127.0.0.1";    // IPv4 or IPv6, numeric
    std::uint16_t port = 0;               // 0: the system picks one; port() tells which
    std::string token;                    // empty: the control paths answer 403
    std::size_t bodyLimit = 4096;         // a larger request body gets 413
    std::size_t headerLimit = 16 * 1024;  // a request's line and headers; more gets 4xx
    unsigned idleTimeoutSeconds = 10;     // a connection silent this long is closed
    unsigned connectionLimit = 2000;
    std::chrono::milliseconds keepAlive{15000};
    std::size_t clientBacklog = 256 * 1024;
};

class StatusService {
  public:
    StatusService(ServiceSettings settings, std::function<void(ControlRequest)> onControl);
    ~StatusService();
    StatusService(const StatusService&) = delete;
    StatusService& operator=(const StatusService&) = delete;

    // Binds the address and starts answering. False, with the reason in `error`, when the
    // address is no numeric address or cannot be bound. Raises the process's soft limit of open
    // files, when it is lower, to hold connectionLimit connections beside the console's own.
    bool start(std::string& error);
    // The port the service listens on; 0 before a successful start.
    std::uint16_t port() const;

    // The snapshot to answer with from now on; with an event name ("start", "listeners",
    // "on_air", "mode") it also goes to every event stream as that event.
    void publish(std::string snapshot, std::string_view event = {});

    // The event streams open now.
    std::size_t eventClients() const;

  private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace tw::web
