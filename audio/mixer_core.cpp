#include "audio/mixer_core.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "audio/studio_ring.h"

namespace tw::audio {

std::uint32_t packLevel(float left, float right) {
    auto scale = [](float peak) {
        const long v = std::lround(static_cast<double>(peak) * 32768.0);
        return static_cast<std::uint32_t>(std::clamp(v, 0L, 32768L));
    };
    return scale(left) | (scale(right) << 16);
}

void MixerCore::clear() {
    voiceCount_ = 0;
    tapCount_ = 0;
    mixerRunning_ = false;
    mixerFx_ = FxChain();
}

std::size_t MixerCore::find(const Source* s) const {
    for (std::size_t i = 0; i < voiceCount_; ++i) {
        if (voices_[i].source == s) {
            return i;
        }
    }
    return kMaxVoices;
}

void MixerCore::remove(std::size_t index) {
    voices_[index].source->level.store(0, std::memory_order_relaxed);
    voices_[index] = voices_[--voiceCount_];
}

void MixerCore::apply(const Command& c) {
    switch (c.type) {
        case Command::Type::Attach: {
            std::size_t i = find(c.source);
            if (i == kMaxVoices) {
                if (voiceCount_ == kMaxVoices) {
                    return;  // the engine refuses more streams than this before it gets here
                }
                i = voiceCount_++;
            }
            voices_[i] = {c.source, c.target, 0.0f, 0.0f};
            c.source->cbRing = c.ring;
            c.source->cbPaused = c.flag;
            c.source->cbSerial = static_cast<std::uint32_t>(c.count);
            break;
        }
        case Command::Type::Detach:
            if (std::size_t i = find(c.source); i != kMaxVoices) {
                remove(i);
            }
            break;
        case Command::Type::SwapRing:
            c.source->cbRing = c.ring;
            break;
        case Command::Type::SetGain:
            c.gain->set(c.value);
            break;
        case Command::Type::SlideGain:
            c.gain->slide(c.value, c.count);
            break;
        case Command::Type::SetLoudness:
            c.source->cbLoudness = c.value;
            break;
        case Command::Type::SetPaused:
            c.source->cbPaused = c.flag;
            break;
        case Command::Type::RunMixer:
            mixerRunning_ = c.flag;
            break;
        case Command::Type::AddTap:
            if (tapCount_ == 0) {
                tapLimiter_.reset();  // it holds the end of the last time an encoder listened
            }
            if (tapCount_ < kMaxTaps) {
                taps_[tapCount_++] = c.tap;
            }
            break;
        case Command::Type::AddFx:
            (c.source ? c.source->cbFx : mixerFx_).add(c.fx, static_cast<int>(c.count));
            break;
        case Command::Type::RemoveFx:
            (c.source ? c.source->cbFx : mixerFx_).remove(c.fx);
            break;
        case Command::Type::ResetFx:
            c.fx->reset();
            break;
        case Command::Type::RemoveTap:
            for (std::size_t i = 0; i < tapCount_; ++i) {
                if (taps_[i] == c.tap) {
                    taps_[i] = taps_[--tapCount_];
                    break;
                }
            }
            break;
    }
}

void MixerCore::takeCommands() {
    Command c;
    std::uint64_t n = 0;
    while (commands_.pop(c)) {
        apply(c);
        ++n;
    }
    if (n > 0) {
        done_.fetch_add(n, std::memory_order_release);
        newsDue_ = true;
    }
}

bool MixerCore::mixVoice(Voice& v, float* dst, std::size_t frames) {
    Source& s = *v.source;
    if (s.cbPaused) {
        return true;  // a paused source keeps its place and its slide
    }
    PlayRing& r = *s.cbRing;
    const bool complete = r.complete.load(std::memory_order_acquire);
    const std::size_t avail = r.samples.readable() / kMixChannels;
    const std::size_t take = std::min(avail, frames);
    s.stalled.store(take < frames && !complete, std::memory_order_relaxed);
    r.samples.read(take_, take * kMixChannels);
    if (take > 0) {
        s.cbFx.run(take_, take);  // the stream's effects work before its volume
    }
    float pl = v.peakL, pr = v.peakR;
    // The loudness stage is a factor under the volume; at 1 it changes no sample.
    const float loudness = s.cbLoudness;
    if (s.gain.steady()) {
        const float g = s.gain.applied() * loudness;
        // Two frames a step with a peak each: a frame's peak does not wait for the comparison
        // of the frame before, and the largest of them is the same in any order.
        float pl2 = pl, pr2 = pr;
        std::size_t i = 0;
        for (; i + 2 <= take; i += 2) {
            const float l = take_[2 * i] * g, rt = take_[2 * i + 1] * g;
            const float l2 = take_[2 * i + 2] * g, rt2 = take_[2 * i + 3] * g;
            dst[2 * i] += l;
            dst[2 * i + 1] += rt;
            dst[2 * i + 2] += l2;
            dst[2 * i + 3] += rt2;
            pl = std::max(pl, std::fabs(l));
            pr = std::max(pr, std::fabs(rt));
            pl2 = std::max(pl2, std::fabs(l2));
            pr2 = std::max(pr2, std::fabs(rt2));
        }
        for (; i < take; ++i) {
            const float l = take_[2 * i] * g, rt = take_[2 * i + 1] * g;
            dst[2 * i] += l;
            dst[2 * i + 1] += rt;
            pl = std::max(pl, std::fabs(l));
            pr = std::max(pr, std::fabs(rt));
        }
        pl = std::max(pl, pl2);
        pr = std::max(pr, pr2);
    } else {
        // The slide runs in real time, through a stall as well.
        for (std::size_t i = 0; i < frames; ++i) {
            const float g = s.gain.next() * loudness;
            if (i < take) {
                const float l = take_[2 * i] * g, rt = take_[2 * i + 1] * g;
                dst[2 * i] += l;
                dst[2 * i + 1] += rt;
                pl = std::max(pl, std::fabs(l));
                pr = std::max(pr, std::fabs(rt));
            }
        }
    }
    v.peakL = pl;
    v.peakR = pr;
    r.taken.store(r.taken.load(std::memory_order_relaxed) + static_cast<std::int64_t>(take),
                  std::memory_order_release);
    return !(complete && take == avail && take < frames);
}

void MixerCore::mixTarget(Target target, float* dst, std::size_t frames) {
    for (std::size_t i = 0; i < voiceCount_;) {
        Voice& v = voices_[i];
        if (v.target != target || mixVoice(v, dst, frames)) {
            ++i;
            continue;
        }
        // Once the event is out, the worker may free the stream at any moment: the source is not
        // touched after the push.
        const Event ev{v.source->handle, v.source->cbSerial};
        v.source->level.store(0, std::memory_order_relaxed);
        newsDue_ = true;  // also when the queue is full: the worker then makes room
        if (events_.push(ev)) {
            voices_[i] = voices_[--voiceCount_];
        } else {
            ++i;  // try again next block
        }
    }
}

void MixerCore::renderChunk(float* out, float* bus, std::size_t frames) {
    const std::size_t samples = frames * kMixChannels;
    std::fill(mix_, mix_ + samples, 0.0f);
    // Without `out` nobody hears the card (the simulator): its copy of the mix under the
    // mixer's volume is not made. Streams played straight to it still play, ending as they
    // would, into a block that is thrown away.
    if (out) {
        std::fill(card_, card_ + samples, 0.0f);
    }
    if (mixerRunning_) {
        mixTarget(Target::Mixer, mix_, frames);
        mixerFx_.run(mix_, frames);
        // The peaks in locals (as members they would be stored at every frame), two frames a
        // step with a peak each, so that a frame's peak does not wait for the comparison of the
        // frame before.
        float pl = peakL_, pr = peakR_, pl2 = 0, pr2 = 0;
        std::size_t i = 0;
        for (; i + 2 <= frames; i += 2) {
            pl = std::max(pl, std::fabs(mix_[2 * i]));
            pr = std::max(pr, std::fabs(mix_[2 * i + 1]));
            pl2 = std::max(pl2, std::fabs(mix_[2 * i + 2]));
            pr2 = std::max(pr2, std::fabs(mix_[2 * i + 3]));
        }
        for (; i < frames; ++i) {
            pl = std::max(pl, std::fabs(mix_[2 * i]));
            pr = std::max(pr, std::fabs(mix_[2 * i + 1]));
        }
        peakL_ = std::max(pl, pl2);
        peakR_ = std::max(pr, pr2);
        // The mixer's own volume is for the card only: the level above and the bus for the
        // encoders see the mix before it, so that muting the studio does not look like dead air.
        if (!mixerGain_.steady()) {
            // A slide moves on frame by frame whether anybody hears the card or not.
            for (std::size_t k = 0; k < frames; ++k) {
                const float g = mixerGain_.next();
                card_[2 * k] = mix_[2 * k] * g;
                card_[2 * k + 1] = mix_[2 * k + 1] * g;
            }
        } else if (out) {
            const float g = mixerGain_.applied();
            for (std::size_t k = 0; k < samples; ++k) {
                card_[k] = mix_[k] * g;
            }
        }
        mixerFrames_.store(
            mixerFrames_.load(std::memory_order_relaxed) + static_cast<std::int64_t>(frames),
            std::memory_order_relaxed);
        feedTaps(frames);
    }
    if (bus) {
        std::memcpy(bus, mix_, samples * sizeof(float));
    }
    if (StudioRing* studio = studio_.load(std::memory_order_acquire)) {
        std::fill(studioBlock_, studioBlock_ + samples, 0.0f);
        mixTarget(Target::Direct, studioBlock_, frames);
        studio->write(studioBlock_, frames);
    } else {
        mixTarget(Target::Direct, card_, frames);
    }
    if (out) {
        std::memcpy(out, card_, samples * sizeof(float));
    }
}

void MixerCore::feedTaps(std::size_t frames) {
    if (tapCount_ == 0) {
        return;
    }
    std::memcpy(tapBlock_, mix_, frames * kMixChannels * sizeof(float));
    tapLimiter_.process(tapBlock_, frames);
    for (std::size_t i = 0; i < frames * kMixChannels; ++i) {
        pcm_[i] = toPcm16(tapBlock_[i]);
    }
    for (std::size_t t = 0; t < tapCount_; ++t) {
        taps_[t]->offer(pcm_, frames);
    }
}

void MixerCore::render(float* out, std::size_t frames, float* bus) {
    takeCommands();
    peakL_ = peakR_ = 0.0f;
    for (std::size_t i = 0; i < voiceCount_; ++i) {
        voices_[i].peakL = voices_[i].peakR = 0.0f;
    }
    for (std::size_t off = 0; off < frames; off += kMaxBlockFrames) {
        const std::size_t n = std::min(kMaxBlockFrames, frames - off);
        renderChunk(out ? out + off * kMixChannels : nullptr,
                    bus ? bus + off * kMixChannels : nullptr, n);
    }
    mixerLevel_.store(mixerRunning_ ? packLevel(peakL_, peakR_) : 0, std::memory_order_relaxed);
    mixerGain_.publish();
    for (std::size_t i = 0; i < voiceCount_; ++i) {
        Voice& v = voices_[i];
        v.source->level.store(v.source->cbPaused ? 0 : packLevel(v.peakL, v.peakR),
                              std::memory_order_relaxed);
        v.source->gain.publish();
    }
    if (newsDue_ && news_) {
        news_->ring();
    }
    newsDue_ = false;
}

}  // namespace tw::audio
