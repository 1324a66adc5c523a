#include "autodj/rotations.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "autodj/history.h"
#include "autodj/picker.h"
#include "autodj/planner.h"
#include "autodj/rotation_file.h"
#include "autodj/schedule.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/format.h"
#include "core/name_dialog.h"
#include "core/text.h"
#include "media/playlist_file.h"
#include "media/song_length.h"
#include "media/stream_address.h"
#include "media/stream_time.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

namespace {

constexpr int kCategoryColumn = 1;

std::string rotationPath(core::Console& c, const std::string& name) {
    return c.AppFolder + "/Rotations/" + name;
}

std::string cell(const core::GridRow& row, int column) {
    return static_cast<int>(row.cells.size()) > column ? row.cells[static_cast<std::size_t>(column)]
                                                       : std::string();
}

std::string readWhole(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(path, ec)) {
        throw core::Failure(core::kErrFileNotFound, "File not found");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw core::Failure(core::kErrPathFileAccess, "Path/File access error");
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void ensureRecords(core::Console& c, std::size_t count) {
    if (c.trackList.size() < count) {
        c.trackList.resize(count);
    }
}

void saveActiveList(core::Console& c) {
    std::string name = c.activeListName;
    saveNewList(c, name);
}

core::GridRow playlistRow(const core::clsTrackListing& t, const std::string& repick) {
    core::GridRow row;
    row.cells = {core::formatDate(t.timeOn, "HH:MM.SS AMPM"), t.trackName, t.trackLength, repick};
    row.checked = t.sweeperChecked;
    return row;
}

}  // namespace

void saveNewList(core::Console& c, std::string& name) {
    if (name.empty()) {
        name = "Rotation.rot";
    }
    const std::string path = rotationPath(c, name);
    std::string bytes;
    for (const auto& row : c.form().lstRotation.rows) {
        const std::string category = core::trim(cell(row, kCategoryColumn));
        // A row with no category is not written.
        if (!category.empty()) {
            bytes += encodeRotationRecord(category, row.checked);
        }
    }
    // The whole file is replaced, so a shorter list leaves no old records behind.
    if (!core::replaceFile(path, bytes, core::FileAccess::kKeepMode)) {
        core::logError(c, "Error saving rotation list: " + path);
    }
    core::refreshFileList(c.form().flRotations);
    showRotationIcons(c);
}

void loadList(core::Console& c, std::string& name) {
    if (c.listLoading) {
        return;
    }
    c.listLoading = true;
    auto& m = c.form();
    try {
        m.lstRotation.rows.clear();
        m.lstRotation.row = -1;
        m.lstPlaylist.rows.clear();
        m.lstPlaylist.row = -1;
        if (name.empty()) {
            // The spelling of the file as saveNewList creates it: one file, one name.
            name = "Rotation.rot";
        }
        const auto records = decodeRotation(readWhole(rotationPath(c, name)));
        // The running list takes the bounds 0 to the number of records, keeping what it holds.
        // A rotation with no records keeps none of the last one's, so that nothing is loaded.
        c.trackList.resize(records.size() + 1);
        if (records.empty()) {
            c.trackList[0] = core::clsTrackListing{};
        }
        std::size_t i = 0;
        for (const auto& r : records) {
            // A record that is not marked saved leaves a gap in the numbering of trackList.
            if (r.marker == "saved") {
                core::GridRow row;
                row.cells = {"", r.category};
                const bool sweeper = sweeperFieldValue(r.sweeper);
                row.checked = sweeper;
                c.trackList[i].trackCatagory = r.category;
                c.trackList[i].sweeperChecked = sweeper;
                m.lstRotation.rows.push_back(std::move(row));
            }
            ++i;
        }
        c.listLoading = false;
    } catch (const std::exception& e) {
        // The grids stay as far as they were filled, and the guard stays set.
        core::printMessageOnScreen(
            c, "Error reading rotation list: " + core::describeFailure(e).description);
        return;
    }
    PickRotationSong(c);
    loadNextSong(c, 0);
}

void PickRotationSong(core::Console& c) {
    auto& m = c.form();
    try {
        if (m.lstRotation.rows.empty()) {
            return;
        }
        m.lstPlaylist.rows.clear();
        m.lstPlaylist.row = -1;
        core::ShowStatus(c, 0);
        const int rows = m.lstRotation.rowCount();
        ensureRecords(c, static_cast<std::size_t>(rows) + 1);
        for (int i = 0; i < rows; ++i) {
            core::clsTrackListing& t = c.trackList[static_cast<std::size_t>(i)];
            core::DateValue target = 0;
            if (i == 0) {
                t.timeOn = nextStartTime(c);
                // The first pick is judged at the present time, not at its planned time.
                target = c.now();
            } else {
                const core::clsTrackListing& prev = c.trackList[static_cast<std::size_t>(i - 1)];
                // Only the first build takes the crossfade off each slot.
                const std::int32_t seconds =
                    core::cLng(timeToSeconds(prev.trackLength) - c.crossfadeTime);
                t.timeOn = core::addSeconds(prev.timeOn, seconds);
                target = t.timeOn;
            }
            core::DateValue previous = 0;
            const std::string path = pickSongForCatagory(
                c, cell(m.lstRotation.rows[static_cast<std::size_t>(i)], kCategoryColumn), target,
                previous);
            c.id3->filename(path);
            tags::clsMp3TagData tag;
            c.id3->returnID3Tag(tag);
            t.trackPath = path;
            t.trackName = tag.mp3Title;
            t.trackArtist = tag.Artist;
            t.trackLastPlayed = previous;
            t.trackLength = media::getSongLength(c.engine(), path);
            std::string artist = tag.Artist;
            planPick(c, t.trackName, makeArtist(artist), target, previous);
            core::setStatusText(c, "Picking Song:" + t.trackName);
            core::ShowStatus(c, static_cast<double>(i + 1) / rows);
        }
        for (int i = 0; i < rows; ++i) {
            m.lstPlaylist.rows.push_back(
                playlistRow(c.trackList[static_cast<std::size_t>(i)], "ClicktoRepick"));
        }
        core::closeStatus(c);
    } catch (const std::exception& e) {
        core::printMessageOnScreen(
            c, "Error PickRotationSong:" + core::describeFailure(e).description + "   ");
    }
}

void retimeTrackList(core::Console& c, std::int16_t fromPlaylist, std::int16_t yield) {
    auto& m = c.form();
    const int rows = std::min(m.lstPlaylist.rowCount(), static_cast<int>(c.trackList.size()));
    if (rows == 0) {
        return;
    }
    const int current = fromPlaylist != 0 ? m.lstPlaylist.row : m.lstRotation.row;
    auto retime = [&](int i) {
        const int prev = i == 0 ? rows - 1 : i - 1;
        auto& t = c.trackList[static_cast<std::size_t>(i)];
        const auto& p = c.trackList[static_cast<std::size_t>(prev)];
        t.timeOn = core::addSeconds(p.timeOn, timeToSeconds(p.trackLength));
        core::writeIniValue(c, c.playedIniPath(), t.trackName, "LastPlayed",
                            core::generalDate(t.timeOn));
        auto& cells = m.lstPlaylist.rows[static_cast<std::size_t>(i)].cells;
        if (cells.empty()) {
            cells.resize(1);
        }
        cells[0] = core::formatDate(t.timeOn, "HH:MM.SS AMPM");
    };
    for (int i = current + 1; i < rows; ++i) {
        retime(i);
        if (yield != 0) {
            core::yieldUi(c);
        }
    }
    for (int i = 0; i < current && i < rows; ++i) {
        retime(i);
        if (yield != 0 && c.svc.loop) {
            c.svc.loop->processPending();
        }
    }
}

void clearPendingPicks(core::Console& c) {
    // The spare record at the end never holds a track and is passed over.
    for (std::size_t i = 0; i + 1 < c.trackList.size(); ++i) {
        const core::clsTrackListing& t = c.trackList[i];
        std::string artist = t.trackArtist;
        withdrawPlan(c, t.trackName, makeArtist(artist));
    }
}

void removeTrackListRow(core::Console& c, int row) {
    auto& m = c.form();
    if (row < 0 || row >= static_cast<int>(c.trackList.size())) {
        return;
    }
    c.trackList.erase(c.trackList.begin() + row);
    if (row < m.lstPlaylist.rowCount()) {
        m.lstPlaylist.rows.erase(m.lstPlaylist.rows.begin() + row);
    }
    // One record per row, and the spare one behind them.
    c.trackList.resize(static_cast<std::size_t>(m.lstPlaylist.rowCount()) + 1);
}

void showRotationIcons(core::Console& c) {
    auto& m = c.form();
    auto& list = m.lstRotationOrList;
    list.items.clear();
    list.listIndex = -1;
    for (const auto& f : m.flRotations.items) {
        list.items.push_back({f.text, 1, "rotation", false});
    }
    for (std::size_t i = 0; i < m.flPlaylists.items.size(); ++i) {
        list.items.push_back({m.flPlaylists.items[i].text, 2, std::to_string(i), false});
    }
}

void selectListItem(core::Console& c, const std::string& fileName) {
    auto& list = c.form().lstRotationOrList;
    for (std::size_t i = 0; i < list.items.size(); ++i) {
        auto& item = list.items[i];
        item.selected = item.text == fileName;
        if (item.selected) {
            list.listIndex = static_cast<int>(i);
            c.listMode = item.tag == "rotation" ? 0 : -1;
        }
    }
}

void showTrackList(core::Console& c) {
    auto& grid = c.form().lstPlaylist;
    for (int i = 0; i < grid.rowCount() && i < static_cast<int>(c.trackList.size()); ++i) {
        auto& row = grid.rows[static_cast<std::size_t>(i)];
        const std::string repick = row.cells.size() > 3 ? row.cells[3] : "ClickToRepick";
        const bool selected = row.selected;
        row = playlistRow(c.trackList[static_cast<std::size_t>(i)], repick);
        row.selected = selected;
    }
}

void lstRotationOrList_Click(core::Console& c) {
    auto& m = c.form();
    const int index = m.lstRotationOrList.listIndex;
    if (index < 0 || index >= m.lstRotationOrList.listCount()) {
        return;
    }
    const core::ListItem item = m.lstRotationOrList.items[static_cast<std::size_t>(index)];
    // A list chosen by hand wins over the schedule until the operator sets the tick again.
    setScheduleEnabled(c, false);
    core::refreshFileList(m.flRotations);
    core::refreshFileList(m.flPlaylists);
    if (item.tag == "rotation") {
        c.listMode = 0;
        m.flRotations.listIndex = index;
        flRotations_Click(c);
    } else {
        // The playlist's selection sets the playlist mode once the file has been read, so that
        // a file that cannot be read leaves the running list and its mode as they were.
        m.flPlaylists.listIndex = static_cast<int>(core::val(item.tag));
        flPlaylists_Click(c);
    }
    m.lstRotation.visible = c.listMode == 0;
}

void flRotations_Click(core::Console& c) {
    auto& list = c.form().flRotations;
    if (list.listIndex < 0 || list.listIndex >= list.listCount()) {
        return;
    }
    c.listMode = 0;
    clearPendingPicks(c);
    c.rotationPosition = -1;
    std::string name = list.items[static_cast<std::size_t>(list.listIndex)].text;
    loadList(c, name);
    selectListItem(c, name);
    c.activeListName = name;
}

bool flPlaylists_Click(core::Console& c) {
    auto& m = c.form();
    const auto& files = m.flPlaylists;
    if (files.listIndex < 0 || files.listIndex >= files.listCount()) {
        return false;
    }
    const std::string name = files.items[static_cast<std::size_t>(files.listIndex)].text;
    const std::string path = c.AppFolder + "/Playlist/" + name;
    try {
        // The file is read before anything is withdrawn, so that a playlist that cannot be read
        // leaves the running list, its picks and its mode as they were.
        std::vector<core::clsTrackListing> entries;
        if (media::loadPlaylistFile(c, path, entries) == 0) {
            core::printMessageOnScreen(c, media::noEntriesMessage(path));
            return false;
        }
        c.listMode = -1;
        clearPendingPicks(c);
        m.lstPlaylist.rows.clear();
        m.lstPlaylist.row = -1;
        c.trackList.clear();
        for (auto& t : entries) {
            if (t.trackPath.empty()) {
                continue;  // a blank entry of the file
            }
            core::GridRow row;
            if (media::fileExists(t.trackPath) || t.trackIsURL) {
                if (!t.trackIsURL) {
                    t.trackLength = media::getSongLength(c.engine(), t.trackPath);
                }
                row.cells = {"", t.trackName, t.trackLength, ""};
            } else {
                // Kept in the list, and passed over when its turn comes.
                t.trackLength = "0";
                row.cells = {"", "FILE MISSING: " + t.trackName, "0", ""};
            }
            m.lstPlaylist.rows.push_back(std::move(row));
            c.trackList.push_back(std::move(t));
        }
        // One record per row, and the spare one behind them.
        c.trackList.emplace_back();
        if (!m.lstPlaylist.rows.empty()) {
            // The first time is the text shown, read back: a time of day without a date.
            const std::string first = core::formatDate(nextStartTime(c), "HH:MM.SS AMPM");
            m.lstPlaylist.rows[0].cells[0] = first;
            c.trackList[0].timeOn = core::cDate(first);
            m.lstRotation.row = 0;
            retimeTrackList(c, 0, 0);
        }
        if (c.activePlayer == 0) {
            loadNextSong(c, 0);
            c.tickCalls->startNExt();
        }
        loadNextSong(c, 0);
        selectListItem(c, name);
        c.activeListName = name;
        return true;
    } catch (const std::exception& e) {
        core::logError(
            c, "Error loading playlist " + name + ": " + core::describeFailure(e).description);
    }
    return false;
}

void toggleRotationSweeper(core::Console& c, int row) {
    auto& grid = c.form().lstRotation;
    if (row < 0 || row >= grid.rowCount()) {
        return;
    }
    auto& r = grid.rows[static_cast<std::size_t>(row)];
    r.checked = !r.checked;
    // The running record keeps its old tick until the next build.
    saveActiveList(c);
}

void dropCategoryOnRotation(core::Console& c, const std::string& category) {
    auto& m = c.form();
    auto& grid = m.lstRotation;
    int at = grid.row >= 0 && grid.row < grid.rowCount() ? grid.row : grid.rowCount();
    core::GridRow row;
    row.cells = {"", category};
    grid.rows.insert(grid.rows.begin() + at, row);
    saveActiveList(c);
    ensureRecords(c, static_cast<std::size_t>(grid.rowCount()) + 1);
    core::GridRow planned;
    planned.cells = {"", "newDrop", "", ""};
    auto& playlist = m.lstPlaylist.rows;
    playlist.insert(playlist.begin() + std::min<int>(at, static_cast<int>(playlist.size())),
                    planned);
    rePickItem(c, at);
}

void deleteRotationRow(core::Console& c) {
    auto& m = c.form();
    const int row = m.lstRotation.row;
    if (row < 0 || row >= m.lstRotation.rowCount()) {
        return;
    }
    if (row < m.lstPlaylist.rowCount()) {
        removeTrackListRow(c, row);
    }
    m.lstRotation.rows.erase(m.lstRotation.rows.begin() + row);
    m.lstRotation.row = std::min(row, m.lstRotation.rowCount() - 1);
    saveActiveList(c);
    retimeTrackList(c, -1, 0);
}

void removeCategoryFromRotation(core::Console& c, const std::string& category) {
    auto& m = c.form();
    for (int row = m.lstRotation.rowCount() - 1; row >= 0; --row) {
        if (core::trim(cell(m.lstRotation.rows[static_cast<std::size_t>(row)], kCategoryColumn)) ==
            core::trim(category)) {
            if (row < m.lstPlaylist.rowCount()) {
                removeTrackListRow(c, row);
            }
            m.lstRotation.rows.erase(m.lstRotation.rows.begin() + row);
        }
    }
    saveActiveList(c);
    retimeTrackList(c, -1, 0);
    if (c.rotationPosition >= m.lstRotation.rowCount()) {
        c.rotationPosition = m.lstRotation.rowCount() - 1;
        m.lstRotation.row = c.rotationPosition;
    }
}

void dragRotationRow(core::Console& c, int from, int to) {
    auto& grid = c.form().lstRotation;
    if (from < 0 || to < 0 || from >= grid.rowCount() || to >= grid.rowCount()) {
        return;
    }
    ensureRecords(c, static_cast<std::size_t>(grid.rowCount()) + 1);
    std::swap(grid.rows[static_cast<std::size_t>(from)], grid.rows[static_cast<std::size_t>(to)]);
    std::swap(c.trackList[static_cast<std::size_t>(from)],
              c.trackList[static_cast<std::size_t>(to)]);
    grid.row = to;
    loadNextSong(c, -1);
    saveActiveList(c);
}

void releaseRotationDrag(core::Console& c) {
    auto& m = c.form();
    const int row = m.lstRotation.row;
    if (row >= 0 && row < static_cast<int>(c.trackList.size())) {
        c.trackList[static_cast<std::size_t>(row)].timeOn = nextStartTime(c);
    }
    retimeTrackList(c, 0, 0);
    saveActiveList(c);
    showTrackList(c);
}

void dragPlaylistRow(core::Console& c, int from, int to) {
    auto& grid = c.form().lstPlaylist;
    if (from < 0 || to < 0 || from >= grid.rowCount() || to >= grid.rowCount() ||
        to >= static_cast<int>(c.trackList.size()) ||
        from >= static_cast<int>(c.trackList.size())) {
        return;
    }
    std::swap(grid.rows[static_cast<std::size_t>(from)], grid.rows[static_cast<std::size_t>(to)]);
    std::swap(c.trackList[static_cast<std::size_t>(from)],
              c.trackList[static_cast<std::size_t>(to)]);
    grid.row = to;
    retimeTrackList(c, 1, 0);
    if (c.listMode == 0) {
        loadNextSong(c, -1);
    }
}

void deleteRotationOrListItem(core::Console& c) {
    auto& m = c.form();
    const int index = m.lstRotationOrList.listIndex;
    if (index < 0 || index >= m.lstRotationOrList.listCount()) {
        return;
    }
    try {
        const core::ListItem& item = m.lstRotationOrList.items[static_cast<std::size_t>(index)];
        const std::string folder = item.tag == "rotation" ? "/Rotations/" : "/Playlist/";
        core::moveToRecycle(c, c.AppFolder + folder + item.text, 16, false);
        core::refreshFileList(item.tag == "rotation" ? m.flRotations : m.flPlaylists);
        m.lstPlaylist.rows.clear();
        m.lstPlaylist.row = -1;
        c.trackList.assign(17, {});
        showRotationIcons(c);
    } catch (const std::exception& e) {
        core::printMessageOnScreen(
            c, "Error Deleting rotation File: " + core::describeFailure(e).description);
    }
}

void cmdNewRotation_Click(core::Console& c) {
    auto& m = c.form();
    m.lstRotation.rows.clear();
    m.lstRotation.row = -1;
    auto name = core::askForName(c, "rotation");
    if (!name) {
        return;
    }
    std::string file = *name + ".rot";
    saveNewList(c, file);
    loadList(c, file);
    core::refreshFileList(m.flRotations);
    core::refreshFileList(m.flPlaylists);
    showRotationIcons(c);
}

}  // namespace tw::autodj
