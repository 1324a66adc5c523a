#pragma once
// The Playlist Builder: the operator puts tracks of the library in a fixed order by hand, sees the
// running total of their length, and saves the order as a playlist in Playlist/. Nothing here
// touches the running list or the players.
//
// builderList holds one record per row of lstPlayListBuilder and one spare record behind them;
// a save writes every record but the last.
//
// Thread contract: console thread only.

#include <string>
#include <vector>

#include "core/console.h"

namespace tw::autodj {

// Rewrites the length and the running total of every row.
void recalcBuilderTotals(core::Console& c);
// Loads a playlist into the builder. A file that gives no entry shows why and changes nothing.
void loadBuilderPlaylist(core::Console& c, const std::string& path);

// The panel's buttons.
void cmdLoadPlaylist_Click(core::Console& c);
void cmdSavePlaylist_Click(core::Console& c);
void cmdDeleteItem_Click(core::Console& c);
void cmdResetPlaylist_Click(core::Console& c);

// The selected track of lstBuilderCatagoryList dropped on the grid, named by the dropped text: it
// goes in at the selected row (the last row when none is selected), or at the end of an empty
// grid or when the selection stands after the last row.
void lstPlayListBuilder_DragDrop(core::Console& c, const std::string& droppedText);
// Files dropped on the grid: the first is loaded as a playlist.
void lstPlayListBuilder_DropFiles(core::Console& c, const std::vector<std::string>& files);
// While something is dragged over the grid: the row under the pointer is selected; -1 (below the
// last row) moves the selection to the end.
void lstPlayListBuilder_DragOver(core::Console& c, int row);
// A row dragged to another place: the two records change places.
void dragBuilderRow(core::Console& c, int from, int to);
// A track chosen in lstBuilderCatagoryList: its history line in lblLastPlayed.
void lstBuilderCatagoryList_Click(core::Console& c, int row);

}  // namespace tw::autodj
