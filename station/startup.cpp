#include "station/startup.h"

#include <cerrno>
#include <filesystem>

#include "autodj/library.h"
#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "autodj/planner.h"
#include "autodj/rotations.h"
#include "autodj/schedule.h"
#include "autodj/tag_cache.h"
#include "autodj/tag_fill.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/text.h"
#include "core/unfinished_files.h"
#include "desk/console_layout.h"
#include "desk/size_form_controls.h"
#include "liveassist/loudness_settings.h"
#include "liveassist/sampler.h"
#include "liveassist/settings_panel.h"
#include "liveassist/speech.h"
#include "liveassist/sweepers.h"
#include "liveassist/voice_tracks.h"
#include "playout/engine_setup.h"
#include "playout/player_start.h"
#include "playout/position_monitor.h"
#include "station/web_control.h"
#include "web/status_feed.h"

namespace tw::station {

using namespace core;  // start-up works on the model throughout

namespace {

void makeFolder(const std::string& path) {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) {
        return;
    }
    std::filesystem::create_directories(path, ec);
    if (ec || !std::filesystem::is_directory(path)) {
        throw Failure(kErrPathFileAccess, "Path/File access error");
    }
}

// Step 11: the folders of the station and the lists that show them.
void createFoldersAndLists(core::Console& c) {
    auto& m = c.form();
    struct FolderList {
        const char* tail;
        Element* list;
    };
    const FolderList folders[] = {{"/Music", &m.dirList},
                                  {"/Rotations", &m.flRotations},
                                  {"/Sweepers", &m.flSweepers},
                                  {"/Playlist", &m.flPlaylists}};
    for (const auto& f : folders) {
        const std::string path = c.AppFolder + f.tail;
        makeFolder(path);
        f.list->path = path;
        refreshFileList(*f.list);
    }
    autodj::showplayLists(c);
    autodj::renewRepeatTime(c);
    autodj::showRotationIcons(c);
    liveassist::readDefaultSweeper(c);
}

}  // namespace

void Form_Load(core::Console& c) {
    c.loaded = true;
    try {
        auto& m = c.form();
        // What a killed run was writing (a setting file, a tag, an import, an encoder's output)
        // goes before this run writes anything of its own.
        const int swept = sweepUnfinishedFiles(c.AppFolder);
        logError(c, "TarnWave Starting Before Voice");
        if (swept > 0) {
            logError(c, "TarnWave removed " + std::to_string(swept) +
                            " unfinished files left by an earlier run");
        }
        liveassist::createVoice(c);
        logError(c, "TarnWave Starting After Voice");

        m.frmTarnDesk.caption = "TarnWave Internet Radio Automation Software " + c.version;
        setStatusText(c, "Loading TarnWave");
        c.playerBarWidth = 250;
        c.playerBarHeight = 50;
        desk::recordConsoleLayout(c);
        c.trackList.assign(17, {});

        setStatusText(c, "Loading Settings");
        logError(c, "TarnWave Starting Before loading settings");
        liveassist::readCrossfadeTime(c);
        liveassist::readSilenceTime(c);
        liveassist::readArtistSeperationTime(c);
        c.formScale = 1.0f;

        m.lstRotation.columns = {"Sweeper", "Catagory"};
        m.lstPlaylist.columns = {"Time On", "Track Name", "Length", "Re-Pick"};
        m.lstPlayListBuilder.columns = {"Track Name", "Length", "Time Total"};

        desk::captionPass(c, false);
        createFoldersAndLists(c);
        liveassist::readAutoTrimValues(c);
        liveassist::loadSamples(c);
        liveassist::showSamples(c);
        liveassist::showVoiceTrackState(c);

        logError(c, "TarnWave Starting Before Startserver");
        playout::startServer(c);
        liveassist::applyStudioOutput(c);

        c.recordBuffer.clear();
        c.recordLength = 0;
        c.recordStep = 200000;
        closeStatus(c);
        desk::showPanel(c, 2);
        m.lblPeakListeners.caption = readIni(c, c.appSettingsPath(), "tarnWave", "lastPeak", " 0");
        c.cast->peakShown = m.lblPeakListeners.caption;
        // frmCast is loaded hidden, showing Encoder 1.
        broadcast::loadCastForm(c);
        startWebStatus(c);

        c.positionTimerId = c.svc.loop->startTimer(60, [&c] {
            EventScope event(*c.svc.settings);
            playout::onPositionTimer(c);
        });
        c.tmrCheckPositionBool = true;

        // The schedule's tick as it was left, before the first load asks the schedule.
        autodj::restoreScheduleEnabled(c);
        logError(c, "TarnWave Starting Before Firstload");
        firstLoad(c);
        logError(c, "TarnWave Started");
    } catch (const std::exception& e) {
        const FailureInfo f = describeFailure(e);
        logError(c, "loading Form" + f.description + "  " + std::to_string(f.number) + " " +
                        std::to_string(errno) + " " + f.source);
    }
    // With a loudness target, what the station holds and is not yet known is measured in the
    // background; what plays first was asked for already and goes before it.
    try {
        liveassist::startLoudnessScan(c);
    } catch (const std::exception& e) {
        logError(c, failureText("startLoudnessScan", e));
    }
    // The tags the first picks did not read are read ahead, while the station plays.
    try {
        autodj::startTagFill(c);
    } catch (const std::exception& e) {
        logError(c, failureText("startTagFill", e));
    }
}

void firstLoad(core::Console& c) {
    auto& m = c.form();
    if (m.lstPlaylist1.items.empty()) {
        return;
    }
    const bool scheduled = autodj::checkRotationSchedule(c);
    if (!scheduled) {
        if (m.flRotations.items.empty()) {
            // Selecting the first entry of an empty list is refused as an invalid value.
            throw Failure(380, "Invalid property value");
        }
        m.flRotations.listIndex = 0;
        autodj::flRotations_Click(c);
    }
    if (m.lstRotation.rows.empty()) {
        return;
    }
    if (scheduled) {
        autodj::loadNextSong(c, 0);
        return;
    }
    // One past the last row, so that the first pick wraps to the top.
    m.lstRotation.row = m.lstRotation.rowCount();
    c.rotationPosition = m.lstRotation.rowCount();
    autodj::loadNextSong(c, 0);
    playout::startNExt(c);
    autodj::loadNextSong(c, 0);
}

void Form_Unload(core::Console& c) {
    // The web service's clients are let go first: nothing of the console is told any more.
    web::stopStatusFeed(c);
    autodj::clearPendingPicks(c);
    c.ui.cast.frmCast.visible = false;
    c.ui.settings.frmAppSettings.visible = false;
    c.ui.dialog.frmDialog.visible = false;
    c.ui.schedule.frmSchedule.visible = false;
    c.ui.statistics.frmStatistics.visible = false;
    c.ui.status.frmStatus.visible = false;
    // The capture thread may still be filling the take: it is stopped and kept before its
    // buffer goes, and the voice tracks being encoded are finished.
    liveassist::finishVoiceTracks(c);
    // What was measured is kept; a file under way is left for the next run.
    autodj::stopLoudness(c);
    // The tags read since the last save, so that the next start does not read them again; a
    // fill under way is given up (the next start reads on).
    autodj::stopTagFill(c);
    if (c.library->tagCache) {
        c.library->tagCache->save(-1);
    }
    c.recordBuffer.clear();
    c.recordBuffer.shrink_to_fit();
    c.recordLength = 0;
    c.engine().recordFree();
    // Connects under way end within their time limit; their results are no longer applied.
    c.cast->connects.reset();
    c.engine().free();
    if (c.positionTimerId != 0 && c.svc.loop) {
        c.svc.loop->stopTimer(c.positionTimerId);
    }
    c.positionTimerId = 0;
    setFadeTimerEnabled(c, false);
    logError(c, "TarnWave Unloaded");
    c.form().frmTarnDesk.visible = false;
    c.unloaded = true;
    c.svc.settings->flush();
}

}  // namespace tw::station
