#include "audio/source.h"

#include <algorithm>
#include <cmath>

namespace tw::audio {

namespace {

// Source frames decoded per step: small enough that the console never waits long on decodeMutex.
constexpr std::size_t kChunkFrames = 2048;
// Mixer frames taken from the resampler at a time.
constexpr std::size_t kResampledFrames = 1024;

}  // namespace

Source::Source(std::unique_ptr<Decoder> d, std::uint32_t createFlags)
    : flags(createFlags),
      rate(d->rate()),
      channels(d->channels()),
      lengthFrames(d->lengthFrames()),
      decoder(std::move(d)) {
    if (rate != kMixRate) {
        soxr_error_t err = nullptr;
        const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
        const soxr_quality_spec_t quality = soxr_quality_spec(SOXR_HQ, 0);
        // A mono stream is resampled as one channel and doubled afterwards: the resampler's work
        // is by far the largest part of a decode, and both channels would come out the same.
        resampledChannels_ = channels == 1 ? 1 : kMixChannels;
        resampler_ = soxr_create(rate, kMixRate, static_cast<unsigned>(resampledChannels_), &err,
                                 &io, &quality, nullptr);
    }
}

Source::~Source() {
    if (resampler_) {
        soxr_delete(resampler_);
    }
}

std::shared_ptr<PlayRing> Source::restartAt(std::int64_t frame, RingStore<float>& store) {
    if (frame != decodePos.load(std::memory_order_relaxed)) {
        if (decoder->seek(frame)) {
            decodePos.store(frame, std::memory_order_relaxed);
        } else {
            frame = decodePos.load(std::memory_order_relaxed);  // a stream address goes on
        }
    }
    if (resampler_) {
        soxr_clear(resampler_);
    }
    carry_.clear();
    carryPos_ = 0;
    flushed_ = false;
    ring = std::make_shared<PlayRing>(frame, store.take(), store.capacity());
    return ring;
}

std::int64_t Source::position() const {
    if (!ring) {
        return decodePos.load(std::memory_order_relaxed);
    }
    const std::int64_t taken = ring->taken.load(std::memory_order_acquire);
    std::int64_t frame = ring->baseFrame;
    if (rate == kMixRate) {
        frame += taken;
    } else {
        frame += static_cast<std::int64_t>(
            std::llround(static_cast<double>(taken) * rate / static_cast<double>(kMixRate)));
    }
    if (lengthFrames >= 0 && frame > lengthFrames) {
        frame = lengthFrames;
    }
    return frame;
}

void Source::convert(const std::int16_t* in, std::size_t frames) {
    constexpr float kScale = 1.0f / 32768.0f;
    const std::size_t ch = static_cast<std::size_t>(channels);
    if (resampledChannels_ == 1) {
        for (std::size_t i = 0; i < frames; ++i) {
            stereo_[i] = static_cast<float>(in[i]) * kScale;
        }
        return;
    }
    for (std::size_t i = 0; i < frames; ++i) {
        const float left = static_cast<float>(in[i * ch]) * kScale;
        const float right = ch > 1 ? static_cast<float>(in[i * ch + 1]) * kScale : left;
        stereo_[2 * i] = left;
        stereo_[2 * i + 1] = right;
    }
}

void Source::keep(const float* stereo, std::size_t frames) {
    std::size_t written = 0;
    if (carryPos_ == carry_.size()) {
        // Straight into the ring while nothing waits in carry_ (the ring's room is always whole
        // frames: it is written and read in them).
        written = ring->samples.write(stereo, frames * kMixChannels);
    }
    carry_.insert(carry_.end(), stereo + written, stereo + frames * kMixChannels);
}

void Source::keepResampled(const float* out, std::size_t frames) {
    if (resampledChannels_ == kMixChannels) {
        keep(out, frames);
        return;
    }
    float stereo[kResampledFrames * kMixChannels];
    for (std::size_t i = 0; i < frames; ++i) {
        stereo[2 * i] = out[i];
        stereo[2 * i + 1] = out[i];
    }
    keep(stereo, frames);
}

bool Source::fill(std::size_t wantFrames, std::size_t maxChunks) {
    if (!ring) {
        return false;
    }
    if (pcm_.empty()) {
        // Allocated at the first fill: a stream that never plays (a record channel left out of
        // any mix) holds no buffers.
        pcm_.resize(kChunkFrames * static_cast<std::size_t>(channels));
        stereo_.resize(kChunkFrames * kMixChannels);
    }
    std::size_t chunks = 0;
    PlayRing& r = *ring;
    const std::size_t capacityFrames = r.samples.capacity() / kMixChannels;
    wantFrames = std::min(wantFrames, capacityFrames);
    for (;;) {
        if (carryPos_ < carry_.size()) {
            const std::size_t frames = (carry_.size() - carryPos_) / kMixChannels;
            const std::size_t room = r.samples.writable() / kMixChannels;
            const std::size_t n = std::min(frames, room);
            r.samples.write(carry_.data() + carryPos_, n * kMixChannels);
            carryPos_ += n * kMixChannels;
            if (carryPos_ < carry_.size()) {
                return false;  // the ring is full
            }
            carry_.clear();
            carryPos_ = 0;
        }
        if (r.complete.load(std::memory_order_relaxed)) {
            return false;
        }
        const std::size_t held = capacityFrames - r.samples.writable() / kMixChannels;
        if (held >= wantFrames) {
            return false;
        }
        if (maxChunks != 0 && chunks++ == maxChunks) {
            return true;
        }
        if (flushed_) {
            r.complete.store(true, std::memory_order_release);
            return false;
        }
        if (decoder->atEnd()) {
            if (resampler_) {
                // The resampler holds back the last few milliseconds until it is told the input
                // has ended.
                float out[kResampledFrames * kMixChannels];
                size_t done = 0;
                do {
                    soxr_process(resampler_, nullptr, 0, nullptr, out, kResampledFrames, &done);
                    keepResampled(out, done);
                } while (done > 0);
            }
            flushed_ = true;
            continue;
        }
        const std::size_t n = decoder->read(pcm_.data(), kChunkFrames);
        decodePos.fetch_add(static_cast<std::int64_t>(n), std::memory_order_relaxed);
        if (n == 0) {
            if (decoder->atEnd()) {
                continue;
            }
            return false;  // a network stream with nothing for now
        }
        convert(pcm_.data(), n);
        if (!resampler_) {
            keep(stereo_.data(), n);
            continue;
        }
        std::size_t in = 0;
        float out[kResampledFrames * kMixChannels];
        while (in < n) {
            size_t used = 0, done = 0;
            soxr_process(resampler_, stereo_.data() + in * resampledChannels_, n - in, &used, out,
                         kResampledFrames, &done);
            keepResampled(out, done);
            in += used;
            if (used == 0 && done == 0) {
                break;
            }
        }
    }
}

}  // namespace tw::audio
