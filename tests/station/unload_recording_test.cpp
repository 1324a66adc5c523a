// Quitting while a take is being recorded, on the real engine: the capture thread may deliver a
// block at any moment until the engine stops it, so the take's buffer must outlive its last
// delivery, and what was recorded so far is kept as VoiceTrack1.wav. Built with the address
// sanitizer (scripts/test-sanitizers.sh) these runs also show that no block is ever written into
// freed memory.

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "audio/capture_device.h"
#include "audio/mix_engine.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::uint32_t le32(const std::string& b, std::size_t at) {
    std::uint32_t v = 0;
    for (int i = 3; i >= 0; --i) {
        v = v << 8 | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
    }
    return v;
}

// A microphone that plays a tone. Offline it delivers when the engine pulls; `racing` gives it a
// thread that delivers small blocks as fast as it can; with `lastBlockAtClose` it delivers one
// more block while it is being closed, as a capture thread that is in the middle of a delivery
// when the engine stops it does.
class TestMicrophone final : public audio::CaptureBackend {
  public:
    TestMicrophone(bool racing, bool lastBlockAtClose)
        : racing_(racing), lastBlockAtClose_(lastBlockAtClose) {}
    std::vector<std::string> devices() override { return {"Test microphone"}; }
    std::vector<std::string> inputs(int) override { return {"Test microphone"}; }
    std::unique_ptr<audio::CaptureStream> open(int, audio::CaptureSink& sink, bool) override {
        return std::make_unique<Stream>(sink, racing_, lastBlockAtClose_);
    }

  private:
    class Stream final : public audio::CaptureStream {
      public:
        Stream(audio::CaptureSink& sink, bool racing, bool lastBlockAtClose)
            : sink_(sink), lastBlockAtClose_(lastBlockAtClose) {
            if (racing) {
                thread_ = std::jthread([this](std::stop_token stop) {
                    while (!stop.stop_requested()) {
                        deliver(256);
                        std::this_thread::sleep_for(std::chrono::microseconds(50));
                    }
                });
            }
        }
        ~Stream() override {
            if (thread_.joinable()) {
                thread_.request_stop();
                thread_.join();
            }
            if (lastBlockAtClose_) {
                deliver(1024);
            }
        }
        void pull(std::size_t frames) override { deliver(frames); }

      private:
        void deliver(std::size_t frames) {
            block_.resize(frames * 2);
            for (std::size_t i = 0; i < frames; ++i, ++phase_) {
                const float v =
                    0.3f * static_cast<float>(std::sin(phase_ * 2 * M_PI * 700 / 44100));
                block_[2 * i] = block_[2 * i + 1] = v;
            }
            sink_.captured(block_.data(), frames);
        }
        audio::CaptureSink& sink_;
        const bool lastBlockAtClose_;
        std::vector<float> block_;
        double phase_ = 0;
        std::jthread thread_;  // last: it stops before the rest goes
    };
    const bool racing_;
    const bool lastBlockAtClose_;
};

class UnloadWhileRecordingTest : public ::testing::Test {
  protected:
    std::unique_ptr<sim::Simulator> station(audio::EngineMode mode, bool racing, bool lastBlock) {
        auto engine = std::make_unique<audio::MixEngine>(mode);
        engine->useCapture(std::make_unique<TestMicrophone>(racing, lastBlock));
        const core::DateValue start = core::dateSerial(2026, 3, 2) + 10.0 / 24;
        if (mode == audio::EngineMode::Offline) {
            return std::make_unique<sim::Simulator>(dir.str(), start, std::move(engine));
        }
        return std::make_unique<sim::Simulator>(dir.str(), start,
                                                std::unique_ptr<audio::Engine>(engine.release()));
    }
    void exec(sim::Simulator& sim, const std::string& line) {
        std::ostringstream out;
        std::string error;
        ASSERT_TRUE(sim.execute(line, out, error)) << line << ": " << error;
    }
    // The take on disk: whole, its lengths telling its size; its seconds of audio.
    double takeSeconds() {
        const std::string wav = readFile(dir / "VoiceTrack1.wav");
        EXPECT_GE(wav.size(), 44u);
        if (wav.size() < 44) {
            return -1;
        }
        EXPECT_EQ(wav.substr(0, 4), "RIFF");
        EXPECT_EQ(le32(wav, 4), wav.size() - 8);
        EXPECT_EQ(le32(wav, 40), wav.size() - 44);
        return static_cast<double>(wav.size() - 44) / 176400.0;
    }

    ScopedHome home;
    TempDir dir;
};

TEST_F(UnloadWhileRecordingTest, ABlockDeliveredAsTheEngineStopsNeverReachesAFreedTake) {
    auto sim = station(audio::EngineMode::Offline, false, true);
    exec(*sim, "load");
    exec(*sim, "press cmdRecord");
    ASSERT_NE(sim->console().recordChannel, 0u);
    exec(*sim, "advance 2");
    exec(*sim, "unload");
    EXPECT_EQ(sim->console().recordChannel, 0u);
    EXPECT_NEAR(takeSeconds(), 2.0, 0.05) << "the take so far is kept";
}

TEST_F(UnloadWhileRecordingTest, QuittingWhileTheCaptureThreadWritesKeepsTheTake) {
    for (int run = 0; run < 5; ++run) {
        SCOPED_TRACE(run);
        fs::remove(dir / "VoiceTrack1.wav");
        auto sim = station(audio::EngineMode::SilentDevice, true, true);
        exec(*sim, "load");
        exec(*sim, "press cmdRecord");
        ASSERT_NE(sim->console().recordChannel, 0u);
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        exec(*sim, "unload");
        EXPECT_GT(takeSeconds(), 0.0) << "the take so far is kept";
    }
}

}  // namespace
}  // namespace tw::test
