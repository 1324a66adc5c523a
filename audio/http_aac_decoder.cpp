// A stream address decoded as AAC in ADTS frames with libfaad2. The splitter cuts the bytes into
// whole frames first: libfaad is only ever given one complete frame, so a frame cut by the
// network is never decoded half.

#include <neaacdec.h>

#include <algorithm>

#include "audio/adts_frame.h"
#include "audio/engine.h"
#include "audio/http_decoders.h"

namespace tw::audio {

namespace {

class HttpAacDecoder final : public Decoder {
  public:
    ~HttpAacDecoder() override {
        fetcher_.reset();
        if (faad_) {
            NeAACDecClose(faad_);
        }
    }

    bool open(HttpStart start, int& error) {
        fetcher_ = std::move(start.fetcher);
        faad_ = NeAACDecOpen();
        if (!faad_) {
            error = kErrorMemory;
            return false;
        }
        NeAACDecConfigurationPtr config = NeAACDecGetCurrentConfiguration(faad_);
        config->outputFormat = FAAD_FMT_16BIT;
        // More than two channels are mixed down to stereo by the library. Implicitly signalled
        // HE-AAC (a 22050 or 24000 Hz core, as most stations send it) comes out at twice the
        // core rate, with its upper band.
        config->downMatrix = 1;
        config->dontUpSampleImplicitSBR = 0;
        NeAACDecSetConfiguration(faad_, config);
        splitter_.push(start.head.data(), start.head.size());

        while (std::chrono::steady_clock::now() < start.deadline) {
            while (rate_ == 0 && decodeFrame()) {
            }
            if (rate_ > 0) {
                return true;
            }
            if (networkOver_) {
                error = kErrorFileOpen;
                return false;
            }
            feedFromNetwork(kOpenWaitMs);
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
        std::size_t got = 0;
        bool waited = false;
        while (got < frames && !ended_) {
            got += takeDecoded(out + got * static_cast<std::size_t>(channels_), frames - got);
            if (got == frames || decodeFrame()) {
                continue;
            }
            if (networkOver_) {
                ended_ = true;  // everything the server sent has been handed out
            } else if (waited) {
                break;
            } else {
                waited = true;
                // In real time this never waits: the read runs under the stream's decode lock,
                // which a console call may need; the read-ahead comes back on its next round.
                feedFromNetwork(readWaitMs_);
            }
        }
        return got;
    }

  private:
    // Moves what the network has brought into the splitter. Once the transfer is over and every
    // byte is in, the splitter is told that no more will come.
    void feedFromNetwork(int waitMs) {
        if (!fetcher_->take(bytes_, waitMs)) {
            networkOver_ = true;
            splitter_.finish();
            return;
        }
        splitter_.push(bytes_.data(), bytes_.size());
    }

    // Decodes the next whole frame, if the splitter has one, into pcm_. False when it has none.
    // A frame the library refuses is passed over: the stream goes on with the next one.
    bool decodeFrame() {
        AdtsHeader header;
        if (!splitter_.next(frame_, header)) {
            return false;
        }
        if (!initialised_) {
            unsigned long rate = 0;
            unsigned char channels = 0;
            if (NeAACDecInit(faad_, frame_.data(), frame_.size(), &rate, &channels) < 0) {
                return true;
            }
            initialised_ = true;
        }
        NeAACDecFrameInfo info{};
        auto* samples = static_cast<const std::int16_t*>(
            NeAACDecDecode(faad_, &info, frame_.data(), frame_.size()));
        if (!samples || info.error != 0 || info.channels == 0 || info.samplerate == 0) {
            return true;
        }
        if (rate_ == 0) {
            // The first good frame decides the format for the life of the stream; the library
            // gives no samples for it (its decoder delay), only the rate and channels.
            rate_ = static_cast<int>(info.samplerate);
            channels_ = std::min<int>(info.channels, 2);
        }
        if (static_cast<int>(info.samplerate) != rate_) {
            // The engine's stream has one rate: a frame at another (a station that changed its
            // configuration mid-stream) cannot be played in it.
            return true;
        }
        appendSamples(samples, info.samples / info.channels, info.channels);
        return true;
    }

    // Appends decoded frames in the stream's channel layout. The library mixes 5.1 down to
    // stereo, but a frame may still differ from the first: mono is doubled, a stereo frame in a
    // mono stream is averaged, and of more channels the first two are kept.
    void appendSamples(const std::int16_t* in, std::size_t frames, int inChannels) {
        if (readPos_ == pcm_.size()) {
            pcm_.clear();
            readPos_ = 0;
        }
        for (std::size_t f = 0; f < frames; ++f) {
            const std::int16_t* frame = in + f * static_cast<std::size_t>(inChannels);
            if (inChannels == 1) {
                pcm_.insert(pcm_.end(), static_cast<std::size_t>(channels_), frame[0]);
            } else if (channels_ == 2) {
                pcm_.insert(pcm_.end(), frame, frame + 2);
            } else {
                pcm_.push_back(static_cast<std::int16_t>((frame[0] + frame[1]) / 2));
            }
        }
    }

    std::size_t takeDecoded(std::int16_t* out, std::size_t frames) {
        const auto channels = static_cast<std::size_t>(channels_);
        const std::size_t n = std::min(frames, (pcm_.size() - readPos_) / channels);
        std::copy_n(pcm_.begin() + static_cast<std::ptrdiff_t>(readPos_), n * channels, out);
        readPos_ += n * channels;
        return n;
    }

    NeAACDecHandle faad_ = nullptr;
    std::unique_ptr<HttpFetcher> fetcher_;
    AdtsSplitter splitter_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> frame_;
    std::vector<std::int16_t> pcm_;  // decoded, not yet read, from readPos_ on
    std::size_t readPos_ = 0;
    bool initialised_ = false;
    int rate_ = 0;
    int channels_ = 0;
    bool networkOver_ = false;
    bool ended_ = false;
    int readWaitMs_ = 0;
};

}  // namespace

std::unique_ptr<Decoder> openHttpAac(HttpStart start, int& error) {
    auto decoder = std::make_unique<HttpAacDecoder>();
    if (!decoder->open(std::move(start), error)) {
        return nullptr;
    }
    return decoder;
}

}  // namespace tw::audio
