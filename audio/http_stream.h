#pragma once
// Stream addresses: HTTP (and ICY) streams fetched by libcurl on a thread of their own and decoded
// as MP3 or as AAC in ADTS frames. The length of such a stream is unknown and it cannot seek.

#include <memory>
#include <string>

#include "audio/decoder.h"
#include "audio/http_fetcher.h"

namespace tw::audio {

// Picks the decoder by the response's Content-Type, or by the first bytes when the type is
// missing or unknown, and blocks until the first audio frame has been decoded, the connection
// failed, or `timeoutMs` passed. Returns null on failure with `error` set. HTTP and HTTPS; see
// HttpOptions for the rest. Any thread.
std::unique_ptr<Decoder> openHttpStream(const std::string& url, int timeoutMs, int& error,
                                        HttpOptions options = {});

}  // namespace tw::audio
