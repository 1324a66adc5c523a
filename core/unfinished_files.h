#pragma once
// The names of the console's unfinished files, and the sweep that removes those a killed run left.
//
// Whatever the console writes in place of a file (a setting file, the take, a tag written into a
// track, an imported track, an outside program's output) is written first under a hidden name
// beside the target, which carries the id of the writing process:
//   .<name>.tw-<pid>.<kind>    kind: "tmp" (a whole file replaced), "copy" (an import), or "tag"
//                              and six more characters (a tag written into a track)
//   .tw-<pid>-<n>.part         an outside program's output (core::ProgramRunner)
// A run that is killed cannot remove them; the next start does, and only files of this form whose
// writer no longer runs, so that a second program of the station (tarnwave-tag) writing at that
// moment is left alone.
//
// Thread contract: any thread.

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace tw::core {

// The hidden name beside target for this process and kind ("tmp", "copy", "tagXXXXXX"), with the
// target's name cut (on a character boundary) so that the name stays within the file system's
// 255 bytes.
std::string unfinishedPath(const std::string& target, std::string_view kind);

// The id of the process that wrote the file named name (no folder), when the name is one of the
// forms above; else nothing.
std::optional<pid_t> unfinishedFileWriter(std::string_view name);

// Removes the unfinished files whose writer no longer runs from the station folder, its folders
// and theirs (Music/<category>). Returns how many were removed.
int sweepUnfinishedFiles(const std::string& stationFolder);

}  // namespace tw::core
