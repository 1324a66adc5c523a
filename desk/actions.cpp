#include "desk/actions.h"

#include <algorithm>
#include <functional>
#include <map>

#include "autodj/library.h"
#include "autodj/library_jobs.h"
#include "autodj/loudness.h"
#include "autodj/planner.h"
#include "autodj/rotations.h"
#include "autodj/schedule.h"
#include "autodj/track_details.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "desk/cast_actions.h"
#include "desk/console_layout.h"
#include "desk/playlist_actions.h"
#include "liveassist/loudness_settings.h"
#include "liveassist/microphone.h"
#include "liveassist/sampler.h"
#include "liveassist/settings_panel.h"
#include "liveassist/speech.h"
#include "liveassist/sweepers.h"
#include "liveassist/voice_tracks.h"
#include "playout/manual_transport.h"
#include "playout/preview.h"
#include "playout/progress_bars.h"
#include "reporting/download_sheet.h"
#include "reporting/statistics.h"
#include "tags/cue_data.h"
#include "web/status_settings.h"

namespace tw::desk {

namespace {

using PressAction = std::function<void(core::Console&, MouseButton, double x)>;

// The track list screen. Opened while no category is chosen, it shows the first one's tracks
// rather than an empty list.
void openTrackList(core::Console& c) {
    showPanel(c, 1);
    auto& categories = c.form().lstPlaylists;
    if (categories.listIndex < 0 && categories.listCount() > 0) {
        categories.listIndex = 0;
        autodj::lstPlaylists_Click(c, 0);
    }
}

// A cue point's label marks it: the right button clears it.
PressAction markAction(autodj::CuePoint point) {
    return [point](core::Console& c, MouseButton b, double) {
        autodj::markCuePoint(c, point, b == MouseButton::Right);
    };
}

PressAction twoBoxAction(std::string_view field, int index) {
    return [field, index](core::Console& c, MouseButton, double) {
        liveassist::twoBoxField_Click(c, field, index);
    };
}

PressAction samplerModeAction(int index) {
    return [index](core::Console& c, MouseButton, double) {
        liveassist::optSamplerMode_Click(c, index);
    };
}

const std::map<std::string, PressAction, std::less<>>& pressActions() {
    static const std::map<std::string, PressAction, std::less<>> actions = {
        {"cmdAutoManual",
         [](core::Console& c, MouseButton, double) { playout::cmdAutoManual_Click(c); }},
        {"cmdSkipNow", [](core::Console& c, MouseButton, double) { playout::cmdSkipNow_Click(c); }},
        {"cmdPausePlay1", [](core::Console& c, MouseButton, double) { playout::pausePlay(c, 1); }},
        {"cmdPausePlay2", [](core::Console& c, MouseButton, double) { playout::pausePlay(c, 2); }},
        {"cmdEject1", [](core::Console& c, MouseButton, double) { playout::eject(c, 1); }},
        {"cmdEject2", [](core::Console& c, MouseButton, double) { playout::eject(c, 2); }},
        {"cmdFadeOut1", [](core::Console& c, MouseButton, double) { playout::fadeOut(c, 1); }},
        {"cmdFadeOut2", [](core::Console& c, MouseButton, double) { playout::fadeOut(c, 2); }},
        {"cmdPlayer1Pick",
         [](core::Console& c, MouseButton, double) { autodj::loadNextSong(c, 0); }},
        {"cmdPlayer2Pick",
         [](core::Console& c, MouseButton, double) { autodj::loadNextSong(c, 0); }},
        {"cmdMute", [](core::Console& c, MouseButton, double) { playout::cmdMute_Click(c); }},
        {"pctPlayer1",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 playout::seekPlayer(c, 1, x);
             }
         }},
        {"pctPlayer2",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 playout::seekPlayer(c, 2, x);
             }
         }},
        {"lstPlaylist",
         [](core::Console& c, MouseButton, double x) {
             // The grid's columns share its width equally, as the view draws them.
             const auto& grid = c.form().lstPlaylist;
             const int columns = std::max<int>(1, static_cast<int>(grid.columns.size()));
             const double width = grid.rect.width > 0 ? grid.rect.width : 1;
             const int column = std::clamp(static_cast<int>(x / (width / columns)), 0, columns - 1);
             autodj::lstPlaylist_MouseDown(c, column);
             autodj::lstPlaylist_MouseUp(c);
         }},
        {"cmdNewRotation",
         [](core::Console& c, MouseButton, double) { autodj::cmdNewRotation_Click(c); }},
        {"cmdTrackList", [](core::Console& c, MouseButton, double) { openTrackList(c); }},
        {"cmdRotationList", [](core::Console& c, MouseButton, double) { showPanel(c, 2); }},
        {"cmdPlaylistBuilder", [](core::Console& c, MouseButton, double) { showPanel(c, 3); }},
        {"cmdAddPlayList",
         [](core::Console& c, MouseButton, double) {
             openTrackList(c);
             autodj::createCatagory(c);
         }},
        {"cmdCalculate",
         [](core::Console& c, MouseButton, double) {
             core::reopenStatus(c);
             autodj::cmdCalculate_Click(c);
         }},
        {"pctAddSongs",
         [](core::Console& c, MouseButton, double) {
             core::reopenStatus(c);
             autodj::pctAddSongs_Click(c);
         }},
        {"cmdSearch", [](core::Console& c, MouseButton, double) { autodj::cmdSearch_Click(c); }},
        {"cmdPlayOver",
         [](core::Console& c, MouseButton, double) { liveassist::cmdPlayOver_Click(c); }},
        {"cmdDefaultSweeper",
         [](core::Console& c, MouseButton, double) { liveassist::cmdDefaultSweeper_Click(c); }},
        {"cmdViewStatistics",
         [](core::Console& c, MouseButton, double) { reporting::cmdViewStatistics_Click(c); }},
        {"frmStatistics.cmdRunReport",
         [](core::Console& c, MouseButton, double) { reporting::cmdRunReport_Click(c); }},
        {"cmdSaveDownloadSheet",
         [](core::Console& c, MouseButton, double) { reporting::cmdSaveDownloadSheet_Click(c); }},
        {"cmdUpdateTag",
         [](core::Console& c, MouseButton, double) { autodj::cmdUpdateTag_Click(c); }},
        {"cmdPlayActiveSong",
         [](core::Console& c, MouseButton, double) { playout::cmdPlayActiveSong_Click(c); }},
        {"cmdArtistSongAlbum",
         [](core::Console& c, MouseButton, double) { autodj::showDetailsPage(c, false); }},
        {"cmdMoreInfo",
         [](core::Console& c, MouseButton, double) { autodj::showDetailsPage(c, true); }},
        {"cmdMic", [](core::Console& c, MouseButton b,
                      double) { liveassist::cmdMic_MouseDown(c, b == MouseButton::Left); }},
        {"cmdCompressor",
         [](core::Console& c, MouseButton, double) { liveassist::cmdCompressor_Click(c); }},
        {"chkEFX",
         [](core::Console& c, MouseButton, double) {
             auto& box = c.form().chkEFX;
             box.value = box.value ? 0 : 1;
             liveassist::chkEFX_Click(c);
         }},
        {"picLevelBar(0)",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 playout::picLevelBar_MouseDown(c, 0, x);
             }
         }},
        {"picLevelBar(1)",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 playout::picLevelBar_MouseDown(c, 1, x);
             }
         }},
        {"pctMainVolume",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 liveassist::pctMainVolume_MouseMove(c, x);
             }
         }},
        {"pctPreviewPlayer",
         [](core::Console& c, MouseButton b, double x) {
             if (b == MouseButton::Left) {
                 playout::seekPreview(c, x);
             }
         }},
        {"clkDelTrack",
         [](core::Console& c, MouseButton, double) { autodj::deleteSelectedTracks(c); }},
        {"cmdRecord",
         [](core::Console& c, MouseButton, double) { liveassist::cmdRecord_Click(c); }},
        {"cmdVoiceTrack",
         [](core::Console& c, MouseButton b, double) {
             liveassist::cmdVoiceTrack_MouseDown(c, b == MouseButton::Left);
         }},
        {"optSamplerMode(0)", samplerModeAction(0)},
        {"optSamplerMode(1)", samplerModeAction(1)},
        {"optSamplerMode(2)", samplerModeAction(2)},
        {"cmdSayIt", [](core::Console& c, MouseButton,
                        double) { liveassist::sayText(c, c.form().txtSendText.text); }},
        {"cmdProgramSettings",
         [](core::Console& c, MouseButton, double) {
             liveassist::cmdProgramSettings_Click(c);
             web::fillWebStatusSettings(c);
         }},
        {"frmAppSettings.txtCrossfadeSeconds(0)", twoBoxAction("txtCrossfadeSeconds", 0)},
        {"frmAppSettings.txtCrossfadeSeconds(1)", twoBoxAction("txtCrossfadeSeconds", 1)},
        {"frmAppSettings.txtSilenceSeconds(0)", twoBoxAction("txtSilenceSeconds", 0)},
        {"frmAppSettings.txtSilenceSeconds(1)", twoBoxAction("txtSilenceSeconds", 1)},
        {"frmAppSettings.chkEnableAutoTrim",
         [](core::Console& c, MouseButton, double) {
             auto& box = c.ui.settings.chkEnableAutoTrim;
             box.value = box.value ? 0 : 1;
             liveassist::chkEnableAutoTrim_Click(c);
         }},
        {"frmAppSettings.cmdViewAppLog",
         [](core::Console& c, MouseButton, double) { liveassist::cmdViewAppLog_Click(c); }},
        {"frmAppSettings.cmdViewPlayedLog",
         [](core::Console& c, MouseButton, double) { liveassist::cmdViewPlayedLog_Click(c); }},
        {"frmAppSettings.cmdResetPlayed",
         [](core::Console& c, MouseButton, double) { liveassist::cmdResetPlayed_Click(c); }},
        {"frmAppSettings.cmdWriteReplayGain",
         [](core::Console& c, MouseButton, double) { autodj::cmdWriteReplayGain_Click(c); }},
        {"frmAppSettings.cmdRefreshMicList",
         [](core::Console& c, MouseButton, double) { liveassist::cmdRefreshMicList_Click(c); }},
        {"lblSweepStart", markAction(autodj::CuePoint::Sweep)},
        {"lblIntroUntil", markAction(autodj::CuePoint::IntroEnd)},
        {"lblOutroUntil", markAction(autodj::CuePoint::OutroStart)},
        {"lblNextStart", markAction(autodj::CuePoint::NextStart)},
    };
    return actions;
}

// An element's action as one console event; false when there is no such element.
template <typename Act>
bool onElement(core::Console& c, std::string_view name, Act act) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    act();
    return true;
}

void afterSelect(core::Console& c, std::string_view name, int row) {
    if (name == "flRotations") {
        autodj::flRotations_Click(c);
    } else if (name == "lstRotationOrList") {
        autodj::lstRotationOrList_Click(c);
    } else if (row >= 0 && name == "lstPlaylists") {
        autodj::lstPlaylists_Click(c, row);
    } else if (row >= 0 && name == "lstPlaylist1") {
        autodj::lstPlaylist1_Click(c, row);
    } else if (row >= 0 && name == "lstSongs") {
        autodj::lstSongs_Click(c, row);
        if (c.previewPlayer != 0) {
            playout::previewTrack(c, {});  // a running preview stops with a new choice
        }
    } else if (name == "frmStatistics.lstCatagories") {
        reporting::lstCatagories_Click(c, row);
    } else if (name == "flSweepers") {
        liveassist::flSweepers_Click(c);
    } else if (name == "cmboSweeperList") {
        tags::chooseSweeperRow(c.form().cmboSweeperList, row);
    } else if (name == "frmAppSettings.cboMicDevice") {
        liveassist::cboMicDevice_Click(c);
    } else if (name == "frmAppSettings.cboMicInput") {
        liveassist::cboMicInput_Click(c);
    } else if (name == "frmAppSettings.cboStudioOutput") {
        liveassist::cboStudioOutput_Click(c);
    } else if (name == "frmAppSettings.cboLoudnessTarget") {
        liveassist::cboLoudnessTarget_Click(c);
    }
}

}  // namespace

bool press(core::Console& c, std::string_view name, MouseButton button, double x, double y) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (button == MouseButton::Left && castPress(c, name)) {
        return true;
    }
    if (name == kScheduleGrid) {
        autodj::pctSchedule_MouseDown(c, x, y);
        return true;
    }
    if (button == MouseButton::Left && playlistPress(c, name)) {
        return true;
    }
    if (const int n = liveassist::samplerButton(name); n != 0) {
        if (button == MouseButton::Left) {
            liveassist::cmdSampler_Click(c, n);
        }
        return true;
    }
    const auto& actions = pressActions();
    if (auto it = actions.find(name); it != actions.end()) {
        it->second(c, button, x);
    }
    return true;
}

bool move(core::Console& c, std::string_view name, double x, double y) {
    (void)y;
    return onElement(c, name, [&] {
        // The gain bar and the level bars follow the pointer while the button is held; every
        // other element ignores a move.
        if (name == "pctMainVolume") {
            liveassist::pctMainVolume_MouseMove(c, x);
        } else if (name == "picLevelBar(0)" || name == "picLevelBar(1)") {
            playout::picLevelBar_MouseDown(c, name == "picLevelBar(0)" ? 0 : 1, x);
        }
    });
}

bool release(core::Console& c, std::string_view name) {
    return onElement(c, name, [&] {
        if (name == "cmdPreviewSelected") {
            playout::cmdPreviewSelected_MouseUp(c);
        }
    });
}

bool select(core::Console& c, std::string_view name, int row) {
    core::Element* e = c.ui.find(name);
    if (!e) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (e->kind == core::ElementKind::Grid) {
        if (row < -1 || row >= e->rowCount()) {
            return false;
        }
        e->row = row;
        for (int i = 0; i < e->rowCount(); ++i) {
            e->rows[static_cast<std::size_t>(i)].selected = i == row;
        }
    } else {
        if (row < -1 || row >= e->listCount()) {
            return false;
        }
        e->listIndex = row;
        // A combo box shows the entry chosen in it.
        if (e->kind == core::ElementKind::ComboBox && row >= 0) {
            e->text = e->items[static_cast<std::size_t>(row)].text;
        }
    }
    if (!castSelect(c, name, row) && !playlistSelect(c, name, row)) {
        afterSelect(c, name, row);
    }
    return true;
}

bool keyDown(core::Console& c, std::string_view name, std::string_view key) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (key == "Delete") {
        if (name == "lstPlaylists") {
            autodj::deleteCatagory(c);
        } else if (name == "lstRotation") {
            autodj::deleteRotationRow(c);
        } else if (name == "lstRotationOrList") {
            autodj::deleteRotationOrListItem(c);
        } else if (name == "lstSongs") {
            autodj::deleteSelectedTracks(c);
        } else if (name == "flSweepers") {
            liveassist::flSweepers_Delete(c);
        } else if (const int n = liveassist::samplerButton(name); n != 0) {
            liveassist::cmdSampler_Clear(c, n);
        }
    }
    return true;
}

bool dropFiles(core::Console& c, std::string_view name, const std::vector<std::string>& files) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (name == "fileList") {
        autodj::fileList_DragDrop(c, files);
    } else if (name == "lstSongs") {
        core::reopenStatus(c);
        autodj::lstSongs_DragDrop(c, files);
    } else if (name == "flSweepers") {
        liveassist::flSweepers_DragDrop(c, files);
    } else if (const int n = liveassist::samplerButton(name); n != 0) {
        liveassist::cmdSampler_DropFiles(c, n, files);
    } else {
        playlistDropFiles(c, name, files);
    }
    return true;
}

bool dragElement(core::Console& c, std::string_view source, std::string_view target) {
    core::Element* from = c.ui.find(source);
    if (!from || !c.ui.find(target)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (playlistDrag(c, source, target)) {
        return true;
    }
    if (const int n = liveassist::samplerButton(target); n != 0) {
        if ((source == "lstSongs" || source == "lstBuilderCatagoryList") && from->listIndex >= 0 &&
            from->listIndex < from->listCount()) {
            liveassist::cmdSampler_DragTrack(
                c, n, from->items[static_cast<std::size_t>(from->listIndex)].text);
        }
        return true;
    }
    if (const int n = liveassist::samplerButton(source);
        n != 0 && liveassist::samplePath(c, n) == "none") {
        return true;  // an empty button carries no file
    }
    if (target == "lblplayer1" || target == "lblPlayer2") {
        const int n = target == "lblplayer1" ? 1 : 2;
        if (source == "lstSongs" || source == "lstBuilderCatagoryList") {
            if (from->listIndex >= 0 && from->listIndex < from->listCount()) {
                playout::dropTrackOnPlayer(
                    c, n, from->items[static_cast<std::size_t>(from->listIndex)].text);
            }
        } else if (!from->toolTip.empty() && liveassist::samplerMode(c) == 2) {
            // An element dragged in "Move to Player" mode carries its file as its tool tip.
            playout::dropElementOnPlayer(c, n, from->toolTip);
        }
    }
    return true;
}

bool keyUp(core::Console& c, int keyCode) {
    core::EventScope event(*c.svc.settings);
    constexpr int kF1 = 112, kF8 = 119;
    if (keyCode >= kF1 && keyCode <= kF8) {
        liveassist::cmdSampler_Click(c, keyCode - kF1 + 1);
        return true;
    }
    playout::keyUp(c, keyCode);
    return true;
}

bool slide(core::Console& c, std::string_view name, int value) {
    core::Element* e = c.ui.find(name);
    if (!e || e->kind != core::ElementKind::Slider) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    e->value = std::clamp(value, e->minimum, e->maximum);
    constexpr std::string_view kSettings = "frmAppSettings.";
    if (name.starts_with(kSettings)) {
        liveassist::sliderChanged(c, name.substr(kSettings.size()), value);
    }
    return true;
}

bool type(core::Console& c, std::string_view name, const std::string& text) {
    core::Element* e = c.ui.find(name);
    if (!e) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    e->text = text;
    castTyped(c, name);
    return true;
}

bool doubleClick(core::Console& c, std::string_view name) {
    return onElement(c, name, [&] { castDoubleClick(c, name); });
}

bool enter(core::Console& c, std::string_view name) {
    return onElement(c, name, [&] {
        if (name == "txtSearch") {
            autodj::cmdSearch_Click(c);
        } else if (name == "frmAppSettings.cboLoudnessTarget") {
            liveassist::cboLoudnessTarget_Enter(c);
        } else if (name.starts_with("frmAppSettings.")) {
            web::webStatusBox_Enter(c, name.substr(std::string_view("frmAppSettings.").size()));
        }
    });
}

}  // namespace tw::desk
