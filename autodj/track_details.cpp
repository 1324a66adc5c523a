#include "autodj/track_details.h"

#include <string>

#include "autodj/history.h"
#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "core/console_ops.h"
#include "core/dates.h"
#include "core/text.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "media/waveform_cache.h"
#include "tags/cue_data.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

namespace {

constexpr std::uint32_t kBlack = 0;
constexpr std::uint32_t kWhite = 0xFFFFFF;

struct CueField {
    core::Element core::MainForm::*text;
    core::Element core::MainForm::*label;
};

// Tokens 3 to 6 are the texts and 7 to 10 the hidden seconds of these, in this order.
constexpr CueField kCueFields[] = {
    {&core::MainForm::txtSweeper, &core::MainForm::lblSweepStart},
    {&core::MainForm::txtIntroUntil, &core::MainForm::lblIntroUntil},
    {&core::MainForm::txtOutro, &core::MainForm::lblOutroUntil},
    {&core::MainForm::txtNextStart, &core::MainForm::lblNextStart},
};

void showCuePoints(core::Console& c, const std::string& owner) {
    auto& m = c.form();
    const bool cue = core::token("~", 1, owner) == "twTag";
    if (cue) {
        // The refill leaves nothing chosen, so a track never inherits the sweeper of the track
        // shown before it: "-1" chooses nothing, and a number past the list keeps that.
        tags::fillSweeperList(c);
        const double index = core::val(core::token("~", 2, owner));
        if (index >= -1 && index < m.cmboSweeperList.listCount()) {
            tags::chooseSweeperRow(m.cmboSweeperList, static_cast<int>(index));
        }
    } else {
        // Clearing the combo's text clears its choice with it.
        tags::chooseSweeperRow(m.cmboSweeperList, -1);
    }
    for (int i = 0; i < 4; ++i) {
        core::Element& text = m.*kCueFields[i].text;
        text.text = cue ? core::token("~", 3 + i, owner) : std::string();
        text.hiddenValue = cue ? core::token("~", 7 + i, owner) : std::string();
        (m.*kCueFields[i].label).backColor = core::val(text.hiddenValue) != 0 ? kBlack : kWhite;
    }
}

}  // namespace

std::string historyLine(core::Console& c, const std::string& title) {
    const std::string outs = readHistory(c, title, kTunedOut, "0");
    const std::string plays = readHistory(c, title, kPlayCount, "0");
    const std::string last = readHistory(c, title, kLastPlayed, core::generalDate(c.now()));
    const double playCount = core::val(plays);
    const std::int32_t percent = playCount == 0 ? 0 : core::cLng(core::val(outs) / playCount * 100);
    return "Tune Outs:" + outs + " | Play Count:" + plays +
           " | TuneOut Percentage:" + std::to_string(percent) + "%" + " | Last Played:" + last;
}

void lstSongs_Click(core::Console& c, int row) {
    auto& m = c.form();
    const auto& files = c.library->trackFiles;
    if (row < 0 || row >= static_cast<int>(files.size())) {
        return;
    }
    c.id3->filename(files[static_cast<std::size_t>(row)]);
    tags::clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    m.txtArtistName.text = tag.Artist;
    m.txtSongName.text = tag.songName;
    m.txtGenre.text = tag.Genre;
    m.txtAlbum.text = tag.Album;
    m.txtSongYear.text = std::to_string(tag.songYear);
    m.txtComposer.text = tag.Composer;
    m.txtPublisher.text = tag.Publisher;
    m.txtRecordLabel.text = tag.recordLabel;

    m.lblListInfo.caption = historyLine(c, tag.mp3Title);

    c.detailsSong = files[static_cast<std::size_t>(row)];
    m.lblLoudnessInfo.caption = loudnessLine(c, c.detailsSong);
    askLoudness(c, c.detailsSong);  // a file not yet known is measured, and the line follows
    showCuePoints(c, tag.tarnWaveData);
    c.detailsCue = tags::readCueRecord(c, c.detailsSong);
    m.cmdPlayActiveSong.backColor = kWhite;
    drawDetailsPicture(c);
}

void showDetailsPage(core::Console& c, bool moreInfo) {
    auto& m = c.form();
    m.frmNameTitleArtist.visible = !moreInfo;
    m.frmMoreInfo.visible = moreInfo;
    core::printOnButton(m.cmdArtistSongAlbum,
                        moreInfo ? core::ImageRole::Gray : core::ImageRole::Red, "Artist Info");
    core::printOnButton(m.cmdMoreInfo, moreInfo ? core::ImageRole::Red : core::ImageRole::Gray,
                        "More Info");
}

void markCuePoint(core::Console& c, CuePoint point, bool rightButton) {
    core::Element& text = c.form().*kCueFields[static_cast<int>(point)].text;
    if (rightButton) {
        text.text.clear();
        text.hiddenValue.clear();
    } else if (c.previewPlayer != 0) {
        const float pos = media::cbass_time(c.engine()).GetPlayingPos(c.previewPlayer);
        text.text = media::previewClockText(pos);
        text.hiddenValue = core::numberText(pos);
    }
    cmdUpdateTag_Click(c);
}

void cmdUpdateTag_Click(core::Console& c) {
    auto& m = c.form();
    if (m.lstSongs.listCount() == 0) {
        return;
    }
    const std::string cueText = tags::cueTagText(m);
    const auto& files = c.library->trackFiles;
    const int row = m.lstSongs.listIndex;
    if (row >= 0 && row < static_cast<int>(files.size())) {
        const std::string& path = files[static_cast<std::size_t>(row)];
        // Assigning the file reads it again, so what the panel does not show is kept.
        c.id3->filename(path);
        c.id3->Artist(core::trim(m.txtArtistName.text));
        c.id3->title(core::trim(m.txtSongName.text));
        c.id3->year(core::trim(m.txtSongYear.text));
        c.id3->Album(core::trim(m.txtAlbum.text));
        c.id3->Genre(core::trim(m.txtGenre.text));
        c.id3->Composer(core::trim(m.txtComposer.text));
        c.id3->Publisher(core::trim(m.txtPublisher.text));
        c.id3->CopyrightInfo(core::trim(m.txtRecordLabel.text));
        c.id3->Copyright(core::trim(m.txtRecordLabel.text));
        c.id3->FileOwner(cueText);
        c.id3->UpdateID3Tags();
        if (tags::logTagWriteError(c, path)) {
            c.svc.prompter->messageBox("error updating the mp3 tag:" + c.id3->lastWriteError(), "",
                                       core::MessageButtons::Ok, core::MessageIcon::None);
        }
    }
    // What the tag holds now: a write that failed shows the old points.
    const core::CueRecord cue = tags::readCueRecord(c, c.id3->filename());
    if (c.id3->filename() == c.detailsSong) {
        c.detailsCue = cue;
    }
    media::drawCueMarkers(c, c.previewPlayer, m.pctPreviewMarkers, cue);
    drawDetailsPicture(c);
}

void drawDetailsPicture(core::Console& c) {
    if (!c.waveforms || c.detailsSong.empty()) {
        return;
    }
    const std::string song = c.detailsSong;
    auto envelope = c.waveforms->find(song, [&c, song] {
        if (c.detailsSong == song) {
            drawDetailsPicture(c);
        }
    });
    if (!envelope) {
        return;
    }
    auto& m = c.form();
    core::Element& picture = m.pctPreviewMarkers;
    if (c.previewPlayer == 0) {
        // No preview to measure by: the stored points, placed by time on the waveform.
        picture.drawing.clear();
        media::drawCueMarkersByTime(m, picture, c.detailsCue, envelope->seconds);
    } else if (c.previewSong != song) {
        return;  // the markers are another track's
    }
    media::drawWaveform(picture, *envelope);
}

}  // namespace tw::autodj
