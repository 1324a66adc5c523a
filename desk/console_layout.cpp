#include "desk/console_layout.h"

#include "core/console_ops.h"
#include "core/paths.h"

namespace tw::desk {

using core::Element;
using core::ImageRole;

namespace {

struct ConsolePlace {
    const char* name;
    double left, top, width, height;
    const char* container;
};

// Design places, in pixels of the 896 x 641 console. Elements of the three panels (and of the two
// detail frames of the track list) carry their frame's name so that they hide with it. The
// helper lists the console keeps hidden (dirList, fileList, fileList1, lstPlaylist1,
// flRotations, flPlaylists) have no place. The strip under the panels (from 562) is kept free
// for the message line the console prints on the form itself.
const ConsolePlace kConsolePlaces[] = {
    {"lblDateTime", 8, 6, 250, 20, ""},
    {"cmdAutoManual", 266, 4, 90, 26, ""},
    {"cmdHelp", 362, 4, 50, 26, ""},
    {"cmdProgramSettings", 418, 4, 80, 26, ""},
    {"lblListerners", 506, 8, 60, 20, ""},
    {"lblPeakListeners", 570, 8, 60, 20, ""},
    {"cmdOnAir", 640, 2, 120, 36, ""},
    {"cmdSettings", 766, 2, 122, 36, ""},

    {"lblplayer1", 8, 44, 250, 50, ""},
    {"lblTimeLeft1", 264, 44, 80, 24, ""},
    {"cmdPlayer1Pick", 264, 70, 176, 24, ""},
    {"pctPlayer1", 8, 98, 250, 24, ""},
    {"pctMarkers1", 8, 124, 250, 20, ""},
    {"cmdPausePlay1", 264, 98, 56, 22, ""},
    {"cmdEject1", 324, 98, 56, 22, ""},
    {"cmdFadeOut1", 384, 98, 56, 22, ""},

    {"lblPlayer2", 448, 44, 250, 50, ""},
    {"lblTimeLeft2", 704, 44, 80, 24, ""},
    {"cmdPlayer2Pick", 704, 70, 184, 24, ""},
    {"pctPlayer2", 448, 98, 250, 24, ""},
    {"pctMarkers2", 448, 124, 250, 20, ""},
    {"cmdPausePlay2", 704, 98, 56, 22, ""},
    {"cmdEject2", 764, 98, 56, 22, ""},
    {"cmdFadeOut2", 824, 98, 56, 22, ""},

    {"cmdSkipNow", 8, 150, 120, 40, ""},
    {"cmdMute", 134, 150, 60, 40, ""},
    {"picLevelBar(0)", 200, 150, 200, 18, ""},
    {"picLevelBar(1)", 200, 172, 200, 18, ""},
    {"cmdMic", 406, 150, 100, 40, ""},
    {"cmdCompressor", 512, 150, 76, 40, ""},
    {"chkEFX", 594, 160, 52, 20, ""},
    {"cmdPlayOver", 652, 150, 76, 40, ""},
    {"cmdDefaultSweeper", 734, 150, 154, 40, ""},

    {"cmdTrackList", 8, 198, 150, 28, ""},
    {"cmdRotationList", 164, 198, 184, 28, ""},
    {"cmdPlaylistBuilder", 354, 198, 124, 28, ""},
    {"cmdNewRotation", 484, 198, 96, 28, ""},
    {"cmdRotationSchedule", 586, 198, 72, 28, ""},
    {"chkEnableSchedule", 664, 202, 108, 20, ""},
    {"cmdViewStatistics", 778, 198, 110, 28, ""},

    {"lstPlaylists", 8, 232, 162, 208, ""},
    {"txtSendText", 8, 446, 162, 22, ""},
    {"cmdSendMessage", 8, 472, 78, 24, ""},
    {"cmdSayIt", 92, 472, 78, 24, ""},
    {"cmdRecord", 8, 500, 78, 28, ""},
    {"cmdVoiceTrack", 92, 500, 78, 28, ""},
    {"picMicLevel", 8, 532, 162, 12, ""},
    {"pctMainVolume", 8, 548, 162, 12, ""},
    {"frmTrackList", 176, 232, 712, 330, ""},
    {"frmRotationList", 176, 232, 712, 330, ""},
    {"frmPlaylistBuilder", 176, 232, 712, 330, ""},

    {"lstRotation", 176, 232, 200, 328, "frmRotationList"},
    {"lstPlaylist", 380, 232, 380, 328, "frmRotationList"},
    {"lstRotationOrList", 764, 232, 124, 328, "frmRotationList"},

    {"lstSongs", 176, 232, 300, 266, "frmTrackList"},
    {"txtSearch", 176, 504, 220, 24, "frmTrackList"},
    {"cmdSearch", 400, 504, 76, 24, "frmTrackList"},
    {"pctAddSongs", 176, 532, 100, 28, "frmTrackList"},
    {"cmdCalculate", 282, 532, 100, 28, "frmTrackList"},
    {"frmNameTitleArtist", 484, 232, 404, 296, "frmTrackList"},
    {"frmMoreInfo", 484, 232, 404, 296, "frmTrackList"},
    {"txtArtistName", 492, 244, 388, 24, "frmNameTitleArtist"},
    {"txtSongName", 492, 278, 388, 24, "frmNameTitleArtist"},
    {"txtAlbum", 492, 312, 388, 24, "frmNameTitleArtist"},
    {"txtGenre", 492, 346, 388, 24, "frmNameTitleArtist"},
    {"txtSongYear", 492, 380, 388, 24, "frmNameTitleArtist"},
    {"txtComposer", 492, 414, 388, 24, "frmNameTitleArtist"},
    {"txtPublisher", 492, 448, 388, 24, "frmNameTitleArtist"},
    {"txtRecordLabel", 492, 482, 388, 24, "frmNameTitleArtist"},
    // The chosen track's loudness, under its tag fields.
    {"lblLoudnessInfo", 492, 509, 388, 16, "frmNameTitleArtist"},
    {"lblSweepStart", 492, 244, 120, 22, "frmMoreInfo"},
    {"txtSweeper", 616, 244, 110, 22, "frmMoreInfo"},
    {"lblIntroUntil", 492, 272, 120, 22, "frmMoreInfo"},
    {"txtIntroUntil", 616, 272, 110, 22, "frmMoreInfo"},
    {"lblOutroUntil", 492, 300, 120, 22, "frmMoreInfo"},
    {"txtOutro", 616, 300, 110, 22, "frmMoreInfo"},
    {"lblNextStart", 492, 328, 120, 22, "frmMoreInfo"},
    {"txtNextStart", 616, 328, 110, 22, "frmMoreInfo"},
    {"lblSweepId", 732, 244, 148, 22, "frmMoreInfo"},
    {"cmboSweeperList", 732, 272, 148, 22, "frmMoreInfo"},
    {"flSweepers", 492, 360, 388, 160, "frmMoreInfo"},
    {"cmdArtistSongAlbum", 484, 532, 96, 28, "frmTrackList"},
    {"cmdMoreInfo", 584, 532, 96, 28, "frmTrackList"},
    {"cmdUpdateTag", 684, 532, 100, 28, "frmTrackList"},
    {"cmdSaveDownloadSheet", 788, 532, 100, 28, "frmTrackList"},

    {"lstBuilderCatagoryList", 176, 232, 300, 328, "frmPlaylistBuilder"},
    {"lstPlayListBuilder", 484, 232, 404, 262, "frmPlaylistBuilder"},
    {"cmdLoadPlaylist", 484, 498, 93, 28, "frmPlaylistBuilder"},
    {"cmdSavePlaylist", 580, 498, 93, 28, "frmPlaylistBuilder"},
    {"cmdResetPlaylist", 676, 498, 101, 28, "frmPlaylistBuilder"},
    {"cmdDeleteItem", 780, 498, 108, 28, "frmPlaylistBuilder"},
    {"cmdAddPlayList", 484, 532, 40, 28, "frmPlaylistBuilder"},
    {"lblLastPlayed", 528, 536, 360, 20, "frmPlaylistBuilder"},

    // The history balloon: two lines over the top of the running list's titles, so that the
    // list stays in sight while it shows.
    {"lblShowData", 380, 250, 300, 36, ""},
    {"lblListInfo", 8, 578, 410, 16, ""},
    {"optSamplerMode(0)", 424, 578, 150, 16, ""},
    {"optSamplerMode(1)", 578, 578, 150, 16, ""},
    {"optSamplerMode(2)", 732, 578, 156, 16, ""},
    {"pctPreviewPlayer", 8, 596, 250, 20, ""},
    {"pctPreviewMarkers", 8, 620, 250, 16, ""},
    {"cmdPreviewSelected", 264, 596, 90, 40, ""},
    {"cmdPlayActiveSong", 358, 596, 60, 40, ""},
    // The sampler: two rows of five, wide enough for a file name.
    {"cmdSampler(1)", 424, 596, 90, 19, ""},
    {"cmdSampler(2)", 517, 596, 90, 19, ""},
    {"cmdSampler(3)", 610, 596, 90, 19, ""},
    {"cmdSampler(4)", 703, 596, 90, 19, ""},
    {"cmdSampler(5)", 796, 596, 90, 19, ""},
    {"cmdSampler(6)", 424, 617, 90, 19, ""},
    {"cmdSampler(7)", 517, 617, 90, 19, ""},
    {"cmdSampler(8)", 610, 617, 90, 19, ""},
    {"cmdSampler(9)", 703, 617, 90, 19, ""},
    {"cmdSampler(10)", 796, 617, 90, 19, ""},
};

void paintPlayers(core::Console& c) {
    auto& m = c.ui.main;
    const std::string name1 = core::parsePath(c.nextSongName1, 6);
    const std::string name2 = core::parsePath(c.nextSongName2, 6);
    if (c.activePlayer == 2) {
        core::printOnButton(m.lblPlayer2, ImageRole::Blue, name2);
        core::printOnButton(m.lblplayer1, ImageRole::Gray, name1);
    } else {
        core::printOnButton(m.lblplayer1, ImageRole::Blue, name1);
        core::printOnButton(m.lblPlayer2, ImageRole::Gray, name2);
    }
}

}  // namespace

void applyDesignLayout(core::Console& c) {
    for (const ConsolePlace& p : kConsolePlaces) {
        if (Element* e = c.ui.main.find(p.name)) {
            e->rect = {p.left, p.top, p.width, p.height};
            e->container = p.container;
        }
    }
    Element& form = c.ui.main.frmTarnDesk;
    form.rect = {0, 0, kDesignWidth, kDesignHeight};
    c.ui.status.frmStatus.rect = {0, 0, 360, 90};
    c.ui.status.pctStatus.rect = {10, 40, 340, 20};
    c.ui.status.lblProgress.rect = {10, 10, 340, 20};
}

void captionPass(core::Console& c, bool resized) {
    (void)resized;  // the folders and lists that follow a start-up pass are the caller's
    auto& m = c.ui.main;
    core::printOnButton(m.cmdOnAir, ImageRole::Gray, "OFF AIR");
    core::printOnButton(m.cmdNewRotation, ImageRole::Gray, "New Rotation");
    core::printOnButton(m.cmdRotationSchedule, ImageRole::Gray, "Schedule");
    core::printOnButton(m.cmdArtistSongAlbum, ImageRole::Red, "Artist Info");
    core::printOnButton(m.cmdMoreInfo, ImageRole::Gray, "More Info");
    core::printOnButton(m.cmdAddPlayList, ImageRole::Plus, "");
    core::printOnButton(m.cmdSearch, ImageRole::Gray, "Search");
    core::printOnButton(m.pctAddSongs, ImageRole::Gray, "Add Tracks");
    core::printOnButton(m.cmdSkipNow, ImageRole::Blue, "NEXT");
    core::printOnButton(m.cmdSettings, ImageRole::Settings, "Settings", "Broadcast");
    core::printOnButton(m.cmdLoadPlaylist, ImageRole::Gray, "Load Playlist");
    core::printOnButton(m.cmdSavePlaylist, ImageRole::Gray, "Save Playlist");
    core::printOnButton(m.cmdPreviewSelected, ImageRole::Gray, "Preview");
    core::printOnButton(m.cmdResetPlaylist, ImageRole::Gray, "Clear Playlist");
    core::printOnButton(m.cmdDeleteItem, ImageRole::Gray, "Delete Selected");
    core::printOnButton(m.cmdViewStatistics, ImageRole::Gray, "View Statistics");
    core::printOnButton(m.cmdMic, ImageRole::Gray, "Off", "Microphone");
    paintPlayers(c);
}

void showPanel(core::Console& c, int index) {
    auto& m = c.ui.main;
    m.lblShowData.visible = false;
    struct Panel {
        Element* frame;
        Element* button;
        const char* caption;
    };
    Panel panels[] = {{&m.frmTrackList, &m.cmdTrackList, "Track List\\Add Music"},
                      {&m.frmRotationList, &m.cmdRotationList, "Playlist\\Rotation Screen"},
                      {&m.frmPlaylistBuilder, &m.cmdPlaylistBuilder, "Playlist Builder"}};
    if (index < 1 || index > 3) {
        return;
    }
    for (int i = 0; i < 3; ++i) {
        const bool chosen = i + 1 == index;
        panels[i].frame->visible = chosen;
        core::printOnButton(*panels[i].button, chosen ? ImageRole::Green : ImageRole::Gray,
                            panels[i].caption);
    }
    c.screenMode = index;
}

}  // namespace tw::desk
