#include "station/startup.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <regex>

#include "autodj/rotation_file.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "liveassist/settings_panel.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/console_fixture.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;
using namespace tw::station;  // the start-up under test
using test::readFile;
using test::writeFile;

class StartupTest : public test::ConsoleFixture {};

// The text of each app.log line between "#Time:<date>" and the closing "#".
std::vector<std::string> traceTexts(const std::vector<std::string>& lines) {
    static const std::regex form(R"(^#Time:\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d{2}:\d{2} [AP]M(.*)#$)");
    std::vector<std::string> texts;
    for (const auto& l : lines) {
        std::smatch m;
        EXPECT_TRUE(std::regex_match(l, m, form)) << l;
        texts.push_back(m.size() > 1 ? m[1].str() : l);
    }
    return texts;
}

TEST_F(StartupTest, FirstRunWithAnEmptyFolderCreatesTheFoldersAndPlaysNothing) {
    Console& c = make();
    Form_Load(c);
    for (const char* f : {"Music", "Rotations", "Sweepers", "Playlist"}) {
        EXPECT_TRUE(fs::is_directory(dir / f)) << f;
    }
    EXPECT_TRUE(c.form().lstPlaylist1.items.empty());
    EXPECT_EQ(c.activePlayer, 0);
    EXPECT_EQ(engine.count("mixerAddChannel"), 0);
    for (const auto& t : traceTexts(appLogLines())) {
        EXPECT_EQ(t.find("loading Form"), std::string::npos) << t;
    }
    EXPECT_TRUE(c.tmrCheckPositionBool);
}

TEST_F(StartupTest, LoadRemovesTheUnfinishedFilesOfAKilledRunAndSaysSo) {
    // A run that has ended: a child that exits at once.
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    const std::string killed = std::to_string(child);
    fs::create_directories(dir / "Music/Rock");
    writeFile(dir / "played.ini", "[t]\nPlayCount=1\n");
    writeFile(dir / (".played.ini.tw-" + killed + ".tmp"), "[t]\nPlayCo");
    writeFile(dir / ("Music/Rock/.Song.mp3.tw-" + killed + ".tagAbCdEf"), "ID3");
    writeFile(dir / ("Music/.tw-" + killed + "-4.part"), "half a take");
    Console& c = make();
    Form_Load(c);
    EXPECT_FALSE(fs::exists(dir / (".played.ini.tw-" + killed + ".tmp")));
    EXPECT_FALSE(fs::exists(dir / ("Music/Rock/.Song.mp3.tw-" + killed + ".tagAbCdEf")));
    EXPECT_FALSE(fs::exists(dir / ("Music/.tw-" + killed + "-4.part")));
    EXPECT_EQ(readFile(dir / "played.ini"), "[t]\nPlayCount=1\n");
    const auto texts = traceTexts(appLogLines());
    ASSERT_GE(texts.size(), 2u);
    EXPECT_EQ(texts[1], "TarnWave removed 3 unfinished files left by an earlier run");
}

TEST_F(StartupTest, TracesAppearInTheOrderOfLoadAndUnload) {
    Console& c = make();
    Form_Load(c);
    loop.advance(600);
    Form_Unload(c);
    const std::vector<std::string> expected = {
        "TarnWave Starting Before Voice",
        "TarnWave Starting After Voice",
        "TarnWave Starting Before loading settings",
        "TarnWave Starting Before Startserver",
        "TarnWave minbuf:10 TarnWave Latency:40",
        "TarnWave Starting Before Firstload",
        "TarnWave Started",
        // A station with no music is silent: the alarm says so once.
        "DEAD AIR: the mix has been silent for 10 seconds",
        "TarnWave Unloaded",
    };
    EXPECT_EQ(traceTexts(appLogLines()), expected);
}

TEST_F(StartupTest, TheEngineComesUpWithItsSettings) {
    Console& c = make();
    Form_Load(c);
    EXPECT_NE(c.mixerStream, 0u);
    EXPECT_EQ(engine.count("init -1 44100 256"), 1);
    EXPECT_EQ(engine.count("setConfig 1 25"), 1);
    EXPECT_EQ(engine.count("setConfig 0 40"), 1);  // four times the device's minimum
    EXPECT_EQ(engine.count("channelPlay " + std::to_string(c.mixerStream)), 1);
}

TEST_F(StartupTest, NoMinimumBufferGivesAHundredMilliseconds) {
    engine.deviceInfo.minbuf = 0;
    Console& c = make();
    Form_Load(c);
    EXPECT_EQ(engine.count("setConfig 0 100"), 1);
}

TEST_F(StartupTest, TheTitleCarriesTheVersion) {
    Console& c = make();
    Form_Load(c);
    EXPECT_EQ(c.form().frmTarnDesk.caption,
              std::string("TarnWave Internet Radio Automation Software ") + TW_VERSION);
    EXPECT_TRUE(std::regex_match(c.form().frmTarnDesk.caption, std::regex(R"(.* \d+\.\d+\.\d+$)")));
}

TEST_F(StartupTest, CrossfadeOfZeroInTheFileRunsAsOneTenth) {
    writeFile(dir / "appSettings.ini", "[Crossfade]\ntime=0\n");
    Console& c = make();
    Form_Load(c);
    EXPECT_FLOAT_EQ(c.crossfadeTime, 0.1f);
}

TEST_F(StartupTest, CrossfadeThatIsNoNumberRunsAsOneTenth) {
    writeFile(dir / "appSettings.ini", "[Crossfade]\ntime=soft\n");
    Console& c = make();
    liveassist::readCrossfadeTime(c);
    EXPECT_FLOAT_EQ(c.crossfadeTime, 0.1f);
}

TEST_F(StartupTest, SettingsReadersTakeTheirKeysOrDefaults) {
    Console& c = make();
    liveassist::readCrossfadeTime(c);
    liveassist::readSilenceTime(c);
    EXPECT_EQ(liveassist::readArtistSeperationTime(c), 0);
    liveassist::readAutoTrimValues(c);
    EXPECT_FLOAT_EQ(c.crossfadeTime, 1.5f);
    EXPECT_FLOAT_EQ(c.silenceTime, 1.5f);
    EXPECT_FLOAT_EQ(c.artistSeperationTime, 0.0f);
    EXPECT_EQ(c.autoTrim, "0");
    EXPECT_EQ(c.autoTrimThreshold, 1);
    EXPECT_FALSE(fs::exists(dir / "appSettings.ini")) << "reading created the file";

    writeFile(dir / "appSettings.ini",
              "[Silence]\ntime=0\n[ArtistSeperation]\nHours=2.5\n[AutoTrim]\nEnabled=1\n"
              "Threshold=30\n");
    liveassist::readSilenceTime(c);
    EXPECT_EQ(liveassist::readArtistSeperationTime(c), 2);  // halves to even
    liveassist::readAutoTrimValues(c);
    EXPECT_FLOAT_EQ(c.silenceTime, 0.0f);
    EXPECT_FLOAT_EQ(c.artistSeperationTime, 2.5f);
    EXPECT_EQ(c.autoTrim, "1");
    EXPECT_EQ(c.autoTrimThreshold, 30);
}

TEST_F(StartupTest, LastPeakIsShownOnItsLabel) {
    writeFile(dir / "appSettings.ini", "[tarnWave]\nlastPeak= 25\n");
    Console& c = make();
    Form_Load(c);
    EXPECT_EQ(c.form().lblPeakListeners.caption, "25");
}

TEST_F(StartupTest, TheRotationPanelIsUpAndTheCaptionsArePainted) {
    Console& c = make();
    Form_Load(c);
    auto& m = c.form();
    EXPECT_TRUE(m.frmRotationList.visible);
    EXPECT_FALSE(m.frmTrackList.visible);
    EXPECT_FALSE(m.frmPlaylistBuilder.visible);
    EXPECT_EQ(m.cmdRotationList.image, ImageRole::Green);
    EXPECT_EQ(m.cmdTrackList.image, ImageRole::Gray);
    EXPECT_EQ(m.cmdOnAir.caption, "OFF AIR");
    EXPECT_EQ(m.cmdSkipNow.image, ImageRole::Blue);
    EXPECT_EQ(m.cmdSettings.caption2, "Broadcast");
    EXPECT_EQ(m.cmdMic.caption, "Off");
    EXPECT_EQ(m.cmdMic.caption2, "Microphone");
    EXPECT_EQ(m.cmdAutoManual.caption, "Automated");
    EXPECT_EQ(m.lstPlaylist.columns,
              (std::vector<std::string>{"Time On", "Track Name", "Length", "Re-Pick"}));
    EXPECT_FALSE(c.ui.status.frmStatus.visible);
}

TEST_F(StartupTest, ListsPointAtTheirFoldersAndCategoriesAreCutAtTheDot) {
    fs::create_directories(dir / "Music" / "Rock");
    fs::create_directories(dir / "Music" / "Dance.90s");
    writeFile(dir / "Music" / "Rock" / "a.mp3", "x");
    Console& c = make();
    Form_Load(c);
    auto& m = c.form();
    ASSERT_EQ(m.lstPlaylists.items.size(), 2u);
    EXPECT_EQ(m.lstPlaylists.items[0].text, "Dance");
    EXPECT_EQ(m.lstPlaylists.items[1].text, "Rock");
    EXPECT_EQ(m.lstPlaylist1.items.size(), 2u);
    EXPECT_EQ(m.flRotations.path, dir.str() + "/Rotations");
}

TEST_F(StartupTest, RotationListWithAnEmptyFirstRotationPlaysNothing) {
    fs::create_directories(dir / "Music" / "Rock");
    writeFile(dir / "Rotations" / "a.rot", "");
    writeFile(dir / "Rotations" / "b.rot", std::string(300, ' '));
    Console& c = make();
    Form_Load(c);
    EXPECT_EQ(c.form().flRotations.listIndex, 0);
    EXPECT_TRUE(c.form().lstRotation.rows.empty());
    EXPECT_EQ(c.activePlayer, 0);
    EXPECT_EQ(traceTexts(appLogLines()).back(), "TarnWave Started");
}

// A station of one track and two rotations over it; the schedule names the second for the hour
// the console starts in (Sunday, 10 o'clock).
class ScheduleRestartTest : public StartupTest {
  protected:
    ScheduleRestartTest() {
        const fs::path track = dir / "Music" / "Rock" / "a.mp3";
        writeFile(track, test::id3Tag(3, test::textFrame("TIT2", "Bicycle", 3) +
                                             test::textFrame("TPE1", "Queen", 3)) +
                             test::mpegFrames(4));
        engine.fileSeconds[track.string()] = 200;
        writeFile(dir / "Rotations" / "Alpha.rot", autodj::encodeRotationRecord("Rock", false));
        writeFile(dir / "Rotations" / "Beta.rot", autodj::encodeRotationRecord("Rock", false));
        writeFile(dir / "rotationSchedule.ini", "[1]\n10=Beta.rot\n");
    }
    // Closes the console and starts it again on the same folder, as an unattended restart does.
    Console& restart() {
        Form_Unload(*console);
        console.reset();
        Console& c = make();
        Form_Load(c);
        return c;
    }
    void operatorPresses(const std::string& element) {
        EventScope event(settings);
        ASSERT_TRUE(desk::press(*console, element));
    }
};

TEST_F(ScheduleRestartTest, TheTickIsKeptAndARestartResumesTheSchedule) {
    Console& c = make();
    Form_Load(c);
    EXPECT_EQ(c.activeListName, "Alpha.rot") << "without the tick the first rotation runs";
    operatorPresses("chkEnableSchedule");
    ASSERT_EQ(c.form().chkEnableSchedule.value, 1);
    const std::string saved = readFile(appSettingsFile());
    EXPECT_NE(saved.find("[Schedule]"), std::string::npos) << saved;
    EXPECT_NE(saved.find("Enabled=1"), std::string::npos) << saved;
    Console& again = restart();
    EXPECT_EQ(again.form().chkEnableSchedule.value, 1);
    EXPECT_EQ(again.activeListName, "Beta.rot")
        << "the start-up's schedule check ran with the tick";
}

TEST_F(ScheduleRestartTest, TheTickTakenOffStaysOffAfterARestart) {
    writeFile(dir / "appSettings.ini", "[Schedule]\nEnabled=1\n");
    Console& c = make();
    Form_Load(c);
    ASSERT_EQ(c.form().chkEnableSchedule.value, 1);
    EXPECT_EQ(c.activeListName, "Beta.rot");
    operatorPresses("chkEnableSchedule");
    ASSERT_EQ(c.form().chkEnableSchedule.value, 0);
    EXPECT_NE(readFile(appSettingsFile()).find("Enabled=0"), std::string::npos);
    Console& again = restart();
    EXPECT_EQ(again.form().chkEnableSchedule.value, 0);
    EXPECT_EQ(again.activeListName, "Alpha.rot");
}

TEST_F(ScheduleRestartTest, AListChosenByHandTakesTheTickOffForTheNextStartToo) {
    writeFile(dir / "appSettings.ini", "[Schedule]\nEnabled=1\n");
    Console& c = make();
    Form_Load(c);
    ASSERT_EQ(c.form().chkEnableSchedule.value, 1);
    {
        EventScope event(settings);
        const auto& items = c.form().lstRotationOrList.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == "Alpha.rot") {
                desk::select(c, "lstRotationOrList", static_cast<int>(i));
            }
        }
    }
    ASSERT_EQ(c.form().chkEnableSchedule.value, 0);
    Console& again = restart();
    EXPECT_EQ(again.form().chkEnableSchedule.value, 0);
    EXPECT_EQ(again.activeListName, "Alpha.rot");
}

TEST_F(StartupTest, CategoriesWithoutAnyRotationFileStopAtTheFirstLoad) {
    fs::create_directories(dir / "Music" / "Rock");
    Console& c = make();
    Form_Load(c);
    auto texts = traceTexts(appLogLines());
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back().rfind("loading FormInvalid property value  380 ", 0), 0u)
        << texts.back();
    EXPECT_TRUE(c.tmrCheckPositionBool) << "the tick was started before the first load";
}

TEST_F(StartupTest, AFolderThatCannotBeCreatedStopsLoadingBeforeTheTick) {
    writeFile(dir / "Music", "not a folder");
    Console& c = make();
    Form_Load(c);
    auto texts = traceTexts(appLogLines());
    ASSERT_FALSE(texts.empty());
    EXPECT_EQ(texts.back().rfind("loading FormPath/File access error  75 ", 0), 0u) << texts.back();
    EXPECT_FALSE(c.tmrCheckPositionBool);
    EXPECT_EQ(c.positionTimerId, 0);
    EXPECT_EQ(c.mixerStream, 0u);  // the engine comes up after the folders
}

TEST_F(StartupTest, MissingSettingsFileIsNoFailureAndIsNotCreated) {
    Console& c = make();
    Form_Load(c);
    Form_Unload(c);
    EXPECT_FALSE(fs::exists(dir / "appSettings.ini"));
}

TEST_F(StartupTest, ShutDownWithACastRunningEndsTheEncodersWithTheEngine) {
    Console& c = make();
    Form_Load(c);
    c.encoderHandles[0] = 42;
    c.encoderHandles[3] = 43;
    Form_Unload(c);
    EXPECT_EQ(engine.count("encodeStop"), 0);
    EXPECT_EQ(engine.count("free"), 1);
    EXPECT_EQ(engine.count("recordFree"), 2);  // once at start, once at the end
    auto texts = traceTexts(appLogLines());
    EXPECT_EQ(texts.back(), "TarnWave Unloaded");
    for (const auto& t : texts) {
        EXPECT_EQ(t.find("ncoder"), std::string::npos) << t;
    }
}

TEST_F(StartupTest, UnloadStopsTheTickAndClosesTheWindows) {
    Console& c = make();
    Form_Load(c);
    c.ui.cast.frmCast.visible = true;
    c.ui.status.frmStatus.visible = true;
    Form_Unload(c);
    EXPECT_EQ(c.positionTimerId, 0);
    EXPECT_EQ(loop.timerCount(), 0u);
    EXPECT_FALSE(c.ui.cast.frmCast.visible);
    EXPECT_FALSE(c.ui.status.frmStatus.visible);
    EXPECT_FALSE(c.form().frmTarnDesk.visible);
}

TEST_F(StartupTest, TheTickRunsEverySixtyMillisecondsOnceLoaded) {
    Console& c = make();
    Form_Load(c);
    c.statsTicks = 0;
    loop.advance(0.6);
    EXPECT_EQ(c.statsTicks, 10);
    EXPECT_EQ(c.form().lblDateTime.caption, "Sun Nov 22, 2026  10:00:00 AM");
}

}  // namespace
}  // namespace tw::core
