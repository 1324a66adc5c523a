// A stream address decoded as MP3 in libmpg123's feed mode: bytes go in as the fetcher delivers
// them, samples come out as soon as a whole frame is there.

#include <mpg123.h>

#include "audio/engine.h"
#include "audio/http_decoders.h"
#include "audio/mp3_setup.h"

namespace tw::audio {

namespace {

class HttpMp3Decoder final : public Decoder {
  public:
    ~HttpMp3Decoder() override {
        fetcher_.reset();
        if (mh_) {
            mpg123_delete(mh_);
        }
    }

    bool open(HttpStart start, int& error) {
        fetcher_ = std::move(start.fetcher);
        mh_ = newMp3Handle();
        if (!mh_ || mpg123_open_feed(mh_) != MPG123_OK) {
            error = kErrorMemory;
            return false;
        }
        if (!start.head.empty()) {
            mpg123_feed(mh_, start.head.data(), start.head.size());
        }
        while (std::chrono::steady_clock::now() < start.deadline) {
            long rate = 0;
            int channels = 0, encoding = 0;
            if (mpg123_getformat(mh_, &rate, &channels, &encoding) == MPG123_OK && rate > 0 &&
                channels > 0) {
                rate_ = static_cast<int>(rate);
                channels_ = channels;
                return true;
            }
            if (!feedFromNetwork(kOpenWaitMs)) {
                error = kErrorFileOpen;
                return false;
            }
        }
        error = kErrorTimeout;
        return false;
    }

    int rate() const override { return rate_; }
    int channels() const override { return channels_; }
    std::int64_t lengthFrames() const override { return -1; }
    bool atEnd() const override { return ended_; }
    void setReadWait(int ms) override { readWaitMs_ = ms; }
    bool seek(std::int64_t) override { return false; }
    std::string title() const override { return fetcher_->title(); }

    std::size_t read(std::int16_t* out, std::size_t frames) override {
        const std::size_t frameBytes = static_cast<std::size_t>(channels_) * 2;
        std::size_t got = 0;
        bool waited = false;
        while (got < frames && !ended_) {
            size_t done = 0;
            const int rc = mpg123_read(mh_, reinterpret_cast<unsigned char*>(out + got * channels_),
                                       (frames - got) * frameBytes, &done);
            got += done / frameBytes;
            if (rc == MPG123_NEED_MORE) {
                if (waited) {
                    break;
                }
                waited = true;
                // In real time this never waits: the read runs under the stream's decode lock,
                // which a console call may need; the read-ahead comes back on its next round.
                if (!feedFromNetwork(readWaitMs_)) {
                    ended_ = true;
                }
            } else if (rc != MPG123_OK && rc != MPG123_NEW_FORMAT) {
                ended_ = true;
            }
        }
        return got;
    }

  private:
    // False once the transfer is over and every byte has been fed.
    bool feedFromNetwork(int waitMs) {
        if (!fetcher_->take(bytes_, waitMs)) {
            return false;
        }
        if (!bytes_.empty()) {
            mpg123_feed(mh_, bytes_.data(), bytes_.size());
        }
        return true;
    }

    mpg123_handle* mh_ = nullptr;
    std::unique_ptr<HttpFetcher> fetcher_;
    std::vector<std::uint8_t> bytes_;
    int rate_ = 0;
    int channels_ = 0;
    bool ended_ = false;
    int readWaitMs_ = 0;
};

}  // namespace

std::unique_ptr<Decoder> openHttpMp3(HttpStart start, int& error) {
    auto decoder = std::make_unique<HttpMp3Decoder>();
    if (!decoder->open(std::move(start), error)) {
        return nullptr;
    }
    return decoder;
}

}  // namespace tw::audio
