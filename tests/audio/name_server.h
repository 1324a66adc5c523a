#pragma once
// A name server for the tests on the loopback interface (UDP): one that never answers, one that
// knows no name, or one that gives 127.0.0.1 for every name. The engine is pointed at it with
// MixEngine::setNameServers.

#include <atomic>
#include <string>
#include <thread>

namespace tw::audio::test {

class FakeNameServer {
  public:
    enum class Mode { Silent, NotFound, Loopback };
    explicit FakeNameServer(Mode mode);
    ~FakeNameServer();
    FakeNameServer(const FakeNameServer&) = delete;
    FakeNameServer& operator=(const FakeNameServer&) = delete;

    // "127.0.0.1:port", as setNameServers takes it.
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    int queries() const { return queries_; }

  private:
    void serve();

    const Mode mode_;
    int fd_ = -1;
    int port_ = 0;
    std::atomic<int> queries_{0};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

}  // namespace tw::audio::test
