#include "audio/record_hub.h"

#include <algorithm>
#include <cmath>

#include "audio/encoder_tap.h"
#include "audio/mixer_core.h"

namespace tw::audio {

namespace {

// A quarter of a second of microphone at most waits for the mixer; older audio gives way.
constexpr std::size_t kFeedFrames = kMixRate / 4;

class LiveInputDecoder final : public Decoder {
  public:
    explicit LiveInputDecoder(std::shared_ptr<LiveFeed> feed) : feed_(std::move(feed)) {}
    int rate() const override { return kMixRate; }
    int channels() const override { return kMixChannels; }
    std::int64_t lengthFrames() const override { return -1; }
    std::size_t read(std::int16_t* out, std::size_t frames) override {
        return feed_->pop(out, frames);
    }
    bool seek(std::int64_t) override { return false; }
    bool atEnd() const override { return false; }

  private:
    std::shared_ptr<LiveFeed> feed_;
};

}  // namespace

void LiveFeed::open() {
    std::lock_guard lock(mutex_);
    ring_.assign(kFeedFrames * kMixChannels, 0);
    head_ = count_ = 0;
}

void LiveFeed::close() {
    std::lock_guard lock(mutex_);
    std::vector<std::int16_t>().swap(ring_);
    head_ = count_ = 0;
}

void LiveFeed::push(const std::int16_t* stereo, std::size_t frames) {
    std::lock_guard lock(mutex_);
    if (ring_.empty()) {
        return;
    }
    for (std::size_t i = 0; i < frames; ++i) {
        if (count_ == kFeedFrames) {
            head_ = (head_ + 1) % kFeedFrames;  // the oldest frame gives way
            --count_;
        }
        const std::size_t at = (head_ + count_) % kFeedFrames;
        ring_[2 * at] = stereo[2 * i];
        ring_[2 * at + 1] = stereo[2 * i + 1];
        ++count_;
    }
}

std::size_t LiveFeed::pop(std::int16_t* stereo, std::size_t frames) {
    std::lock_guard lock(mutex_);
    const std::size_t n = std::min(frames, count_);
    for (std::size_t i = 0; i < n; ++i) {
        stereo[2 * i] = ring_[2 * head_];
        stereo[2 * i + 1] = ring_[2 * head_ + 1];
        head_ = (head_ + 1) % kFeedFrames;
    }
    count_ -= n;
    return n;
}

std::unique_ptr<Decoder> openLiveInput(std::shared_ptr<LiveFeed> feed) {
    return std::make_unique<LiveInputDecoder>(std::move(feed));
}

void RecordHub::captured(const float* stereo, std::size_t frames) {
    std::lock_guard lock(mutex_);
    const float volume = inputVolume();
    work_.resize(frames * kMixChannels);
    pcm_.resize(frames * kMixChannels);
    bool fed = false;
    for (auto& ch : channels_) {
        if (ch->state != State::Playing) {
            continue;
        }
        if (ch->inMix) {
            for (std::size_t i = 0; i < frames * kMixChannels; ++i) {
                pcm_[i] = toPcm16(stereo[i] * volume);
            }
            ch->feed->push(pcm_.data(), frames);
            fed = true;
        }
        if (ch->proc) {
            for (std::size_t i = 0; i < frames * kMixChannels; ++i) {
                work_[i] = stereo[i] * volume;
            }
            deliver(*ch, work_.data(), frames);
        }
    }
    if (fed && fed_) {
        fed_();
    }
}

void RecordHub::deliver(Channel& ch, float* block, std::size_t frames) {
    ch.fx.run(block, frames);
    const float g = ch.source->gain.published();
    for (std::size_t i = 0; i < frames * kMixChannels; ++i) {
        block[i] *= g;
    }
    ch.limiter.process(block, frames);
    float pl = 0, pr = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        const float l = block[2 * i], r = block[2 * i + 1];
        pl = std::max(pl, std::fabs(l));
        pr = std::max(pr, std::fabs(r));
        pcm_[2 * i] = toPcm16(l);
        pcm_[2 * i + 1] = toPcm16(r);
    }
    if (!ch.inMix) {
        ch.source->level.store(packLevel(pl, pr), std::memory_order_relaxed);
    }
    if (!ch.proc(ch.handle, pcm_.data(), frames * kMixChannels)) {
        ch.state = State::Stopped;
        ch.source->level.store(0, std::memory_order_relaxed);
    }
}

void RecordHub::add(std::shared_ptr<Channel> channel) {
    std::lock_guard lock(mutex_);
    channels_.push_back(std::move(channel));
}

void RecordHub::remove(Handle h) {
    std::lock_guard lock(mutex_);
    std::erase_if(channels_, [h](const auto& ch) { return ch->handle == h; });
}

RecordHub::Channel* RecordHub::findLocked(Handle h) {
    for (auto& ch : channels_) {
        if (ch->handle == h) {
            return ch.get();
        }
    }
    return nullptr;
}

RecordHub::Channel* RecordHub::withCallbackLocked(Handle h) {
    Channel* ch = findLocked(h);
    return ch && ch->proc ? ch : nullptr;
}

std::shared_ptr<RecordHub::Channel> RecordHub::find(Handle h) {
    std::lock_guard lock(mutex_);
    for (auto& ch : channels_) {
        if (ch->handle == h) {
            return ch;
        }
    }
    return nullptr;
}

void RecordHub::setState(Handle h, State state) {
    std::lock_guard lock(mutex_);
    if (Channel* ch = findLocked(h)) {
        ch->state = state;
        if (state != State::Playing) {
            ch->source->level.store(0, std::memory_order_relaxed);
        }
    }
}

void RecordHub::setInMix(Handle h, bool inMix) {
    std::lock_guard lock(mutex_);
    Channel* ch = findLocked(h);
    if (!ch || ch->inMix == inMix) {
        return;
    }
    ch->inMix = inMix;
    if (inMix) {
        ch->feed->open();
    } else {
        ch->feed->close();
    }
}

bool RecordHub::addFx(Handle h, Effect* fx, int priority) {
    std::lock_guard lock(mutex_);
    Channel* ch = withCallbackLocked(h);
    if (ch) {
        ch->fx.add(fx, priority);
    }
    return ch != nullptr;
}

bool RecordHub::removeFx(Handle h, Effect* fx) {
    std::lock_guard lock(mutex_);
    Channel* ch = withCallbackLocked(h);
    if (ch) {
        ch->fx.remove(fx);
    }
    return ch != nullptr;
}

bool RecordHub::resetFx(Handle h, Effect* fx) {
    std::lock_guard lock(mutex_);
    const bool here = withCallbackLocked(h) != nullptr;
    if (here) {
        fx->reset();
    }
    return here;
}

bool RecordHub::anyRecording() {
    std::lock_guard lock(mutex_);
    return std::any_of(channels_.begin(), channels_.end(),
                       [](const auto& ch) { return ch->state == State::Playing; });
}

void RecordHub::clear() {
    std::lock_guard lock(mutex_);
    channels_.clear();
}

}  // namespace tw::audio
