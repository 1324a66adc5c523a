// The engine's life cycle and its plumbing: threads, the command queue to the audio thread, the
// deferred release of what the audio thread may still be reading, events and sync delivery.

#include "audio/mix_engine.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "audio/thread_name.h"

namespace tw::audio {

namespace {

// Ring size of a playing stream and how far the read-ahead keeps it filled (at least 2 s).
constexpr std::size_t kRingFrames = 1 << 17;  // 2.97 s at 44100 Hz
constexpr std::size_t kReadAheadFrames = 2 * kMixRate + kMixRate / 2;
// Filled at once when a stream starts, so that the first block is not silence.
constexpr std::size_t kStartFrames = 8192;
// Offline with the read-ahead worker, render() wakes it when a ring holds less than this: a
// second under the worker's mark, so that it wakes about once a second of audio.
constexpr std::size_t kAheadLowFrames = kReadAheadFrames - kMixRate;
// A few chunks at a time per lock, so that a console call on the same stream (a seek, a start)
// never waits behind a long decode.
constexpr std::size_t kChunksPerLock = 4;
// The event worker wakes for news (an end, a queued sync, commands taken); this is only its
// longest sleep, after which it frees what the audio thread let go in the meantime.
constexpr auto kEventPoll = std::chrono::milliseconds(1000);
// The read-ahead tops every ring up this often (a ring holds 2.97 s, it is kept at 2.5 s), and
// at once when a stream starts. A live stream address arrives no faster than it plays, so its
// ring holds only what came in since the last look: this is also how far it may fall behind.
constexpr auto kReadAheadPoll = std::chrono::milliseconds(250);
// Idle streams kept as they are (markIdle): more than the console ever comes back to, since it
// forgets such a stream's handle at once (a closed microphone, a preview that ended).
constexpr std::size_t kIdleKept = 8;
// Ring storage kept for the next starts: of the streams' rings enough for a burst of starts and
// seeks (8 MB at most), of the encoders' one for each encoder a station has (6 MB at most).
constexpr std::size_t kPlayRingsKept = 8;
constexpr std::size_t kTapRingsKept = 12;

}  // namespace

bool MixEngine::silentByEnvironment() {
    const char* v = std::getenv("TARNWAVE_AUDIO");
    return v && std::strcmp(v, "null") == 0;
}

MixEngine::MixEngine(EngineMode mode)
    : mode_(mode),
      playRings_(RingStore<float>::make(kRingFrames * kMixChannels, kPlayRingsKept)),
      tapRings_(RingStore<std::int16_t>::make(kEncoderTapFrames * kMixChannels, kTapRingsKept)) {}

MixEngine::~MixEngine() {
    bool running;
    {
        std::lock_guard lock(mutex_);
        running = initialised_;
    }
    if (running) {
        free();
    }
    stopThreads();
}

bool MixEngine::fail(int code) {
    errors_.set(code);
    return false;
}

bool MixEngine::ok() {
    errors_.set(kOk);
    return true;
}

int MixEngine::errorGetCode() {
    return errors_.get();
}

bool MixEngine::init(int device, std::uint32_t, std::uint32_t) {
    std::lock_guard lock(mutex_);
    if (initialised_) {
        return fail(kErrorAlready);
    }
    initialised_ = true;
    if (mode_ != EngineMode::Offline || offlineAhead_) {
        readAhead_ = std::jthread([this](std::stop_token stop) {
            nameThisThread("tw-readahead");
            readAheadLoop(stop);
        });
    }
    if (mode_ == EngineMode::Offline) {
        return ok();
    }
    eventWorker_ = std::jthread([this](std::stop_token stop) {
        nameThisThread("tw-events");
        eventLoop(stop);
    });
    // Device 0 is "no sound" for the console: it gets the timed silent device as well.
    const bool tryCard = mode_ == EngineMode::Device && device != 0 && !silentByEnvironment();
    output_ = openOutput(tryCard, updateMs_, *this);
    audioRunning_.store(true, std::memory_order_release);
    return ok();
}

void MixEngine::stopThreads() {
    // The audio threads first, so that nothing consumes the rings while the workers go; the
    // studio streams are back on the main output for the next start.
    core_.setStudio(nullptr);
    studioOutput_.reset();
    output_.reset();
    audioRunning_.store(false, std::memory_order_release);
    if (readAhead_.joinable()) {
        readAhead_.request_stop();
        fillWake_.notify_all();
        readAhead_.join();
    }
    if (eventWorker_.joinable()) {
        eventWorker_.request_stop();
        news_.ring();
        eventWorker_.join();
    }
}

bool MixEngine::decodeAhead() {
    std::lock_guard lock(mutex_);
    if (mode_ != EngineMode::Offline || initialised_) {
        return fail(mode_ != EngineMode::Offline ? kErrorNotAvailable : kErrorAlready);
    }
    offlineAhead_ = true;
    return ok();
}

bool MixEngine::free() {
    {
        std::lock_guard lock(mutex_);
        if (!initialised_) {
            return fail(kErrorInit);
        }
    }
    stopThreads();
    {
        std::lock_guard lock(mutex_);
        processEvents();
        freeRecording();
        for (Handle h : channels_.handles()) {
            if (h != mixer_) {
                freeStream(h);
            }
        }
        if (mixer_) {
            freeStream(mixer_);
        }
        // No audio thread runs any more: this thread may take the consumer's part.
        core_.takeCommands();
        core_.clear();
        retired_.clear();
        idle_.clear();
        {
            std::lock_guard fillLock(fillMutex_);
            fillList_.clear();
            ++fillListChanges_;
        }
        topUpList_.clear();  // offline, this is render()'s thread
        initialised_ = false;
        ok();
    }
    deliverSyncs();
    return true;
}

bool MixEngine::setConfig(std::uint32_t option, std::uint32_t value) {
    std::lock_guard lock(mutex_);
    if (option == kConfigUpdatePeriod) {
        // Taken at init: the device's block size is fixed once it runs.
        updateMs_ = std::clamp<std::uint32_t>(value, 5, 100);
    }
    // The buffer is chosen at init as four times the device's smallest latency, which is what
    // the console asks for; it and the other options of the old interface have no effect here.
    return ok();
}

DeviceInfo MixEngine::getInfo() {
    std::lock_guard lock(mutex_);
    if (!initialised_) {
        fail(kErrorInit);
        return {};
    }
    ok();
    return output_ ? output_->info() : DeviceInfo{};
}

MixEngine::HandleCounts MixEngine::handleCounts() {
    std::lock_guard lock(mutex_);
    return {channels_.size(), syncs_.size(), effects_.size(), encoders_.size()};
}

std::uint32_t MixEngine::fxGetVersion() {
    ok();
    return 0x00010000;  // this engine's effects, version 1.0
}

void MixEngine::produce(float* out, std::size_t frames) {
    core_.render(out, frames);
}

std::uint64_t MixEngine::send(const Command& c) {
    while (!commands_.push(c)) {
        if (!audioRunning_.load(std::memory_order_acquire)) {
            core_.takeCommands();  // this thread is the audio thread
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return ++sent_;
}

void MixEngine::retire(std::shared_ptr<void> object, std::uint64_t seq) {
    if (object) {
        retired_.push_back({seq, std::move(object)});
    }
}

std::vector<std::shared_ptr<void>> MixEngine::collectRetired() {
    const std::uint64_t done = core_.commandsDone();
    std::vector<std::shared_ptr<void>> expired;
    std::erase_if(retired_, [&](Retired& r) {
        if (r.seq > done) {
            return false;
        }
        expired.push_back(std::move(r.object));
        return true;
    });
    return expired;
}

std::shared_ptr<Source> MixEngine::sourceOf(Handle h) {
    auto ch = channels_.get(h);
    return ch ? ch->source : nullptr;
}

bool MixEngine::isMixer(Handle h) {
    return h != 0 && h == mixer_ && channels_.get(h) != nullptr;
}

void MixEngine::markIdle(Handle h) {
    std::erase(idle_, h);
    idle_.push_back(h);
    while (idle_.size() > kIdleKept) {
        const Handle oldest = idle_.front();
        idle_.pop_front();
        freeStream(oldest);
    }
}

void MixEngine::unmarkIdle(Handle h) {
    std::erase(idle_, h);
}

void MixEngine::attach(const std::shared_ptr<Source>& s, Target target, bool paused) {
    unmarkIdle(s->handle);
    std::shared_ptr<PlayRing> old, ring;
    {
        std::lock_guard decodeLock(s->decodeMutex);
        old = s->ring;
        ring = s->restartAt(s->position(), *playRings_);
        s->fill(kStartFrames);
    }
    Command c;
    c.type = Command::Type::Attach;
    c.source = s.get();
    c.ring = ring.get();
    c.target = target;
    c.flag = paused;
    c.count = ++s->attachSerial;
    retire(old, send(c));
    s->target = target;
    s->ended = false;
    s->endSyncSent = false;
    {
        std::lock_guard fillLock(fillMutex_);
        fillList_.push_back(s);
        ++fillListChanges_;
        fillAsked_ = true;
    }
    fillWake_.notify_all();
}

void MixEngine::detach(const std::shared_ptr<Source>& s) {
    if (s->target == Target::None) {
        return;
    }
    Command c;
    c.type = Command::Type::Detach;
    c.source = s.get();
    send(c);
    s->target = Target::None;
    std::lock_guard fillLock(fillMutex_);
    std::erase(fillList_, s);
    ++fillListChanges_;
}

bool MixEngine::seekSource(const std::shared_ptr<Source>& s, std::int64_t frame) {
    if (s->lengthFrames < 0 || frame < 0 || frame > s->lengthFrames) {
        return fail(s->lengthFrames < 0 ? kErrorNotAvailable : kErrorPosition);
    }
    std::shared_ptr<PlayRing> old;
    if (s->target != Target::None) {
        std::shared_ptr<PlayRing> ring;
        {
            std::lock_guard decodeLock(s->decodeMutex);
            old = s->ring;
            ring = s->restartAt(frame, *playRings_);
            s->fill(kStartFrames);
        }
        Command c;
        c.type = Command::Type::SwapRing;
        c.source = s.get();
        c.ring = ring.get();
        retire(old, send(c));
    } else {
        std::lock_guard decodeLock(s->decodeMutex);
        if (!s->decoder->seek(frame)) {
            return fail(kErrorPosition);
        }
        s->decodePos = frame;
        retire(std::move(s->ring), sent_);
        s->ring.reset();
    }
    s->ended = false;
    s->endSyncSent = false;
    return ok();
}

void MixEngine::freeStream(Handle h) {
    auto ch = channels_.get(h);
    if (!ch) {
        return;
    }
    if (ch->source) {
        detach(ch->source);
    } else {
        // The mixer goes: its sources stay as decoding streams, out of any mix.
        for (Handle other : channels_.handles()) {
            auto s = sourceOf(other);
            if (s && s->target == Target::Mixer) {
                detach(s);
            }
        }
        Command c;
        c.type = Command::Type::RunMixer;
        c.flag = false;
        send(c);
        mixer_ = 0;
        mixerRunning_ = false;
        // Its encoders end with it: there is nothing more for them to send.
        for (Handle e : encoders_.handles()) {
            if (encoders_.get(e)->channel == h) {
                stopEncoder(e);
            }
        }
    }
    for (Handle fx : effects_.handles()) {
        if (effects_.get(fx)->channel == h) {
            removeEffect(fx);
        }
    }
    hub_.remove(h);  // a record channel hears nothing more from here on
    queueSyncs(h, kSyncFree);
    for (Handle sync : syncs_.handles()) {
        if (syncs_.get(sync)->channel == h) {
            syncs_.remove(sync);
        }
    }
    channels_.remove(h);
    unmarkIdle(h);
    retire(ch->source, sent_);
}

void MixEngine::queueSyncs(Handle channel, std::uint32_t type) {
    std::lock_guard lock(syncMutex_);
    for (Handle sync : syncs_.handles()) {
        auto s = syncs_.get(sync);
        if (s->channel == channel && s->type == type) {
            pending_.push_back({s->proc, sync, channel, 0});
            news_.ring();
            if (s->oneTime) {
                syncs_.remove(sync);
            }
        }
    }
}

void MixEngine::processEvents() {
    Event ev;
    while (events_.pop(ev)) {
        auto s = sourceOf(ev.stream);
        if (!s || s->target == Target::None || s->attachSerial != ev.serial) {
            continue;  // freed, stopped or restarted since: this end is no longer news
        }
        const bool autoFree = s->target == Target::Mixer ? (s->mixerFlags & kStreamAutoFree) != 0
                                                         : (s->flags & kStreamAutoFree) != 0;
        const bool direct = s->target == Target::Direct;
        s->target = Target::None;  // the audio thread has let it go already
        {
            std::lock_guard fillLock(fillMutex_);
            std::erase(fillList_, s);
            ++fillListChanges_;
        }
        s->ended = true;
        s->endSyncSent = true;  // reading on with channelGetData does not report it again
        queueSyncs(ev.stream, kSyncEnd);
        if (autoFree) {
            freeStream(ev.stream);
        } else if (direct) {
            markIdle(ev.stream);  // a preview that played out
        }
    }
}

void MixEngine::deliverSyncs() {
    std::lock_guard order(deliverMutex_);
    for (;;) {
        PendingSync p;
        {
            std::lock_guard lock(syncMutex_);
            if (pending_.empty()) {
                return;
            }
            p = std::move(pending_.front());
            pending_.pop_front();
        }
        if (p.proc) {
            p.proc(p.sync, p.channel, p.data);
        }
    }
}

void MixEngine::fillAll(std::size_t frames) {
    std::vector<std::shared_ptr<Source>> list;
    {
        std::lock_guard fillLock(fillMutex_);
        list = fillList_;
    }
    for (auto& s : list) {
        for (bool more = true; more;) {
            std::lock_guard decodeLock(s->decodeMutex);
            more = s->fill(frames, kChunksPerLock);
        }
    }
}

void MixEngine::readAheadLoop(std::stop_token stop) {
    while (!stop.stop_requested()) {
        fillAll(kReadAheadFrames);
        std::unique_lock lock(fillMutex_);
        fillWake_.wait_for(lock, stop, kReadAheadPoll, [this] { return fillAsked_; });
        fillAsked_ = false;
        passAsked_.store(false, std::memory_order_relaxed);
    }
}

void MixEngine::askFill() {
    {
        std::lock_guard fillLock(fillMutex_);
        fillAsked_ = true;
    }
    fillWake_.notify_all();
}

void MixEngine::topUp(std::size_t frames) {
    {
        std::lock_guard fillLock(fillMutex_);
        // Copied only when it changed: a copy at every block would count every stream's
        // references up and down against the worker's.
        if (topUpChanges_ != fillListChanges_) {
            topUpList_ = fillList_;
            topUpChanges_ = fillListChanges_;
        }
    }
    bool low = false;
    for (const auto& s : topUpList_) {
        // Only this thread, the console's, replaces a stream's ring: it may read it unlocked.
        const PlayRing* r = s->ring.get();
        if (r == nullptr || r->complete.load(std::memory_order_acquire)) {
            continue;
        }
        const std::size_t held = r->samples.readable() / kMixChannels;
        if (held < frames) {
            for (bool more = true; more;) {
                std::lock_guard decodeLock(s->decodeMutex);
                more = s->fill(std::max(frames, kStartFrames), kChunksPerLock);
            }
        }
        low = low || held < kAheadLowFrames;
    }
    if (low && !passAsked_.exchange(true, std::memory_order_relaxed)) {
        askFill();
    }
}

void MixEngine::eventLoop(std::stop_token stop) {
    while (!stop.stop_requested()) {
        std::vector<std::shared_ptr<void>> expired;  // destroyed after the lock is let go
        {
            std::lock_guard lock(mutex_);
            processEvents();
            expired = collectRetired();
        }
        deliverSyncs();
        news_.waitFor(kEventPoll);
    }
}

bool MixEngine::render(std::size_t frames, float* out, float* bus) {
    {
        std::lock_guard lock(mutex_);
        if (mode_ != EngineMode::Offline || !initialised_) {
            return fail(kErrorInit);
        }
    }
    for (std::size_t off = 0; off < frames; off += kMaxBlockFrames) {
        const std::size_t n = std::min(kMaxBlockFrames, frames - off);
        pullCapture(n);
        if (readAhead_.joinable()) {  // started and joined on this thread, the console's
            topUp(n);
        } else {
            fillAll(std::max(n, kStartFrames));
        }
        core_.render(out ? out + off * kMixChannels : nullptr, n,
                     bus ? bus + off * kMixChannels : nullptr);
        std::vector<std::shared_ptr<void>> expired;
        std::lock_guard lock(mutex_);
        processEvents();
        expired = collectRetired();
    }
    deliverSyncs();
    return true;
}

void MixEngine::prefill(std::size_t frames) {
    pullCapture(frames);
    fillAll(frames);
}

void MixEngine::pullCapture(std::size_t frames) {
    std::lock_guard lock(mutex_);
    if (captureStream_ && mode_ == EngineMode::Offline) {
        captureStream_->pull(frames);
    }
}

void MixEngine::mixBlock(float* out, std::size_t frames) {
    core_.render(out, frames);
}

void MixEngine::finishBlock() {
    std::vector<std::shared_ptr<void>> expired;
    {
        std::lock_guard lock(mutex_);
        processEvents();
        expired = collectRetired();
    }
    deliverSyncs();
}

}  // namespace tw::audio
