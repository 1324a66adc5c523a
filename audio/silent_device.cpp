// The timed silent device: a thread that pulls the mix at the sound card's pace when there is no
// card, so that mixing, levels, syncs and encoders go on headless. Each wake-up renders exactly the
// frames that the clock says are due, so rounding never adds up to drift.

#include <chrono>
#include <thread>
#include <vector>

#include "audio/output_device.h"
#include "audio/source.h"
#include "audio/thread_name.h"

namespace tw::audio {

namespace {

class SilentDevice final : public OutputDevice {
  public:
    SilentDevice(unsigned updateMs, AudioProducer& producer)
        : period_(std::chrono::milliseconds(updateMs ? updateMs : 25)),
          producer_(producer),
          thread_([this](std::stop_token stop) { run(stop); }) {}

    DeviceInfo info() const override { return {}; }

  private:
    void run(std::stop_token stop) {
        nameThisThread("tw-silent-out");
        using Clock = std::chrono::steady_clock;
        // The buffer is sized here, before the loop, so that the loop itself never allocates.
        const auto periodFrames =
            static_cast<std::size_t>(std::chrono::duration<double>(period_).count() * kMixRate);
        std::vector<float> buffer((periodFrames * 4 + 1) * kMixChannels);
        const std::size_t maxFrames = buffer.size() / kMixChannels;
        const Clock::time_point start = Clock::now();
        std::int64_t rendered = 0;
        auto wake = start;
        while (!stop.stop_requested()) {
            wake += period_;
            std::this_thread::sleep_until(wake);
            const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
            auto due = static_cast<std::int64_t>(elapsed * kMixRate) - rendered;
            while (due > 0) {
                const auto n = static_cast<std::size_t>(
                    std::min<std::int64_t>(due, static_cast<std::int64_t>(maxFrames)));
                producer_.produce(buffer.data(), n);
                rendered += static_cast<std::int64_t>(n);
                due -= static_cast<std::int64_t>(n);
            }
        }
    }

    const std::chrono::steady_clock::duration period_;
    AudioProducer& producer_;
    std::jthread thread_;  // last: it starts after every member it uses exists
};

}  // namespace

std::unique_ptr<OutputDevice> openSilentOutput(unsigned updateMs, AudioProducer& producer) {
    return std::make_unique<SilentDevice>(updateMs, producer);
}

}  // namespace tw::audio
