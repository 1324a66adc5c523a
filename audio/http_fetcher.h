#pragma once
// Pulls the body of an HTTP or ICY response on its own thread into a bounded buffer, with the ICY
// metadata blocks taken out so that only audio bytes remain.
//
// Thread contract: the constructor, take() and the destructor may be called from any one thread at
// a time (the decoder's owner); the transfer runs on the fetcher's own thread. The destructor
// returns within milliseconds whatever the network does.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tw::audio {

class HttpFetcher {
  public:
    explicit HttpFetcher(std::string url);
    ~HttpFetcher();
    HttpFetcher(const HttpFetcher&) = delete;
    HttpFetcher& operator=(const HttpFetcher&) = delete;

    // Moves the audio bytes that have arrived into `out` (replacing its contents), waiting up to
    // `waitMs` for some to come. Returns false once the transfer has ended and nothing is left.
    bool take(std::vector<std::uint8_t>& out, int waitMs);
    // The title from the latest ICY metadata block, if any.
    std::string title() const;

  private:
    void run(std::stop_token stop);
    std::size_t onBody(const char* data, std::size_t size);
    void onHeader(const char* data, std::size_t size);
    void storeAudio(const char* data, std::size_t size);

    static std::size_t bodyThunk(char* data, std::size_t size, std::size_t n, void* self);
    static std::size_t headerThunk(char* data, std::size_t size, std::size_t n, void* self);

    const std::string url_;
    mutable std::mutex mutex_;
    std::condition_variable_any cv_;
    std::vector<std::uint8_t> buffer_;
    bool finished_ = false;
    std::string title_;

    // Owned by the transfer thread.
    std::size_t metaInterval_ = 0;
    std::size_t audioLeft_ = 0;
    std::size_t metaLeft_ = 0;
    bool expectMetaLength_ = false;
    std::string meta_;
    std::stop_token stop_;

    void* const multi_;    // the transfer's libcurl multi handle, made before the thread starts
    std::jthread thread_;  // last: it starts after every member it uses exists
};

}  // namespace tw::audio
