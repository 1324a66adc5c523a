#include "web/status_service.h"

#include <arpa/inet.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <pthread.h>
#include <sys/resource.h>

#include <strings.h>
#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <stop_token>
#include <thread>
#include <unordered_map>
#include <vector>

#include "web/status_page.h"

namespace tw::web {

namespace {

// Every connection is a file descriptor, and a desktop session's soft limit (often 1,024) is
// below the connections the service takes: the soft limit is raised toward the hard one so that
// the clients, the console's own files and the engine's all fit.
void roomForConnections(unsigned connections) {
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0) {
        return;
    }
    const rlim_t wanted = static_cast<rlim_t>(connections) + 1024;
    if (limit.rlim_cur != RLIM_INFINITY && limit.rlim_cur < wanted) {
        limit.rlim_cur =
            limit.rlim_max == RLIM_INFINITY ? wanted : std::min(wanted, limit.rlim_max);
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
}

// What one request carries between the library's calls for it.
struct Request {
    std::string body;
};

std::string eventFrame(std::string_view event, std::string_view data) {
    std::string frame = "event: ";
    frame += event;
    frame += '\n';
    // A line break inside the data would end the field: each line goes as a data line of its
    // own, which the browser joins again.
    std::size_t from = 0;
    while (true) {
        const std::size_t nl = data.find('\n', from);
        frame += "data: ";
        frame += data.substr(from, nl == std::string_view::npos ? nl : nl - from);
        frame += '\n';
        if (nl == std::string_view::npos) {
            break;
        }
        from = nl + 1;
    }
    frame += '\n';
    return frame;
}

}  // namespace

struct StatusService::Impl {
    // One open event stream. Its pending bytes are filled by publish() and the keep-alive
    // thread and drained by the library's thread, all under the service's mutex.
    struct EventClient {
        Impl* owner = nullptr;
        MHD_Connection* connection = nullptr;
        std::string pending;
        bool suspended = false;  // parked by its reader until there is something to send
        bool dropped = false;    // fell too far behind: its stream ends with an error
    };

    ServiceSettings settings;
    std::function<void(ControlRequest)> onControl;
    MHD_Daemon* daemon = nullptr;
    std::uint16_t boundPort = 0;

    mutable std::mutex mutex;
    std::condition_variable_any beat;
    std::string latest;
    bool stopping = false;
    std::unordered_map<EventClient*, std::unique_ptr<EventClient>> clients;
    std::jthread keepAlive;

    // Sends bytes to every stream (or marks it dropped) and wakes the parked ones. Returns the
    // connections to resume, which the caller resumes after letting go of the mutex.
    std::vector<MHD_Connection*> appendToAll(const std::string& bytes) {
        std::vector<MHD_Connection*> wake;
        for (auto& [key, client] : clients) {
            if (client->dropped) {
                continue;
            }
            if (client->pending.size() + bytes.size() > settings.clientBacklog) {
                client->dropped = true;
                client->pending.clear();
            } else {
                client->pending += bytes;
            }
            if (client->suspended) {
                client->suspended = false;
                wake.push_back(client->connection);
            }
        }
        return wake;
    }

    static void resume(const std::vector<MHD_Connection*>& wake) {
        // A parked connection is never closed by the library, so each of these is still there.
        for (MHD_Connection* c : wake) {
            MHD_resume_connection(c);
        }
    }

    void beatLoop(const std::stop_token& stop) {
        pthread_setname_np(pthread_self(), "tw-web-beat");
        std::unique_lock lock(mutex);
        while (!stop.stop_requested()) {
            beat.wait_for(lock, stop, settings.keepAlive, [] { return false; });
            if (stop.stop_requested()) {
                break;
            }
            const auto wake = appendToAll(": keep-alive\n\n");
            lock.unlock();
            resume(wake);
            lock.lock();
        }
    }

    static ssize_t readEvents(void* cls, std::uint64_t, char* buf, std::size_t max);
    static void freeEvents(void* cls);
    static MHD_Result onRequest(void* cls, MHD_Connection* connection, const char* url,
                                const char* method, const char* version, const char* uploadData,
                                std::size_t* uploadSize, void** state);
    static void onCompleted(void* cls, MHD_Connection* connection, void** state,
                            MHD_RequestTerminationCode code);

    MHD_Result answer(MHD_Connection* connection, unsigned status, const std::string& body,
                      const char* contentType = "application/json; charset=utf-8",
                      const char* allow = nullptr, bool bearer = false) {
        MHD_Response* r = MHD_create_response_from_buffer(
            body.size(), const_cast<char*>(body.data()), MHD_RESPMEM_MUST_COPY);
        if (r == nullptr) {
            return MHD_NO;
        }
        MHD_add_response_header(r, "Content-Type", contentType);
        MHD_add_response_header(r, "Cache-Control", "no-store");
        if (allow != nullptr) {
            MHD_add_response_header(r, "Allow", allow);
        }
        if (bearer) {
            MHD_add_response_header(r, "WWW-Authenticate", "Bearer");
        }
        const MHD_Result queued = MHD_queue_response(connection, status, r);
        MHD_destroy_response(r);
        return queued;
    }

    MHD_Result answerPage(MHD_Connection* connection, const PageFile& file) {
        // The page's files live as long as the program: the library sends them as they are.
        MHD_Response* r = MHD_create_response_from_buffer(
            file.body.size(), const_cast<char*>(file.body.data()), MHD_RESPMEM_PERSISTENT);
        if (r == nullptr) {
            return MHD_NO;
        }
        MHD_add_response_header(r, "Content-Type", file.contentType);
        MHD_add_response_header(r, "Cache-Control", "no-store");
        MHD_add_response_header(r, "Content-Security-Policy", kPageSecurityPolicy);
        MHD_add_response_header(r, "X-Content-Type-Options", "nosniff");
        MHD_add_response_header(r, "Referrer-Policy", "no-referrer");
        const MHD_Result queued = MHD_queue_response(connection, MHD_HTTP_OK, r);
        MHD_destroy_response(r);
        return queued;
    }

    MHD_Result error(MHD_Connection* connection, unsigned status, const char* why,
                     const char* allow = nullptr, bool bearer = false) {
        return answer(connection, status, std::string("{\"error\":\"") + why + "\"}",
                      "application/json; charset=utf-8", allow, bearer);
    }

    MHD_Result openEvents(MHD_Connection* connection) {
        auto client = std::make_unique<EventClient>();
        client->owner = this;
        client->connection = connection;
        EventClient* raw = client.get();
        {
            std::lock_guard lock(mutex);
            if (stopping) {
                return error(connection, MHD_HTTP_SERVICE_UNAVAILABLE, "closing");
            }
            client->pending = "retry: 3000\n\n";
            if (!latest.empty()) {
                client->pending += eventFrame("snapshot", latest);
            }
            clients.emplace(raw, std::move(client));
        }
        MHD_Response* r = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, 4096, &readEvents,
                                                            raw, &freeEvents);
        if (r == nullptr) {
            freeEvents(raw);
            return MHD_NO;
        }
        MHD_add_response_header(r, "Content-Type", "text/event-stream; charset=utf-8");
        MHD_add_response_header(r, "Cache-Control", "no-store");
        MHD_add_response_header(r, "X-Accel-Buffering", "no");
        const MHD_Result queued = MHD_queue_response(connection, MHD_HTTP_OK, r);
        MHD_destroy_response(r);  // the library keeps it while the stream runs
        return queued;
    }

    // The first call of a request: headers only. Everything that can be refused without its
    // body is refused here, before a byte of it is read.
    MHD_Result onHeaders(MHD_Connection* connection, std::string_view path, std::string_view method,
                         std::string_view version, void** state) {
        if (version == MHD_HTTP_VERSION_1_1 &&
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Host") == nullptr) {
            return error(connection, MHD_HTTP_BAD_REQUEST, "bad request");
        }
        if (path == "/api/nowplaying" || path == "/api/events") {
            if (method != MHD_HTTP_METHOD_GET) {
                return error(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "method", "GET");
            }
            if (path == "/api/events") {
                return openEvents(connection);
            }
            std::string body;
            {
                std::lock_guard lock(mutex);
                body = latest;
            }
            if (body.empty()) {
                return error(connection, MHD_HTTP_SERVICE_UNAVAILABLE, "no snapshot yet");
            }
            return answer(connection, MHD_HTTP_OK, body);
        }
        if (const std::optional<PageFile> file = pageFileAt(path)) {
            if (method != MHD_HTTP_METHOD_GET) {
                return error(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "method", "GET");
            }
            return answerPage(connection, *file);
        }
        if (!isControlPath(path)) {
            return error(connection, MHD_HTTP_NOT_FOUND, "not found");
        }
        if (method != MHD_HTTP_METHOD_POST) {
            return error(connection, MHD_HTTP_METHOD_NOT_ALLOWED, "method", "POST");
        }
        if (settings.token.empty()) {
            return error(connection, MHD_HTTP_FORBIDDEN, "control is off");
        }
        const char* authorization =
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Authorization");
        if (authorization == nullptr || !bearerMatches(authorization, settings.token)) {
            return error(connection, MHD_HTTP_UNAUTHORIZED, "unauthorized", nullptr, true);
        }
        if (MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Transfer-Encoding")) {
            // A body of unknown length could only be cut off mid-way: it must say its length.
            return error(connection, MHD_HTTP_LENGTH_REQUIRED, "length required");
        }
        // Two lengths that could disagree are a request smuggled past some proxy: refused.
        int lengths = 0;
        MHD_get_connection_values(
            connection, MHD_HEADER_KIND,
            [](void* count, MHD_ValueKind, const char* key, const char*) {
                *static_cast<int*>(count) += strcasecmp(key, "Content-Length") == 0 ? 1 : 0;
                return MHD_YES;
            },
            &lengths);
        if (lengths > 1) {
            return error(connection, MHD_HTTP_BAD_REQUEST, "bad request");
        }
        const char* length =
            MHD_lookup_connection_value(connection, MHD_HEADER_KIND, "Content-Length");
        if (length != nullptr) {
            char* end = nullptr;
            const unsigned long long n = std::strtoull(length, &end, 10);
            if (end == length || *end != '\0' || n > settings.bodyLimit) {
                return error(connection, MHD_HTTP_CONTENT_TOO_LARGE, "body too large");
            }
        }
        *state = new Request;
        return MHD_YES;
    }
};

ssize_t StatusService::Impl::readEvents(void* cls, std::uint64_t, char* buf, std::size_t max) {
    auto* client = static_cast<EventClient*>(cls);
    Impl& self = *client->owner;
    std::lock_guard lock(self.mutex);
    if (client->dropped) {
        return MHD_CONTENT_READER_END_WITH_ERROR;
    }
    if (client->pending.empty()) {
        if (self.stopping) {
            return MHD_CONTENT_READER_END_OF_STREAM;
        }
        // Nothing to send: the connection is parked (no busy polling) until publish() or the
        // keep-alive gives it something.
        client->suspended = true;
        MHD_suspend_connection(client->connection);
        return 0;
    }
    const std::size_t n = std::min(max, client->pending.size());
    std::memcpy(buf, client->pending.data(), n);
    client->pending.erase(0, n);
    return static_cast<ssize_t>(n);
}

void StatusService::Impl::freeEvents(void* cls) {
    auto* client = static_cast<EventClient*>(cls);
    Impl& self = *client->owner;
    std::lock_guard lock(self.mutex);
    self.clients.erase(client);
}

MHD_Result StatusService::Impl::onRequest(void* cls, MHD_Connection* connection, const char* url,
                                          const char* method, const char* version,
                                          const char* uploadData, std::size_t* uploadSize,
                                          void** state) {
    Impl& self = *static_cast<Impl*>(cls);
    const std::string_view path = url != nullptr ? url : "";
    if (*state == nullptr) {
        return self.onHeaders(connection, path, method != nullptr ? method : "",
                              version != nullptr ? version : "", state);
    }
    auto& request = *static_cast<Request*>(*state);
    if (*uploadSize != 0) {
        // The length was checked against the limit before the body came; the library holds a
        // body to its stated length.
        if (request.body.size() + *uploadSize <= self.settings.bodyLimit) {
            request.body.append(uploadData, *uploadSize);
        } else {
            request.body.assign(self.settings.bodyLimit + 1, '\0');
        }
        *uploadSize = 0;
        return MHD_YES;
    }
    if (request.body.size() > self.settings.bodyLimit) {
        return self.error(connection, MHD_HTTP_CONTENT_TOO_LARGE, "body too large");
    }
    const std::optional<ControlRequest> control = parseControl(path, request.body);
    if (!control) {
        return self.error(connection, MHD_HTTP_BAD_REQUEST, "bad request");
    }
    self.onControl(*control);
    return self.answer(connection, MHD_HTTP_ACCEPTED, "{\"accepted\":true}");
}

void StatusService::Impl::onCompleted(void*, MHD_Connection*, void** state,
                                      MHD_RequestTerminationCode) {
    delete static_cast<Request*>(*state);
    *state = nullptr;
}

StatusService::StatusService(ServiceSettings settings,
                             std::function<void(ControlRequest)> onControl)
    : impl_(std::make_unique<Impl>()) {
    impl_->settings = std::move(settings);
    impl_->onControl = std::move(onControl);
}

StatusService::~StatusService() {
    if (impl_->daemon == nullptr) {
        return;
    }
    impl_->keepAlive.request_stop();
    if (impl_->keepAlive.joinable()) {
        impl_->keepAlive.join();
    }
    std::vector<MHD_Connection*> wake;
    {
        std::lock_guard lock(impl_->mutex);
        impl_->stopping = true;
        for (auto& [key, client] : impl_->clients) {
            if (client->suspended) {
                client->suspended = false;
                wake.push_back(client->connection);
            }
        }
    }
    // The library must not be stopped with a connection parked: every stream is woken first,
    // and its reader, seeing the service closing, ends it.
    Impl::resume(wake);
    MHD_stop_daemon(impl_->daemon);
}

bool StatusService::start(std::string& error) {
    Impl& d = *impl_;
    sockaddr_in v4{};
    sockaddr_in6 v6{};
    const sockaddr* address = nullptr;
    unsigned flags = MHD_USE_INTERNAL_POLLING_THREAD | MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME;
    if (inet_pton(AF_INET, d.settings.address.c_str(), &v4.sin_addr) == 1) {
        v4.sin_family = AF_INET;
        v4.sin_port = htons(d.settings.port);
        address = reinterpret_cast<const sockaddr*>(&v4);
    } else if (inet_pton(AF_INET6, d.settings.address.c_str(), &v6.sin6_addr) == 1) {
        v6.sin6_family = AF_INET6;
        v6.sin6_port = htons(d.settings.port);
        address = reinterpret_cast<const sockaddr*>(&v6);
        flags |= MHD_USE_IPv6;
    } else {
        error = "\"" + d.settings.address + "\" is no numeric address";
        return false;
    }
    roomForConnections(d.settings.connectionLimit);
    d.daemon = MHD_start_daemon(flags, d.settings.port, nullptr, nullptr, &Impl::onRequest, &d,
                                MHD_OPTION_SOCK_ADDR, address, MHD_OPTION_CONNECTION_TIMEOUT,
                                d.settings.idleTimeoutSeconds, MHD_OPTION_CONNECTION_LIMIT,
                                d.settings.connectionLimit, MHD_OPTION_CONNECTION_MEMORY_LIMIT,
                                d.settings.headerLimit, MHD_OPTION_NOTIFY_COMPLETED,
                                &Impl::onCompleted, &d, MHD_OPTION_END);
    if (d.daemon == nullptr) {
        error =
            "cannot listen on " + d.settings.address + " port " + std::to_string(d.settings.port);
        return false;
    }
    const MHD_DaemonInfo* info = MHD_get_daemon_info(d.daemon, MHD_DAEMON_INFO_BIND_PORT);
    d.boundPort = info != nullptr ? info->port : d.settings.port;
    d.keepAlive = std::jthread([&d](std::stop_token stop) { d.beatLoop(stop); });
    return true;
}

std::uint16_t StatusService::port() const {
    return impl_->boundPort;
}

void StatusService::publish(std::string snapshot, std::string_view event) {
    std::vector<MHD_Connection*> wake;
    {
        std::lock_guard lock(impl_->mutex);
        if (!event.empty()) {
            wake = impl_->appendToAll(eventFrame(event, snapshot));
        }
        impl_->latest = std::move(snapshot);
    }
    Impl::resume(wake);
}

std::size_t StatusService::eventClients() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->clients.size();
}

}  // namespace tw::web
