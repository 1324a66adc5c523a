#pragma once
// The library's long jobs, each on a worker of its own so that the console thread stays free for
// the tick: the import of files into the chosen category (copies, then the titles of the
// category read ahead for its list), and the recount of the library's figures (every track's
// length decoded). Their progress shows in frmStatus ("Library Update").
//
// Import: only ".mp3" files (any case) are copied, over a file of the same name without asking;
// any other file gets its message, in order, and the batch goes on. A file that cannot be copied
// ends the batch; the copies made so far stay. At the end the file lists are refreshed, the
// category's list reloaded and the library recounted. Batches started while one runs wait their
// turn. Tags are not touched: a copy keeps its cue data.
//
// Thread contract: console thread only; the workers' threads touch only the job's own state.

#include <string>
#include <vector>

#include "core/console.h"

namespace tw::autodj {

// Copies files (full paths) into the chosen category's folder on the import worker.
void importFiles(core::Console& c, const std::vector<std::string>& files);
// pctAddSongs' release: the file dialog (".mp3", several files), then importFiles.
void pctAddSongs_Click(core::Console& c);
// Files dropped on lstSongs: imported in the order given.
void lstSongs_DragDrop(core::Console& c, const std::vector<std::string>& files);
// The Delete key on lstSongs: after the question, the selected tracks go to the trash.
void deleteSelectedTracks(core::Console& c);
// The Calculate button: averageSong of every category measured on the recount worker, with the
// same figures and status texts as cmdCalculate.
void cmdCalculate_Click(core::Console& c);
// True while an import or a recount runs or waits.
bool libraryJobsBusy(const core::Console& c);

}  // namespace tw::autodj
