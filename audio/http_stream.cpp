// Opening a stream address: the transfer starts, and its Content-Type or, failing that, its first
// bytes say which decoder takes it over.

#include "audio/http_stream.h"

#include "audio/engine.h"
#include "audio/http_decoders.h"
#include "audio/stream_format.h"

namespace tw::audio {

namespace {

// A body that shows no two frames in a row within this much is handed to libmpg123, which finds
// MP3 frames behind anything (as it did before the format was looked at at all).
constexpr std::size_t kSniffLimit = 128 * 1024;

}  // namespace

std::unique_ptr<Decoder> openHttpStream(const std::string& url, int timeoutMs, int& error,
                                        HttpOptions options) {
    if (url.rfind("http://", 0) != 0 && url.rfind("https://", 0) != 0) {
        error = kErrorFileOpen;
        return nullptr;
    }
    HttpStart start;
    start.deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    start.fetcher = std::make_unique<HttpFetcher>(url, std::move(options));
    std::vector<std::uint8_t> bytes;
    StreamFormat format = StreamFormat::Unknown;
    while (format == StreamFormat::Unknown) {
        if (std::chrono::steady_clock::now() >= start.deadline) {
            error = kErrorTimeout;
            return nullptr;
        }
        const bool more = start.fetcher->take(bytes, kOpenWaitMs);
        start.head.insert(start.head.end(), bytes.begin(), bytes.end());
        if (start.head.empty()) {
            if (!more) {
                error = kErrorFileOpen;
                return nullptr;
            }
            continue;
        }
        // The headers came before the first byte of the body: the type is known by now.
        format = formatFromContentType(start.fetcher->contentType());
        if (format == StreamFormat::Unknown) {
            format = sniffFormat(start.head.data(), start.head.size(), !more);
        }
        if (format == StreamFormat::Unknown && (!more || start.head.size() >= kSniffLimit)) {
            format = StreamFormat::Mp3;
        }
    }
    return format == StreamFormat::Aac ? openHttpAac(std::move(start), error)
                                       : openHttpMp3(std::move(start), error);
}

}  // namespace tw::audio
