#pragma once
// The console's windows and their elements, by name. Each window is a struct with one Element per
// named element; find() reaches an element by its name ("cmdSkipNow", "cmdSampler(3)") for the
// simulator's scripts and the view.
//
// Thread contract: console thread only.

#include <array>
#include <string_view>
#include <vector>

#include "core/surface.h"

namespace tw::core {

// X(name, kind) for single elements; A(name, kind, first index, count) for element arrays, which
// are named "name(index)".
#define TW_MAIN_FORM_ELEMENTS(X, A)       \
    X(frmTarnDesk, Form)                  \
    X(cmdAutoManual, Button)              \
    X(cmdSkipNow, PictureButton)          \
    X(cmdPausePlay1, Button)              \
    X(cmdPausePlay2, Button)              \
    X(cmdEject1, Button)                  \
    X(cmdEject2, Button)                  \
    X(cmdFadeOut1, Button)                \
    X(cmdFadeOut2, Button)                \
    X(cmdPlayer1Pick, Button)             \
    X(cmdPlayer2Pick, Button)             \
    X(cmdPlayActiveSong, Button)          \
    X(cmdMute, Button)                    \
    X(cmdPreviewSelected, PictureButton)  \
    X(cmdOnAir, PictureButton)            \
    X(cmdNewRotation, PictureButton)      \
    X(cmdRotationSchedule, PictureButton) \
    X(cmdArtistSongAlbum, PictureButton)  \
    X(cmdMoreInfo, PictureButton)         \
    X(cmdAddPlayList, PictureButton)      \
    X(cmdSearch, PictureButton)           \
    X(cmdSettings, PictureButton)         \
    X(cmdLoadPlaylist, PictureButton)     \
    X(cmdSavePlaylist, PictureButton)     \
    X(cmdResetPlaylist, PictureButton)    \
    X(cmdDeleteItem, PictureButton)       \
    X(cmdViewStatistics, PictureButton)   \
    X(cmdMic, PictureButton)              \
    X(cmdTrackList, PictureButton)        \
    X(cmdRotationList, PictureButton)     \
    X(cmdPlaylistBuilder, PictureButton)  \
    X(cmdHelp, Button)                    \
    X(cmdProgramSettings, Button)         \
    X(cmdPlayOver, Button)                \
    X(cmdDefaultSweeper, PictureButton)   \
    X(cmdCompressor, Button)              \
    X(cmdRecord, Button)                  \
    X(cmdVoiceTrack, PictureButton)       \
    X(cmdSendMessage, Button)             \
    X(cmdSayIt, Button)                   \
    X(cmdUpdateTag, Button)               \
    X(cmdCalculate, Button)               \
    X(cmdSaveDownloadSheet, Button)       \
    X(pctAddSongs, PictureButton)         \
    X(lblplayer1, PictureButton)          \
    X(lblPlayer2, PictureButton)          \
    A(cmdSampler, PictureButton, 1, 10)   \
    X(lblTimeLeft1, Label)                \
    X(lblTimeLeft2, Label)                \
    X(lblDateTime, Label)                 \
    X(lblListerners, Label)               \
    X(lblPeakListeners, Label)            \
    X(lblListInfo, Label)                 \
    X(lblLoudnessInfo, Label)             \
    X(lblShowData, Label)                 \
    X(lblSweepStart, Label)               \
    X(lblIntroUntil, Label)               \
    X(lblOutroUntil, Label)               \
    X(lblNextStart, Label)                \
    X(lblSweepId, Label)                  \
    X(lblLastPlayed, Label)               \
    X(pctPlayer1, Picture)                \
    X(pctPlayer2, Picture)                \
    X(pctPreviewPlayer, Picture)          \
    X(pctMarkers1, Picture)               \
    X(pctMarkers2, Picture)               \
    X(pctPreviewMarkers, Picture)         \
    A(picLevelBar, Picture, 0, 2)         \
    X(picMicLevel, Picture)               \
    X(pctMainVolume, Picture)             \
    X(lstPlaylists, ListBox)              \
    X(lstPlaylist1, ListBox)              \
    X(lstSongs, ListBox)                  \
    X(lstBuilderCatagoryList, ListBox)    \
    X(lstRotationOrList, ListBox)         \
    X(dirList, DirList)                   \
    X(fileList, FileList)                 \
    X(fileList1, FileList)                \
    X(flRotations, FileList)              \
    X(flPlaylists, FileList)              \
    X(flSweepers, FileList)               \
    X(lstRotation, Grid)                  \
    X(lstPlaylist, Grid)                  \
    X(lstPlayListBuilder, Grid)           \
    X(txtSearch, TextBox)                 \
    X(txtSendText, TextBox)               \
    X(txtArtistName, TextBox)             \
    X(txtSongName, TextBox)               \
    X(txtGenre, TextBox)                  \
    X(txtAlbum, TextBox)                  \
    X(txtSongYear, TextBox)               \
    X(txtComposer, TextBox)               \
    X(txtPublisher, TextBox)              \
    X(txtRecordLabel, TextBox)            \
    X(txtSweeper, TextBox)                \
    X(txtIntroUntil, TextBox)             \
    X(txtOutro, TextBox)                  \
    X(txtNextStart, TextBox)              \
    X(cmboSweeperList, ComboBox)          \
    X(chkEnableSchedule, CheckBox)        \
    X(chkEFX, CheckBox)                   \
    A(optSamplerMode, OptionButton, 0, 3) \
    X(frmTrackList, Frame)                \
    X(frmRotationList, Frame)             \
    X(frmPlaylistBuilder, Frame)          \
    X(frmNameTitleArtist, Frame)          \
    X(frmMoreInfo, Frame)                 \
    X(clkDelTrack, Menu)                  \
    X(fadeTimer, Timer)                   \
    X(tmrPreviewUpdate, Timer)

#define TW_STATUS_FORM_ELEMENTS(X, A) \
    X(frmStatus, Form)                \
    X(pctStatus, Picture)             \
    X(lblProgress, Label)

#define TW_DIALOG_FORM_ELEMENTS(X, A) \
    X(frmDialog, Form)                \
    X(lblExplanation, Label)          \
    X(txtInputData, TextBox)          \
    X(cmdCreate, Button)              \
    X(cmdCancel, Button)

#define TW_CAST_FORM_ELEMENTS(X, A)      \
    X(frmCast, Form)                     \
    A(cmdEncoders, PictureButton, 0, 12) \
    X(frameServer, Frame)                \
    X(cmboServerType, ComboBox)          \
    X(txtServer, TextBox)                \
    X(txtPassword, TextBox)              \
    X(txtPortNumber, TextBox)            \
    X(txtStationID, TextBox)             \
    X(txtMountPoint, TextBox)            \
    X(txtName, TextBox)                  \
    X(txtURL, TextBox)                   \
    X(txtGenre, TextBox)                 \
    X(txtDescription, TextBox)           \
    X(chkReconnect, CheckBox)            \
    X(chkPublic, CheckBox)               \
    X(chkEnableEncoder, CheckBox)        \
    X(cmbBitrate, ComboBox)              \
    A(Options, OptionButton, 0, 3)       \
    X(lblMount, Label)                   \
    X(lblSid, Label)                     \
    X(lblShowStatus, Label)              \
    X(btnStart, Button)                  \
    X(cmdKickSource, Button)             \
    X(cmdSave, PictureButton)

#define TW_SETTINGS_FORM_ELEMENTS(X, A)   \
    X(frmAppSettings, Form)               \
    X(frmCrossFadeTime, Frame)            \
    A(txtCrossfadeSeconds, TextBox, 0, 2) \
    X(sldCrossfadeSeconds, Slider)        \
    X(lblPeriod, Label)                   \
    X(frmSilenceDetection, Frame)         \
    A(txtSilenceSeconds, TextBox, 0, 2)   \
    X(sldrSilenceValue, Slider)           \
    X(frmArtistSeperation, Frame)         \
    X(txtArtistSeperation, TextBox)       \
    X(sldrArtistSeperation, Slider)       \
    X(lblArtistSepperationText, Label)    \
    X(Frame1, Frame)                      \
    X(chkEnableAutoTrim, CheckBox)        \
    X(sldrTrimThreshold, Slider)          \
    X(lblTrimThreshold, Label)            \
    X(frmResetPlayeData, Frame)           \
    X(cmdViewAppLog, Button)              \
    X(cmdViewPlayedLog, Button)           \
    X(cmdResetPlayed, Button)             \
    X(frmMicrophone, Frame)               \
    X(cboMicDevice, ComboBox)             \
    X(cboMicInput, ComboBox)              \
    X(cmdRefreshMicList, Button)          \
    X(frmStudioOutput, Frame)             \
    X(cboStudioOutput, ComboBox)          \
    X(frmLoudness, Frame)                 \
    X(cboLoudnessTarget, ComboBox)        \
    X(lblLoudnessProgress, Label)         \
    X(cmdWriteReplayGain, Button)         \
    X(frmWebStatus, Frame)                \
    X(txtWebPort, TextBox)                \
    X(txtWebAddress, TextBox)             \
    X(txtWebToken, TextBox)               \
    X(txtNowPlayingCommand, TextBox)      \
    X(lblWebStatusUrl, Label)

#define TW_SCHEDULE_FORM_ELEMENTS(X, A) \
    X(frmSchedule, Form)                \
    X(pctSchedule, Picture)             \
    X(lstRotationOrList, ListBox)       \
    X(flRotations, FileList)            \
    X(flPlaylists, FileList)

#define TW_STATISTICS_FORM_ELEMENTS(X, A) \
    X(frmStatistics, Form)                \
    X(lstCatagories, ListBox)             \
    X(flSongs, FileList)                  \
    X(cmdRunReport, PictureButton)        \
    X(lstSongList, Grid)

#define TW_DECLARE_ELEMENT(elementName_, kind_) \
    Element elementName_{#elementName_, ElementKind::kind_};
#define TW_DECLARE_ARRAY(elementName_, kind_, first_, count_) \
    std::array<Element, count_> elementName_;

#define TW_FORM(Type, LIST)                          \
    struct Type {                                    \
        Type();                                      \
        LIST(TW_DECLARE_ELEMENT, TW_DECLARE_ARRAY)   \
        Element* find(std::string_view elementName); \
        std::vector<Element*> all();                 \
    };

TW_FORM(MainForm, TW_MAIN_FORM_ELEMENTS)
TW_FORM(StatusForm, TW_STATUS_FORM_ELEMENTS)
TW_FORM(DialogForm, TW_DIALOG_FORM_ELEMENTS)
TW_FORM(CastForm, TW_CAST_FORM_ELEMENTS)
TW_FORM(SettingsForm, TW_SETTINGS_FORM_ELEMENTS)
TW_FORM(ScheduleForm, TW_SCHEDULE_FORM_ELEMENTS)
TW_FORM(StatisticsForm, TW_STATISTICS_FORM_ELEMENTS)

#undef TW_FORM
#undef TW_DECLARE_ELEMENT
#undef TW_DECLARE_ARRAY

// Every window of the console.
struct Surface {
    MainForm main;
    StatusForm status;
    DialogForm dialog;
    CastForm cast;
    SettingsForm settings;
    ScheduleForm schedule;
    StatisticsForm statistics;

    // An element by name: "cmdSkipNow" on the console, or "frmCast.txtGenre" on another window
    // (by its form's name). nullptr when there is none.
    Element* find(std::string_view name);
};

}  // namespace tw::core
