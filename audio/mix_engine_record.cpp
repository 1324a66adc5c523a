// Recording: the capture devices and their inputs, and record channels. A record channel is a
// decoding stream whose audio is the capture's (record_hub.h); while it is in the mixer it mixes
// like any stream, and with a callback it hands its blocks, after its own effects and volume, to
// that callback on the capture thread.
//
// Every capture device shares one capture stream, opened by the first record channel on it and
// closed by recordFree() or when the engine is freed.

#include <algorithm>
#include <cstdlib>

#include "audio/mix_engine.h"

namespace tw::audio {

namespace {

constexpr int kMaxInputs = 64;

}  // namespace

void MixEngine::useCapture(std::unique_ptr<CaptureBackend> backend) {
    std::lock_guard lock(mutex_);
    captureStream_.reset();
    capture_ = std::move(backend);
    captureChosen_ = true;
}

CaptureBackend* MixEngine::captureBackend() {
    if (!captureChosen_) {
        captureChosen_ = true;
        if (const char* mic = std::getenv("TARNWAVE_MIC"); mic && *mic) {
            capture_ = simulatedCapture(mic);
        } else if (mode_ == EngineMode::Device && !silentByEnvironment()) {
            capture_ = portAudioCapture();
        }
        // Headless, the microphone is as silent as the output: recording works and hears
        // nothing, so that the console runs on a machine without a card as on one with.
        const bool headless = mode_ == EngineMode::SilentDevice || silentByEnvironment() ||
                              (output_ && !output_->info().hasDevice);
        if (headless && (!capture_ || capture_->devices().empty())) {
            capture_ = silentCapture();
        }
    }
    return capture_.get();
}

int MixEngine::captureDeviceCount() {
    CaptureBackend* b = captureBackend();
    return b ? static_cast<int>(b->devices().size()) : 0;
}

bool MixEngine::recordGetDeviceInfo(int device, RecordDeviceInfo& info) {
    std::lock_guard lock(mutex_);
    CaptureBackend* b = captureBackend();
    const std::vector<std::string> names = b ? b->devices() : std::vector<std::string>{};
    if (device < 0 || static_cast<std::size_t>(device) >= names.size()) {
        return fail(kErrorDevice);
    }
    info.name = names[static_cast<std::size_t>(device)];
    info.enabled = true;
    return ok();
}

bool MixEngine::recordInit(int device) {
    std::lock_guard lock(mutex_);
    const int count = captureDeviceCount();
    if (device == -1) {
        device = 0;  // the default device is the first
    }
    if (device < 0 || device >= count) {
        return fail(count == 0 ? kErrorNotAvailable : kErrorDevice);
    }
    if (recordDevice_ == device) {
        return fail(kErrorAlready);
    }
    if (recordDevice_ != -1 && captureStreamDevice_ != device) {
        // One device records at a time: the channels of the other one keep their state but hear
        // nothing until it is chosen again.
        captureStream_.reset();
    }
    recordDevice_ = device;
    inputOff_.assign(static_cast<std::size_t>(kMaxInputs), false);
    return ok();
}

bool MixEngine::recordSetDevice(int device) {
    std::lock_guard lock(mutex_);
    if (device < 0 || device >= captureDeviceCount()) {
        return fail(kErrorDevice);
    }
    if (device != recordDevice_) {
        return fail(kErrorInit);
    }
    return ok();
}

bool MixEngine::recordFree() {
    std::lock_guard lock(mutex_);
    if (recordDevice_ == -1) {
        return fail(kErrorInit);
    }
    freeRecording();
    return ok();
}

void MixEngine::freeRecording() {
    captureStream_.reset();  // no delivery after this
    for (Handle h : channels_.handles()) {
        if (hub_.find(h)) {
            freeStream(h);
        }
    }
    hub_.clear();
    recordDevice_ = -1;
    captureStreamDevice_ = -1;
}

std::string MixEngine::recordGetInputName(int input) {
    std::lock_guard lock(mutex_);
    if (recordDevice_ == -1) {
        fail(kErrorInit);
        return {};
    }
    const std::vector<std::string> names = captureBackend()->inputs(recordDevice_);
    if (input < 0 || static_cast<std::size_t>(input) >= names.size()) {
        fail(kErrorIllegalParam);
        return {};
    }
    ok();
    return names[static_cast<std::size_t>(input)];
}

int MixEngine::recordGetInput(int input, float& volume) {
    std::lock_guard lock(mutex_);
    if (recordDevice_ == -1) {
        fail(kErrorInit);
        return -1;
    }
    const auto count = static_cast<int>(captureBackend()->inputs(recordDevice_).size());
    if (input < -1 || input >= count) {
        fail(kErrorIllegalParam);
        return -1;
    }
    volume = inputVolume_;
    ok();
    return input >= 0 && inputOff_[static_cast<std::size_t>(input)] ? kRecordInputOff : 0;
}

bool MixEngine::recordSetInput(int input, std::uint32_t flags, float volume) {
    std::lock_guard lock(mutex_);
    if (recordDevice_ == -1) {
        return fail(kErrorInit);
    }
    const auto count = static_cast<int>(captureBackend()->inputs(recordDevice_).size());
    if (input < -1 || input >= count || volume > 1.0f) {
        return fail(kErrorIllegalParam);
    }
    if (input >= 0 && (flags & kRecordInputOff)) {
        inputOff_[static_cast<std::size_t>(input)] = true;
    }
    if (input >= 0 && (flags & kRecordInputOn)) {
        inputOff_[static_cast<std::size_t>(input)] = false;
    }
    if (volume >= 0.0f) {
        inputVolume_ = volume;  // one volume: the device records one input at a time
    }
    // With every input switched off the device hears nothing.
    const bool anyOn =
        std::find(inputOff_.begin(), inputOff_.begin() + count, false) != inputOff_.begin() + count;
    hub_.setInputVolume(anyOn ? inputVolume_ : 0.0f);
    return ok();
}

Handle MixEngine::recordStart(std::uint32_t freq, std::uint32_t chans, std::uint32_t flags,
                              RecordProc proc) {
    std::lock_guard lock(mutex_);
    if (!initialised_ || recordDevice_ == -1) {
        fail(kErrorInit);
        return 0;
    }
    if (!isMixFormat(freq, chans)) {
        fail(kErrorFormat);
        return 0;
    }
    if (!captureStream_) {
        captureStream_ = capture_->open(recordDevice_, hub_, mode_ != EngineMode::Offline);
        if (!captureStream_) {
            fail(kErrorDevice);
            return 0;
        }
        captureStreamDevice_ = recordDevice_;
    }
    auto feed = std::make_shared<LiveFeed>();
    const Handle h = createStream(openLiveInput(feed), kStreamDecode);
    if (h == 0) {
        return 0;
    }
    auto ch = std::make_shared<RecordHub::Channel>();
    ch->handle = h;
    ch->source = sourceOf(h);
    ch->feed = std::move(feed);
    ch->proc = std::move(proc);
    ch->state = (flags & kRecordPause) ? RecordHub::State::Paused : RecordHub::State::Playing;
    const bool idle = !ch->proc;
    hub_.add(std::move(ch));
    if (idle) {
        markIdle(h);  // out of any mix until it is added to the mixer
    }
    ok();
    return h;
}

}  // namespace tw::audio
