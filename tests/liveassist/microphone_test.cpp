// The microphone on the air: both mouse buttons and the ducking they bring, the voice chain, the
// flanger, the master chain, the gain bar and the device and input lists.

#include "liveassist/microphone.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>

#include "audio/capture_device.h"
#include "audio/mix_engine.h"
#include "core/settings_store.h"
#include "desk/actions.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

class MicrophoneTest : public StationFixture {
  protected:
    core::Console& station() {
        engine.recordDevices = {"Desk mic", "Line in"};
        engine.recordInputs = {"Mic", "Line"};
        open();
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        return *console;
    }
    int slides(audio::Handle player, const std::string& volume) {
        return engine.count("channelSlideAttribute " + h(player) + " 2 " + volume + " 1000");
    }
    // Calls from index `from` on that start with `prefix`.
    std::vector<std::string> callsFrom(std::size_t from, const std::string& prefix) const {
        std::vector<std::string> out;
        for (std::size_t i = from; i < engine.calls.size(); ++i) {
            if (engine.calls[i].starts_with(prefix)) {
                out.push_back(engine.calls[i]);
            }
        }
        return out;
    }
};

TEST_F(MicrophoneTest, LeftPressToOpenAndLeftPressToCloseDuckAndRestoreBothPlayers) {
    auto& c = station();
    c.player1Stream = engine.addStream(60);
    c.player2Stream = engine.addStream(60);
    desk::press(c, "cmdMic", desk::MouseButton::Left);
    EXPECT_TRUE(c.micOn);
    EXPECT_EQ(slides(c.player1Stream, "0.500000"), 1);
    EXPECT_EQ(slides(c.player2Stream, "0.500000"), 1);
    EXPECT_EQ(c.form().cmdMic.image, core::ImageRole::Green);
    EXPECT_EQ(c.form().cmdMic.caption, "On");
    EXPECT_EQ(c.form().cmdMic.caption2, "Microphone");
    desk::press(c, "cmdMic", desk::MouseButton::Left);
    EXPECT_FALSE(c.micOn);
    EXPECT_EQ(slides(c.player1Stream, "1.000000"), 1);
    EXPECT_EQ(slides(c.player2Stream, "1.000000"), 1);
    EXPECT_EQ(c.form().cmdMic.image, core::ImageRole::Gray);
    EXPECT_EQ(c.form().cmdMic.caption, "Off");
    EXPECT_EQ(c.form().cmdMic.toolTip, "Microphone Off");
}

TEST_F(MicrophoneTest, RightPressToOpenKeepsThePlayersVolume) {
    auto& c = station();
    c.player1Stream = engine.addStream(60);
    desk::press(c, "cmdMic", desk::MouseButton::Right);
    EXPECT_TRUE(c.micOn);
    EXPECT_EQ(engine.count("channelSlideAttribute"), 0);
}

TEST_F(MicrophoneTest, OpenWithLeftAndCloseWithRightLeavesTheMusicAtHalfAsIntended) {
    auto& c = station();
    c.player1Stream = engine.addStream(60);
    desk::press(c, "cmdMic", desk::MouseButton::Left);
    desk::press(c, "cmdMic", desk::MouseButton::Right);
    EXPECT_EQ(slides(c.player1Stream, "0.500000"), 1);
    EXPECT_EQ(slides(c.player1Stream, "1.000000"), 0);
}

TEST_F(MicrophoneTest, PressWithNoPlayerLoadedMakesNoSlideCallForTheMissingPlayer) {
    auto& c = station();
    c.player2Stream = engine.addStream(60);
    desk::press(c, "cmdMic", desk::MouseButton::Left);
    EXPECT_EQ(engine.count("channelSlideAttribute"), 1);
    EXPECT_EQ(slides(c.player2Stream, "0.500000"), 1);
}

TEST_F(MicrophoneTest, OpeningStartsAPausedRecordChannelInTheMixWithTheVoiceChain) {
    auto& c = station();
    c.ui.settings.cboMicDevice.listIndex = 1;
    const std::size_t from = engine.calls.size();
    desk::press(c, "cmdMic");
    ASSERT_NE(c.micChannel, 0u);
    const std::string mic = h(c.micChannel);
    const std::vector<std::string> expected = {
        "recordSetDevice 1",
        "recordStart " + std::to_string(audio::kRecordPause),
        "mixerAddChannel " + h(c.mixerStream) + " " + mic + " 0",
        "channelPlay " + mic,
        "fxReset " + mic,
        "channelSetFX " + mic + " 7 3",
        "fxSetParameters " + h(c.voiceFx[0]) + " eq 80.00 4.00 2.00",
        "channelSetFX " + mic + " 7 2",
        "fxSetParameters " + h(c.voiceFx[1]) + " eq 10000.00 5.00 3.00",
        "channelSetFX " + mic + " 65544 1",
        "fxSetParameters " + h(c.voiceFx[2]) + " damp 0.98 0.40 0.01 2.00 0.40 -1",
        "channelSetFX " + mic + " 1 0",
        "fxSetParameters " + h(c.voiceFx[3]) + " compressor 2.00 0.10 200.00 -5.00 20.00 0.00",
    };
    std::vector<std::string> got(engine.calls.begin() + static_cast<long>(from),
                                 engine.calls.end());
    EXPECT_EQ(got, expected);
}

TEST_F(MicrophoneTest, ClosingRemovesTheEffectsInItsOrderAndTakesTheChannelOutWithoutFreeingIt) {
    auto& c = station();
    desk::press(c, "cmdMic");
    const audio::Handle mic = c.micChannel;
    const auto fx = c.voiceFx;
    const std::size_t from = engine.calls.size();
    desk::press(c, "cmdMic");
    const std::vector<std::string> expected = {
        "channelRemoveFX " + h(mic) + " " + h(fx[1]),
        "channelRemoveFX " + h(mic) + " " + h(fx[0]),
        "channelRemoveFX " + h(mic) + " " + h(fx[2]),
        "channelRemoveFX " + h(mic) + " " + h(fx[3]),
        "mixerChannelRemove " + h(mic),
    };
    std::vector<std::string> got(engine.calls.begin() + static_cast<long>(from),
                                 engine.calls.end());
    EXPECT_EQ(got, expected);
    EXPECT_EQ(c.micChannel, 0u);
    EXPECT_EQ(c.voiceFx[0], 0u);
    EXPECT_EQ(engine.channelIsActive(mic), audio::kPlaying) << "not stopped, not freed";
}

TEST_F(MicrophoneTest, WithoutARecordingDeviceTheButtonShowsOnOverSilence) {
    open();  // no devices
    console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    desk::press(*console, "cmdMic");
    EXPECT_TRUE(console->micOn);
    EXPECT_EQ(console->micChannel, 0u);
    EXPECT_EQ(console->form().cmdMic.caption, "On");
    desk::press(*console, "cmdMic");
    EXPECT_FALSE(console->micOn);
    EXPECT_EQ(console->form().cmdMic.caption, "Off");
    EXPECT_EQ(engine.count("mixerChannelRemove"), 0)
        << "the close skips the calls without a channel";
}

TEST_F(MicrophoneTest, CompressorPressedTwiceIsOffThenOnWithTheSameParameters) {
    auto& c = station();
    const std::size_t first = engine.calls.size();
    desk::press(c, "cmdCompressor");  // on: the chain is built
    const auto on = callsFrom(first, "fxSetParameters");
    EXPECT_EQ(c.form().cmdCompressor.backColor, 0x0080FFu);
    ASSERT_NE(c.compressorId, 0u);
    ASSERT_EQ(on.size(), 4u);
    EXPECT_NE(on[0].find(" damp 0.98 0.30 0.01 2.00 0.01 -1"), std::string::npos);
    EXPECT_NE(on[1].find(" eq 10000.00 3.00 2.00"), std::string::npos);
    EXPECT_NE(on[2].find(" eq 80.00 2.00 1.00"), std::string::npos) << "the second set replaces";
    EXPECT_NE(on[3].find(" compressor 0.50 0.10 200.00 -8.00 10.00 0.00"), std::string::npos);
    EXPECT_EQ(engine.effects.size(), 3u) << "one EQ, and the fourth handle is never assigned";

    const std::size_t off = engine.calls.size();
    desk::press(c, "cmdCompressor");
    EXPECT_EQ(c.form().cmdCompressor.backColor, 0xFFFFFFu);
    EXPECT_EQ(callsFrom(off, "channelRemoveFX").size(), 4u);
    EXPECT_TRUE(engine.effects.empty());
    EXPECT_EQ(c.compressorId, 0u);

    const std::size_t again = engine.calls.size();
    desk::press(c, "cmdCompressor");
    auto strip = [](std::vector<std::string> v) {
        for (auto& s : v) {
            s = s.substr(s.find(' ', std::string("fxSetParameters ").size()));
        }
        return v;
    };
    EXPECT_EQ(strip(callsFrom(again, "fxSetParameters")), strip(on));
}

TEST_F(MicrophoneTest, FlangerTickedWhileTheMicrophoneIsClosedIsNotAppliedWhenItOpens) {
    auto& c = station();
    desk::press(c, "chkEFX");
    EXPECT_EQ(c.form().chkEFX.value, 1);
    EXPECT_EQ(c.flangerFx, 0u);
    desk::press(c, "cmdMic");
    EXPECT_EQ(engine.count("channelSetFX " + h(c.micChannel) + " 4"), 0);
    // Unticked and ticked again while it is open, the flanger comes.
    desk::press(c, "chkEFX");
    desk::press(c, "chkEFX");
    EXPECT_EQ(engine.count("channelSetFX " + h(c.micChannel) + " 4 0"), 1);
    EXPECT_NE(c.flangerFx, 0u);
}

TEST_F(MicrophoneTest, SliderPastTheBarsEndSetsTheVolumeButDoesNotRedraw) {
    auto& c = station();
    auto& bar = c.form().pctMainVolume;
    bar.rect.width = 162;
    bar.rect.height = 12;
    c.ui.settings.cboMicDevice.listIndex = 0;
    desk::press(c, "pctMainVolume", desk::MouseButton::Left, 81);
    ASSERT_EQ(bar.drawing.texts.size(), 1u);
    EXPECT_EQ(bar.drawing.texts[0].text, "50");
    EXPECT_DOUBLE_EQ(bar.drawing.texts[0].x, 81 - 8);
    EXPECT_DOUBLE_EQ(bar.drawing.fills[0].width, 81);
    EXPECT_EQ(engine.count("recordSetInput 0 0 0.50"), 1) << "the device's index as the input";
    desk::press(c, "pctMainVolume", desk::MouseButton::Left, 170);
    EXPECT_EQ(bar.drawing.texts[0].text, "50") << "not redrawn";
    EXPECT_EQ(engine.count("recordSetInput 0 0 1.05"), 1) << "the volume is set all the same";
}

// The gain bar on the engine itself, offline, with a capture device that records silence: a
// move first to the middle, then to X. Up to the width less 2 the bar is drawn again; past that
// only the volume moves, and past the width the value is above full, which the engine refuses
// like any volume above 1, so the input keeps the volume it had.
struct GainMove {
    const char* name;
    double x;           // on a bar 162 wide
    const char* shown;  // the figure on the bar afterwards
    double drawnTo;     // the width of its gradient
    float volume;       // the input's volume afterwards
};

void PrintTo(const GainMove& p, std::ostream* os) {
    *os << p.name;
}

class GainBarOnTheEngineTest : public ::testing::TestWithParam<GainMove> {
  protected:
    GainBarOnTheEngineTest() {
        engine.useCapture(audio::silentCapture());
        engine.init(-1, 44100, 0);
        engine.recordInit(0);
        core::Services s;
        s.engine = &engine;
        s.settings = &settings;
        console = std::make_unique<core::Console>(dir.str(), s);
        console->ui.settings.cboMicDevice.listIndex = 0;
        auto& bar = console->form().pctMainVolume;
        bar.rect.width = 162;
        bar.rect.height = 12;
    }
    float inputVolume() {
        float volume = -1;
        EXPECT_EQ(engine.recordGetInput(0, volume), 0);
        return volume;
    }

    TempDir dir;
    core::SettingsStore settings;
    audio::MixEngine engine{audio::EngineMode::Offline};
    std::unique_ptr<core::Console> console;
};

TEST_P(GainBarOnTheEngineTest, AMoveRedrawsOnlyUpToTheBarsEndAndSetsTheVolume) {
    const GainMove& p = GetParam();
    auto& bar = console->form().pctMainVolume;
    ASSERT_TRUE(desk::press(*console, "pctMainVolume", desk::MouseButton::Left, 81));
    ASSERT_EQ(bar.drawing.texts.size(), 1u);
    ASSERT_EQ(bar.drawing.texts[0].text, "50");
    ASSERT_FLOAT_EQ(inputVolume(), 0.5f);
    ASSERT_TRUE(desk::press(*console, "pctMainVolume", desk::MouseButton::Left, p.x));
    ASSERT_EQ(bar.drawing.texts.size(), 1u);
    EXPECT_EQ(bar.drawing.texts[0].text, p.shown);
    ASSERT_EQ(bar.drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(bar.drawing.fills[0].width, p.drawnTo);
    EXPECT_FLOAT_EQ(inputVolume(), p.volume);
}

INSTANTIATE_TEST_SUITE_P(
    , GainBarOnTheEngineTest,
    ::testing::Values(GainMove{"TheLastDrawnPlace", 160, "99", 160, 160.0f / 162},
                      GainMove{"PastTheBarsEndSetsTheVolumeButDoesNotRedraw", 161, "50", 81,
                               161.0f / 162},
                      GainMove{"AtTheBarsWidthFullVolumeWithoutARedraw", 162, "50", 81, 1.0f},
                      GainMove{"BeyondTheWidthTheEngineRefusesMoreThanFull", 170, "50", 81, 0.5f}),
    [](const ::testing::TestParamInfo<GainMove>& info) { return info.param.name; });

TEST_F(MicrophoneTest, SliderFallsBackToTheMasterInputAndSetsTheTakesVolume) {
    auto& c = station();
    c.form().pctMainVolume.rect.width = 100;
    c.ui.settings.cboMicDevice.listIndex = 5;  // no such input
    c.recordChannel = engine.addStream(0);
    desk::press(c, "pctMainVolume", desk::MouseButton::Left, 40);
    EXPECT_EQ(engine.count("recordSetInput 5 0 0.40"), 1);
    EXPECT_EQ(engine.count("recordSetInput -1 0 0.40"), 1);
    EXPECT_EQ(engine.count("channelSetAttribute " + h(c.recordChannel) + " 2 0.000000"), 1)
        << "the microphone is closed: the take's volume is 0";
    c.micOn = true;
    desk::press(c, "pctMainVolume", desk::MouseButton::Left, 40);
    EXPECT_EQ(engine.count("channelSetAttribute " + h(c.recordChannel) + " 2 0.400000"), 1);
}

TEST_F(MicrophoneTest, DeviceListsShowNamedDevicesAndTheSavedNames) {
    engine.recordDevices = {"Desk mic", "", "Line in"};
    writeFile(dir / "appSettings.ini",
              "[Shoutcast]\r\nActiveMicDevice=Line in\r\nActiveMicInput=Line\r\n");
    open();
    liveassist::loadMicLists(*console);
    auto& s = console->ui.settings;
    ASSERT_EQ(s.cboMicDevice.listCount(), 2);
    EXPECT_EQ(s.cboMicDevice.items[1].text, "Line in");
    EXPECT_EQ(s.cboMicDevice.text, "Line in");
    EXPECT_EQ(s.cboMicInput.text, "Line");
}

TEST_F(MicrophoneTest, ChoosingADeviceListsItsInputsAndSavesItsName) {
    auto& c = station();
    liveassist::cmdRefreshMicList_Click(c);
    desk::select(c, "frmAppSettings.cboMicDevice", 1);
    EXPECT_EQ(engine.count("recordInit 1"), 1);
    ASSERT_EQ(c.ui.settings.cboMicInput.listCount(), 2);
    EXPECT_EQ(core::readIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicDevice", ""), "Line in");
}

TEST_F(MicrophoneTest, ChoosingAnInputSwitchesAllOffThenItOnAndTheListGrows) {
    auto& c = station();
    liveassist::cmdRefreshMicList_Click(c);
    desk::select(c, "frmAppSettings.cboMicDevice", 0);
    const std::size_t from = engine.calls.size();
    desk::select(c, "frmAppSettings.cboMicInput", 1);
    EXPECT_EQ(c.ui.settings.cboMicInput.listCount(), 4) << "the list grows with each choice";
    EXPECT_EQ(core::readIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicInput", ""), "Line");
    const std::vector<std::string> expected = {
        "recordSetDevice 0",
        "recordGetInput 1",
        "recordInit 0",
        "recordSetInput 1 0 0.75",
        "recordSetInput 0 65536 -1.00",
        "recordSetInput 1 65536 -1.00",
        "recordSetInput 2 65536 -1.00",
        "recordSetInput 3 65536 -1.00",
        "recordSetInput 1 131072 1.00",
        "recordInit 0",
    };
    std::vector<std::string> got(engine.calls.begin() + static_cast<long>(from),
                                 engine.calls.end());
    EXPECT_EQ(got, expected);
}

}  // namespace
}  // namespace tw::test
