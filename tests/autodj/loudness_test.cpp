// Loudness on the air: the gain rule, the target setting, what reaches the engine's loudness stage
// and when, the settings panel's target, and nothing at all while no target is set.

#include "autodj/loudness.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <thread>

#include "autodj/library_jobs.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "liveassist/loudness_settings.h"
#include "media/loudness_library.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

media::LoudnessEntry entry(double lufs, std::optional<double> peak) {
    media::LoudnessEntry e;
    e.lufs = lufs;
    e.peakDbtp = peak;
    return e;
}

TEST(LoudnessGainTest, TheGainBringsTheTrackToTheTarget) {
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -10), 0), 4.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-8, 0), 0), -8.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-23, entry(-23, -3), 0), 0.0);
}

TEST(LoudnessGainTest, TheTruePeakAfterTheGainStaysAtMinusOne) {
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -2), 0), 1.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, 0.5), 0), -1.5) << "a clipping file is lowered";
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -HUGE_VAL), 0), 4.0);
}

TEST(LoudnessGainTest, TheJingleOffsetIsAddedUnderThePeakLimit) {
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -10), 3), 7.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -10), -2), 2.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, -6), 3), 5.0);
}

TEST(LoudnessGainTest, APeakNotKnownIsNeverLiftedAndSilenceIsLeftAlone) {
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-20, std::nullopt), 0), 0.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-10, std::nullopt), 0), -6.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-HUGE_VAL, -HUGE_VAL), 0), 0.0);
    EXPECT_DOUBLE_EQ(loudnessGainDb(-16, entry(-70, -60), 0), kLargestLift);
}

// A measure that answers from a table (by file name), and can hold one file until released.
struct TableMeasure {
    std::mutex mutex;
    std::condition_variable changed;
    std::map<std::string, media::MeasuredLoudness> table;
    std::vector<std::string> asked;
    std::string hold;
    bool released = false;

    media::LoudnessMeasure fn() {
        return [this](const std::string& path, const std::atomic<bool>& cancel,
                      media::MeasuredLoudness& out) {
            std::unique_lock lock(mutex);
            const std::string name = fs::path(path).filename().string();
            asked.push_back(name);
            changed.notify_all();
            if (name == hold) {
                // The cancel is an atomic the library sets without a word to this condition:
                // it is looked at every millisecond.
                while (!released && !cancel.load()) {
                    changed.wait_for(lock, 1ms);
                }
                if (!released) {
                    return media::MeasureOutcome::Cancelled;
                }
            }
            const auto it = table.find(name);
            if (it == table.end()) {
                return media::MeasureOutcome::Unreadable;
            }
            out = it->second;
            return media::MeasureOutcome::Measured;
        };
    }
    void release() {
        std::lock_guard lock(mutex);
        released = true;
        changed.notify_all();
    }
    bool waitAsked(std::size_t n) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return asked.size() >= n; });
    }
};

class LoudnessConsoleTest : public test::StationFixture {
  protected:
    LoudnessConsoleTest() {
        addCategory("Rock");
        loud = addTrack("Rock", "loud.mp3", "A", "Loud");
        quiet = addTrack("Rock", "quiet.mp3", "B", "Quiet");
        fs::create_directories(dir / "Sweepers");
        sweeper = (dir / "Sweepers" / "id.mp3").string();
        fs::copy_file(loud, sweeper);
        measure.table["loud.mp3"] = {-8.0, -0.5, false};
        measure.table["quiet.mp3"] = {-24.0, -12.0, false};
        measure.table["id.mp3"] = {-20.0, -10.0, false};
        open();
    }
    core::Console& c() { return *console; }
    void setTarget(const std::string& value) {
        core::writeIniValue(c(), c().appSettingsPath(), "Loudness", "Target", value);
    }
    // The library with the table's measure, as loudnessLibrary would make it.
    void useTableMeasure() {
        c().loudness = std::make_shared<media::LoudnessLibrary>(loop, dir.str(), measure.fn());
    }
    void settle() {
        media::LoudnessLibrary* lib = loudnessLibrary(c());
        ASSERT_NE(lib, nullptr);
        for (int i = 0; i < 10000 && lib->busy(); ++i) {
            loop.processPending();
            std::this_thread::sleep_for(1ms);
        }
        ASSERT_FALSE(lib->busy());
    }
    std::vector<std::string> attributeCalls() const {
        std::vector<std::string> out;
        for (const std::string& call : engine.calls) {
            if (call.rfind("channelSetAttribute", 0) == 0 &&
                call.find(" " + std::to_string(audio::kAttribLoudness) + " ") !=
                    std::string::npos) {
                out.push_back(call);
            }
        }
        return out;
    }
    float factorFor(double db) const { return static_cast<float>(std::pow(10.0, db / 20.0)); }
    std::string call(audio::Handle h, float factor) const {
        return "channelSetAttribute " + std::to_string(h) + " " +
               std::to_string(audio::kAttribLoudness) + " " + std::to_string(factor);
    }

    TableMeasure measure;
    std::string loud, quiet, sweeper;
};

TEST_F(LoudnessConsoleTest, TheTargetIsALevelInRangeOrNothing) {
    EXPECT_FALSE(loudnessTarget(c()));
    for (const auto& [text, want] :
         std::vector<std::pair<std::string, std::optional<double>>>{{"-16", -16.0},
                                                                    {"-16 LUFS", -16.0},
                                                                    {"  -23.5 LUFS", -23.5},
                                                                    {"-14 LU", -14.0},
                                                                    {"", std::nullopt},
                                                                    {"Off", std::nullopt},
                                                                    {"-3", std::nullopt},
                                                                    {"-60", std::nullopt},
                                                                    {"-16 dBFS", std::nullopt},
                                                                    {"-16,5", std::nullopt},
                                                                    {"nan", std::nullopt}}) {
        setTarget(text);
        EXPECT_EQ(loudnessTarget(c()), want) << text;
    }
    core::writeIniValue(c(), c().appSettingsPath(), "Loudness", "JingleOffset", "+3");
    EXPECT_DOUBLE_EQ(jingleOffset(c()), 3.0);
    core::writeIniValue(c(), c().appSettingsPath(), "Loudness", "JingleOffset", "40");
    EXPECT_DOUBLE_EQ(jingleOffset(c()), 0.0);
}

TEST_F(LoudnessConsoleTest, WithoutATargetNoStreamIsTouchedAndNothingIsMeasured) {
    // Even with what an earlier run measured, and a jingle offset, on the disk.
    core::writeIniValue(c(), c().appSettingsPath(), "Loudness", "JingleOffset", "3");
    std::ofstream(dir / "loudness.ini")
        << "[Music/Rock/loud.mp3]\nSize=1\nWritten=1.0\nLoudness=-8\nPeak=-1\nFrom=Measured\n";
    const audio::Handle h = engine.addStream(100);
    applyLoudness(c(), h, loud, LoudnessKind::Track);
    applyLoudness(c(), h, sweeper, LoudnessKind::Jingle);
    askLoudness(c(), quiet);
    liveassist::startLoudnessScan(c());
    EXPECT_TRUE(attributeCalls().empty());
    EXPECT_EQ(c().loudness, nullptr) << "no library, no thread";
    EXPECT_EQ(loudnessLine(c(), loud), "");
}

TEST_F(LoudnessConsoleTest, AKnownTrackPlaysAtTheTargetAndAJingleWithItsOffset) {
    setTarget("-16");
    core::writeIniValue(c(), c().appSettingsPath(), "Loudness", "JingleOffset", "2");
    useTableMeasure();
    askLoudness(c(), std::vector<std::string>{loud, quiet, sweeper});
    settle();
    const audio::Handle a = engine.addStream(100), b = engine.addStream(100),
                        s = engine.addStream(10);
    applyLoudness(c(), a, loud, LoudnessKind::Track);
    applyLoudness(c(), b, quiet, LoudnessKind::Track);
    applyLoudness(c(), s, sweeper, LoudnessKind::Jingle);
    EXPECT_EQ(attributeCalls(),
              (std::vector<std::string>{call(a, factorFor(-8.0)), call(b, factorFor(8.0)),
                                        call(s, factorFor(6.0))}));
    EXPECT_EQ(loudnessLine(c(), loud), "Loudness -8.0 LUFS  Peak -0.5 dBTP  Gain -8.0 dB");
    EXPECT_EQ(loudnessLine(c(), quiet), "Loudness -24.0 LUFS  Peak -12.0 dBTP  Gain 8.0 dB");
}

TEST_F(LoudnessConsoleTest, ATrackNotYetMeasuredPlaysAtUnityAndIsMeasuredFirst) {
    setTarget("-16");
    measure.table["first.mp3"] = {-30, -20, false};
    const std::string first = addTrack("Rock", "first.mp3", "C", "First");
    measure.hold = "first.mp3";
    useTableMeasure();
    askLoudness(c(), std::vector<std::string>{first, loud, sweeper});
    ASSERT_TRUE(measure.waitAsked(1));
    const audio::Handle h = engine.addStream(100);
    applyLoudness(c(), h, quiet, LoudnessKind::Track);
    EXPECT_TRUE(attributeCalls().empty()) << "unity: the stage is left as it is";
    EXPECT_EQ(loudnessLine(c(), quiet), "Loudness not measured yet");
    measure.release();
    settle();
    EXPECT_EQ(measure.asked,
              (std::vector<std::string>{"first.mp3", "quiet.mp3", "loud.mp3", "id.mp3"}));
}

TEST_F(LoudnessConsoleTest, APlayerWaitingWithTheTrackTakesItsGainWhenTheAnswerComes) {
    setTarget("-16");
    useTableMeasure();
    c().mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    // Player 1 waits with the quiet track; player 2 is on the air with the loud one.
    c().player1Stream = engine.addStream(100);
    c().nextSong1 = quiet;
    c().player2Stream = engine.addStream(100);
    engine.mixerAddChannel(c().mixerStream, c().player2Stream, 0);
    c().nextSong2 = loud;
    applyLoudness(c(), c().player1Stream, quiet, LoudnessKind::Track);
    applyLoudness(c(), c().player2Stream, loud, LoudnessKind::Track);
    settle();
    EXPECT_EQ(attributeCalls(), (std::vector<std::string>{call(c().player1Stream, factorFor(8.0))}))
        << "the track on the air keeps its level";
}

TEST_F(LoudnessConsoleTest, TheScanShowsItsProgressInLibraryUpdateAndInTheSettings) {
    setTarget("-16");
    measure.hold = "loud.mp3";
    useTableMeasure();
    liveassist::startLoudnessScan(c());
    ASSERT_TRUE(measure.waitAsked(1));
    EXPECT_TRUE(c().ui.status.frmStatus.visible);
    EXPECT_EQ(c().ui.status.lblProgress.caption, "Measuring Loudness: 0 of 3");
    EXPECT_EQ(c().ui.settings.lblLoudnessProgress.caption, "Measuring 0 of 3, 0 known");
    measure.release();
    settle();
    EXPECT_FALSE(c().ui.status.frmStatus.visible);
    EXPECT_EQ(c().ui.settings.lblLoudnessProgress.caption, "3 files measured");
    EXPECT_TRUE(fs::exists(dir / "loudness.ini"));
}

TEST_F(LoudnessConsoleTest, TheSettingsPanelSetsTheTargetFromTheListOrTyped) {
    c().ui.settings.frmAppSettings.visible = true;
    liveassist::fillLoudnessTargets(c());
    auto& combo = c().ui.settings.cboLoudnessTarget;
    EXPECT_EQ(combo.text, "Off");
    ASSERT_EQ(combo.listCount(), 5);
    c().loudness = std::make_shared<media::LoudnessLibrary>(loop, dir.str(), measure.fn());
    ASSERT_TRUE(desk::select(c(), "frmAppSettings.cboLoudnessTarget", 3));
    EXPECT_EQ(core::readIni(c(), c().appSettingsPath(), "Loudness", "Target", ""), "-16");
    EXPECT_EQ(combo.text, "-16 LUFS");
    settle();
    EXPECT_EQ(measure.asked.size(), 3u) << "the station is measured once a target is set";

    ASSERT_TRUE(desk::type(c(), "frmAppSettings.cboLoudnessTarget", "-19,5 lufs"));
    ASSERT_TRUE(desk::enter(c(), "frmAppSettings.cboLoudnessTarget"));
    EXPECT_EQ(core::readIni(c(), c().appSettingsPath(), "Loudness", "Target", ""), "-19.5");
    EXPECT_EQ(combo.text, "-19.5 LUFS");

    ASSERT_TRUE(desk::type(c(), "frmAppSettings.cboLoudnessTarget", "loud"));
    ASSERT_TRUE(desk::enter(c(), "frmAppSettings.cboLoudnessTarget"));
    EXPECT_EQ(core::readIni(c(), c().appSettingsPath(), "Loudness", "Target", ""), "-19.5");
    EXPECT_EQ(combo.text, "-19.5 LUFS");

    ASSERT_TRUE(desk::select(c(), "frmAppSettings.cboLoudnessTarget", 0));
    EXPECT_EQ(core::readIni(c(), c().appSettingsPath(), "Loudness", "Target", "<none>"), "<none>");
    EXPECT_EQ(combo.text, "Off");
    EXPECT_EQ(c().loudness, nullptr) << "the measurement stops with the target";
    EXPECT_EQ(c().ui.settings.lblLoudnessProgress.caption, "Loudness off");
}

TEST_F(LoudnessConsoleTest, ImportedTracksAreMeasuredOnceTheyAreIn) {
    setTarget("-16");
    useTableMeasure();
    measure.table["new.mp3"] = {-12, -3, false};
    test::TempDir outside;
    fs::copy_file(loud, outside.path() / "new.mp3");
    c().form().lstPlaylists.listIndex = 0;
    importFiles(c(), {(outside.path() / "new.mp3").string()});
    for (int i = 0; i < 10000 && libraryJobsBusy(c()); ++i) {
        loop.advance(0.01);
        std::this_thread::sleep_for(1ms);
    }
    settle();
    ASSERT_TRUE(c().loudness->find((dir / "Music" / "Rock" / "new.mp3").string()));
}

TEST_F(LoudnessConsoleTest, ShutDownKeepsWhatWasMeasuredAndLeavesTheRest) {
    setTarget("-16");
    measure.hold = "quiet.mp3";
    useTableMeasure();
    askLoudness(c(), std::vector<std::string>{loud, quiet, sweeper});
    ASSERT_TRUE(measure.waitAsked(2));
    for (int i = 0; i < 1000 && !c().loudness->find(loud); ++i) {
        loop.processPending();
        std::this_thread::sleep_for(1ms);
    }
    const auto t0 = std::chrono::steady_clock::now();
    stopLoudness(c());
    EXPECT_LT(std::chrono::steady_clock::now() - t0, 2s);
    EXPECT_EQ(c().loudness, nullptr);
    loop.processPending();
    useTableMeasure();
    ASSERT_NE(loudnessLibrary(c()), nullptr);
    EXPECT_TRUE(c().loudness->find(loud));
    EXPECT_FALSE(c().loudness->find(quiet));
}

}  // namespace
}  // namespace tw::autodj
