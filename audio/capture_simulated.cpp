// The simulated capture device: the whole file is decoded once into 44100 Hz stereo and played in a
// loop, in 10 ms blocks on a timed thread, or block by block through pull() for the offline engine.

#include <soxr.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "audio/capture_device.h"
#include "audio/decoder.h"
#include "audio/source.h"
#include "audio/thread_name.h"

namespace tw::audio {

namespace {

constexpr std::size_t kBlockFrames = kMixRate / 100;
// Ten minutes: more is not a microphone test but a mistake, and would only fill memory.
constexpr std::size_t kMaxFrames = static_cast<std::size_t>(kMixRate) * 600;

std::vector<float> decodeWhole(const std::string& path) {
    int error = 0;
    std::unique_ptr<Decoder> d = openFile(FileWindow{path, 0, 0}, error);
    if (!d || d->channels() < 1) {
        return {};
    }
    const auto ch = static_cast<std::size_t>(d->channels());
    std::vector<std::int16_t> pcm(4096 * ch);
    std::vector<float> stereo;
    while (stereo.size() / 2 < kMaxFrames) {
        const std::size_t n = d->read(pcm.data(), 4096);
        if (n == 0) {
            break;
        }
        for (std::size_t i = 0; i < n; ++i) {
            const float l = static_cast<float>(pcm[i * ch]) / 32768.0f;
            stereo.push_back(l);
            stereo.push_back(ch > 1 ? static_cast<float>(pcm[i * ch + 1]) / 32768.0f : l);
        }
    }
    if (d->rate() == kMixRate || stereo.empty()) {
        return stereo;
    }
    const std::size_t inFrames = stereo.size() / 2;
    const auto outFrames =
        static_cast<std::size_t>(static_cast<double>(inFrames) * kMixRate / d->rate() + 1);
    std::vector<float> out(outFrames * 2);
    std::size_t done = 0;
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT32_I, SOXR_FLOAT32_I);
    if (soxr_oneshot(d->rate(), kMixRate, 2, stereo.data(), inFrames, nullptr, out.data(),
                     outFrames, &done, &io, nullptr, nullptr) != nullptr) {
        return {};
    }
    out.resize(done * 2);
    return out;
}

class SimulatedStream final : public CaptureStream {
  public:
    SimulatedStream(std::shared_ptr<const std::vector<float>> audio, CaptureSink& sink, bool paced)
        : audio_(std::move(audio)), sink_(sink), block_(kBlockFrames * 2) {
        if (paced) {
            thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
        }
    }
    ~SimulatedStream() override {
        if (thread_.joinable()) {
            thread_.request_stop();
            thread_.join();
        }
    }

    void pull(std::size_t frames) override {
        while (frames > 0) {
            const std::size_t n = std::min(frames, kBlockFrames);
            deliver(n);
            frames -= n;
        }
    }

  private:
    void deliver(std::size_t frames) {
        const std::vector<float>& a = *audio_;
        const std::size_t total = a.size() / 2;
        for (std::size_t i = 0; i < frames; ++i) {
            if (total == 0) {
                block_[2 * i] = block_[2 * i + 1] = 0.0f;
                continue;
            }
            block_[2 * i] = a[2 * at_];
            block_[2 * i + 1] = a[2 * at_ + 1];
            at_ = (at_ + 1) % total;
        }
        sink_.captured(block_.data(), frames);
    }

    void run(std::stop_token stop) {
        nameThisThread("tw-sim-capture");
        auto next = std::chrono::steady_clock::now();
        while (!stop.stop_requested()) {
            next += std::chrono::milliseconds(10);
            std::this_thread::sleep_until(next);
            deliver(kBlockFrames);
        }
    }

    std::shared_ptr<const std::vector<float>> audio_;
    CaptureSink& sink_;
    std::vector<float> block_;
    std::size_t at_ = 0;
    std::jthread thread_;
};

class SimulatedCapture final : public CaptureBackend {
  public:
    SimulatedCapture(std::vector<float> audio, std::string name)
        : audio_(std::make_shared<const std::vector<float>>(std::move(audio))),
          name_(std::move(name)) {}

    std::vector<std::string> devices() override { return {name_}; }
    std::vector<std::string> inputs(int device) override {
        if (device != 0) {
            return {};
        }
        return {name_};
    }
    std::unique_ptr<CaptureStream> open(int device, CaptureSink& sink, bool paced) override {
        if (device != 0) {
            return nullptr;
        }
        return std::make_unique<SimulatedStream>(audio_, sink, paced);
    }

  private:
    std::shared_ptr<const std::vector<float>> audio_;
    const std::string name_;
};

}  // namespace

std::unique_ptr<CaptureBackend> simulatedCapture(const std::string& path) {
    return std::make_unique<SimulatedCapture>(decodeWhole(path), "Simulated microphone");
}

std::unique_ptr<CaptureBackend> silentCapture() {
    return std::make_unique<SimulatedCapture>(std::vector<float>{}, "No microphone (silence)");
}

}  // namespace tw::audio
