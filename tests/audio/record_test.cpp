// Recording from the simulated capture device: the device and input lists, a record channel in the
// mixer, a record channel with a callback (its effects and volume before the callback), the input
// volume and switches, and the ends of channels and of the device.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <thread>

#include "audio/capture_device.h"
#include "audio/peak_limiter.h"
#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

constexpr int kRecordRate = 44100;
constexpr double kAmp = 0.5;

class RecordTest : public OfflineEngineTest {
  protected:
    void SetUp() override {
        OfflineEngineTest::SetUp();
        const auto voice = dir.path() / "voice.wav";
        writeWav(voice, sine(kRecordRate, 2, 1000, kAmp, kRecordRate));
        engine.useCapture(simulatedCapture(voice.string()));
        ASSERT_TRUE(engine.recordInit(-1)) << engine.errorGetCode();
    }

    // Peak of the 16-bit blocks a callback received, over [from, to) of its samples.
    static double peak(const std::vector<std::int16_t>& s, std::size_t from, std::size_t to) {
        int p = 0;
        for (std::size_t i = from; i < std::min(to, s.size()); ++i) {
            p = std::max(p, std::abs(static_cast<int>(s[i])));
        }
        return p / 32768.0;
    }
};

TEST_F(RecordTest, SimulatedDeviceHasOneDeviceWithOneInputNamedAfterIt) {
    RecordDeviceInfo info;
    ASSERT_TRUE(engine.recordGetDeviceInfo(0, info));
    EXPECT_EQ(info.name, "Simulated microphone");
    EXPECT_FALSE(engine.recordGetDeviceInfo(1, info));
    EXPECT_EQ(engine.errorGetCode(), kErrorDevice);
    EXPECT_EQ(engine.recordGetInputName(0), "Simulated microphone");
    EXPECT_EQ(engine.recordGetInputName(1), "");
    EXPECT_FALSE(engine.recordInit(0));
    EXPECT_EQ(engine.errorGetCode(), kErrorAlready);
    EXPECT_TRUE(engine.recordSetDevice(0));
    EXPECT_FALSE(engine.recordSetDevice(5));
    EXPECT_FALSE(engine.recordSetDevice(-1));
}

TEST_F(RecordTest, WithoutACaptureDeviceRecordingIsNotAvailable) {
    MixEngine bare{EngineMode::Offline};
    ASSERT_TRUE(bare.init(0, kRecordRate, 0));
    bare.useCapture(nullptr);
    RecordDeviceInfo info;
    EXPECT_FALSE(bare.recordGetDeviceInfo(0, info));
    EXPECT_FALSE(bare.recordInit(-1));
    EXPECT_EQ(bare.recordStart(kRecordRate, 2, 0, nullptr), 0u);
    EXPECT_EQ(bare.errorGetCode(), kErrorInit);
}

TEST_F(RecordTest, PausedRecordChannelInTheMixerIsSilentUntilPlayed) {
    const Handle mic = engine.recordStart(kRecordRate, 2, kRecordPause, nullptr);
    ASSERT_NE(mic, 0u);
    EXPECT_EQ(engine.channelIsActive(mic), kPaused);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
    std::vector<float> bus;
    render(kRecordRate / 4, bus);
    EXPECT_LT(rms(bus, 0, 0, bus.size() / 2), 1e-6);
    ASSERT_TRUE(engine.channelPlay(mic, false));
    EXPECT_EQ(engine.channelIsActive(mic), kPlaying);
    render(kRecordRate / 2, bus);
    // The sine at 0.5 has an RMS of 0.354 once the live audio flows (after a block or two).
    EXPECT_NEAR(rms(bus, 0, kRecordRate / 10, kRecordRate / 2), kAmp / std::sqrt(2.0), 0.01);
    EXPECT_NEAR(frequency(bus, 0, kRecordRate / 10, kRecordRate / 2, kRecordRate), 1000, 5);
}

TEST_F(RecordTest, RecordChannelVolumeAndEffectsWorkInTheMixer) {
    const Handle mic = engine.recordStart(kRecordRate, 2, 0, nullptr);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
    ASSERT_TRUE(engine.channelSetAttribute(mic, kAttribVol, 0.5f));
    std::vector<float> bus;
    render(kRecordRate / 2, bus);
    EXPECT_NEAR(rms(bus, 0, kRecordRate / 10, kRecordRate / 2), kAmp / 2 / std::sqrt(2.0), 0.01);
    const Handle eq = engine.channelSetFX(mic, kFxParamEq, 0);
    ASSERT_TRUE(engine.fxSetParameters(eq, ParamEq{1000, 4, 6}));
    render(kRecordRate / 2, bus);
    EXPECT_NEAR(toDb(rms(bus, 0, kRecordRate / 10, kRecordRate / 2) / (kAmp / 2 / std::sqrt(2.0))), 6,
                0.3);
}

TEST_F(RecordTest, ChannelTakenOutOfTheMixKeepsRecordingButHoldsNoAudio) {
    const Handle mic = engine.recordStart(kRecordRate, 2, 0, nullptr);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
    render(kRecordRate / 4);
    ASSERT_TRUE(engine.mixerChannelRemove(mic));
    EXPECT_EQ(engine.channelIsActive(mic), kPlaying);
    std::vector<float> bus;
    render(kRecordRate / 4, bus);
    EXPECT_LT(rms(bus, 0, 0, kRecordRate / 4), 1e-6);
    // Back in the mix it is live at once, without the audio of the time it was out.
    ASSERT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
    render(kRecordRate / 4, bus);
    EXPECT_NEAR(rms(bus, 0, kRecordRate / 20, kRecordRate / 4), kAmp / std::sqrt(2.0), 0.01);
}

TEST_F(RecordTest, CallbackGetsEverySampleAfterEffectsAndVolume) {
    std::vector<std::int16_t> got;
    const Handle rec = engine.recordStart(kRecordRate, 2, kRecordPause,
                                          [&got](Handle, const std::int16_t* s, std::size_t n) {
                                              got.insert(got.end(), s, s + n);
                                              return true;
                                          });
    ASSERT_NE(rec, 0u);
    render(kRecordRate / 10);
    EXPECT_TRUE(got.empty());  // paused: nothing is recorded
    ASSERT_TRUE(engine.channelPlay(rec, false));
    render(kRecordRate / 2);
    EXPECT_EQ(got.size(), static_cast<std::size_t>(kRecordRate / 2) * 2);
    EXPECT_NEAR(peak(got, 0, got.size()), kAmp, 0.01);
    ASSERT_TRUE(engine.channelSetAttribute(rec, kAttribVol, 0.5f));
    const Handle eq = engine.channelSetFX(rec, kFxParamEq, 0);
    ASSERT_NE(eq, 0u);
    ASSERT_TRUE(engine.fxSetParameters(eq, ParamEq{1000, 4, 6}));
    const std::size_t before = got.size();
    render(kRecordRate / 2);
    // -6 dB of volume and +6 dB at the centre: the sine comes out as it went in.
    EXPECT_NEAR(peak(got, before + kRecordRate / 5, got.size()), kAmp, 0.02);
    EXPECT_NE(engine.channelGetLevel(rec), 0u);
    ASSERT_TRUE(engine.channelRemoveFX(rec, eq));
    ASSERT_TRUE(engine.channelStop(rec));
    const std::size_t stopped = got.size();
    render(kRecordRate / 4);
    EXPECT_EQ(got.size(), stopped);
    EXPECT_EQ(engine.channelIsActive(rec), kStopped);
}

TEST_F(RecordTest, CallbackReturningFalseStopsTheRecording) {
    int calls = 0;
    const Handle rec = engine.recordStart(
        kRecordRate, 2, 0,
        [&calls](Handle, const std::int16_t*, std::size_t) { return ++calls < 3; });
    render(kRecordRate);
    EXPECT_EQ(calls, 3);
    EXPECT_EQ(engine.channelIsActive(rec), kStopped);
}

TEST_F(RecordTest, InputVolumeAndSwitches) {
    std::vector<std::int16_t> got;
    engine.recordStart(kRecordRate, 2, 0, [&got](Handle, const std::int16_t* s, std::size_t n) {
        got.insert(got.end(), s, s + n);
        return true;
    });
    ASSERT_TRUE(engine.recordSetInput(-1, 0, 0.5f));
    float volume = 0;
    EXPECT_EQ(engine.recordGetInput(0, volume), 0);
    EXPECT_FLOAT_EQ(volume, 0.5f);
    render(kRecordRate / 4);
    EXPECT_NEAR(peak(got, 0, got.size()), kAmp / 2, 0.01);
    ASSERT_TRUE(engine.recordSetInput(0, kRecordInputOff, -1.0f));
    EXPECT_EQ(engine.recordGetInput(0, volume), static_cast<int>(kRecordInputOff));
    // Past the take's limiter, which still gives out the last moments heard before.
    std::size_t from = got.size() + 2 * PeakLimiter::kLookAheadFrames;
    render(kRecordRate / 4);
    EXPECT_EQ(peak(got, from, got.size()), 0.0);  // every input off: the device hears nothing
    EXPECT_FALSE(engine.recordSetInput(1, kRecordInputOn, 1.0f));  // there is no second input
    ASSERT_TRUE(engine.recordSetInput(0, kRecordInputOn, 1.0f));
    from = got.size();
    render(kRecordRate / 4);
    EXPECT_NEAR(peak(got, from, got.size()), kAmp, 0.01);
}

TEST_F(RecordTest, RecordFreeEndsEveryRecordChannel) {
    const Handle a = engine.recordStart(kRecordRate, 2, 0, nullptr);
    const Handle b = engine.recordStart(kRecordRate, 2, 0, nullptr);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, a, 0));
    ASSERT_TRUE(engine.recordFree());
    EXPECT_EQ(engine.channelIsActive(a), kStopped);
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_FALSE(engine.channelPlay(b, false));
    EXPECT_FALSE(engine.recordFree());
    EXPECT_EQ(engine.errorGetCode(), kErrorInit);
    EXPECT_EQ(engine.recordStart(kRecordRate, 2, 0, nullptr), 0u);
}

TEST_F(RecordTest, FreedRecordChannelGetsNoMoreCallbacks) {
    int calls = 0;
    const Handle rec =
        engine.recordStart(kRecordRate, 2, 0, [&calls](Handle, const std::int16_t*, std::size_t) {
            ++calls;
            return true;
        });
    render(kRecordRate / 10);
    ASSERT_TRUE(engine.streamFree(rec));
    const int before = calls;
    render(kRecordRate / 10);
    EXPECT_EQ(calls, before);
}

TEST_F(RecordTest, OnlyCdFormatIsRecorded) {
    EXPECT_EQ(engine.recordStart(48000, 2, 0, nullptr), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorFormat);
}

TEST(RecordDeviceTest, LiveMicrophoneReachesTheMixInRealTime) {
    tw::test::TempDir dir;
    const auto voice = dir.path() / "voice.wav";
    writeWav(voice, sine(kRecordRate, 1, 440, kAmp, kRecordRate));
    MixEngine engine{EngineMode::SilentDevice};
    engine.useCapture(simulatedCapture(voice.string()));
    ASSERT_TRUE(engine.init(0, kRecordRate, 0));
    const Handle mixer = engine.mixerStreamCreate(kRecordRate, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    ASSERT_TRUE(engine.recordInit(-1));
    const Handle mic = engine.recordStart(kRecordRate, 2, 0, nullptr);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
    // The mixer's level shows the microphone within a few blocks.
    std::uint32_t level = 0;
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (level == 0 && std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        level = engine.channelGetLevel(mixer);
    }
    EXPECT_NEAR((level & 0xFFFF) / 32768.0, kAmp, 0.02);
    engine.free();
}

}  // namespace
}  // namespace tw::audio::test
