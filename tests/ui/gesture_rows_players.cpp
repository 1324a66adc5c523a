// The table's rows for the players, the transport, the bars, the preview and the function keys.

#include <cmath>

#include "desk/actions.h"
#include "desk/console_layout.h"
#include "liveassist/sampler.h"
#include "playout/preview.h"
#include "tests/ui/gesture_table.h"

namespace tw::test {

namespace {

using B = GestureBench;

audio::Handle streamOf(B& b, int player) {
    return player == 1 ? b.c().player1Stream : b.c().player2Stream;
}

double seconds(B& b, audio::Handle h) {
    return b.engine().channelBytes2Seconds(h, b.engine().channelGetPosition(h));
}

double lengthOf(B& b, audio::Handle h) {
    return b.engine().channelBytes2Seconds(h, b.engine().channelGetLength(h));
}

// The console on the air with player 1, as the load leaves it.
void onAir(B& b) {
    ASSERT_EQ(b.c().activePlayer, 1) << "the load puts player 1 on the air";
    ASSERT_NE(b.c().player2Stream, 0u) << "and loads player 2";
}

// Player 2 on the air and player 1 waiting.
void playerTwoOnAir(B& b) {
    onAir(b);
    desk::press(b.c(), "cmdSkipNow");
    ASSERT_EQ(b.c().activePlayer, 2);
}

// The first category's tracks on the track list, its first track chosen.
void trackChosen(B& b) {
    desk::showPanel(b.c(), 1);
    desk::select(b.c(), "lstPlaylists", 0);
    desk::select(b.c(), "lstSongs", 0);
}

void previewRunning(B& b) {
    trackChosen(b);
    desk::press(b.c(), "cmdPlayActiveSong");
    ASSERT_NE(b.c().previewPlayer, 0u);
}

// Sample button n holds a track from the desktop n seconds long, so that what plays tells which
// button played it; the mode is Live.
void sampleOn(B& b, int n) {
    desk::dropFiles(b.c(), "cmdSampler(" + std::to_string(n) + ")",
                    {b.outsideTrack("Jingle " + std::to_string(n) + ".mp3", n)});
    ASSERT_NE(liveassist::samplePath(b.c(), n), "none");
}

// The sample that sounds is button n's.
void samplePlays(B& b, int n) {
    ASSERT_NE(b.c().spotChannel, 0u);
    EXPECT_NEAR(lengthOf(b, b.c().spotChannel), n, 0.1);
}

// The planner's position before the gesture, and a check that it moved on: the waiting player
// took the next row's pick.
void rememberPosition(B& b) {
    onAir(b);
    b.memo["position"] = std::to_string(b.c().rotationPosition);
}

void positionMoved(B& b) {
    EXPECT_NE(std::to_string(b.c().rotationPosition), b.memo["position"]);
}

void seekRow(std::vector<GestureRow>& rows, int player) {
    const std::string bar = "pctPlayer" + std::to_string(player);
    rows.push_back({"PressOn" + bar + "Seeks", bar, Gesture::LeftClick,
                    player == 1 ? onAir : playerTwoOnAir, [bar](B& b) { b.clickAt(bar, 0.5); },
                    [player](B& b) {
                        const audio::Handle h = streamOf(b, player);
                        EXPECT_NEAR(seconds(b, h), lengthOf(b, h) / 2, lengthOf(b, h) * 0.05);
                    }});
    rows.push_back({"RightPressOn" + bar + "DoesNotSeek", bar, Gesture::RightClick, onAir,
                    [bar](B& b) { b.clickAt(bar, 0.5, 0.5, Qt::RightButton); },
                    [player](B& b) { EXPECT_LT(seconds(b, streamOf(b, player)), 0.5); }});
}

void transportRows(std::vector<GestureRow>& rows, int player) {
    const std::string n = std::to_string(player);
    rows.push_back({"PausePlayer" + n + "HoldsIt", "cmdPausePlay" + n, Gesture::LeftClick,
                    player == 1 ? onAir : playerTwoOnAir,
                    [n](B& b) { b.click("cmdPausePlay" + n); },
                    [n](B& b) { EXPECT_EQ(b.m().find("cmdPausePlay" + n)->backColor, 0x40u); }});
    rows.push_back({"EjectPlayer" + n + "EmptiesIt", "cmdEject" + n, Gesture::LeftClick, onAir,
                    [n](B& b) { b.click("cmdEject" + n); },
                    [player](B& b) {
                        const auto& button = player == 1 ? b.m().lblplayer1 : b.m().lblPlayer2;
                        EXPECT_EQ(button.caption, "Empty");
                        if (player == 1) {
                            EXPECT_EQ(b.c().activePlayer, 0);
                        }
                    }});
    rows.push_back({"FadePlayer" + n + "Out", "cmdFadeOut" + n, Gesture::LeftClick,
                    player == 1 ? onAir : playerTwoOnAir, [n](B& b) { b.click("cmdFadeOut" + n); },
                    [player](B& b) {
                        b.engine().render(44100 / 2);
                        EXPECT_LT(b.volumeOf(streamOf(b, player)), 0.5f);
                    }});
    rows.push_back({"PickOnPlayer" + n + "ReloadsTheWaitingPlayer", "cmdPlayer" + n + "Pick",
                    Gesture::LeftClick, rememberPosition,
                    [n](B& b) { b.click("cmdPlayer" + n + "Pick"); }, positionMoved});
}

// The volume the level bars give at a share across them: the pointer stands 5 pixels left of
// the place.
float barVolume(B& b, double share) {
    const double width = b.m().find("picLevelBar(0)")->rect.width;
    return static_cast<float>((std::round(width * share) - 5) / width);
}

}  // namespace

std::vector<GestureRow> playerGestures() {
    std::vector<GestureRow> rows = {
        {"ModeButtonSwapsToManual", "cmdAutoManual", Gesture::LeftClick, onAir,
         [](B& b) { b.click("cmdAutoManual"); },
         [](B& b) { EXPECT_EQ(b.m().cmdAutoManual.caption, "Manual"); }},
        {"NextStartsTheWaitingPlayer", "cmdSkipNow", Gesture::LeftClick, onAir,
         [](B& b) { b.click("cmdSkipNow"); }, [](B& b) { EXPECT_EQ(b.c().activePlayer, 2); }},
        {"F9IsNext", "cmdSkipNow", Gesture::FunctionKey, onAir, [](B& b) { b.functionKey(120); },
         [](B& b) { EXPECT_EQ(b.c().activePlayer, 2); }},
        {"F10IsPlayerOnesPick", "cmdPlayer1Pick", Gesture::FunctionKey, rememberPosition,
         [](B& b) { b.functionKey(121); }, positionMoved},
        {"MuteSilencesTheMonitor", "cmdMute", Gesture::LeftClick, onAir,
         [](B& b) { b.click("cmdMute"); },
         [](B& b) {
             EXPECT_TRUE(b.c().muted);
             EXPECT_EQ(b.m().cmdMute.backColor, 0xFFu);
             EXPECT_EQ(b.volumeOf(b.c().mixerStream), 0.0f);
         }},
        {"LeftLevelBarHeldSetsBothPlayersVolume", "picLevelBar(0)", Gesture::HeldMove, onAir,
         [](B& b) { b.slide("picLevelBar(0)", 0.2, 0.5); },
         [](B& b) {
             EXPECT_NEAR(b.volumeOf(b.c().player1Stream), barVolume(b, 0.5), 0.01);
             EXPECT_NEAR(b.volumeOf(b.c().player2Stream), barVolume(b, 0.5), 0.01);
         }},
        {"RightLevelBarHeldSetsBothPlayersVolume", "picLevelBar(1)", Gesture::HeldMove, onAir,
         [](B& b) { b.slide("picLevelBar(1)", 0.9, 0.6); },
         [](B& b) { EXPECT_NEAR(b.volumeOf(b.c().player1Stream), barVolume(b, 0.6), 0.01); }},
        {"PreviewBarPressSeeksThePreview", "pctPreviewPlayer", Gesture::LeftClick, previewRunning,
         [](B& b) { b.clickAt("pctPreviewPlayer", 0.5); },
         [](B& b) {
             const audio::Handle h = b.c().previewPlayer;
             EXPECT_NEAR(seconds(b, h), lengthOf(b, h) / 2, lengthOf(b, h) * 0.05);
         }},
        {"PreviewSelectedPreviewsTheChosenTrackAndShowsItsIdleFace", "cmdPreviewSelected",
         Gesture::LeftClick, trackChosen, [](B& b) { b.click("cmdPreviewSelected"); },
         [](B& b) {
             EXPECT_NE(b.c().previewPlayer, 0u);
             EXPECT_EQ(b.m().cmdPreviewSelected.image, core::ImageRole::Green);
             EXPECT_EQ(b.m().cmdPreviewSelected.caption, "Preview");
             EXPECT_EQ(b.m().cmdPreviewSelected.caption2, "Selected");
         }},
        {"PreviewSelectedWithNothingChosenSaysSo", "cmdPreviewSelected", Gesture::LeftClick,
         [](B& b) { desk::showPanel(b.c(), 1); }, [](B& b) { b.click("cmdPreviewSelected"); },
         [](B& b) {
             EXPECT_EQ(b.c().previewPlayer, 0u);
             ASSERT_FALSE(b.m().frmTarnDesk.drawing.texts.empty());
             EXPECT_EQ(b.m().frmTarnDesk.drawing.texts[0].text, "Please select song to preview");
         }},
        {"PlayButtonPreviewsTheChosenTrack", "cmdPlayActiveSong", Gesture::LeftClick, trackChosen,
         [](B& b) { b.click("cmdPlayActiveSong"); },
         [](B& b) {
             EXPECT_NE(b.c().previewPlayer, 0u);
             EXPECT_EQ(b.m().cmdPlayActiveSong.backColor, 0xC000u);
         }},
        {"DoubleClickOnThePeakResetsIt", "lblPeakListeners", Gesture::DoubleClick,
         [](B& b) { b.m().lblPeakListeners.caption = " 25"; },
         [](B& b) { b.doubleClick("lblPeakListeners"); },
         [](B& b) { EXPECT_EQ(b.m().lblPeakListeners.caption, "0"); }},
        {"F2WithTheFocusInTheSettingsWindowPlaysTheSample", "cmdSampler(2)", Gesture::FunctionKey,
         [](B& b) {
             sampleOn(b, 2);
             desk::press(b.c(), "cmdProgramSettings");
             b.show("frmAppSettings");
             b.windowOf("frmAppSettings.x").setFocus();
         },
         [](B& b) {
             b.click("frmAppSettings.chkEnableAutoTrim");  // the focus stays in that window
             b.functionKey(113);
         },
         [](B& b) { samplePlays(b, 2); }},
        {"F1InATextBoxBeingEditedIsTheEditorsKey", "txtSendText", Gesture::FunctionKey,
         [](B& b) { sampleOn(b, 1); },
         [](B& b) {
             b.type("txtSendText", "Hello");
             b.functionKey(112);
         },
         [](B& b) {
             EXPECT_EQ(b.c().spotChannel, 0u) << "no sample while the operator types";
             EXPECT_EQ(b.m().txtSendText.text, "Hello");
         }},
    };
    for (int player : {1, 2}) {
        seekRow(rows, player);
        transportRows(rows, player);
    }
    for (int n = 1; n <= 8; ++n) {
        rows.push_back({"F" + std::to_string(n) + "PlaysSample" + std::to_string(n),
                        "cmdSampler(" + std::to_string(n) + ")", Gesture::FunctionKey,
                        [n](B& b) {
                            for (int other = 1; other <= 9; ++other) {
                                sampleOn(b, other);
                            }
                        },
                        [n](B& b) { b.functionKey(111 + n); }, [n](B& b) { samplePlays(b, n); }});
    }
    return rows;
}

}  // namespace tw::test
