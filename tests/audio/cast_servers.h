#pragma once
// Servers for the cast tests, on the loopback interface: a small stand-in that answers as a
// Shoutcast server does (source port above the listeners' port, admin.cgi), and Debian's
// icecast2 started with a configuration of the test's own.

#include <atomic>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace tw::audio::test {

// A free TCP port on 127.0.0.1 (and, with pair, the one above it free too).
int freePort(bool pair = false);

class FakeShoutcast {
  public:
    explicit FakeShoutcast(std::string password, std::string statsXml);
    ~FakeShoutcast();

    int port() const { return port_; }
    std::string server() const { return "127.0.0.1:" + std::to_string(port_); }
    // What a source sent after the password (headers, then the stream).
    std::string received() const;
    std::vector<std::string> requests() const;
    // Drops the source connection, as a server does when it is restarted.
    void dropSource();
    // From now on its admin pages ask for a log-in (401) unless the request brings one.
    void requireLogin() { requireLogin_ = true; }
    // The same, and only this "user:password" logs in.
    void requireLogin(const std::string& userPassword) {
        {
            std::lock_guard lock(mutex_);
            login_ = userPassword;
        }
        requireLogin_ = true;
    }

  private:
    void serveSource();
    void serveHttp();

    const std::string password_;
    const std::string statsXml_;
    int port_ = 0;
    int sourceListener_ = -1, httpListener_ = -1;
    std::atomic<int> sourceClient_{-1};
    std::atomic<bool> stop_{false};
    std::atomic<bool> requireLogin_{false};
    mutable std::mutex mutex_;
    std::string received_;
    std::vector<std::string> requests_;
    std::string login_;  // the one log-in taken, when set
    std::thread sourceThread_, httpThread_;
};

class Icecast {
  public:
    // Starts icecast2 on a free port with `password` for sources and admin; false in ok() when
    // the program is missing or does not come up.
    // With shoutcastMount set, the port also takes Shoutcast sources (on the port above) for that
    // mount, as Icecast's Shoutcast-compatible listener does.
    Icecast(const std::filesystem::path& folder, const std::string& password,
            std::string shoutcastMount = {});
    ~Icecast();
    bool ok() const { return pid_ > 0; }
    int port() const { return port_; }
    void stop();
    bool restart();

  private:
    bool launch();
    std::filesystem::path folder_;
    std::string password_;
    std::string shoutcastMount_;
    int port_ = 0;
    pid_t pid_ = -1;
};

// Connects as a listener and collects what arrives for `ms` milliseconds.
std::string listen(int port, const std::string& path, int ms);
// Connects as a listener and stays connected, handing what arrives to `heard`, until the server
// closes the connection (or refuses it) or `leave` is set.
void listenWhile(int port, const std::string& path, const std::atomic<bool>& leave,
                 const std::function<void(const std::string&)>& heard);

}  // namespace tw::audio::test
