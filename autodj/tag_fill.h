#pragma once
// The tag cache filled ahead of the picks: the tags of the library's files that the cache does not
// hold (a first start, a library grown behind the console's back, an import) are read on a worker
// of their own while the station plays, and offered to the cache (TagCache::offer) on the console
// thread as they come. The first pick of a category then reads from the disk only what changed
// since, and the track list finds its titles.
//
// It runs at start-up, after the first load, and after every import; asked for while it runs, it
// runs once more when it ends. Its progress shows in "Library Update" ("Reading Tags: <category>
// Track Number: <n>") once it has read for showAfter, and only while no import or recount shows
// its own (nor left the window open, as a recount does); a fill that ends sooner shows nothing. At
// its end the cache is saved when its interval is due.
//
// The worker lists each category folder (but one that a pick walked whole, whose every name the
// cache holds), and for every name the cache knew nothing of when the fill began: an lstat, then
// the tag read as a pick reads it. A file written within the last three seconds (an import's
// copies) is read once its stamp can tell a change made after the read, when the rest of its
// folder is done. A link, a file with a second name, an empty file and a file still changing by
// then are left to the picks. At most kTagFillBacklog tags wait for the console thread; the worker
// waits while they do.
//
// Thread contract: console thread only; the worker's thread touches only the job's own state,
// under its mutex.

#include <chrono>
#include <cstddef>

#include "core/console.h"

namespace tw::autodj {

inline constexpr std::chrono::milliseconds kTagFillShowAfter{2000};
inline constexpr std::size_t kTagFillBacklog = 4096;

// Starts the fill (or asks for one more when it runs); nothing without a tag cache.
void startTagFill(core::Console& c, std::chrono::milliseconds showAfter = kTagFillShowAfter);
// Stops a fill under way and waits for its worker; what it read and was not offered is lost.
void stopTagFill(core::Console& c);
// True while a fill runs or waits to run again.
bool tagFillBusy(const core::Console& c);

}  // namespace tw::autodj
