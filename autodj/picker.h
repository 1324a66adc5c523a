#pragma once
// The song picker: given a category and the moment a track is planned to start, which file of the
// category plays. It reads two facts from the play history (the track's and the artist's
// LastPlayed) and writes nothing there; the caller records the pick. The artist and history key
// of a candidate come from the library's tag cache (tag_cache.h) while its file has not changed,
// otherwise from the file, which is then checked (missing, empty) and read as without the cache.
//
// Thread contract: console thread only. A pick may yield to the event loop between candidates;
// pickInProgress is set for its duration and listLoading stops it.

#include <string>
#include <vector>

#include "autodj/library_state.h"
#include "autodj/pick_random.h"
#include "core/console.h"

namespace tw::autodj {

// The artist key of the history: the lowered text cut before the first of "feat", "ft", "vs",
// "&" that occurs in it, not trimmed. The argument is lowered in place too.
std::string makeArtist(std::string& artist);

// The full path of the chosen file of catagory (a folder name, matched against the list's names
// cut at their last "."), or "" when nothing could be picked. previousLastPlayed receives the
// chosen track's LastPlayed before the caller overwrites it, targetTime when it has none. The
// console's tag object holds the chosen file afterwards.
std::string pickSongForCatagory(core::Console& c, const std::string& catagory,
                                core::DateValue targetTime, core::DateValue& previousLastPlayed);

// The console's shuffle, on the console's generator.
template <typename T>
void ShuffleArray(core::Console& c, std::vector<T>& values) {
    ShuffleArray(values, c.library->random);
}

}  // namespace tw::autodj
