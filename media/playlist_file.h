#pragma once
// Saved playlists: ".pls" files of the common INI form, one "FileN=" line per entry, a local file
// or a stream address.
//
// The count is written one lower than the number of entries ("NumberOfEntries=" + n - 1), and the
// reader asks for one entry more than the count, so files of this console and files of other
// players, which hold the true count, both load whole. A file without the count gives File1 and
// File2 at most.
//
// Thread contract: console thread only (the tag reader of the console is used).

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/console.h"
#include "core/ini_document.h"
#include "core/track_listing.h"

namespace tw::media {

// The longest value the reader takes: a longer one is cut to this.
inline constexpr std::size_t kPlsValueLimit = 749;
// A larger file is no playlist; it is not read at all.
inline constexpr std::size_t kPlsFileLimit = 16u << 20;

// True when the text, trimmed, is empty.
bool isBlank(std::string_view text);
// False for a blank path and for any stream address; otherwise whether the file exists.
bool fileIsThere(std::string_view path);
// The value of key in section (keys and sections matched without regard to case), cut to
// kPlsValueLimit characters; the default when that is blank.
std::string readPlsValue(const core::IniDocument& file, std::string_view section,
                         std::string_view key, const std::string& def);

// The entry texts of a playlist's bytes: n from the count as above, and n + 1 slots, a blank
// entry as an empty slot. No slots when the file gives no entry at all.
struct PlsEntries {
    int count = 0;
    std::vector<std::string> texts;
};
PlsEntries readPlsEntries(std::string_view bytes);

// An entry as the console opens it: a stream address as it stands; "file://" addresses as their
// path; a relative path taken from the playlist's own folder (backslashes read as slashes).
std::string resolvePlsEntry(const std::string& entry, const std::string& playlistFolder);

// Fills tracks with n + 1 slots (an empty slot for a blank entry) and returns n; 0 when nothing
// was loaded: no such file, no "[playlist]" section, or no entry. A stream address is named by
// itself and marked trackIsURL; a file by its tag's title line.
int loadPlaylistFile(core::Console& c, const std::string& path,
                     std::vector<core::clsTrackListing>& tracks);

// Writes the elements below the last one of tracks (the array is kept one longer than its
// entries) as File1... and the count one lower than the lines. The file is replaced whole; false
// when it could not be written, and the old file, if any, is left as it was.
bool savePlaylistFile(const std::string& path, const std::vector<core::clsTrackListing>& tracks);

// The message for a playlist that gives no entry.
std::string noEntriesMessage(const std::string& path);

}  // namespace tw::media
