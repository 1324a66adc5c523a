#include "core/console.h"

namespace tw::core {

Console::Console(std::string appFolder, Services services)
    : AppFolder(std::move(appFolder)), svc(services) {
    auto& m = ui.main;
    m.frmTarnDesk.caption = "TarnWave Internet Radio Automation Software";
    m.cmdAutoManual.caption = kAutomated;
    m.cmdPausePlay1.caption = "Pause";
    m.cmdPausePlay2.caption = "Pause";
    m.cmdPausePlay1.backColor = 0;
    m.cmdPausePlay2.backColor = 0;
    m.cmdEject1.caption = "Eject";
    m.cmdEject2.caption = "Eject";
    m.cmdFadeOut1.caption = "Fade";
    m.cmdFadeOut2.caption = "Fade";
    m.cmdMute.caption = "Mute";
    m.cmdMute.backColor = 0xFFFFFF;
    m.cmdPlayActiveSong.caption = "Play";
    m.cmdPlayActiveSong.backColor = 0xFFFFFF;
    m.cmdHelp.caption = "Help";
    m.cmdProgramSettings.caption = "Options";
    m.cmdPlayOver.caption = "Sweeper";
    m.cmdCompressor.caption = "Processing";
    m.chkEFX.caption = "EFX";
    m.cmdRecord.caption = "Record";
    m.cmdSendMessage.caption = "Send";
    m.cmdSayIt.caption = "Say It";
    m.cmdUpdateTag.caption = "Update MP3 Tag";
    m.cmdCalculate.caption = "Calculate";
    m.cmdSaveDownloadSheet.caption = "Download Sheet";
    m.lblTimeLeft1.caption = "00:00.0";
    m.lblTimeLeft2.caption = "00:00.0";
    m.lblListerners.caption = "0";
    m.lblShowData.visible = false;
    m.txtSearch.text = "Type Search Here";
    m.chkEnableSchedule.caption = "Enable Schedule";
    m.chkEnableSchedule.toolTip =
        "This will enable the schedule and Change rotations according to schedule.";
    m.cmdDefaultSweeper.toolTip =
        "Default Sweeper That will play if none is selected in the song. Select sweeper, then "
        "press here to set.";
    m.lblSweepId.toolTip = "Sweeper ID Number";
    m.cmboSweeperList.toolTip = "Sweeper List";
    for (auto& b : m.cmdSampler) {
        b.toolTip = "Drag and Drop Sample Files Here, Use F1 to F8 on Keyboard for shortcuts.";
    }
    m.optSamplerMode[0].caption = "Live";
    m.optSamplerMode[1].caption = "Preview";
    m.optSamplerMode[2].caption = "Move to Player";
    m.optSamplerMode[0].value = 1;
    m.frmMoreInfo.visible = false;
    m.fadeTimer.interval = 1;
    m.fadeTimer.enabled = false;
    m.tmrPreviewUpdate.interval = 100;
    m.tmrPreviewUpdate.enabled = true;
    m.dirList.visible = false;
    m.lstPlaylist1.visible = false;
    m.fileList.visible = false;
    m.fileList1.visible = false;
    m.flRotations.visible = false;
    m.flPlaylists.visible = false;
    m.fileList.pattern = "*.mp3";
    m.fileList1.pattern = "*.mp3";
    m.flRotations.pattern = "*.rot";
    m.flPlaylists.pattern = "*.pls";
    m.flSweepers.pattern = "*.*";

    ui.status.frmStatus.caption = "Library Update";
    ui.status.frmStatus.visible = false;
    ui.dialog.frmDialog.visible = false;
    ui.cast.frmCast.caption = "Shoutcast/Icecast Server Settings";
    ui.cast.frmCast.visible = false;
    ui.settings.frmAppSettings.caption = "TarnWave Settings";
    ui.settings.frmAppSettings.visible = false;
    ui.schedule.frmSchedule.caption = "Rotation Scheduler";
    ui.schedule.frmSchedule.visible = false;
    ui.statistics.frmStatistics.caption = "Song Statistics";
    ui.statistics.frmStatistics.visible = false;
    ui.statistics.lstSongList.columns = {"Catagory", "Track Name", "Playcount", "TuneOuts",
                                         "Percentage"};
    ui.statistics.flSongs.visible = false;
}

Console::~Console() = default;

}  // namespace tw::core
