#include "autodj/track_details.h"

#include <string>

#include "autodj/history.h"
#include "autodj/library_state.h"
#include "core/dates.h"
#include "core/text.h"
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

void showCuePoints(core::MainForm& m, const std::string& owner) {
    const bool cue = core::token("~", 1, owner) == "twTag";
    if (cue) {
        const double index = core::val(core::token("~", 2, owner));
        if (index >= 0 && index < m.cmboSweeperList.listCount()) {
            m.cmboSweeperList.listIndex = static_cast<int>(index);
        }
    } else {
        m.cmboSweeperList.text.clear();
    }
    for (int i = 0; i < 4; ++i) {
        core::Element& text = m.*kCueFields[i].text;
        text.text = cue ? core::token("~", 3 + i, owner) : std::string();
        text.hiddenValue = cue ? core::token("~", 7 + i, owner) : std::string();
        (m.*kCueFields[i].label).backColor = core::val(text.hiddenValue) != 0 ? kBlack : kWhite;
    }
}

}  // namespace

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

    const std::string outs = readHistory(c, tag.mp3Title, kTunedOut, "0");
    const std::string plays = readHistory(c, tag.mp3Title, kPlayCount, "0");
    const std::string last = readHistory(c, tag.mp3Title, kLastPlayed, core::generalDate(c.now()));
    const double playCount = core::val(plays);
    const std::int32_t percent = playCount == 0 ? 0 : core::cLng(core::val(outs) / playCount * 100);
    m.lblListInfo.caption = "Tune Outs:" + outs + " | Play Count:" + plays +
                            " | TuneOut Percentage:" + std::to_string(percent) + "%" +
                            " | Last Played:" + last;

    showCuePoints(m, tag.tarnWaveData);
    m.cmdPlayActiveSong.backColor = kWhite;
}

}  // namespace tw::autodj
