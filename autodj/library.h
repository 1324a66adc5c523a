#pragma once
// The library's categories: one folder under Music each, its ".mp3" files its tracks. The lists on
// the console (dirList, lstPlaylists for the operator, lstPlaylist1 for the picker, fileList and
// fileList1 behind them, lstSongs and lstBuilderCatagoryList with the tracks, lblListInfo with the
// facts) are rebuilt from the folders; nothing else is stored.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>
#include <vector>

#include "core/console.h"

namespace tw::autodj {

// The folder of a category under the station folder: "/Music/<category>/".
std::string categoryFolder(const std::string& category);
// Rebuilds both category lists from the folders of dirList.
void showplayLists(core::Console& c);
// Resizes the per-category figures to the number of categories; every figure starts at 0.
void renewRepeatTime(core::Console& c);
// renewRepeatTime when the number of categories is not the one the figures were sized for (a
// category came or went since); otherwise the figures counted so far stay.
void fitRepeatTime(core::Console& c);

// The item action of lstPlaylist1 (index from 0): selects it and points fileList1 and
// activeDirectory at its folder. Nothing else.
void lstPlaylist1_Click(core::Console& c, int index);
// The item action of lstPlaylists: the same for fileList, then the song list and lblListInfo.
// Does nothing while the rotation screen is up.
void lstPlaylists_Click(core::Console& c, int index);
// Rebuilds lstSongs, lstBuilderCatagoryList and the song paths from fileList; the result is the
// category's tune-out percentage (0 without plays).
std::int32_t fillSongList(core::Console& c);
// Brings the category "VoiceTracks" up on lstPlaylists.
void pickActivePlaylist(core::Console& c);
// Marks the rows of lstSongs that hold the text of txtSearch.
void cmdSearch_Click(core::Console& c);
// Copies dropped files into the selected category's folder.
void fileList_DragDrop(core::Console& c, const std::vector<std::string>& files);

// Library figures (library_figures.cpp).
// averageSong of every category: the mean length of its files in whole seconds, measured through
// the engine. silent leaves the status window alone.
void cmdCalculate(core::Console& c, bool silent);
// Runs cmdCalculate silently.
void lookForLibraryTimes(core::Console& c);
// lapsPerCatagory and repeatTime from the rotation grid and averageSong. flag is passed by
// callers and changes nothing here.
void populateAllowableRepeatTime(core::Console& c, bool flag);

// Making and removing categories (categories.cpp).
// Asks for a name through frmDialog in its "playlist" mode and makes the folder.
void createCatagory(core::Console& c);
// The Delete key on the selected item of lstPlaylists: asks, sends the folder to the trash and
// drops the category's rows from the rotation grid.
void deleteCatagory(core::Console& c);

}  // namespace tw::autodj
