#pragma once
// The decoders behind stream addresses, one per format, each taking over a transfer that
// openHttpStream() has started and looked into.
//
// Both behave alike towards the engine: 16-bit samples at the stream's own rate and channels,
// length unknown, no seeking; a read waits for the network at most the read wait (zero in real
// time); the stream has ended once the server has closed and everything it sent is decoded.
// title() may be called from any thread; everything else follows the Decoder contract.

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/decoder.h"
#include "audio/http_fetcher.h"

namespace tw::audio {

// How long one step of an opening waits for the network.
constexpr int kOpenWaitMs = 20;

// A transfer under way and the first bytes of its audio, already taken from it.
struct HttpStart {
    std::unique_ptr<HttpFetcher> fetcher;
    std::vector<std::uint8_t> head;
    std::chrono::steady_clock::time_point deadline;  // for the first decoded audio
};

// Each blocks until the stream's format is known from its first frame, the transfer has ended,
// or the deadline. Null on failure with `error` set.
std::unique_ptr<Decoder> openHttpMp3(HttpStart start, int& error);
std::unique_ptr<Decoder> openHttpAac(HttpStart start, int& error);

}  // namespace tw::audio
