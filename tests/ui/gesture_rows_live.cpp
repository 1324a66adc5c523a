// The table's rows for what the operator lays over the music: the sampler, the microphone and
// its effects, voice tracks, sweepers by hand, the spoken and sent texts.

#include <filesystem>

#include "desk/actions.h"
#include "desk/console_layout.h"
#include "liveassist/sampler.h"
#include "liveassist/voice_tracks.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/gesture_table.h"

namespace tw::test {

namespace {

namespace fs = std::filesystem;
using B = GestureBench;

void mode(B& b, int index) {
    desk::press(b.c(), "optSamplerMode(" + std::to_string(index) + ")");
    ASSERT_EQ(liveassist::samplerMode(b.c()), index);
}

// Sample button 2 holds a track from the desktop, in the given mode.
void sampleIn(B& b, int samplerMode) {
    desk::dropFiles(b.c(), "cmdSampler(2)", {b.outsideTrack("Horn.mp3")});
    ASSERT_EQ(fs::path(liveassist::samplePath(b.c(), 2)).filename(), "Horn.mp3");
    mode(b, samplerMode);
}

// A take of half a second of silence as VoiceTrack1.wav, shown on its button.
void takeIn(B& b, int samplerMode) {
    std::string wav = "RIFF";
    const std::uint32_t data = 44100 * 4 / 2;
    auto le32 = [&](std::uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            wav += static_cast<char>((v >> (8 * i)) & 0xFF);
        }
    };
    auto le16 = [&](std::uint16_t v) {
        wav += static_cast<char>(v & 0xFF);
        wav += static_cast<char>(v >> 8);
    };
    le32(36 + data);
    wav += "WAVEfmt ";
    le32(16);
    le16(1);
    le16(2);
    le32(44100);
    le32(176400);
    le16(4);
    le16(16);
    wav += "data";
    le32(data);
    wav += std::string(data, '\0');
    writeFile(b.folder() / "VoiceTrack1.wav", wav);
    liveassist::showVoiceTrackState(b.c());
    ASSERT_EQ(b.m().cmdVoiceTrack.caption, "VoiceTrack");
    mode(b, samplerMode);
}

void morePageWithSweeper(B& b, int row) {
    desk::showPanel(b.c(), 1);
    desk::select(b.c(), "lstPlaylists", 0);
    desk::select(b.c(), "lstSongs", 0);
    desk::press(b.c(), "cmdMoreInfo");
    desk::select(b.c(), "flSweepers", row);
}

GestureRow sampleModeRow(int index, const char* caption) {
    return {std::string("ModeButton") + caption,
            "optSamplerMode(" + std::to_string(index) + ")",
            Gesture::LeftClick,
            [index](B& b) { mode(b, index == 0 ? 1 : 0); },
            [index](B& b) { b.click("optSamplerMode(" + std::to_string(index) + ")"); },
            [index](B& b) {
                EXPECT_EQ(liveassist::samplerMode(b.c()), index);
                EXPECT_EQ(b.m().optSamplerMode[static_cast<std::size_t>(index)].value, 1);
            }};
}

}  // namespace

std::vector<GestureRow> liveGestures() {
    std::vector<GestureRow> rows = {
        // --- the sampler
        {"ASampleButtonPlaysInTheStudioInPreview", "cmdSampler(2)", Gesture::LeftClick,
         [](B& b) { sampleIn(b, 1); }, [](B& b) { b.click("cmdSampler(2)"); },
         [](B& b) { EXPECT_NE(b.c().spotChannel, 0u); }},
        {"ASampleButtonPlaysNothingInMoveToPlayer", "cmdSampler(2)", Gesture::LeftClick,
         [](B& b) { sampleIn(b, 2); }, [](B& b) { b.click("cmdSampler(2)"); },
         [](B& b) { EXPECT_EQ(b.c().spotChannel, 0u); }},
        {"FilesDroppedOnASampleButtonGiveItTheFirst", "cmdSampler(5)", Gesture::FileDrop, nullptr,
         [](B& b) {
             ASSERT_TRUE(b.dropFiles("cmdSampler(5)",
                                     {b.outsideTrack("First.mp3"), b.outsideTrack("Second.mp3"),
                                      b.outsideTrack("Third.mp3")}));
         },
         [](B& b) {
             EXPECT_EQ(liveassist::samplePath(b.c(), 5),
                       (b.folder() / "Samples/First.mp3").string());
             EXPECT_EQ(b.m().cmdSampler[4].caption, "First.mp3");
             EXPECT_FALSE(fs::exists(b.folder() / "Samples/Second.mp3"));
         }},
        {"DeleteOnASampleButtonEmptiesIt", "cmdSampler(2)", Gesture::DeleteKey,
         [](B& b) { sampleIn(b, 2); }, [](B& b) { b.deleteKey("cmdSampler(2)"); },
         [](B& b) {
             EXPECT_EQ(b.iniValue("appSettings.ini", "Sample2", "path"), "");
             EXPECT_TRUE(fs::exists(b.folder() / "Samples/Horn.mp3")) << "the file stays";
         }},
        {"ASampleButtonCarriedOntoTheWaitingPlayerInMoveToPlayer", "cmdSampler(2)",
         Gesture::ElementDrag, [](B& b) { sampleIn(b, 2); },
         [](B& b) { b.dragElement("cmdSampler(2)", "lblPlayer2"); },
         [](B& b) {
             EXPECT_EQ(b.c().nextSong2, liveassist::samplePath(b.c(), 2));
             EXPECT_EQ(b.m().lblPlayer2.caption, "Horn");
         }},
        {"ASampleButtonCarriedInLiveGoesNowhere", "cmdSampler(2)", Gesture::ElementDrag,
         [](B& b) {
             sampleIn(b, 0);
             b.memo["next"] = b.c().nextSong2;
         },
         [](B& b) { b.dragElement("cmdSampler(2)", "lblPlayer2"); },
         [](B& b) { EXPECT_EQ(b.c().nextSong2, b.memo["next"]); }},
        sampleModeRow(0, "Live"),
        sampleModeRow(1, "Preview"),
        sampleModeRow(2, "MoveToPlayer"),
        // --- voice tracks
        {"TheVoiceTrackPlaysOnTheAirInLive", "cmdVoiceTrack", Gesture::LeftClick,
         [](B& b) { takeIn(b, 0); }, [](B& b) { b.click("cmdVoiceTrack"); },
         [](B& b) {
             EXPECT_NE(b.c().spotChannel, 0u);
             b.engine().render(44100 * 12 / 10);
             EXPECT_NEAR(b.volumeOf(b.c().player1Stream), 0.5f, 0.01f) << "the music ducks";
         }},
        {"TheVoiceTrackPlaysInTheStudioInPreview", "cmdVoiceTrack", Gesture::LeftClick,
         [](B& b) { takeIn(b, 1); }, [](B& b) { b.click("cmdVoiceTrack"); },
         [](B& b) { EXPECT_NE(b.c().spotChannel, 0u); }},
        {"TheRightButtonOnTheVoiceTrackDoesNothing", "cmdVoiceTrack", Gesture::RightClick,
         [](B& b) { takeIn(b, 0); }, [](B& b) { b.click("cmdVoiceTrack", Qt::RightButton); },
         [](B& b) { EXPECT_EQ(b.c().spotChannel, 0u); }},
        {"TheVoiceTrackCarriedOntoTheWaitingPlayerInMoveToPlayer", "cmdVoiceTrack",
         Gesture::ElementDrag, [](B& b) { takeIn(b, 2); },
         [](B& b) { b.dragElement("cmdVoiceTrack", "lblPlayer2"); },
         [](B& b) {
             EXPECT_EQ(b.c().nextSong2, (b.folder() / "VoiceTrack1.wav").string());
             EXPECT_EQ(b.m().lblPlayer2.caption, "VoiceTrack1");
         }},
        {"RecordStartsATake", "cmdRecord", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdRecord"); },
         [](B& b) {
             EXPECT_EQ(b.m().cmdRecord.caption, "Recording");
             EXPECT_NE(b.c().recordChannel, 0u);
         }},
        {"RecordAgainEndsTheTakeAndAsksForItsName", "cmdRecord", Gesture::LeftClick,
         [](B& b) {
             desk::press(b.c(), "cmdRecord");
             b.engine().render(44100 / 2);
             b.answer("cancel");
         },
         [](B& b) { b.click("cmdRecord"); },
         [](B& b) {
             EXPECT_EQ(b.m().cmdRecord.caption, "Record");
             EXPECT_TRUE(fs::exists(b.folder() / "VoiceTrack1.wav"));
             EXPECT_EQ(b.m().cmdVoiceTrack.caption, "VoiceTrack");
             EXPECT_EQ(b.asked().at(0), "Save VoiceTrack");
         }},
        // --- the microphone and the processing
        {"TheLeftButtonOpensTheMicrophoneAndLowersTheMusic", "cmdMic", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdMic"); },
         [](B& b) {
             EXPECT_TRUE(b.c().micOn);
             EXPECT_EQ(b.m().cmdMic.caption, "On");
             b.engine().render(44100 * 12 / 10);
             EXPECT_NEAR(b.volumeOf(b.c().player1Stream), 0.5f, 0.01f);
         }},
        {"TheRightButtonOpensTheMicrophoneWithTheMusicAtFullLevel", "cmdMic", Gesture::RightClick,
         nullptr, [](B& b) { b.click("cmdMic", Qt::RightButton); },
         [](B& b) {
             EXPECT_TRUE(b.c().micOn);
             b.engine().render(44100 * 12 / 10);
             EXPECT_NEAR(b.volumeOf(b.c().player1Stream), 1.0f, 0.01f);
         }},
        {"ProcessingSwitchesTheMasterChainOff", "cmdCompressor", Gesture::LeftClick,
         [](B& b) { ASSERT_EQ(b.m().cmdCompressor.backColor, 0x0080FFu) << "on from the start"; },
         [](B& b) { b.click("cmdCompressor"); },
         [](B& b) { EXPECT_EQ(b.m().cmdCompressor.backColor, 0xFFFFFFu); }},
        {"TheEffectTickTicks", "chkEFX", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("chkEFX"); }, [](B& b) { EXPECT_EQ(b.m().chkEFX.value, 1); }},
        {"TheGainBarFollowsTheHeldButton", "pctMainVolume", Gesture::HeldMove, nullptr,
         [](B& b) { b.slide("pctMainVolume", 0.1, 0.5); },
         [](B& b) {
             const auto& bar = b.m().pctMainVolume;
             ASSERT_EQ(bar.drawing.texts.size(), 1u);
             const int shown = std::stoi(bar.drawing.texts[0].text);
             EXPECT_NEAR(shown, 50, 1) << "the bar drawn where the button was let go";
             float volume = -1;
             ASSERT_EQ(b.engine().recordGetInput(0, volume), 0);
             EXPECT_NEAR(volume, 0.5f, 0.01f);
         }},
        {"TheGainBarHeldPastItsEndSetsTheVolumeWithoutARedraw", "pctMainVolume", Gesture::HeldMove,
         nullptr, [](B& b) { b.slide("pctMainVolume", 0.5, 0.995); },
         [](B& b) {
             const auto& bar = b.m().pctMainVolume;
             ASSERT_EQ(bar.drawing.texts.size(), 1u);
             EXPECT_LT(std::stoi(bar.drawing.texts[0].text), 99);
             float volume = -1;
             ASSERT_EQ(b.engine().recordGetInput(0, volume), 0);
             EXPECT_GT(volume, 0.98f);
         }},
        // --- sweepers by hand, the spoken and sent texts
        {"SweeperPlaysTheChosenSweeper", "cmdPlayOver", Gesture::LeftClick,
         [](B& b) { morePageWithSweeper(b, 0); }, [](B& b) { b.click("cmdPlayOver"); },
         [](B& b) {
             EXPECT_NE(b.c().sweeperStream, 0u);
             EXPECT_NE(b.engine().channelIsActive(b.c().sweeperStream), audio::kStopped);
         }},
        {"DefaultSweeperTakesTheChosenSweeper", "cmdDefaultSweeper", Gesture::LeftClick,
         [](B& b) { morePageWithSweeper(b, 1); }, [](B& b) { b.click("cmdDefaultSweeper"); },
         [](B& b) {
             EXPECT_EQ(b.iniValue("appSettings.ini", "tarnWave", "DefaultSweeper"), "Sweep B.mp3");
             EXPECT_EQ(b.m().cmdDefaultSweeper.caption, "Sweep B.mp3");
         }},
        {"TypingTheMessageLine", "txtSendText", Gesture::Typing, nullptr,
         [](B& b) { b.type("txtSendText", "Good evening"); },
         [](B& b) { EXPECT_EQ(b.m().txtSendText.text, "Good evening"); }},
        {"SayItSpeaksTheMessageLine", "cmdSayIt", Gesture::LeftClick,
         [](B& b) { desk::type(b.c(), "txtSendText", "Good evening"); },
         [](B& b) { b.click("cmdSayIt"); },
         [](B& b) {
             EXPECT_TRUE(b.waitFor([&] { return fs::exists(b.folder() / "spoken.wav"); }, 20000));
         }},
        {"SendWithNoCastSendsNothingAndFailsNot", "cmdSendMessage", Gesture::LeftClick,
         [](B& b) { desk::type(b.c(), "txtSendText", "Now playing"); },
         [](B& b) { b.click("cmdSendMessage"); },
         [](B& b) {
             EXPECT_EQ(b.c().encoderHandles[0], 0u);
             EXPECT_EQ(b.appLog().find("cmdSendMessage"), std::string::npos);
         }},
    };
    for (int n = 1; n <= liveassist::kSampleButtons; ++n) {
        const std::string button = "cmdSampler(" + std::to_string(n) + ")";
        rows.push_back({"SampleButton" + std::to_string(n) + "PlaysOverTheMusicInLive", button,
                        Gesture::LeftClick,
                        [button](B& b) {
                            desk::dropFiles(b.c(), button, {b.outsideTrack("Pad.mp3")});
                            ASSERT_EQ(liveassist::samplerMode(b.c()), 0);
                        },
                        [button](B& b) { b.click(button); },
                        [](B& b) {
                            EXPECT_NE(b.c().spotChannel, 0u);
                            EXPECT_NE(b.engine().channelIsActive(b.c().spotChannel),
                                      audio::kStopped);
                        }});
    }
    return rows;
}

}  // namespace tw::test
