// The table's rows for the console's other windows: the server settings, the program settings,
// the rotation scheduler, the song statistics, the progress window, the name and log-in dialogs,
// and the buttons of the console that open them.

#include <QApplication>
#include <QLineEdit>
#include <QUrl>
#include <algorithm>
#include <cmath>
#include <filesystem>

#include "autodj/loudness.h"
#include "autodj/schedule.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "tags/replay_gain.h"
#include "tests/ui/gesture_table.h"
#include "tests/web/http_probe.h"
#include "ui/surface_widget.h"
#include "web/status_feed.h"

namespace tw::test {

namespace {

namespace fs = std::filesystem;
using B = GestureBench;

void castWindow(B& b) {
    desk::press(b.c(), "cmdSettings");
    b.show("frmCast");
}

// Encoder 2 on the form, whose fields are all there to be edited.
void castEncoderTwo(B& b) {
    castWindow(b);
    desk::press(b.c(), "frmCast.cmdEncoders(1)");
}

std::string profile(B& b, const std::string& section, const std::string& key) {
    return b.iniValue("appSettings.ini", section, key);
}

GestureRow castTypingRow(const std::string& box, int serverType) {
    return {"TypingIn" + box + "MarksTheProfileChanged",
            "frmCast." + box,
            Gesture::Typing,
            [serverType](B& b) {
                castEncoderTwo(b);
                desk::select(b.c(), "frmCast.cmboServerType", serverType);
                desk::press(b.c(), "frmCast.cmdSave");  // saved: the form reads "Close"
                ASSERT_EQ(b.c().ui.cast.cmdSave.caption, "Close");
            },
            [box](B& b) { b.type("frmCast." + box, "typed"); },
            [box](B& b) {
                EXPECT_EQ(b.c().ui.find("frmCast." + box)->text, "typed");
                EXPECT_EQ(b.c().ui.cast.cmdSave.caption, "Save");
            }};
}

void settingsWindow(B& b) {
    desk::press(b.c(), "cmdProgramSettings");
    b.show("frmAppSettings");
}

GestureRow twoBoxRow(const std::string& field, int index) {
    const std::string name = "frmAppSettings." + field + "(" + std::to_string(index) + ")";
    return {"AClickIn" + field + std::to_string(index) + "MakesItTheSlidersBox",
            name,
            Gesture::LeftClick,
            settingsWindow,
            [name](B& b) { b.click(name); },
            [name](B& b) { EXPECT_EQ(b.c().ui.find(name)->backColor, 0xFF00u); }};
}

GestureRow sliderRow(const std::string& slider, const std::string& section,
                     const std::string& key) {
    const std::string name = "frmAppSettings." + slider;
    return {"Dragging" + slider + "WritesItsSetting",
            name,
            Gesture::HeldMove,
            [section, key](B& b) {
                settingsWindow(b);
                b.memo["before"] = profile(b, section, key);
            },
            [name](B& b) { b.slide(name, -1, 0.7); },
            [section, key](B& b) {
                EXPECT_NE(profile(b, section, key), b.memo["before"]);
                EXPECT_NE(profile(b, section, key), "<none>");
            }};
}

void scheduler(B& b) {
    desk::press(b.c(), "cmdRotationSchedule");
    b.show("frmSchedule");
    desk::select(b.c(), "frmSchedule.lstRotationOrList", 0);
}

std::string cell(B& b, int day, int hour) {
    return b.iniValue("rotationSchedule.ini", std::to_string(day), std::to_string(hour));
}

// How many cells of the week name the list.
int cellsNaming(B& b, const std::string& list) {
    int n = 0;
    for (int day = 1; day <= 7; ++day) {
        for (int hour = 1; hour <= 24; ++hour) {
            n += cell(b, day, hour) == list;
        }
    }
    return n;
}

void statistics(B& b) {
    desk::press(b.c(), "cmdViewStatistics");
    b.show("frmStatistics");
}

// What the desktop is asked to show goes to the bench's memo, "shown", instead.
void recordDesktop(B& b) {
    b.station().prompter().setDesktopOpener([&b](const QUrl& url) {
        b.memo["shown"] += url.toLocalFile().toStdString() + "\n";
        return true;
    });
}

// The line the console prints on its own window, "" for none.
std::string messageLine(B& b) {
    const auto& texts = b.m().frmTarnDesk.drawing.texts;
    return texts.empty() ? std::string() : texts.front().text;
}

std::string shownFile(B& b) {
    std::string shown = b.memo["shown"];
    EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), 1) << shown;
    return fs::path(shown.substr(0, shown.find('\n'))).filename().string();
}

}  // namespace

std::vector<GestureRow> windowGestures() {
    std::vector<GestureRow> rows = {
        // --- the console's buttons that open windows, and its help
        {"SettingsBroadcastOpensTheServerSettings", "cmdSettings", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdSettings"); },
         [](B& b) {
             b.station().castWindow().follow();
             EXPECT_TRUE(b.station().castWindow().isVisible());
             EXPECT_EQ(b.c().cast->selectedEncoder, 1);
         }},
        {"OptionsOpensTheProgramSettings", "cmdProgramSettings", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdProgramSettings"); },
         [](B& b) {
             b.station().settingsWindow().follow();
             EXPECT_TRUE(b.station().settingsWindow().isVisible());
         }},
        {"ScheduleOpensTheScheduler", "cmdRotationSchedule", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdRotationSchedule"); },
         [](B& b) {
             b.station().scheduleWindow().follow();
             EXPECT_TRUE(b.station().scheduleWindow().isVisible());
         }},
        {"ViewStatisticsOpensTheReport", "cmdViewStatistics", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdViewStatistics"); },
         [](B& b) {
             b.station().statisticsWindow().follow();
             EXPECT_TRUE(b.station().statisticsWindow().isVisible());
         }},
        {"HelpOpensTheHelpPage", "cmdHelp", Gesture::LeftClick,
         [](B& b) {
             b.memo["opened"].clear();
             b.station().window().setUrlOpener(
                 [&b](const QUrl& url) { b.memo["opened"] = url.toString().toStdString(); });
         },
         [](B& b) { b.click("cmdHelp"); },
         [](B& b) {
             EXPECT_EQ(b.memo["opened"], ui::SurfaceWidget::helpPage().toString().toStdString());
         }},
        {"OffAirStartsTheEncoders", "cmdOnAir", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdOnAir"); },
         [](B& b) { EXPECT_NE(b.c().encoderHandles[0], 0u) << "encoder 1 started"; }},
        {"PanelButtonTrackListShowsTheTrackList", "cmdTrackList", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdTrackList"); },
         [](B& b) {
             EXPECT_TRUE(b.m().frmTrackList.visible);
             EXPECT_EQ(b.m().cmdTrackList.image, core::ImageRole::Green);
         }},
        {"PanelButtonRotationShowsTheRotation", "cmdRotationList", Gesture::LeftClick,
         [](B& b) { desk::press(b.c(), "cmdTrackList"); }, [](B& b) { b.click("cmdRotationList"); },
         [](B& b) { EXPECT_TRUE(b.m().frmRotationList.visible); }},
        {"PanelButtonBuilderShowsTheBuilder", "cmdPlaylistBuilder", Gesture::LeftClick, nullptr,
         [](B& b) { b.click("cmdPlaylistBuilder"); },
         [](B& b) { EXPECT_TRUE(b.m().frmPlaylistBuilder.visible); }},
        // --- Shoutcast/Icecast Server Settings
        {"TheServerTypeListOpensAndTheChoiceShowsItsFields", "frmCast.cmboServerType",
         Gesture::Choice, castEncoderTwo, [](B& b) { b.choose("frmCast.cmboServerType", 5); },
         [](B& b) {
             EXPECT_EQ(b.c().ui.cast.cmboServerType.text, "IceCast Version 2");
             EXPECT_TRUE(b.c().ui.cast.txtMountPoint.visible);
             EXPECT_EQ(b.c().ui.cast.cmdSave.caption, "Save");
         }},
        {"TheBitRateListOpensAndTheChoiceShows", "frmCast.cmbBitrate", Gesture::Choice,
         castEncoderTwo, [](B& b) { b.choose("frmCast.cmbBitrate", 13); },
         [](B& b) { EXPECT_EQ(b.c().ui.cast.cmbBitrate.text, "320"); }},
        {"TheBitRateListOpensWhileItsTextIsBeingTyped", "frmCast.cmbBitrate", Gesture::Choice,
         castEncoderTwo,
         [](B& b) {
             b.type("frmCast.cmbBitrate", "15");
             b.choose("frmCast.cmbBitrate", 0);
         },
         [](B& b) { EXPECT_EQ(b.c().ui.cast.cmbBitrate.text, "32"); }},
        {"TheBitRateIsStoredAsTyped", "frmCast.cmbBitrate", Gesture::Typing, castEncoderTwo,
         [](B& b) {
             b.type("frmCast.cmbBitrate", "150");
             b.click("frmCast.cmdSave");
         },
         [](B& b) { EXPECT_EQ(profile(b, "Shoutcast1", "bitRate"), "150"); }},
        {"ThePasswordIsTypedUnseen", "frmCast.txtPassword", Gesture::Typing, castEncoderTwo,
         [](B& b) { b.type("frmCast.txtPassword", "secret"); },
         [](B& b) {
             EXPECT_EQ(b.c().ui.cast.txtPassword.text, "secret");
             for (QLineEdit* e : b.windowOf("frmCast.x").findChildren<QLineEdit*>()) {
                 if (e->isVisible()) {
                     EXPECT_EQ(e->echoMode(), QLineEdit::Password);
                 }
             }
         }},
        {"AutoReconnectTicks", "frmCast.chkReconnect", Gesture::LeftClick, castEncoderTwo,
         [](B& b) { b.click("frmCast.chkReconnect"); },
         [](B& b) { EXPECT_EQ(b.c().ui.cast.chkReconnect.value, 1); }},
        {"MakePublicTicks", "frmCast.chkPublic", Gesture::LeftClick, castEncoderTwo,
         [](B& b) { b.click("frmCast.chkPublic"); },
         [](B& b) { EXPECT_EQ(b.c().ui.cast.chkPublic.value, 1); }},
        {"EnableEncoderSavesAtOnce", "frmCast.chkEnableEncoder", Gesture::LeftClick, castEncoderTwo,
         [](B& b) { b.click("frmCast.chkEnableEncoder"); },
         [](B& b) { EXPECT_EQ(profile(b, "Shoutcast1", "Enabled"), "1"); }},
        {"StartStartsTheEncoders", "frmCast.btnStart", Gesture::LeftClick, castWindow,
         [](B& b) { b.click("frmCast.btnStart"); },
         [](B& b) { EXPECT_NE(b.c().encoderHandles[0], 0u); }},
        {"KickAsksFirst", "frmCast.cmdKickSource", Gesture::LeftClick,
         [](B& b) {
             castWindow(b);
             desk::select(b.c(), "frmCast.cmboServerType", 1);
             b.answer("cancel");
         },
         [](B& b) { b.click("frmCast.cmdKickSource"); },
         [](B& b) {
             ASSERT_FALSE(b.asked().empty());
             EXPECT_EQ(b.asked()[0].rfind("WARNING!!! Are You Sure", 0), 0u);
         }},
        {"SaveThenCloseHidesTheForm", "frmCast.cmdSave", Gesture::LeftClick, castEncoderTwo,
         [](B& b) { b.click("frmCast.cmdSave"); },
         [](B& b) { EXPECT_FALSE(b.c().ui.cast.frmCast.visible); }},
        {"TheServerSettingsCloseBoxCloses", "frmCast", Gesture::CloseBox, castWindow,
         [](B& b) { b.closeWindow("frmCast"); },
         [](B& b) { EXPECT_FALSE(b.c().ui.cast.frmCast.visible); }},
        // --- TarnWave Settings
        sliderRow("sldCrossfadeSeconds", "Crossfade", "time"),
        sliderRow("sldrSilenceValue", "Silence", "time"),
        sliderRow("sldrArtistSeperation", "ArtistSeperation", "Hours"),
        sliderRow("sldrTrimThreshold", "AutoTrim", "Threshold"),
        twoBoxRow("txtCrossfadeSeconds", 0),
        twoBoxRow("txtCrossfadeSeconds", 1),
        twoBoxRow("txtSilenceSeconds", 0),
        twoBoxRow("txtSilenceSeconds", 1),
        {"AutoTrimTicks", "frmAppSettings.chkEnableAutoTrim", Gesture::LeftClick, settingsWindow,
         [](B& b) { b.click("frmAppSettings.chkEnableAutoTrim"); },
         [](B& b) { EXPECT_EQ(profile(b, "AutoTrim", "Enabled"), "1"); }},
        {"TheAppLogIsShown", "frmAppSettings.cmdViewAppLog", Gesture::LeftClick,
         [](B& b) {
             settingsWindow(b);
             recordDesktop(b);
         },
         [](B& b) { b.click("frmAppSettings.cmdViewAppLog"); },
         [](B& b) { EXPECT_EQ(shownFile(b), "app.log"); }},
        {"ThePlayedLogIsShown", "frmAppSettings.cmdViewPlayedLog", Gesture::LeftClick,
         [](B& b) {
             settingsWindow(b);
             recordDesktop(b);
         },
         [](B& b) { b.click("frmAppSettings.cmdViewPlayedLog"); },
         [](B& b) { EXPECT_EQ(shownFile(b), "Played.log"); }},
        {"ResetPlayTimesSendsTheHistoryToTheTrash", "frmAppSettings.cmdResetPlayed",
         Gesture::LeftClick,
         [](B& b) {
             settingsWindow(b);
             b.answer("yes");
             b.answer("ok");
         },
         [](B& b) { b.click("frmAppSettings.cmdResetPlayed"); },
         [](B& b) {
             ASSERT_FALSE(b.trashed().empty());
             EXPECT_EQ(fs::path(b.trashed().back()).filename(), "played.ini");
         }},
        {"TheMicrophoneDeviceIsChosenAndSaved", "frmAppSettings.cboMicDevice", Gesture::Choice,
         settingsWindow, [](B& b) { b.choose("frmAppSettings.cboMicDevice", 0); },
         [](B& b) {
             EXPECT_EQ(profile(b, "Shoutcast", "ActiveMicDevice"),
                       b.c().ui.settings.cboMicDevice.items.at(0).text);
         }},
        {"TheMicrophoneInputIsChosenAndSaved", "frmAppSettings.cboMicInput", Gesture::Choice,
         [](B& b) {
             settingsWindow(b);
             desk::select(b.c(), "frmAppSettings.cboMicDevice", 0);
             ASSERT_GT(b.c().ui.settings.cboMicInput.listCount(), 0);
         },
         [](B& b) { b.choose("frmAppSettings.cboMicInput", 0); },
         [](B& b) {
             EXPECT_EQ(profile(b, "Shoutcast", "ActiveMicInput"),
                       b.c().ui.settings.cboMicInput.items.at(0).text);
         }},
        {"RefreshListsTheDevicesAnew", "frmAppSettings.cmdRefreshMicList", Gesture::LeftClick,
         [](B& b) {
             settingsWindow(b);
             desk::select(b.c(), "frmAppSettings.cboMicDevice", 0);
         },
         [](B& b) { b.click("frmAppSettings.cmdRefreshMicList"); },
         [](B& b) {
             EXPECT_GT(b.c().ui.settings.cboMicDevice.listCount(), 0);
             EXPECT_EQ(b.c().ui.settings.cboMicInput.listCount(), 0);
         }},
        {"TheStudioOutputIsChosenAndSaved", "frmAppSettings.cboStudioOutput", Gesture::Choice,
         settingsWindow, [](B& b) { b.choose("frmAppSettings.cboStudioOutput", 0); },
         [](B& b) {
             EXPECT_EQ(b.c().ui.settings.cboStudioOutput.listIndex, 0);
             EXPECT_EQ(b.c().ui.settings.cboStudioOutput.text,
                       b.c().ui.settings.cboStudioOutput.items.at(0).text);
         }},
        {"ALoudnessTargetIsChosenAndWritten", "frmAppSettings.cboLoudnessTarget", Gesture::Choice,
         [](B& b) {
             settingsWindow(b);
             ASSERT_EQ(b.c().ui.settings.cboLoudnessTarget.items.at(3).text, "-16 LUFS");
         },
         [](B& b) { b.choose("frmAppSettings.cboLoudnessTarget", 3); },
         [](B& b) {
             EXPECT_EQ(profile(b, "Loudness", "Target"), "-16");
             EXPECT_EQ(b.c().ui.settings.cboLoudnessTarget.text, "-16 LUFS");
         }},
        {"ALoudnessLevelTypedIsTheBoxsTextUntilReturn", "frmAppSettings.cboLoudnessTarget",
         Gesture::Typing, settingsWindow,
         [](B& b) { b.type("frmAppSettings.cboLoudnessTarget", "-19.5"); },
         [](B& b) {
             EXPECT_EQ(b.c().ui.settings.cboLoudnessTarget.text, "-19.5");
             EXPECT_EQ(profile(b, "Loudness", "Target"), "<none>");
         }},
        {"ALoudnessLevelTypedIsTakenOnReturn", "frmAppSettings.cboLoudnessTarget",
         Gesture::ReturnKey, settingsWindow,
         [](B& b) {
             b.type("frmAppSettings.cboLoudnessTarget", "-19.5");
             b.returnKey("frmAppSettings.cboLoudnessTarget");
         },
         [](B& b) {
             EXPECT_EQ(profile(b, "Loudness", "Target"), "-19.5");
             EXPECT_EQ(b.c().ui.settings.cboLoudnessTarget.text, "-19.5 LUFS");
         }},
        {"WriteReplayGainTagsWithoutATargetAsksForOne", "frmAppSettings.cmdWriteReplayGain",
         Gesture::LeftClick, settingsWindow,
         [](B& b) { b.click("frmAppSettings.cmdWriteReplayGain"); },
         [](B& b) {
             EXPECT_EQ(messageLine(b),
                       "Choose a loudness target first: the files are measured then");
         }},
        {"WriteReplayGainTagsWritesWhatWasMeasured", "frmAppSettings.cmdWriteReplayGain",
         Gesture::LeftClick,
         [](B& b) {
             b.measured("Music/Jazz/Beta - Two.mp3", -12.41, -0.32);
             core::writeIniValue(b.c(), b.c().appSettingsPath(), "Loudness", "Target", "-16");
             settingsWindow(b);
         },
         [](B& b) { b.click("frmAppSettings.cmdWriteReplayGain"); },
         [](B& b) {
             EXPECT_TRUE(b.waitFor([&b] { return !autodj::replayGainJobBusy(b.c()); }));
             EXPECT_EQ(messageLine(b), "ReplayGain tags written to 1 files");
             const auto written =
                 tags::readReplayGain((b.folder() / "Music/Jazz/Beta - Two.mp3").string());
             ASSERT_TRUE(written.has_value());
             EXPECT_NEAR(written->trackGainDb, -18 - -12.41, 0.006);
             ASSERT_TRUE(written->trackPeak.has_value());
             EXPECT_NEAR(*written->trackPeak, std::pow(10.0, -0.32 / 20), 1e-6);
         }},
        {"AWebPortTypedIsTheBoxsTextUntilReturn", "frmAppSettings.txtWebPort", Gesture::Typing,
         settingsWindow, [](B& b) { b.type("frmAppSettings.txtWebPort", "8080"); },
         [](B& b) {
             EXPECT_EQ(b.c().ui.settings.txtWebPort.text, "8080");
             EXPECT_EQ(profile(b, "WebStatus", "Port"), "<none>");
             EXPECT_EQ(b.c().ui.settings.lblWebStatusUrl.caption, "Off");
         }},
        {"AWebPortTakenOnReturnStartsTheServiceAndShowsWhereToOpenIt", "frmAppSettings.txtWebPort",
         Gesture::ReturnKey, settingsWindow,
         [](B& b) {
             const std::string port = std::to_string(freeLoopbackPort());
             b.type("frmAppSettings.txtWebPort", port);
             b.returnKey("frmAppSettings.txtWebPort");
         },
         [](B& b) {
             const std::string port = profile(b, "WebStatus", "Port");
             const std::string url = "http://127.0.0.1:" + port + "/";
             EXPECT_EQ(b.c().ui.settings.lblWebStatusUrl.caption, "Open " + url);
             const std::string answer =
                 roundTrip(static_cast<std::uint16_t>(std::stoi(port)),
                           "GET /api/nowplaying HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
             EXPECT_EQ(statusOf(answer), 200) << answer;
             web::stopStatusFeed(b.c());
         }},
        {"AWebAddressIsTakenOnReturn", "frmAppSettings.txtWebAddress", Gesture::ReturnKey,
         settingsWindow,
         [](B& b) {
             b.type("frmAppSettings.txtWebAddress", "::1");
             b.returnKey("frmAppSettings.txtWebAddress");
         },
         [](B& b) { EXPECT_EQ(profile(b, "WebStatus", "Address"), "::1"); }},
        {"AWebTokenIsTypedUnseen", "frmAppSettings.txtWebToken", Gesture::Typing, settingsWindow,
         [](B& b) { b.type("frmAppSettings.txtWebToken", "w0rd"); },
         [](B& b) {
             auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
             ASSERT_NE(edit, nullptr);
             EXPECT_EQ(edit->echoMode(), QLineEdit::Password);
             EXPECT_EQ(b.c().ui.settings.txtWebToken.text, "w0rd");
             EXPECT_EQ(profile(b, "WebStatus", "Token"), "<none>");
         }},
        {"AWebTokenIsTakenOnReturn", "frmAppSettings.txtWebToken", Gesture::ReturnKey,
         settingsWindow,
         [](B& b) {
             b.type("frmAppSettings.txtWebToken", "w0rd");
             b.returnKey("frmAppSettings.txtWebToken");
         },
         [](B& b) { EXPECT_EQ(profile(b, "WebStatus", "Token"), "w0rd"); }},
        {"ANowPlayingCommandIsTakenOnReturn", "frmAppSettings.txtNowPlayingCommand",
         Gesture::ReturnKey, settingsWindow,
         [](B& b) {
             b.type("frmAppSettings.txtNowPlayingCommand", "/usr/local/bin/rds-send -p 2");
             b.returnKey("frmAppSettings.txtNowPlayingCommand");
         },
         [](B& b) {
             EXPECT_EQ(profile(b, "NowPlaying", "Command"), "/usr/local/bin/rds-send -p 2");
         }},
        {"TheSettingsCloseBoxHidesTheForm", "frmAppSettings", Gesture::CloseBox, settingsWindow,
         [](B& b) { b.closeWindow("frmAppSettings"); },
         [](B& b) { EXPECT_FALSE(b.c().ui.settings.frmAppSettings.visible); }},
        // --- Rotation Scheduler
        {"APressOnACellWritesTheChosenList", "frmSchedule.pctSchedule", Gesture::LeftClick,
         scheduler,
         [](B& b) {
             const double half = autodj::kScheduleCellSize / 2.0;
             b.clickIn("frmSchedule.pctSchedule", QPointF(autodj::scheduleCellLeft(3) + half,
                                                          autodj::scheduleCellTop(2) + half));
         },
         [](B& b) { EXPECT_EQ(cell(b, 2, 3), "Demo.rot"); }},
        {"AMoveWithTheButtonHeldPaintsTheCellsCrossed", "frmSchedule.pctSchedule",
         Gesture::HeldMove, scheduler, [](B& b) { b.slide("frmSchedule.pctSchedule", 0.02, 0.98); },
         [](B& b) {
             const int painted = cellsNaming(b, "Demo.rot");
             EXPECT_GE(painted, 5) << "a stroke across the week paints a row of cells";
         }},
        {"AListCarriedOntoACellIsWrittenThere", "frmSchedule.lstRotationOrList", Gesture::RowDrag,
         scheduler,
         [](B& b) { b.dragRow("frmSchedule.lstRotationOrList", 0, "frmSchedule.pctSchedule"); },
         [](B& b) {
             const int painted = cellsNaming(b, "Demo.rot");
             EXPECT_EQ(painted, 1) << "written where it is let go, nowhere on the way";
         }},
        {"AListClickedIsTheOneThatPaints", "frmSchedule.lstRotationOrList", Gesture::RowClick,
         [](B& b) {
             desk::press(b.c(), "cmdRotationSchedule");
             b.show("frmSchedule");
         },
         [](B& b) { b.clickRow("frmSchedule.lstRotationOrList", 0); },
         [](B& b) { EXPECT_EQ(b.c().ui.schedule.lstRotationOrList.listIndex, 0); }},
        {"TheSchedulerCloseBoxHidesIt", "frmSchedule", Gesture::CloseBox, scheduler,
         [](B& b) { b.closeWindow("frmSchedule"); },
         [](B& b) { EXPECT_FALSE(b.c().ui.schedule.frmSchedule.visible); }},
        // --- Song Statistics
        {"ACategoryRowClickedTogglesItsTick", "frmStatistics.lstCatagories", Gesture::RowClick,
         statistics, [](B& b) { b.clickRow("frmStatistics.lstCatagories", 1); },
         [](B& b) { EXPECT_TRUE(b.c().ui.statistics.lstCatagories.items.at(1).selected); }},
        {"ReportFillsTheGridWithTheTickedCategories", "frmStatistics.cmdRunReport",
         Gesture::LeftClick,
         [](B& b) {
             statistics(b);
             desk::select(b.c(), "frmStatistics.lstCatagories", 0);
         },
         [](B& b) { b.click("frmStatistics.cmdRunReport"); },
         [](B& b) {
             EXPECT_TRUE(
                 b.waitFor([&] { return b.c().ui.statistics.lstSongList.rowCount() >= 3; }));
         }},
        {"TheStatisticsCloseBoxHidesIt", "frmStatistics", Gesture::CloseBox, statistics,
         [](B& b) { b.closeWindow("frmStatistics"); },
         [](B& b) { EXPECT_FALSE(b.c().ui.statistics.frmStatistics.visible); }},
        // --- Library Update
        {"LibraryUpdateClosedStaysClosedForTheJobsUnderWay", "frmStatus", Gesture::CloseBox,
         [](B& b) {
             core::ShowStatus(b.c(), 0.3);
             b.show("frmStatus");
         },
         [](B& b) { b.closeWindow("frmStatus"); },
         [](B& b) {
             EXPECT_FALSE(b.c().ui.status.frmStatus.visible);
             core::ShowStatus(b.c(), 0.6);  // the job goes on
             b.station().statusWindow().follow();
             EXPECT_FALSE(b.station().statusWindow().isVisible()) << "it did not come back";
             desk::press(b.c(), "cmdTrackList");
             desk::press(b.c(), "cmdCalculate");  // a job the operator starts shows again
             b.station().statusWindow().follow();
             EXPECT_TRUE(b.station().statusWindow().isVisible());
         }},
        // --- the name dialog (frmDialog), answered with the operator's hands
        {"TheNameDialogsFieldClearsItsHintAndReturnCreates", "frmDialog.txtInputData",
         Gesture::ReturnKey, [](B& b) { b.answer("typed:Late Show"); },
         [](B& b) { b.click("cmdNewRotation"); },
         [](B& b) {
             EXPECT_EQ(b.fieldAfterClick(), "") << "the click cleared \"Enter Name Here\"";
             EXPECT_TRUE(fs::exists(b.folder() / "Rotations/Late Show.rot"));
         }},
        {"TheNameDialogsCreateButtonCreates", "frmDialog.cmdCreate", Gesture::LeftClick,
         [](B& b) { b.answer("create:Night"); }, [](B& b) { b.click("cmdNewRotation"); },
         [](B& b) {
             EXPECT_EQ(b.pressedButton(), "Create Rotation");
             EXPECT_TRUE(fs::exists(b.folder() / "Rotations/Night.rot"));
         }},
        {"TheNameDialogsCancelCreatesNothing", "frmDialog.cmdCancel", Gesture::LeftClick,
         [](B& b) { b.answer("cancel"); }, [](B& b) { b.click("cmdNewRotation"); },
         [](B& b) {
             EXPECT_EQ(b.pressedButton(), "Cancel");
             int rotations = 0;
             for (const auto& f : fs::directory_iterator(b.folder() / "Rotations")) {
                 rotations += f.path().extension() == ".rot";
             }
             EXPECT_EQ(rotations, 1);
         }},
        {"TypingInTheNameDialogsField", "frmDialog.txtInputData", Gesture::Typing,
         [](B& b) { b.answer("typed:Typed Name"); }, [](B& b) { b.click("cmdNewRotation"); },
         [](B& b) { EXPECT_TRUE(fs::exists(b.folder() / "Rotations/Typed Name.rot")); }},
    };
    for (const auto& [box, type] :
         std::vector<std::pair<std::string, int>>{{"txtServer", 5},
                                                  {"txtPortNumber", 5},
                                                  {"txtMountPoint", 5},
                                                  {"txtStationID", 2},
                                                  {"txtName", 5},
                                                  {"txtURL", 5},
                                                  {"txtGenre", 5},
                                                  {"txtDescription", 5}}) {
        rows.push_back(castTypingRow(box, type));
    }
    for (int i = 0; i < 3; ++i) {
        const std::string option = "frmCast.Options(" + std::to_string(i) + ")";
        rows.push_back(
            {"FormatButton" + std::to_string(i) + "IsTheOneChosen", option, Gesture::LeftClick,
             [i](B& b) {
                 castEncoderTwo(b);
                 desk::press(b.c(), "frmCast.Options(" + std::to_string((i + 1) % 3) + ")");
             },
             [option](B& b) { b.click(option); },
             [i](B& b) {
                 for (int j = 0; j < 3; ++j) {
                     EXPECT_EQ(b.c().ui.cast.Options[static_cast<std::size_t>(j)].value,
                               j == i ? 1 : 0);
                 }
                 EXPECT_EQ(b.c().ui.cast.cmdSave.caption, "Save");
             }});
    }
    for (int i = 0; i < core::kEncoderCount; ++i) {
        const std::string button = "frmCast.cmdEncoders(" + std::to_string(i) + ")";
        rows.push_back({"EncoderButton" + std::to_string(i + 1) + "ShowsItsProfile", button,
                        Gesture::LeftClick, castWindow, [button](B& b) { b.click(button); },
                        [i](B& b) {
                            EXPECT_EQ(b.c().cast->selectedEncoder, i + 1);
                            EXPECT_EQ(b.c().ui.cast.chkEnableEncoder.visible, i != 0);
                        }});
    }
    return rows;
}

}  // namespace tw::test
