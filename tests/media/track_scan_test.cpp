// The auto-trim scan on WAV files of exact samples, through the engine offline: where it puts the
// start, what next start it suggests, and when it does not scan at all.

#include "media/track_scan.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

#include "audio/mix_engine.h"
#include "core/console.h"
#include "media/stream_time.h"
#include "tests/audio/audio_fixtures.h"
#include "tests/testlib/temp_dir.h"

namespace tw::media {
namespace {

using audio::test::Pcm;

constexpr int kRate = 44100;

class TrackScanTest : public ::testing::Test {
  protected:
    TrackScanTest() {
        engine.init(-1, kRate, 0);
        core::Services s;
        s.engine = &engine;
        console = std::make_unique<core::Console>(dir.str(), s);
        console->autoTrim = "1";
        console->crossfadeTime = 2.0f;
    }

    // Silence, a constant level, silence; lengths in seconds.
    std::string write(const std::string& name, double leadIn, double sound, double tail,
                      std::int16_t level = 8000) {
        Pcm pcm{kRate, 2, {}};
        auto add = [&pcm](double seconds, std::int16_t v) {
            const auto frames = static_cast<std::size_t>(seconds * kRate);
            pcm.samples.insert(pcm.samples.end(), frames * 2, v);
        };
        add(leadIn, 0);
        add(sound, level);
        add(tail, 0);
        const auto path = dir / name;
        audio::test::writeWav(path, pcm);
        return path.string();
    }

    audio::Handle open(const std::string& path) {
        const audio::Handle h = streamCreateFileW(engine, path, 0, 0, audio::kStreamDecode);
        EXPECT_NE(h, 0u);
        return h;
    }

    test::TempDir dir;
    audio::MixEngine engine{audio::EngineMode::Offline};
    std::unique_ptr<core::Console> console;
};

TEST_F(TrackScanTest, ATrackOfExactlySixtySecondsIsNeitherScannedNorTrimmed) {
    const std::string path = write("sixty.wav", 5, 50, 5);
    const audio::Handle h = open(path);
    EXPECT_EQ(SetTrackStart(*console, path, h), 0);
    EXPECT_EQ(engine.channelGetPosition(h), 0) << "the stream stays at its start";
}

TEST_F(TrackScanTest, ThresholdFiftyNineStartsAtTheLastZeroBeforeTheSoundAndEndsAtTheLastSound) {
    console->autoTrimThreshold = 59;  // |59 - 59| * 546 = 0: any sample that is not 0 is sound
    const std::string path = write("levels.wav", 2, 55, 4);
    std::int64_t start = -1, end = -1;
    findTrackBounds(*console, path, 0, start, end);
    // The first sound is interleaved sample 176400; the start walks back to the zero before it.
    EXPECT_EQ(start, 2 * (176400 - 1));
    // The last sound is interleaved sample 57 s * 88200 - 1.
    EXPECT_EQ(end, 2 * (57 * 88200 - 1));
    const audio::Handle h = open(path);
    // 57 s less the crossfade of 2 s, to the nearest second.
    EXPECT_EQ(SetTrackStart(*console, path, h), 55);
    // The player starts at the first sound: the frame that holds the scan's byte.
    EXPECT_EQ(engine.channelGetPosition(h), start / 4 * 4);
}

// A track whose lead-in and tail are a whisper (level 1) around the music (level 8000): only a
// threshold of 0 takes the whisper for sound. The setting maps to |setting - 59| * 546, so 59
// alone gives 0; its neighbours give 546, and the default of 1 gives 31668, above the music.
struct TrimSetting {
    const char* name;
    std::int32_t setting;
    std::int64_t startByte;  // the first sound walked back one sample; the end without sound
    std::int32_t nextStart;  // the last sound less the crossfade of 2 s
};

void PrintTo(const TrimSetting& p, std::ostream* os) {
    *os << p.name;
}

class TrimSettingTest : public TrackScanTest, public ::testing::WithParamInterface<TrimSetting> {};

TEST_P(TrimSettingTest, TheSettingGivesTheThresholdOfTheScan) {
    Pcm pcm{kRate, 2, {}};
    auto add = [&pcm](double seconds, std::int16_t v) {
        pcm.samples.insert(pcm.samples.end(), static_cast<std::size_t>(seconds * kRate) * 2, v);
    };
    add(2, 0);
    add(3, 1);
    add(55, 8000);
    add(3, 1);
    add(1, 0);
    const auto path = (dir / "whisper.wav").string();
    audio::test::writeWav(path, pcm);
    console->autoTrimThreshold = GetParam().setting;
    const audio::Handle h = open(path);
    EXPECT_EQ(SetTrackStart(*console, path, h), GetParam().nextStart);
    // The player starts at the frame that holds the scan's byte.
    EXPECT_EQ(engine.channelGetPosition(h), GetParam().startByte / 4 * 4);
}

INSTANTIATE_TEST_SUITE_P(
    , TrimSettingTest,
    // Interleaved sample 2 s * 88200 is the first whisper, 5 s * 88200 the first of the music.
    ::testing::Values(TrimSetting{"FiftyNineIsThresholdZero", 59, 2 * (2 * 88200 - 1), 61},
                      TrimSetting{"FiftyEightIs546", 58, 2 * (5 * 88200 - 1), 58},
                      TrimSetting{"SixtyIs546", 60, 2 * (5 * 88200 - 1), 58},
                      TrimSetting{"TheDefaultOfOneIsAboveTheMusic", 1, 64 * 4 * kRate, 62}),
    [](const ::testing::TestParamInfo<TrimSetting>& info) { return info.param.name; });

TEST_F(TrackScanTest, TheDefaultThresholdScaleTakesALevelBelowItAsSilence) {
    console->autoTrimThreshold = 60;  // 546: a level of 500 is no sound
    const std::string path = write("quiet.wav", 1, 62, 1, 500);
    const audio::Handle h = open(path);
    const double seconds = 64;
    // Nothing above the threshold: the start is the end of the file, and the next start one
    // crossfade before it.
    EXPECT_EQ(SetTrackStart(*console, path, h), static_cast<std::int32_t>(seconds - 2));
    EXPECT_EQ(engine.channelGetPosition(h), engine.channelGetLength(h));
}

TEST_F(TrackScanTest, AnEntirelySilentTrackStartsAtItsEndAndHandsOverOneCrossfadeBefore) {
    console->autoTrimThreshold = 59;
    const std::string path = write("silent.wav", 61, 0, 0);
    std::int64_t start = -1, end = -1;
    findTrackBounds(*console, path, 0, start, end);
    EXPECT_EQ(start, 61 * 4 * kRate);
    EXPECT_EQ(end, start);
    const audio::Handle h = open(path);
    EXPECT_EQ(SetTrackStart(*console, path, h), 59);
}

TEST_F(TrackScanTest, AutoTrimOffOrNoStreamGivesZeroAndLeavesTheStream) {
    const std::string path = write("long.wav", 3, 60, 3);
    const audio::Handle h = open(path);
    console->autoTrim = "0";
    EXPECT_EQ(SetTrackStart(*console, path, h), 0);
    EXPECT_EQ(engine.channelGetPosition(h), 0);
    console->autoTrim = "True";
    console->autoTrimThreshold = 59;
    EXPECT_EQ(SetTrackStart(*console, path, 0), 0);
    EXPECT_GT(SetTrackStart(*console, path, h), 0) << "\"True\" reads as on";
}

TEST_F(TrackScanTest, AFileThatCannotBeOpenedLeavesTheBoundsUntouched) {
    std::int64_t start = 7, end = 9;
    findTrackBounds(*console, (dir / "missing.wav").string(), 0, start, end);
    EXPECT_EQ(start, 7);
    EXPECT_EQ(end, 9);
}

TEST_F(TrackScanTest, MarkersSitAtTheirSecondsOnTheStrip) {
    const std::string path = write("marks.wav", 0, 100, 0);
    const audio::Handle h = open(path);
    core::Element strip("pctPreviewMarkers", core::ElementKind::Picture);
    strip.rect = {0, 0, 250, 16};
    core::CueRecord cue;
    cue.introUntil = 20;
    cue.nextStart = 90;
    console->form().lblIntroUntil.backColor = 0x123456;
    drawCueMarkers(*console, h, strip, cue);
    ASSERT_EQ(strip.drawing.fills.size(), 2u);
    EXPECT_NEAR(strip.drawing.fills[0].x, 50, 1);
    EXPECT_EQ(strip.drawing.fills[0].color, 0x123456u);
    EXPECT_NEAR(strip.drawing.fills[1].x, 225, 1);
    EXPECT_EQ(strip.drawing.fills[1].width, 3);
    EXPECT_EQ(strip.drawing.fills[1].height, 20);
}

}  // namespace
}  // namespace tw::media
