// The console's operations on streams, the mixer and syncs.

#include <cmath>

#include "audio/http_stream.h"
#include "audio/mix_engine.h"

namespace tw::audio {

namespace {

constexpr int kUrlTimeoutMs = 3000;
constexpr int kOfflineNetworkWaitMs = 20;
constexpr std::uint32_t kSyncOneTime = 0x80000000;
constexpr std::uint32_t kSyncMixTime = 0x40000000;

}  // namespace

Handle MixEngine::createStream(std::unique_ptr<Decoder> decoder, std::uint32_t flags) {
    auto source = std::make_shared<Source>(std::move(decoder), flags);
    const Handle h = channels_.add(std::make_shared<Channel>(Channel{source}));
    if (h == 0) {
        fail(kErrorMemory);
        return 0;
    }
    source->handle = h;
    ok();
    return h;
}

Handle MixEngine::streamCreateFile(const std::string& path, std::uint64_t offset,
                                   std::uint64_t length, std::uint32_t flags) {
    {
        std::lock_guard lock(mutex_);
        if (!initialised_) {
            fail(kErrorInit);
            return 0;
        }
    }
    // Opening scans the whole file for its exact length: not under the API mutex, so that the
    // workers go on meanwhile.
    int error = kOk;
    auto decoder = openFile(FileWindow{path, offset, length}, error);
    std::lock_guard lock(mutex_);
    if (!decoder || !initialised_) {
        fail(decoder ? kErrorInit : error);
        return 0;
    }
    return createStream(std::move(decoder), flags);
}

Handle MixEngine::streamCreateMemory(std::shared_ptr<const std::vector<std::uint8_t>> data,
                                     std::uint64_t offset, std::uint64_t length,
                                     std::uint32_t flags) {
    std::lock_guard lock(mutex_);
    if (!initialised_) {
        fail(kErrorInit);
        return 0;
    }
    int error = kOk;
    auto decoder = openSndMemory(MemoryWindow{std::move(data), offset, length}, error);
    if (!decoder) {
        fail(error);
        return 0;
    }
    return createStream(std::move(decoder), flags);
}

Handle MixEngine::streamCreateUrl(const std::string& url, std::uint32_t, std::uint32_t flags) {
    HttpOptions options;
    {
        std::lock_guard lock(mutex_);
        if (!initialised_) {
            fail(kErrorInit);
            return 0;
        }
        options.trustedCertificates = trustedCertificates_;
    }
    // A station's silence is timed by the audio the engine mixes: offline that is the audio
    // rendered, whatever the wall clock says. The engine outlives every stream it opens.
    options.clock = [this] { return core_.mixerFrames() * 1000 / kMixRate; };
    int error = kOk;
    auto decoder = openHttpStream(url, kUrlTimeoutMs, error, std::move(options));
    std::lock_guard lock(mutex_);
    if (!decoder || !initialised_) {
        fail(decoder ? kErrorInit : error);
        return 0;
    }
    if (mode_ == EngineMode::Offline) {
        decoder->setReadWait(kOfflineNetworkWaitMs);
    }
    return createStream(std::move(decoder), flags);
}

void MixEngine::trustCertificates(const std::string& file) {
    std::lock_guard lock(mutex_);
    trustedCertificates_ = file;
}

std::string MixEngine::streamGetTitle(Handle h) {
    std::shared_ptr<Source> s;
    {
        std::lock_guard lock(mutex_);
        s = sourceOf(h);  // the mixer has none
        if (!s) {
            fail(kErrorHandle);
            return {};
        }
        ok();
    }
    // The decoder is set when the stream is made and lives as long as it; its title has a lock
    // of its own, so the decode lock (which a read in progress holds) is not needed.
    return s->decoder->title();
}

bool MixEngine::streamFree(Handle h) {
    {
        std::lock_guard lock(mutex_);
        if (!channels_.get(h)) {
            return fail(kErrorHandle);
        }
        freeStream(h);
        ok();
    }
    if (mode_ == EngineMode::Offline) {
        deliverSyncs();  // no worker delivers them offline
    }
    return true;
}

bool MixEngine::channelPlay(Handle h, bool restart) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        Command c;
        c.type = Command::Type::RunMixer;
        c.flag = true;
        send(c);
        mixerRunning_ = true;
        return ok();
    }
    auto s = sourceOf(h);
    if (!s) {
        return fail(kErrorHandle);
    }
    if (hub_.find(h)) {
        hub_.setState(h, RecordHub::State::Playing);  // a record channel resumes recording
        return ok();
    }
    if (s->flags & kStreamDecode) {
        return fail(kErrorNotAvailable);  // a decoding stream plays through the mixer only
    }
    if (restart && !seekSource(s, 0)) {
        return false;
    }
    if (s->target == Target::None) {
        attach(s, Target::Direct, false);
    }
    return ok();
}

bool MixEngine::channelStop(Handle h) {
    const bool result = stopChannel(h);
    if (mode_ == EngineMode::Offline) {
        deliverSyncs();  // a stop that freed a stream: no worker delivers its syncs offline
    }
    return result;
}

bool MixEngine::stopChannel(Handle h) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        Command c;
        c.type = Command::Type::RunMixer;
        c.flag = false;
        send(c);
        mixerRunning_ = false;
        return ok();
    }
    auto s = sourceOf(h);
    if (!s) {
        return fail(kErrorHandle);
    }
    if (hub_.find(h) || (s->target == Target::Mixer && (s->mixerFlags & kStreamAutoFree))) {
        // A stopped record channel is gone, as is a mixer source that frees itself at its end.
        freeStream(h);
        return ok();
    }
    const bool direct = s->target == Target::Direct;
    detach(s);
    if (direct) {
        markIdle(h);  // a preview stopped before its end
    }
    return ok();
}

int MixEngine::channelIsActive(Handle h) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        ok();
        return mixerRunning_ ? kPlaying : kStopped;
    }
    auto s = sourceOf(h);
    if (!s) {
        fail(kErrorHandle);
        return kStopped;
    }
    ok();
    if (auto rec = hub_.find(h)) {
        switch (rec->state) {
            case RecordHub::State::Playing:
                return kPlaying;
            case RecordHub::State::Paused:
                return kPaused;
            case RecordHub::State::Stopped:
                return kStopped;
        }
    }
    if (s->target != Target::None) {
        // A paused mixer source still counts as active: the console's player is only held.
        return s->stalled.load(std::memory_order_relaxed) ? kStalled : kPlaying;
    }
    if (s->flags & kStreamDecode) {
        return s->ended ? kStopped : kPlaying;
    }
    return kStopped;
}

std::int64_t MixEngine::bytesPerFrame(Handle h) {
    if (isMixer(h)) {
        return 2 * kMixChannels;
    }
    auto s = sourceOf(h);
    return s ? 2 * static_cast<std::int64_t>(s->channels) : 0;
}

std::int64_t MixEngine::channelGetLength(Handle h) {
    std::lock_guard lock(mutex_);
    auto s = sourceOf(h);
    if (!s) {
        fail(isMixer(h) ? kErrorNotAvailable : kErrorHandle);
        return -1;
    }
    if (s->lengthFrames < 0) {
        fail(kErrorNotAvailable);
        return -1;
    }
    ok();
    return s->lengthFrames * bytesPerFrame(h);
}

std::int64_t MixEngine::channelGetPosition(Handle h) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        ok();
        return core_.mixerFrames() * bytesPerFrame(h);
    }
    auto s = sourceOf(h);
    if (!s) {
        fail(kErrorHandle);
        return 0;
    }
    // Under the API mutex alone: the ring is only replaced while it is held, and what the mixer
    // took is an atomic count, so a decode in progress never delays the answer.
    const std::int64_t frame = s->position();
    ok();
    return frame * bytesPerFrame(h);
}

bool MixEngine::channelSetPosition(Handle h, std::uint64_t bytes) {
    std::lock_guard lock(mutex_);
    auto s = sourceOf(h);
    if (!s) {
        return fail(isMixer(h) ? kErrorNotAvailable : kErrorHandle);
    }
    const auto frame =
        static_cast<std::int64_t>(bytes / static_cast<std::uint64_t>(bytesPerFrame(h)));
    return seekSource(s, frame);
}

double MixEngine::channelBytes2Seconds(Handle h, std::int64_t bytes) {
    std::lock_guard lock(mutex_);
    const std::int64_t bpf = bytesPerFrame(h);
    if (bpf == 0 || bytes < 0) {
        fail(bpf == 0 ? kErrorHandle : kErrorIllegalParam);
        return -1.0;
    }
    auto s = sourceOf(h);
    const double rate = s ? s->rate : kMixRate;
    ok();
    return static_cast<double>(bytes / bpf) / rate;
}

std::int64_t MixEngine::channelSeconds2Bytes(Handle h, double seconds) {
    std::lock_guard lock(mutex_);
    const std::int64_t bpf = bytesPerFrame(h);
    if (bpf == 0 || !(seconds >= 0)) {
        fail(bpf == 0 ? kErrorHandle : kErrorIllegalParam);
        return -1;
    }
    auto s = sourceOf(h);
    const double rate = s ? s->rate : kMixRate;
    ok();
    return static_cast<std::int64_t>(std::floor(seconds * rate)) * bpf;
}

std::uint32_t MixEngine::channelGetLevel(Handle h) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        ok();
        return core_.mixerLevel();
    }
    auto s = sourceOf(h);
    if (!s) {
        fail(kErrorHandle);
        return 0;
    }
    ok();
    // A record channel outside a mix has the level of what its callback got.
    const bool measured = s->target != Target::None || hub_.find(h);
    return measured ? s->level.load(std::memory_order_relaxed) : 0;
}

std::int64_t MixEngine::channelGetData(Handle h, void* buffer, std::uint32_t bytes) {
    std::int64_t result;
    {
        std::lock_guard lock(mutex_);
        auto s = sourceOf(h);
        if (!s || !buffer) {
            fail(s ? kErrorIllegalParam : kErrorHandle);
            return -1;
        }
        if (s->target != Target::None) {
            fail(kErrorNotAvailable);  // the mixer owns its sources' data
            return -1;
        }
        bool atEnd;
        {
            std::lock_guard decodeLock(s->decodeMutex);
            if (s->ring) {
                // It played before: go on from what was heard, not from what was read ahead.
                const std::int64_t frame = s->position();
                if (frame != s->decodePos && s->decoder->seek(frame)) {
                    s->decodePos = frame;
                }
                retire(std::move(s->ring), sent_);
                s->ring.reset();
            }
            const std::size_t frames = bytes / static_cast<std::uint32_t>(2 * s->channels);
            const std::size_t got = s->decoder->read(static_cast<std::int16_t*>(buffer), frames);
            s->decodePos += static_cast<std::int64_t>(got);
            result = static_cast<std::int64_t>(got) * 2 * s->channels;
            atEnd =
                s->decoder->atEnd() || (s->lengthFrames >= 0 && s->decodePos >= s->lengthFrames);
        }
        if (atEnd && !s->endSyncSent) {
            s->endSyncSent = true;
            s->ended = true;
            queueSyncs(h, kSyncEnd);
        }
        ok();
    }
    if (mode_ == EngineMode::Offline) {
        deliverSyncs();  // no worker delivers them offline
    }
    return result;
}

bool MixEngine::channelGetInfo(Handle h, ChannelInfo& info) {
    std::lock_guard lock(mutex_);
    if (isMixer(h)) {
        info = {kMixRate, kMixChannels, 0};
        return ok();
    }
    auto s = sourceOf(h);
    if (!s) {
        return fail(kErrorHandle);
    }
    // Every stream gives 16-bit samples, whatever the file holds.
    info = {static_cast<std::uint32_t>(s->rate), static_cast<std::uint32_t>(s->channels),
            s->flags & ~(kSample8Bits | kSampleFloat)};
    return ok();
}

bool MixEngine::channelSetAttribute(Handle h, std::uint32_t attrib, float value) {
    return channelSlideAttribute(h, attrib, value, 0);
}

bool MixEngine::channelGetAttribute(Handle h, std::uint32_t attrib, float& value) {
    std::lock_guard lock(mutex_);
    const bool mixer = isMixer(h);
    auto s = sourceOf(h);
    if (!mixer && !s) {
        return fail(kErrorHandle);
    }
    if (attrib == kAttribVol) {
        value = mixer ? core_.mixerGain().published() : s->gain.published();
        return ok();
    }
    if (attrib == kAttribLoudness && s) {
        value = s->loudness;
        return ok();
    }
    if (attrib == kAttribFreq) {
        value = static_cast<float>(mixer ? kMixRate : s->rate);
        return ok();
    }
    return fail(kErrorIllegalParam);
}

bool MixEngine::channelSlideAttribute(Handle h, std::uint32_t attrib, float value,
                                      std::uint32_t ms) {
    std::lock_guard lock(mutex_);
    const bool mixer = isMixer(h);
    auto s = sourceOf(h);
    if (!mixer && !s) {
        return fail(kErrorHandle);
    }
    if (attrib == kAttribLoudness && s && ms == 0 && std::isfinite(value) && value >= 0) {
        s->loudness = value;
        Command c;
        c.type = Command::Type::SetLoudness;
        c.source = s.get();
        c.value = value;
        send(c);
        return ok();
    }
    if (attrib != kAttribVol || !std::isfinite(value)) {
        // The frequency is the source's own: playing at another speed is not offered.
        return fail(kErrorIllegalParam);
    }
    Gain& gain = mixer ? core_.mixerGain() : s->gain;
    Command c;
    c.gain = &gain;
    c.value = value;
    if (ms == 0) {
        c.type = Command::Type::SetGain;
        gain.announce(value);
    } else {
        c.type = Command::Type::SlideGain;
        c.count = static_cast<std::int64_t>(ms) * kMixRate / 1000;
    }
    send(c);
    return ok();
}

Handle MixEngine::channelSetSync(Handle h, std::uint32_t type, std::uint64_t, SyncProc proc) {
    std::lock_guard lock(mutex_);
    if (!channels_.get(h)) {
        fail(kErrorHandle);
        return 0;
    }
    const std::uint32_t kind = type & ~(kSyncOneTime | kSyncMixTime);
    if ((kind != kSyncEnd && kind != kSyncFree) || !proc) {
        fail(kErrorIllegalParam);
        return 0;
    }
    const Handle sync = syncs_.add(
        std::make_shared<Sync>(Sync{h, kind, (type & kSyncOneTime) != 0, std::move(proc)}));
    if (sync == 0) {
        fail(kErrorMemory);
        return 0;
    }
    ok();
    return sync;
}

bool MixEngine::channelRemoveSync(Handle h, Handle sync) {
    std::lock_guard lock(mutex_);
    auto s = syncs_.get(sync);
    if (!s || s->channel != h) {
        return fail(kErrorHandle);
    }
    syncs_.remove(sync);
    return ok();
}

Handle MixEngine::mixerStreamCreate(std::uint32_t freq, std::uint32_t chans, std::uint32_t) {
    std::lock_guard lock(mutex_);
    if (!initialised_) {
        fail(kErrorInit);
        return 0;
    }
    if (!isMixFormat(freq, chans)) {
        fail(kErrorFormat);
        return 0;
    }
    if (mixer_) {
        fail(kErrorAlready);  // the console has one mixer
        return 0;
    }
    mixer_ = channels_.add(std::make_shared<Channel>());
    if (mixer_ == 0) {
        fail(kErrorMemory);
        return 0;
    }
    ok();
    return mixer_;
}

bool MixEngine::mixerAddChannel(Handle mixer, Handle h, std::uint32_t flags) {
    std::lock_guard lock(mutex_);
    auto s = sourceOf(h);
    if (!isMixer(mixer) || !s) {
        return fail(kErrorHandle);
    }
    if (!(s->flags & kStreamDecode)) {
        return fail(kErrorNotAvailable);
    }
    if (s->target != Target::None) {
        return fail(kErrorAlready);
    }
    {
        std::lock_guard fillLock(fillMutex_);
        if (fillList_.size() >= kMaxVoices) {
            return fail(kErrorMemory);
        }
    }
    s->mixerFlags = flags;
    hub_.setInMix(h, true);
    attach(s, Target::Mixer, (flags & kMixerPause) != 0);
    return ok();
}

std::uint32_t MixEngine::mixerChannelFlags(Handle h, std::uint32_t flags, std::uint32_t mask) {
    std::lock_guard lock(mutex_);
    auto s = sourceOf(h);
    if (!s || s->target != Target::Mixer) {
        fail(s ? kErrorNotAvailable : kErrorHandle);
        return 0xFFFFFFFFu;
    }
    const std::uint32_t updated = (s->mixerFlags & ~mask) | (flags & mask);
    if ((updated ^ s->mixerFlags) & kMixerPause) {
        Command c;
        c.type = Command::Type::SetPaused;
        c.source = s.get();
        c.flag = (updated & kMixerPause) != 0;
        send(c);
    }
    s->mixerFlags = updated;
    ok();
    return updated;
}

bool MixEngine::mixerChannelRemove(Handle h) {
    std::lock_guard lock(mutex_);
    auto s = sourceOf(h);
    if (!s) {
        return fail(kErrorHandle);
    }
    if (s->target != Target::Mixer) {
        return fail(kErrorNotAvailable);
    }
    detach(s);
    if (auto rec = hub_.find(h)) {
        // A record channel out of the mix keeps no audio: its feed and ring go.
        hub_.setInMix(h, false);
        std::shared_ptr<PlayRing> old;
        {
            std::lock_guard decodeLock(s->decodeMutex);
            old = std::move(s->ring);
        }
        retire(std::move(old), sent_);
        if (!rec->proc) {
            markIdle(h);  // a microphone closed: the console takes it out and forgets it
        }
    }
    return ok();
}

}  // namespace tw::audio
