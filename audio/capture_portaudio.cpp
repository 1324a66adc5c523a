// The machine's capture devices through PortAudio. The card's callback only copies into a ring and
// rings a doorbell; the stream's own thread hands the audio on, so that nothing the sink does can
// make the card miss a block.

#include <portaudio.h>

#include <algorithm>
#include <atomic>
#include <thread>

#include "audio/capture_device.h"
#include "audio/doorbell.h"
#include "audio/portaudio_quiet.h"
#include "audio/source.h"
#include "audio/spsc_ring.h"
#include "audio/thread_name.h"

namespace tw::audio {

namespace {

constexpr std::size_t kDeliverFrames = 512;

class PortAudioStream final : public CaptureStream {
  public:
    PortAudioStream(CaptureSink& sink, int inputChannels)
        : sink_(sink), inChannels_(inputChannels), ring_(kMixRate * kMixChannels) {}

    ~PortAudioStream() override {
        if (stream_) {
            Pa_StopStream(stream_);
            Pa_CloseStream(stream_);
        }
        if (thread_.joinable()) {
            thread_.request_stop();
            bell_.ring();
            thread_.join();
        }
    }

    bool start(PaDeviceIndex device, double latency) {
        PaStreamParameters params{};
        params.device = device;
        params.channelCount = inChannels_;
        params.sampleFormat = paFloat32;
        params.suggestedLatency = latency;
        if (Pa_OpenStream(&stream_, &params, nullptr, kMixRate, paFramesPerBufferUnspecified,
                          paNoFlag, &callback, this) != paNoError) {
            stream_ = nullptr;
            return false;
        }
        thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
        if (Pa_StartStream(stream_) != paNoError) {
            Pa_CloseStream(stream_);
            stream_ = nullptr;
            return false;
        }
        return true;
    }

    void pull(std::size_t) override {}

  private:
    // PortAudio's real-time thread: copies, converting mono to stereo, and rings.
    static int callback(const void* input, void*, unsigned long frames,
                        const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags, void* self) {
        auto& s = *static_cast<PortAudioStream*>(self);
        const auto* in = static_cast<const float*>(input);
        if (!in) {
            return paContinue;
        }
        float pair[2];
        for (unsigned long i = 0; i < frames; ++i) {
            pair[0] = in[i * static_cast<unsigned long>(s.inChannels_)];
            pair[1] =
                s.inChannels_ > 1 ? in[i * static_cast<unsigned long>(s.inChannels_) + 1] : pair[0];
            if (s.ring_.write(pair, 2) < 2) {
                break;  // the deliverer is behind: the rest of this block is dropped
            }
        }
        s.bell_.ring();
        return paContinue;
    }

    void run(std::stop_token stop) {
        nameThisThread("tw-capture");
        std::vector<float> block(kDeliverFrames * kMixChannels);
        while (!stop.stop_requested()) {
            bell_.waitFor(std::chrono::milliseconds(100));
            for (;;) {
                const std::size_t n = ring_.read(block.data(), block.size()) / kMixChannels;
                if (n == 0) {
                    break;
                }
                sink_.captured(block.data(), n);
            }
        }
    }

    CaptureSink& sink_;
    const int inChannels_;
    SpscRing<float> ring_;
    Doorbell bell_;
    PaStream* stream_ = nullptr;
    std::jthread thread_;
};

class PortAudioCapture final : public CaptureBackend {
  public:
    PortAudioCapture() : initialised_((quietenProbing(), Pa_Initialize() == paNoError)) {
        if (!initialised_) {
            return;
        }
        for (PaDeviceIndex i = 0; i < Pa_GetDeviceCount(); ++i) {
            const PaDeviceInfo* d = Pa_GetDeviceInfo(i);
            if (d && d->maxInputChannels > 0) {
                indexes_.push_back(i);
            }
        }
    }
    ~PortAudioCapture() override {
        if (initialised_) {
            Pa_Terminate();
        }
    }
    PortAudioCapture(const PortAudioCapture&) = delete;
    PortAudioCapture& operator=(const PortAudioCapture&) = delete;

    std::vector<std::string> devices() override {
        std::vector<std::string> names;
        for (PaDeviceIndex i : indexes_) {
            names.emplace_back(Pa_GetDeviceInfo(i)->name);
        }
        return names;
    }

    // PortAudio has no input selector: every device has the one input it is.
    std::vector<std::string> inputs(int device) override {
        if (device < 0 || static_cast<std::size_t>(device) >= indexes_.size()) {
            return {};
        }
        return {Pa_GetDeviceInfo(indexes_[static_cast<std::size_t>(device)])->name};
    }

    std::unique_ptr<CaptureStream> open(int device, CaptureSink& sink, bool) override {
        if (device < 0 || static_cast<std::size_t>(device) >= indexes_.size()) {
            return nullptr;
        }
        const PaDeviceIndex index = indexes_[static_cast<std::size_t>(device)];
        const PaDeviceInfo* info = Pa_GetDeviceInfo(index);
        auto stream = std::make_unique<PortAudioStream>(sink, std::min(info->maxInputChannels, 2));
        if (!stream->start(index, info->defaultLowInputLatency)) {
            return nullptr;
        }
        return stream;
    }

  private:
    const bool initialised_;
    std::vector<PaDeviceIndex> indexes_;
};

}  // namespace

std::unique_ptr<CaptureBackend> portAudioCapture() {
    return std::make_unique<PortAudioCapture>();
}

}  // namespace tw::audio
