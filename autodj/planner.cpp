#include "autodj/planner.h"

#include "autodj/history.h"
#include "autodj/loudness.h"
#include "autodj/picker.h"
#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/format.h"
#include "core/paths.h"
#include "core/text.h"
#include "media/song_length.h"
#include "media/stream_address.h"
#include "media/stream_opener.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "tags/cue_data.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

namespace {

void markRow(core::Element& grid, int row) {
    for (int i = 0; i < grid.rowCount(); ++i) {
        grid.rows[static_cast<std::size_t>(i)].selected = i == row;
    }
}

// The length of a file as its time text and seconds, through a stream of its own.
void measure(core::Console& c, const std::string& path, std::string& text, float& seconds) {
    seconds = media::getSongSeconds(c.engine(), path);
    text = media::GetTime(seconds);
}

core::GridRow listRow(const core::clsTrackListing& t, const char* repick) {
    core::GridRow row;
    row.cells = {core::formatDate(t.timeOn, "HH:MM.SS AMPM"), t.trackName, t.trackLength, repick};
    row.checked = t.sweeperChecked;
    return row;
}

void setRow(core::Element& grid, int i, core::GridRow row) {
    if (i < 0) {
        return;
    }
    if (i >= grid.rowCount()) {
        grid.rows.resize(static_cast<std::size_t>(i) + 1);
    }
    row.selected = grid.rows[static_cast<std::size_t>(i)].selected;
    grid.rows[static_cast<std::size_t>(i)] = std::move(row);
}

// Puts a pick into its row: the name and path from the tag, the rollback date from the picker.
// The row's artist stays as the first build set it. Gives the picked track's artist.
std::string takePick(core::Console& c, core::clsTrackListing& t, const std::string& path,
                     core::DateValue previous) {
    c.id3->filename(path);
    tags::clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    t.trackName = tag.mp3Title;
    t.trackPath = path;
    t.trackLastPlayed = previous;
    return tag.Artist;
}

// Step 10 of a load: the time left, the cue record, the trim and the markers of the stream now on
// player n.
void takeStream(core::Console& c, int n, const std::string& song, audio::Handle stream) {
    auto& m = c.form();
    core::Element& timeLeft = n == 2 ? m.lblTimeLeft2 : m.lblTimeLeft1;
    timeLeft.caption = "00:00.0";
    core::CueRecord& cue = n == 2 ? c.cueRecord2 : c.cueRecord1;
    cue = tags::readCueRecord(c, song);
    const std::int32_t end = media::SetTrackStart(c, song, stream);
    // A cue point in the tag always wins over the trim.
    if (cue.nextStart == 0) {
        cue.nextStart = static_cast<float>(end);
    }
    media::drawCueMarkers(c, stream, n == 2 ? m.pctMarkers2 : m.pctMarkers1, cue);
    timeLeft.foreColor = 0;
}

// An address that could not be opened: it is logged and shown, and the next row takes its place.
// A start that waited for it finds the player empty, and the tick's recovery starts the other
// player and loads this one. After a whole list of addresses that failed in a row the planner
// stops passing on, so that a list of dead stations cannot keep the console busy.
void addressFailed(core::Console& c, int n, const std::string& url, int error) {
    core::logError(
        c, "Stream address could not be opened: " + url + " Error:" + std::to_string(error));
    core::printMessageOnScreen(c, "Stream address could not be opened: " + url);
    if (c.startWhenOpened == n) {
        c.startWhenOpened = 0;
        return;
    }
    const int rows = c.form().lstPlaylist.rowCount();
    if (c.activePlayer != n && ++c.failedOpens < std::max(rows, 1)) {
        loadNextSong(c, 0);
    }
}

// The answer of an open, on the console thread.
void addressAnswered(core::Console& c, int n, std::uint32_t ticket, const std::string& url,
                     audio::Handle stream, int error) {
    std::uint32_t& opening = media::openingOn(c, n);
    if (opening != ticket || c.unloaded) {
        // Another load took the player meanwhile, or the console has closed.
        if (stream != 0) {
            c.engine().streamFree(stream);
        }
        return;
    }
    opening = 0;
    if (stream == 0) {
        addressFailed(c, n, url, error);
        return;
    }
    c.failedOpens = 0;
    (n == 2 ? c.player2Stream : c.player1Stream) = stream;
    takeStream(c, n, url, stream);
    if (c.startWhenOpened == n && c.activePlayer == n) {
        c.tickCalls->startNExt();  // the start that waited goes on
    }
}

void openAddress(core::Console& c, int n, const std::string& url) {
    if (++c.opensAsked == 0) {
        ++c.opensAsked;  // 0 means no open
    }
    const std::uint32_t ticket = c.opensAsked;
    media::openingOn(c, n) = ticket;
    media::streamOpener(c).open(url, audio::kStreamDecode,
                                [&c, n, ticket, url](audio::Handle stream, int error) {
                                    addressAnswered(c, n, ticket, url, stream, error);
                                });
}

core::clsTrackListing& record(core::Console& c, int i) {
    if (i < 0 || i >= static_cast<int>(c.trackList.size())) {
        core::failSubscript();
    }
    return c.trackList[static_cast<std::size_t>(i)];
}

}  // namespace

void loadNextSong(core::Console& c, std::int16_t flag) {
    auto& m = c.form();
    try {
        int row = c.rotationPosition;
        if (c.listMode == 0) {
            if (flag == 0) {
                if (c.rotationPosition + 1 < m.lstRotation.rowCount()) {
                    ++c.rotationPosition;
                } else {
                    c.rotationPosition = 0;
                }
                m.lstRotation.row = c.rotationPosition;
                if (m.lstRotation.rowCount() > 0) {
                    markRow(m.lstRotation, c.rotationPosition);
                    markRow(m.lstPlaylist, c.rotationPosition);
                }
            } else {
                c.rotationPosition = m.lstRotation.row;
            }
            row = c.rotationPosition;
        } else if (c.listMode == -1) {
            auto& list = m.lstPlaylist;
            if (list.rowCount() > 0 && list.row < 0) {
                list.row = 0;
            }
            row = list.row;
            markRow(list, row);
            // In a playlist the selection rests one row ahead of the loaded row.
            if (flag == 0 && list.rowCount() > 0) {
                list.row = row + 1 >= list.rowCount() ? 0 : row + 1;
            }
        }

        core::clsTrackListing& t = record(c, row);
        c.id3->filename(t.trackPath);
        tags::clsMp3TagData tag;
        c.id3->returnID3Tag(tag);
        const std::int32_t outs = core::cLngText(readHistory(c, tag.mp3Title, kTunedOut, "0"));
        const std::int32_t count = core::cLngText(readHistory(c, tag.mp3Title, kPlayCount, "0"));

        int player = 0;
        if (c.activePlayer == 1) {
            player = 2;
        } else if (c.activePlayer == 2 || c.activePlayer == 0) {
            player = 1;
        }
        if (player != 0) {
            core::Element& pick = player == 2 ? m.cmdPlayer2Pick : m.cmdPlayer1Pick;
            core::Element& button = player == 2 ? m.lblPlayer2 : m.lblplayer1;
            std::string& song = player == 2 ? c.nextSong2 : c.nextSong1;
            std::string& songName = player == 2 ? c.nextSongName2 : c.nextSongName1;
            audio::Handle& stream = player == 2 ? c.player2Stream : c.player1Stream;
            pick.caption = "LastPlayed: " + core::generalDate(t.trackLastPlayed) +
                           " Outs:" + std::to_string(outs) + " Count:" + std::to_string(count);
            bool address = false;
            if (media::fileExists(t.trackPath)) {
                song = t.trackPath;
                songName = tag.mp3Title;
                core::printOnButton(button, core::ImageRole::Gray, tag.Artist, tag.songName);
            } else if (t.trackIsURL) {
                song = t.trackPath;
                songName = t.trackPath;
                address = true;
                // A stream has no tag: the reader's artist is only the address copied into it,
                // and the artist text of a stream's tag is blank.
                core::printOnButton(button, core::ImageRole::Gray, std::string());
            } else {
                // Neither a file nor an address: the player keeps what it had.
                return;
            }
            // In manual mode the old handle is overwritten without being freed.
            if (c.automated() && stream != 0) {
                c.engine().streamFree(stream);
                stream = 0;
            }
            // Whatever an open under way on this player brings is no longer wanted.
            media::openingOn(c, player) = 0;
            if (address) {
                // Until the address answers the player shows what an open that failed shows.
                stream = 0;
                takeStream(c, player, song, 0);
                openAddress(c, player, song);
            } else {
                c.failedOpens = 0;
                stream = media::openStream(c.engine(), song, 0, 0, audio::kStreamDecode, song);
                applyLoudness(c, stream, song, LoudnessKind::Track);
                takeStream(c, player, song, stream);
            }
        }
        if (c.listMode == 0) {
            UpdateTrackList(c, flag);
        }
    } catch (const std::exception& e) {
        core::logError(c, "error Loading Next Song:" + core::describeFailure(e).description);
    }
}

void UpdateTrackList(core::Console& c, std::int16_t flag) {
    auto& m = c.form();
    const int current = m.lstRotation.row;
    int x = -1;
    std::string path;
    try {
        if (m.lstRotation.rows.empty() || flag != 0 || c.trackList.empty()) {
            return;
        }
        const int rows = std::min(m.lstPlaylist.rowCount(), static_cast<int>(c.trackList.size()));
        if (rows == 0) {
            return;
        }
        // Only the slot just behind the position is replanned, for its next lap.
        x = current == 0 ? rows - 1 : current - 1;
        if (x < 0 || x >= rows) {
            return;
        }
        core::clsTrackListing& t = c.trackList[static_cast<std::size_t>(x)];
        const core::clsTrackListing& prev =
            c.trackList[static_cast<std::size_t>(x == 0 ? rows - 1 : x - 1)];
        // Unlike the first build, the crossfade is not taken off here.
        t.timeOn = core::addSeconds(prev.timeOn, timeToSeconds(prev.trackLength));
        core::DateValue previous = 0;
        path = pickSongForCatagory(c, t.trackCatagory, t.timeOn, previous);
        std::string artist = takePick(c, t, path, previous);
        float seconds = 0;
        measure(c, path, t.trackLength, seconds);
        planRefill(c, t.trackName, makeArtist(artist), t.timeOn, previous);
        setRow(m.lstPlaylist, x, listRow(t, "clickToRepick"));
    } catch (const std::exception& e) {
        core::logError(c, "error in UpdateTrackList:" + core::describeFailure(e).description +
                              "TrackList Size:" + std::to_string(c.trackList.size()) +
                              " CurrentX:" + std::to_string(x) + " currentFile:" + path +
                              "position:" + std::to_string(c.rotationPosition));
    }
}

void rePickItem(core::Console& c, int i) {
    auto& m = c.form();
    try {
        core::clsTrackListing& t = record(c, i);
        if (i > 0) {
            const core::clsTrackListing& prev = record(c, i - 1);
            // Only a re-pick writes trackLengthInSeconds: for a row never re-picked this adds
            // nothing, and the retiming that follows puts the time right.
            t.timeOn = core::addSeconds(prev.timeOn, prev.trackLengthInSeconds);
        } else {
            t.timeOn = nextStartTime(c);
        }
        if (core::diffYears(t.timeOn, c.now()) > 3) {
            t.timeOn = c.now();
        }
        std::string oldArtist = t.trackArtist;
        releasePlan(c, t.trackName, makeArtist(oldArtist));
        if (i < m.lstRotation.rowCount()) {
            const auto& cells = m.lstRotation.rows[static_cast<std::size_t>(i)].cells;
            t.trackCatagory = cells.size() > 1 ? cells[1] : std::string();
        }
        if (i < m.lstPlaylist.rowCount()) {
            auto& cells = m.lstPlaylist.rows[static_cast<std::size_t>(i)].cells;
            cells.resize(std::max<std::size_t>(cells.size(), 4));
            cells[1] = "Repicking Song";
        }
        core::DateValue previous = 0;
        const std::string path = pickSongForCatagory(c, t.trackCatagory, t.timeOn, previous);
        std::string artist = takePick(c, t, path, previous);
        measure(c, path, t.trackLength, t.trackLengthInSeconds);
        planPick(c, t.trackName, makeArtist(artist), t.timeOn, previous);
        setRow(m.lstPlaylist, i, listRow(t, "ClickToRepick"));
    } catch (const std::exception& e) {
        core::logError(c, "error in rePickItem:" + core::describeFailure(e).description);
    }
}

core::DateValue nextStartTime(core::Console& c) {
    const auto& m = c.form();
    const core::DateValue now = c.now();
    // Only the first label's tag is tested for emptiness, whichever player is on the air.
    if (m.lblTimeLeft1.tag.empty()) {
        return now;
    }
    if (c.activePlayer == 1) {
        return core::addSeconds(now, core::val(m.lblTimeLeft1.tag));
    }
    if (c.activePlayer == 2) {
        return core::addSeconds(now, core::val(m.lblTimeLeft2.tag));
    }
    return now;
}

std::int32_t timeToSeconds(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const double h = core::val(core::token(":", 1, text));
    const double m = core::val(core::token(":", 2, text));
    const double s = core::val(core::token(":", 3, text));
    return core::cLng(h * 3600 + m * 60 + s);
}

void lstPlaylist_MouseDown(core::Console& c, int column) {
    auto& m = c.form();
    try {
        const int row = m.lstPlaylist.row;
        const bool selected = row >= 0 && row < m.lstPlaylist.rowCount();
        if (c.listMode == 0 && column == 3 && selected) {
            rePickItem(c, row);
            retimeTrackList(c, 1, 0);
            loadNextSong(c, -1);
            c.redrawPending = true;
        }
        if (column == 1 && selected) {
            std::string lastPlayed, percentage;
            returnLastPlayedData(c, record(c, row).trackPath, lastPlayed, percentage);
            m.lblShowData.caption =
                "lastPlayed: " + lastPlayed + "\n" + "  TuneOutPercentage: " + percentage;
            m.lblShowData.visible = true;
        }
        if (column == 0 && selected && !c.tickCalls->togglePreview(record(c, row).trackPath)) {
            auto& cells = m.lstPlaylist.rows[static_cast<std::size_t>(row)].cells;
            cells.resize(std::max<std::size_t>(cells.size(), 4));
            cells[3] = "ClickToRepick";
        }
    } catch (const std::exception& e) {
        core::logError(c, "error in lstPlaylistMouseDown:" + core::describeFailure(e).description);
    }
}

void lstPlaylist_MouseUp(core::Console& c) {
    if (c.redrawPending) {
        showTrackList(c);
        c.redrawPending = false;
    }
}

}  // namespace tw::autodj
