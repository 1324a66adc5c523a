#include "core/console.h"

#include "core/console_ops.h"

namespace tw::core {

namespace {

void slider(Element& e, int minimum, int maximum, const char* toolTip) {
    e.minimum = minimum;
    e.maximum = maximum;
    e.toolTip = toolTip;
}

// The settings window's captions, slider ranges and tool tips. The separation slider carries the
// silence text as its tool tip, as it always has.
void describeSettingsForm(SettingsForm& s) {
    constexpr auto kSilenceTip = "Set Both Values to Zero to Disable Silence Detection";
    s.frmCrossFadeTime.caption = "CrossFade Time";
    slider(s.sldCrossfadeSeconds, 0, 10,
           "Set Both Values to Zero to Disable Crossfading Detection");
    s.lblPeriod.caption = ".";
    s.frmSilenceDetection.caption = "Low Volume Detection";
    slider(s.sldrSilenceValue, 0, 10, kSilenceTip);
    s.frmArtistSeperation.caption = "Set Artist Seperation";
    s.txtArtistSeperation.text = "00.00";
    slider(s.sldrArtistSeperation, 1, 600, kSilenceTip);
    s.lblArtistSepperationText.caption =
        "This Setting will ensure Tracks By the same Artist are seperated by at least the set "
        "amount of time";
    s.Frame1.caption = "Auto Track Trim / Auto NextStart";
    s.chkEnableAutoTrim.caption = "Auto Trim";
    slider(s.sldrTrimThreshold, 1, 60, "Sets the threshold for the Auto Trim Feature");
    s.lblTrimThreshold.caption = "-10db";
    s.frmResetPlayeData.caption = "View/Reset Playlist Data";
    s.cmdViewAppLog.caption = "View App Log";
    s.cmdViewPlayedLog.caption = "View Played Log";
    s.cmdResetPlayed.caption = "Reset Play Times";
    s.frmMicrophone.caption = "Select Microphone or Sound Input Card";
    s.cmdRefreshMicList.caption = "Refresh";
    s.frmStudioOutput.caption = "Preview Output (Studio)";
    s.cboStudioOutput.toolTip =
        "The card the previews and studio samples play on; the air's monitor stays on the main "
        "card";
    s.frmLoudness.caption = "Loudness on the Air";
    s.cboLoudnessTarget.toolTip =
        "Every track, sweeper, sample and voice track played at this loudness (EBU R128); type a "
        "level and press Return, or choose Off";
    s.cmdWriteReplayGain.caption = "Write ReplayGain Tags";
    s.cmdWriteReplayGain.toolTip =
        "Writes the measured loudness into the files' tags, for other players";
    s.frmWebStatus.caption = "Web Status and Now Playing";
    s.txtWebPort.toolTip =
        "The port of the status page and the now-playing service; empty or 0: off. Press Return";
    s.txtWebAddress.toolTip =
        "The address it listens on: 127.0.0.1 is this computer only. Press Return";
    s.txtWebToken.toolTip =
        "The word that lets the station's scripts press NEXT, change the mode and send a "
        "message; empty: no control. Press Return";
    s.txtNowPlayingCommand.toolTip =
        "A program run at every start with the artist, the title and the length in seconds; "
        "no shell. Press Return";
    for (Element* box :
         {&s.txtWebPort, &s.txtWebAddress, &s.txtWebToken, &s.txtNowPlayingCommand}) {
        box->backColor = 0xFFFFFF;
    }
    for (Element& box : s.txtCrossfadeSeconds) {
        box.backColor = 0xFFFFFF;
    }
    for (Element& box : s.txtSilenceSeconds) {
        box.backColor = 0xFFFFFF;
    }
}

}  // namespace

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
    // The cue marks: a press marks the preview's place, the right button clears it.
    m.lblSweepStart.caption = "Sweep Start";
    m.lblIntroUntil.caption = "Intro Until";
    m.lblOutroUntil.caption = "Outro Until";
    m.lblNextStart.caption = "Next Start";
    m.cmboSweeperList.toolTip = "Sweeper List";
    for (auto& b : m.cmdSampler) {
        b.toolTip = "Drag and Drop Sample Files Here, Use F1 to F8 on Keyboard for shortcuts.";
    }
    m.optSamplerMode[0].caption = "Live";
    m.optSamplerMode[1].caption = "Preview";
    m.optSamplerMode[2].caption = "Move to Player";
    m.optSamplerMode[0].value = 1;
    m.frmMoreInfo.visible = false;
    // The track list's menu, popped up by the right button; it stands nowhere on the form.
    m.clkDelTrack.caption = "Move Selected Tracks to the Trash";
    m.clkDelTrack.visible = false;
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
    describeSettingsForm(ui.settings);
    ui.schedule.frmSchedule.caption = "Rotation Scheduler";
    ui.schedule.frmSchedule.visible = false;
    ui.statistics.frmStatistics.caption = "Song Statistics";
    ui.statistics.frmStatistics.visible = false;
    ui.statistics.lstSongList.columns = {"Catagory", "Track Name", "Playcount", "TuneOuts",
                                         "Percentage"};
    ui.statistics.flSongs.visible = false;
    if (svc.settings) {
        svc.settings->onWriteFailure(
            [this](const std::string& path, int err) { noteWriteFailure(*this, path, err); });
        svc.settings->onMadePrivate([this](const std::string& path, mode_t oldMode) {
            noteMadePrivate(*this, path, oldMode);
        });
    }
}

Console::~Console() {
    if (svc.settings) {
        svc.settings->onWriteFailure({});
        svc.settings->onMadePrivate({});
    }
}

}  // namespace tw::core
