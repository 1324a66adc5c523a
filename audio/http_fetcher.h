#pragma once
// Pulls the body of an HTTP or ICY response on its own thread into a bounded buffer, with the ICY
// metadata blocks taken out so that only audio bytes remain.
//
// A station that keeps its connection open and sends nothing would hold its stream stalled for
// ever, and with the dead-air watch off the air would stay silent: once take() has found nothing
// for kSilentStationMs in a row, by the clock it is given, the transfer ends as if the server had
// closed.
//
// Thread contract: the constructor, take() and the destructor may be called from any one thread at
// a time (the decoder's owner); title() and contentType() from any thread. The transfer runs on
// the fetcher's own thread. The destructor returns within milliseconds whatever the network does.

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "audio/icy_demux.h"

namespace tw::audio {

inline constexpr std::int64_t kSilentStationMs = 10000;

// Milliseconds of the clock a stream address keeps its silence by: the engine's mixed audio, so
// that offline the time is the audio rendered. Called on the thread that calls take().
using StreamClock = std::function<std::int64_t()>;

// How an address is fetched: the clock its silence is timed by (the steady clock when none), and
// a file of certificates (PEM) to trust instead of the system's ones, which only tests name for a
// station of their own. The server's certificate and name are always verified.
struct HttpOptions {
    StreamClock clock;
    std::string trustedCertificates;
};

class HttpFetcher {
  public:
    explicit HttpFetcher(std::string url, HttpOptions options = {});
    ~HttpFetcher();
    HttpFetcher(const HttpFetcher&) = delete;
    HttpFetcher& operator=(const HttpFetcher&) = delete;

    // Moves the audio bytes that have arrived into `out` (replacing its contents), waiting up to
    // `waitMs` for some to come. Returns false once the transfer has ended and nothing is left,
    // and from the call that finds the station silent for kSilentStationMs on.
    bool take(std::vector<std::uint8_t>& out, int waitMs);
    // The title from the latest ICY metadata block that named one, as UTF-8 (a title that is not
    // valid UTF-8 is taken as Latin-1); "" before any. Any thread.
    std::string title() const;
    // The response's Content-Type as the server gave it ("audio/aacp", "audio/mpeg;
    // charset=..."), "" when it gave none. Known once take() has returned audio. Any thread.
    std::string contentType() const;

  private:
    void run(std::stop_token stop);
    std::size_t onBody(const char* data, std::size_t size);
    void onHeader(const char* data, std::size_t size);
    void storeAudio(const char* data, std::size_t size);

    static std::size_t bodyThunk(char* data, std::size_t size, std::size_t n, void* self);
    static std::size_t headerThunk(char* data, std::size_t size, std::size_t n, void* self);

    std::int64_t nowMs() const;

    const std::string url_;
    const HttpOptions options_;
    // The taker's: when take() first found nothing since the last bytes, and whether the station
    // has been given up as silent.
    std::optional<std::int64_t> quietSince_;
    bool silent_ = false;
    mutable std::mutex mutex_;
    std::condition_variable_any cv_;
    std::vector<std::uint8_t> buffer_;
    bool finished_ = false;
    std::string title_;
    std::string contentType_;

    // Owned by the transfer thread.
    IcyDemux demux_;
    std::string audio_;  // the audio of the body chunk at hand
    std::stop_token stop_;

    void* const multi_;    // the transfer's libcurl multi handle, made before the thread starts
    std::jthread thread_;  // last: it starts after every member it uses exists
};

}  // namespace tw::audio
