#pragma once
// Rotations and the running list: the rotation files, the build of the running list, the retiming
// of planned times, the withdrawal of unplayed picks, the edits of a rotation on its grids, and the
// switch between rotations and playlists.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>

#include "core/console.h"

namespace tw::autodj {

// Writes the rotation on the grid to Rotations/name; an empty name becomes "Rotation.rot".
void saveNewList(core::Console& c, std::string& name);
// Reads Rotations/name onto the grids and builds the running list; an empty name becomes
// "rotation.rot".
void loadList(core::Console& c, std::string& name);
// Fills trackList and lstPlaylist with one pick per row of lstRotation.
void PickRotationSong(core::Console& c);
// Recomputes the planned times around the selected row of lstPlaylist (fromPlaylist not 0) or
// lstRotation.
void retimeTrackList(core::Console& c, std::int16_t fromPlaylist, std::int16_t yield);
// Withdraws the picks of the running list that never went on the air.
void clearPendingPicks(core::Console& c);
// Takes one record out of trackList and its row out of lstPlaylist.
void removeTrackListRow(core::Console& c, int row);
// Rebuilds lstRotationOrList: every rotation file, then every playlist file.
void showRotationIcons(core::Console& c);
// Marks the running list's item in lstRotationOrList and sets listMode from it.
void selectListItem(core::Console& c, const std::string& fileName);
// Rewrites every row of lstPlaylist from trackList.
void showTrackList(core::Console& c);

// Selections.
void lstRotationOrList_Click(core::Console& c);
void flRotations_Click(core::Console& c);
// True when the selected playlist was read and became the running list; a playlist that cannot
// be read leaves the running list as it was and says why on the message line.
bool flPlaylists_Click(core::Console& c);

// Edits of the rotation on the grids; each saves the rotation at once under activeListName.
void toggleRotationSweeper(core::Console& c, int row);
void dropCategoryOnRotation(core::Console& c, const std::string& category);
void deleteRotationRow(core::Console& c);
void removeCategoryFromRotation(core::Console& c, const std::string& category);
void dragRotationRow(core::Console& c, int from, int to);
void releaseRotationDrag(core::Console& c);
void dragPlaylistRow(core::Console& c, int from, int to);
void deleteRotationOrListItem(core::Console& c);
// cmdNewRotation: asks for a name and creates an empty rotation of that name.
void cmdNewRotation_Click(core::Console& c);

}  // namespace tw::autodj
