#include "autodj/playlist_builder.h"

#include <filesystem>

#include "autodj/library_state.h"
#include "autodj/rotations.h"
#include "autodj/track_details.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "media/playlist_file.h"
#include "media/song_length.h"
#include "media/stream_address.h"
#include "media/stream_time.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

namespace {

constexpr const char* kPlaylistFilter = "(*.pls)|*.pls";

std::string playlistFolder(core::Console& c) {
    return c.AppFolder + "/Playlist";
}

core::GridRow builderRow(const core::clsTrackListing& t) {
    core::GridRow row;
    row.cells = {t.trackName, t.trackLength, ""};
    return row;
}

// The record of a track of the library: its length measured, named as it was dropped.
core::clsTrackListing trackRecord(core::Console& c, const std::string& path,
                                  const std::string& name) {
    core::clsTrackListing t;
    t.trackLengthInSeconds = media::getSongSeconds(c.engine(), path);
    t.trackLength = media::GetTime(t.trackLengthInSeconds);
    t.trackPath = path;
    t.trackName = name;
    return t;
}

void markOnly(core::Element& grid, int row) {
    grid.row = row;
    for (int i = 0; i < grid.rowCount(); ++i) {
        grid.rows[static_cast<std::size_t>(i)].selected = i == row;
    }
}

}  // namespace

void recalcBuilderTotals(core::Console& c) {
    auto& grid = c.form().lstPlayListBuilder;
    double total = 0;
    for (int i = 0; i < grid.rowCount() && i < static_cast<int>(c.builderList.size()); ++i) {
        const core::clsTrackListing& t = c.builderList[static_cast<std::size_t>(i)];
        total += t.trackLengthInSeconds;
        auto& cells = grid.rows[static_cast<std::size_t>(i)].cells;
        cells.resize(std::max<std::size_t>(cells.size(), 3));
        cells[2] = media::GetTime(total);
        cells[1] = t.trackLength;
    }
}

void loadBuilderPlaylist(core::Console& c, const std::string& path) {
    std::vector<core::clsTrackListing> entries;
    if (media::loadPlaylistFile(c, path, entries) == 0) {
        c.svc.prompter->messageBox(media::noEntriesMessage(path), "Load Playlist",
                                   core::MessageButtons::Ok, core::MessageIcon::Exclamation);
        return;
    }
    auto& grid = c.form().lstPlayListBuilder;
    grid.rows.clear();
    grid.row = -1;
    c.builderList.clear();
    for (auto& t : entries) {
        if (t.trackPath.empty()) {
            continue;  // a blank entry of the file
        }
        if (media::isStreamAddress(t.trackPath)) {
            // A stream has no length: it counts one second.
            t.trackIsURL = true;
            t.trackName = t.trackPath;
            t.trackLength = "1";
            t.trackLengthInSeconds = 1.0f;
        } else {
            t.trackLengthInSeconds = media::getSongSeconds(c.engine(), t.trackPath);
            t.trackLength = media::GetTime(t.trackLengthInSeconds);
        }
        grid.rows.push_back(builderRow(t));
        c.builderList.push_back(std::move(t));
    }
    c.builderList.emplace_back();
    recalcBuilderTotals(c);
}

void cmdLoadPlaylist_Click(core::Console& c) {
    core::FileDialog dialog{"Select Playlist To Load", playlistFolder(c), kPlaylistFilter, "*.pls",
                            false};
    const auto chosen = c.svc.prompter->openFiles(dialog);
    if (!chosen || chosen->empty()) {
        return;
    }
    loadBuilderPlaylist(c, chosen->front());
}

void cmdSavePlaylist_Click(core::Console& c) {
    std::error_code ec;
    std::filesystem::create_directories(playlistFolder(c), ec);
    core::FileDialog dialog{"Enter Playlist Name", playlistFolder(c), kPlaylistFilter,
                            "newPlaylist.pls", false};
    const auto chosen = c.svc.prompter->saveFile(dialog);
    if (!chosen || chosen->empty()) {
        return;  // a cancelled dialog writes nothing
    }
    if (!media::savePlaylistFile(*chosen, c.builderList)) {
        core::logError(c, "Error saving playlist " + *chosen);
        return;
    }
    core::refreshFileList(c.form().flPlaylists);
    showRotationIcons(c);
}

void cmdDeleteItem_Click(core::Console& c) {
    auto& grid = c.form().lstPlayListBuilder;
    if (grid.rows.empty()) {
        return;
    }
    std::vector<core::clsTrackListing> kept;
    for (int i = grid.rowCount() - 1; i >= 0; --i) {
        const bool selected = grid.rows[static_cast<std::size_t>(i)].selected || i == grid.row;
        if (selected) {
            grid.rows.erase(grid.rows.begin() + i);
        } else if (i < static_cast<int>(c.builderList.size())) {
            kept.insert(kept.begin(), c.builderList[static_cast<std::size_t>(i)]);
        } else {
            kept.insert(kept.begin(), core::clsTrackListing{});
        }
    }
    grid.row = -1;
    kept.resize(static_cast<std::size_t>(grid.rowCount()) + 1);
    c.builderList = std::move(kept);
    recalcBuilderTotals(c);
}

void cmdResetPlaylist_Click(core::Console& c) {
    auto& grid = c.form().lstPlayListBuilder;
    grid.rows.clear();
    grid.row = -1;
    // The records go; the array keeps its size.
    for (auto& t : c.builderList) {
        t = core::clsTrackListing{};
    }
}

void lstPlayListBuilder_DragDrop(core::Console& c, const std::string& droppedText) {
    auto& m = c.form();
    try {
        const auto& list = m.lstBuilderCatagoryList;
        const auto& files = c.library->trackFiles;
        if (list.listIndex < 0 || list.listIndex >= static_cast<int>(files.size())) {
            return;
        }
        core::clsTrackListing t =
            trackRecord(c, files[static_cast<std::size_t>(list.listIndex)], droppedText);
        t.setMyTrackIDInCollection(list.listIndex);
        auto& grid = m.lstPlayListBuilder;
        const int rows = grid.rowCount();
        if (rows > 0 && grid.row < 0) {
            grid.row = rows - 1;
        }
        const int at = rows > 0 ? std::min(grid.row, rows) : 0;
        core::GridRow row;
        row.cells = {droppedText, "", ""};
        grid.rows.insert(grid.rows.begin() + at, std::move(row));
        if (c.builderList.size() < static_cast<std::size_t>(rows) + 1) {
            c.builderList.resize(static_cast<std::size_t>(rows) + 1);
        }
        c.builderList.insert(c.builderList.begin() + at, std::move(t));
        recalcBuilderTotals(c);
    } catch (const std::exception& e) {
        core::logError(
            c, "Error dropping on the playlist builder: " + core::describeFailure(e).description);
    }
}

void lstPlayListBuilder_DropFiles(core::Console& c, const std::vector<std::string>& files) {
    if (!files.empty()) {
        loadBuilderPlaylist(c, files.front());
    }
}

void lstPlayListBuilder_DragOver(core::Console& c, int row) {
    auto& grid = c.form().lstPlayListBuilder;
    if (row >= 0 && row < grid.rowCount()) {
        markOnly(grid, row);
    } else {
        // Below the last row the mark moves to the end, where the drop will land.
        markOnly(grid, -1);
        grid.row = grid.rowCount();
    }
}

void dragBuilderRow(core::Console& c, int from, int to) {
    auto& grid = c.form().lstPlayListBuilder;
    const int rows = std::min(grid.rowCount(), static_cast<int>(c.builderList.size()));
    if (from < 0 || to < 0 || from >= rows || to >= rows) {
        return;
    }
    std::swap(grid.rows[static_cast<std::size_t>(from)], grid.rows[static_cast<std::size_t>(to)]);
    std::swap(c.builderList[static_cast<std::size_t>(from)],
              c.builderList[static_cast<std::size_t>(to)]);
    grid.row = to;
    recalcBuilderTotals(c);
}

void lstBuilderCatagoryList_Click(core::Console& c, int row) {
    const auto& files = c.library->trackFiles;
    if (row < 0 || row >= static_cast<int>(files.size())) {
        return;
    }
    c.id3->filename(files[static_cast<std::size_t>(row)]);
    c.form().lblLastPlayed.caption = historyLine(c, c.id3->returnID3TitleOnly());
}

}  // namespace tw::autodj
