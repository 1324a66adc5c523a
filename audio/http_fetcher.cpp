#include "audio/http_fetcher.h"

#include <curl/curl.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstring>

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

HttpFetcher::HttpFetcher(std::string url)
    : url_(std::move(url)), multi_(curl_multi_init()), thread_([this](std::stop_token stop) {
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
    std::string line(data, size);
    std::string lower = line;
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string key = "icy-metaint:";
    if (lower.rfind(key, 0) == 0) {
        metaInterval_ =
            static_cast<std::size_t>(std::strtoul(line.c_str() + key.size(), nullptr, 10));
        audioLeft_ = metaInterval_;
    }
}

std::size_t HttpFetcher::onBody(const char* data, std::size_t size) {
    std::size_t i = 0;
    while (i < size) {
        if (metaInterval_ == 0) {
            storeAudio(data + i, size - i);
            break;
        }
        if (expectMetaLength_) {
            metaLeft_ = static_cast<unsigned char>(data[i]) * 16u;
            expectMetaLength_ = false;
            meta_.clear();
            ++i;
            if (metaLeft_ == 0) {
                audioLeft_ = metaInterval_;
            }
            continue;
        }
        if (metaLeft_ > 0) {
            const std::size_t n = std::min(metaLeft_, size - i);
            meta_.append(data + i, n);
            metaLeft_ -= n;
            i += n;
            if (metaLeft_ == 0) {
                const std::string key = "StreamTitle='";
                if (auto p = meta_.find(key); p != std::string::npos) {
                    auto end = meta_.find("';", p + key.size());
                    std::lock_guard lock(mutex_);
                    title_ = meta_.substr(p + key.size(), end == std::string::npos
                                                              ? std::string::npos
                                                              : end - p - key.size());
                }
                audioLeft_ = metaInterval_;
            }
            continue;
        }
        const std::size_t n = std::min(audioLeft_, size - i);
        storeAudio(data + i, n);
        audioLeft_ -= n;
        i += n;
        if (audioLeft_ == 0) {
            expectMetaLength_ = true;
        }
    }
    return size;
}

void HttpFetcher::storeAudio(const char* data, std::size_t size) {
    std::unique_lock lock(mutex_);
    cv_.wait(lock, stop_, [&] { return buffer_.size() < kMaxBuffered; });
    buffer_.insert(buffer_.end(), data, data + size);
    cv_.notify_all();
}

bool HttpFetcher::take(std::vector<std::uint8_t>& out, int waitMs) {
    std::unique_lock lock(mutex_);
    cv_.wait_for(lock, std::chrono::milliseconds(waitMs),
                 [&] { return !buffer_.empty() || finished_; });
    out.clear();
    out.swap(buffer_);
    cv_.notify_all();
    return !out.empty() || !finished_;
}

std::string HttpFetcher::title() const {
    std::lock_guard lock(mutex_);
    return title_;
}

}  // namespace tw::audio
