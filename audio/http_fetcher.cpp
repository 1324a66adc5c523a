#include "audio/http_fetcher.h"

#include <curl/curl.h>

#include <chrono>
#include <optional>
#include <string_view>

#include "audio/cast_protocol.h"
#include "audio/thread_name.h"

namespace tw::audio {

namespace {

// More than this waiting unread means the player is behind; the transfer then waits instead of
// growing the buffer without end.
constexpr std::size_t kMaxBuffered = 1 << 20;

// How long the transfer thread sleeps in one wait for the socket before it looks at its stop
// request again; a stop also wakes it at once.
constexpr int kPollMs = 200;

}  // namespace

HttpFetcher::HttpFetcher(std::string url, HttpOptions options)
    : url_(std::move(url)),
      options_(std::move(options)),
      multi_(curl_multi_init()),
      thread_([this](std::stop_token stop) {
          nameThisThread("tw-http-fetch");
          run(stop);
      }) {}

HttpFetcher::~HttpFetcher() {
    // The owner never waits on the network: the transfer is woken out of its wait and ends at
    // once, wherever it stands (connecting, waiting for bytes, or held by a full buffer).
    thread_.request_stop();
    cv_.notify_all();
    if (multi_) {
        curl_multi_wakeup(multi_);
    }
    thread_.join();
    if (multi_) {
        curl_multi_cleanup(multi_);
    }
}

void HttpFetcher::run(std::stop_token stop) {
    stop_ = stop;
    CURL* curl = curl_easy_init();
    if (curl) {
        // Shoutcast servers answer with an "ICY 200 OK" status line instead of an HTTP one.
        curl_slist* aliases = curl_slist_append(nullptr, "ICY 200 OK");
        curl_slist* headers = curl_slist_append(nullptr, "Icy-MetaData: 1");
        curl_easy_setopt(curl, CURLOPT_URL, url_.c_str());
        curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(curl, CURLOPT_HTTP200ALIASES, aliases);
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 5L);
        curl_easy_setopt(curl, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, 3000L);
        curl_easy_setopt(curl, CURLOPT_USERAGENT, "TarnWave");
        if (!options_.trustedCertificates.empty()) {
            curl_easy_setopt(curl, CURLOPT_CAINFO, options_.trustedCertificates.c_str());
            curl_easy_setopt(curl, CURLOPT_CAPATH, nullptr);
        }
        curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &HttpFetcher::bodyThunk);
        curl_easy_setopt(curl, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &HttpFetcher::headerThunk);
        curl_easy_setopt(curl, CURLOPT_HEADERDATA, this);
        if (multi_ && curl_multi_add_handle(multi_, curl) == CURLM_OK) {
            int running = 1;
            while (running > 0 && !stop.stop_requested()) {
                if (curl_multi_perform(multi_, &running) != CURLM_OK) {
                    break;
                }
                if (running > 0) {
                    curl_multi_poll(multi_, nullptr, 0, kPollMs, nullptr);
                }
            }
            curl_multi_remove_handle(multi_, curl);
        }
        curl_easy_cleanup(curl);
        curl_slist_free_all(headers);
        curl_slist_free_all(aliases);
    }
    std::lock_guard lock(mutex_);
    finished_ = true;
    cv_.notify_all();
}

std::size_t HttpFetcher::bodyThunk(char* data, std::size_t size, std::size_t n, void* self) {
    return static_cast<HttpFetcher*>(self)->onBody(data, size * n);
}

std::size_t HttpFetcher::headerThunk(char* data, std::size_t size, std::size_t n, void* self) {
    static_cast<HttpFetcher*>(self)->onHeader(data, size * n);
    return size * n;
}

void HttpFetcher::onHeader(const char* data, std::size_t size) {
    const std::string_view line(data, size);
    demux_.headerLine(line);
    // Each response of a redirect brings its own headers: only the last one's type counts.
    std::optional<std::string_view> type = headerValue(line, "content-type");
    if (type || isStatusLine(line)) {
        std::lock_guard lock(mutex_);
        contentType_ = type ? std::string(*type) : std::string();
    }
}

std::size_t HttpFetcher::onBody(const char* data, std::size_t size) {
    audio_.clear();
    demux_.feed(std::string_view(data, size), audio_);
    if (auto title = demux_.takeTitle()) {
        std::string text = asUtf8(*title);
        std::lock_guard lock(mutex_);
        title_ = std::move(text);
    }
    if (!audio_.empty()) {
        storeAudio(audio_.data(), audio_.size());
    }
    return size;
}

void HttpFetcher::storeAudio(const char* data, std::size_t size) {
    std::unique_lock lock(mutex_);
    cv_.wait(lock, stop_, [&] { return buffer_.size() < kMaxBuffered; });
    buffer_.insert(buffer_.end(), data, data + size);
    cv_.notify_all();
}

std::int64_t HttpFetcher::nowMs() const {
    if (options_.clock) {
        return options_.clock();
    }
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

bool HttpFetcher::take(std::vector<std::uint8_t>& out, int waitMs) {
    out.clear();
    if (silent_) {
        return false;
    }
    bool finished = false;
    {
        std::unique_lock lock(mutex_);
        cv_.wait_for(lock, std::chrono::milliseconds(waitMs),
                     [&] { return !buffer_.empty() || finished_; });
        out.swap(buffer_);
        finished = finished_;
        cv_.notify_all();
    }
    if (!out.empty() || finished) {
        quietSince_.reset();
        return !out.empty() || !finished;
    }
    // Nothing came. Only a caller that wants bytes asks, so from here on the station is silent.
    const std::int64_t now = nowMs();
    if (!quietSince_) {
        quietSince_ = now;
    } else if (now - *quietSince_ >= kSilentStationMs) {
        silent_ = true;
        thread_.request_stop();
        cv_.notify_all();
        if (multi_) {
            curl_multi_wakeup(multi_);
        }
        return false;
    }
    return true;
}

std::string HttpFetcher::title() const {
    std::lock_guard lock(mutex_);
    return title_;
}

std::string HttpFetcher::contentType() const {
    std::lock_guard lock(mutex_);
    return contentType_;
}

}  // namespace tw::audio
