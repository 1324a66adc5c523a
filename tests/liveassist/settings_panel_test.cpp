// The program settings window: what each field, slider and button writes to appSettings.ini, what
// the console reads back at once, the logs shown and the play history reset.

#include "liveassist/settings_panel.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "autodj/history.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "desk/actions.h"
#include "playout/position_monitor.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

// A trash that takes the file away, into a folder of the test's own.
class MovingTrash final : public core::Trash {
  public:
    explicit MovingTrash(std::string folder) : folder_(std::move(folder)) {}
    bool moveToTrash(const std::string& path) override {
        std::error_code ec;
        std::filesystem::create_directories(folder_, ec);
        std::filesystem::rename(
            path, folder_ + "/" + std::filesystem::path(path).filename().string(), ec);
        trashed.push_back(path);
        return !ec;
    }
    std::vector<std::string> trashed;

  private:
    std::string folder_;
};

class SettingsPanelTest : public StationFixture {
  protected:
    core::Console& opened() {
        open();
        desk::press(*console, "cmdProgramSettings");
        return *console;
    }
    std::string ini(const std::string& section, const std::string& key) {
        return core::readIni(*console, console->appSettingsPath(), section, key, "<none>");
    }
    core::SettingsForm& form() { return console->ui.settings; }
};

TEST_F(SettingsPanelTest, OptionsOpensTheWindowFilledFromTheSettings) {
    open();
    core::writeIniValue(*console, console->appSettingsPath(), "Crossfade", "time", "2.5");
    core::writeIniValue(*console, console->appSettingsPath(), "ArtistSeperation", "Hours", "1.25");
    core::writeIniValue(*console, console->appSettingsPath(), "AutoTrim", "Threshold", "12");
    core::writeIniValue(*console, console->appSettingsPath(), "AutoTrim", "Enabled", "1");
    EXPECT_FALSE(form().frmAppSettings.visible);
    desk::press(*console, "cmdProgramSettings");
    auto& f = form();
    EXPECT_TRUE(f.frmAppSettings.visible);
    EXPECT_EQ(f.frmAppSettings.caption, "TarnWave Settings");
    EXPECT_EQ(console->form().cmdProgramSettings.caption, "Options");
    EXPECT_EQ(f.txtCrossfadeSeconds[0].text, "2");
    EXPECT_EQ(f.txtCrossfadeSeconds[1].text, "5");
    EXPECT_EQ(f.sldCrossfadeSeconds.value, 2);
    EXPECT_EQ(f.txtSilenceSeconds[0].text, "1");  // the default "1.5"
    EXPECT_EQ(f.txtSilenceSeconds[1].text, "5");
    EXPECT_EQ(f.sldrArtistSeperation.value, 125);
    EXPECT_EQ(f.txtArtistSeperation.text, "1.2");  // one decimal place, halves to even
    EXPECT_EQ(f.sldrTrimThreshold.value, 12);
    EXPECT_EQ(f.lblTrimThreshold.caption, "-12db");
    EXPECT_EQ(f.chkEnableAutoTrim.value, 1);
    EXPECT_EQ(f.frmCrossFadeTime.caption, "CrossFade Time");
    EXPECT_EQ(f.frmSilenceDetection.caption, "Low Volume Detection");
    EXPECT_EQ(f.sldrArtistSeperation.toolTip, f.sldrSilenceValue.toolTip);
}

TEST_F(SettingsPanelTest, ABoxClickTurnsItGreenAndSetsTheSliderToItsWholeValue) {
    opened();
    auto& f = form();
    f.txtCrossfadeSeconds[1].text = "7";
    desk::press(*console, "frmAppSettings.txtCrossfadeSeconds(1)");
    EXPECT_EQ(f.txtCrossfadeSeconds[1].backColor, 0xFF00u);
    EXPECT_EQ(f.txtCrossfadeSeconds[0].backColor, 0xFFFFFFu);
    EXPECT_EQ(f.sldCrossfadeSeconds.value, 7);
    EXPECT_EQ(ini("Crossfade", "time"), "<none>") << "a click writes nothing";
    desk::press(*console, "frmAppSettings.txtCrossfadeSeconds(0)");
    EXPECT_EQ(f.txtCrossfadeSeconds[0].backColor, 0xFF00u);
    EXPECT_EQ(f.txtCrossfadeSeconds[1].backColor, 0xFFFFFFu);
    EXPECT_EQ(f.sldCrossfadeSeconds.value, 1);
}

TEST_F(SettingsPanelTest, TheSecondBoxCountsHundredthsOnceTheSliderMoves) {
    opened();  // "1.5" put a 5 into box 1
    desk::press(*console, "frmAppSettings.txtCrossfadeSeconds(0)");
    desk::slide(*console, "frmAppSettings.sldCrossfadeSeconds", 3);
    EXPECT_EQ(ini("Crossfade", "time"), "3.05");
    EXPECT_FLOAT_EQ(console->crossfadeTime, 3.05f);
}

TEST_F(SettingsPanelTest, CrossfadeSliderAtZeroWithBothBoxesZeroWritesZeroAndTheCrossfadeIsATenth) {
    opened();
    desk::press(*console, "frmAppSettings.txtCrossfadeSeconds(1)");
    desk::slide(*console, "frmAppSettings.sldCrossfadeSeconds", 0);
    desk::press(*console, "frmAppSettings.txtCrossfadeSeconds(0)");
    desk::slide(*console, "frmAppSettings.sldCrossfadeSeconds", 0);
    EXPECT_EQ(ini("Crossfade", "time"), "0.00");
    EXPECT_FLOAT_EQ(console->crossfadeTime, 0.1f);
}

TEST_F(SettingsPanelTest, SilenceSliderAtZeroWithBothBoxesZeroStopsTheDeadAirWatch) {
    auto& c = opened();
    c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    c.ui.main.cmdAutoManual.caption = core::kAutomated;
    desk::press(c, "frmAppSettings.txtSilenceSeconds(1)");
    desk::slide(c, "frmAppSettings.sldrSilenceValue", 0);
    desk::press(c, "frmAppSettings.txtSilenceSeconds(0)");
    desk::slide(c, "frmAppSettings.sldrSilenceValue", 0);
    EXPECT_EQ(ini("Silence", "time"), "0.00");
    EXPECT_FLOAT_EQ(c.silenceTime, 0.0f);
    engine.channel(c.mixerStream).level = 0;  // dead air
    for (int i = 0; i < 200; ++i) {
        playout::updateLevels(c);
    }
    EXPECT_EQ(c.silenceTicks, 0) << "the watch does not count";
}

TEST_F(SettingsPanelTest, WithNoBoxGreenTheSliderDrivesBoxOne) {
    opened();
    auto& f = form();
    ASSERT_NE(f.txtSilenceSeconds[0].backColor, 0xFF00u);
    ASSERT_NE(f.txtSilenceSeconds[1].backColor, 0xFF00u);
    desk::slide(*console, "frmAppSettings.sldrSilenceValue", 8);
    EXPECT_EQ(f.txtSilenceSeconds[0].text, "1");
    EXPECT_EQ(f.txtSilenceSeconds[1].text, "8");
    EXPECT_EQ(ini("Silence", "time"), "1.08");
    EXPECT_FLOAT_EQ(console->silenceTime, 1.08f);
}

TEST_F(SettingsPanelTest, ArtistSeparationAtItsLowestReadsZeroAndAtItsHighestSixHours) {
    opened();
    auto& f = form();
    desk::slide(*console, "frmAppSettings.sldrArtistSeperation", 1);
    EXPECT_EQ(f.txtArtistSeperation.text, "0");
    EXPECT_EQ(ini("ArtistSeperation", "Hours"), "0");
    EXPECT_FLOAT_EQ(console->artistSeperationTime, 0.0f);
    desk::slide(*console, "frmAppSettings.sldrArtistSeperation", 9999);  // kept within the range
    EXPECT_EQ(f.sldrArtistSeperation.value, 600);
    EXPECT_EQ(ini("ArtistSeperation", "Hours"), "6");
    EXPECT_FLOAT_EQ(console->artistSeperationTime, 6.0f);
    desk::slide(*console, "frmAppSettings.sldrArtistSeperation", 135);
    EXPECT_EQ(ini("ArtistSeperation", "Hours"), "1.4");
}

TEST_F(SettingsPanelTest, MovingTheTrimThresholdSwitchesAutoTrimOn) {
    opened();
    auto& f = form();
    ASSERT_EQ(f.chkEnableAutoTrim.value, 0);
    desk::slide(*console, "frmAppSettings.sldrTrimThreshold", 24);
    EXPECT_EQ(f.lblTrimThreshold.caption, "-24db");
    EXPECT_EQ(f.chkEnableAutoTrim.value, 1);
    EXPECT_EQ(ini("AutoTrim", "Enabled"), "1");
    EXPECT_EQ(ini("AutoTrim", "Threshold"), "24");
    EXPECT_EQ(console->autoTrim, "1");
    EXPECT_EQ(console->autoTrimThreshold, 24);
    desk::press(*console, "frmAppSettings.chkEnableAutoTrim");
    EXPECT_EQ(ini("AutoTrim", "Enabled"), "0");
    EXPECT_EQ(console->autoTrim, "0");
}

TEST_F(SettingsPanelTest, TheLogButtonsShowTheStationsLogs) {
    opened();
    desk::press(*console, "frmAppSettings.cmdViewAppLog");
    desk::press(*console, "frmAppSettings.cmdViewPlayedLog");
    const auto& shown = prompter.shown();
    ASSERT_GE(shown.size(), 2u);
    EXPECT_EQ(shown[shown.size() - 2].kind, "file");
    EXPECT_EQ(shown[shown.size() - 2].text, console->AppFolder + "/app.log");
    EXPECT_EQ(shown.back().text, console->AppFolder + "/Played.log");
}

TEST_F(SettingsPanelTest, ResetPlayTimesSendsThePlayHistoryToTheTrashAndEveryTrackIsNew) {
    opened();
    MovingTrash bin((dir / "trash").string());
    console->svc.trash = &bin;
    setHistory("Artist - Title", autodj::kPlayCount, "12");
    desk::press(*console, "frmAppSettings.cmdResetPlayed");
    ASSERT_EQ(bin.trashed.size(), 1u);
    EXPECT_EQ(bin.trashed[0], console->playedIniPath());
    EXPECT_FALSE(std::filesystem::exists(console->playedIniPath()));
    EXPECT_TRUE(std::filesystem::exists(dir / "trash" / "played.ini"))
        << "the history is kept there";
    EXPECT_EQ(history("Artist - Title", autodj::kPlayCount), "<none>")
        << "nothing of the history stays in memory";
}

TEST_F(SettingsPanelTest, AnotherSliderOrNameIsNotTheWindowsToMove) {
    opened();
    EXPECT_FALSE(desk::slide(*console, "frmAppSettings.cmdResetPlayed", 3));
    EXPECT_FALSE(desk::slide(*console, "frmAppSettings.noSuchSlider", 3));
    EXPECT_EQ(ini("Crossfade", "time"), "<none>");
}

TEST_F(SettingsPanelTest, ThePreviewOutputListsTheMainOutputThenTheMachinesCards) {
    engine.outputDevices = {"USB Headphones", "HDMI"};
    opened();
    const auto& combo = form().cboStudioOutput;
    ASSERT_EQ(combo.listCount(), 3);
    EXPECT_EQ(combo.items[0].text, liveassist::kMainOutput);
    EXPECT_EQ(combo.items[2].text, "HDMI");
    EXPECT_EQ(combo.listIndex, 0);
    EXPECT_EQ(form().frmStudioOutput.caption, "Preview Output (Studio)");
}

TEST_F(SettingsPanelTest, ChoosingACardSendsThePreviewsThereAndSavesItsName) {
    engine.outputDevices = {"USB Headphones", "HDMI"};
    opened();
    desk::select(*console, "frmAppSettings.cboStudioOutput", 2);
    EXPECT_EQ(engine.studioDevice, 1);
    EXPECT_EQ(ini("Preview", "Device"), "HDMI");
    EXPECT_EQ(form().cboStudioOutput.text, "HDMI");
    desk::select(*console, "frmAppSettings.cboStudioOutput", 0);
    EXPECT_EQ(engine.studioDevice, -1);
    EXPECT_EQ(ini("Preview", "Device"), "");
}

TEST_F(SettingsPanelTest, ACardThatCannotBeOpenedLeavesThePreviewsOnTheMainOutput) {
    engine.outputDevices = {"USB Headphones"};
    opened();
    engine.outputDevices.clear();  // unplugged since the list was filled
    desk::select(*console, "frmAppSettings.cboStudioOutput", 1);
    EXPECT_EQ(engine.studioDevice, -1);
    EXPECT_EQ(form().cboStudioOutput.listIndex, 0);
    EXPECT_EQ(ini("Preview", "Device"), "");
}

TEST_F(SettingsPanelTest, AtStartTheSavedCardIsChosenAgainOrTheLogSaysItIsGone) {
    engine.outputDevices = {"USB Headphones", "HDMI"};
    open();
    core::writeIniValue(*console, console->appSettingsPath(), "Preview", "Device", "HDMI");
    liveassist::applyStudioOutput(*console);
    EXPECT_EQ(engine.studioDevice, 1);
    engine.outputDevices = {"USB Headphones"};
    engine.studioDevice = -1;
    liveassist::applyStudioOutput(*console);
    EXPECT_EQ(engine.studioDevice, -1);
    const auto lines = logTexts();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "Preview output HDMI not found: previews play on the main output");
}

}  // namespace
}  // namespace tw::test
