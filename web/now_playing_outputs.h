#pragma once
// What a start leaves for the station's scripts and overlays: nowplaying.txt ("Artist - Title")
// and nowplaying.json (the snapshot) in the station folder, each replaced whole, and the
// operator's now-playing command, run without a shell.
//
// Thread contract: console thread only.

#include <memory>
#include <string>

#include "core/console.h"

namespace tw::web {

inline constexpr const char* kNowPlayingText = "nowplaying.txt";
inline constexpr const char* kNowPlayingJson = "nowplaying.json";

// Replaces folder/name with bytes: written under a hidden name beside it and renamed over it, so
// a reader sees the old text or the new, never a part. Not synced to the disk: the file is
// replaced at the next start, and one lost in a power cut is of no harm. False, with errno,
// when the file was left as it was.
bool replaceQuickly(const std::string& path, const std::string& bytes);

// Writes both files; a failure is told as the console's failed writes are (once a minute).
void writeNowPlayingFiles(core::Console& c, const std::string& line, const std::string& json);

// Runs the now-playing command, when one is set. While the last one still runs, the start is not
// passed on (one app.log line until a run ends); a run that cannot start or ends with a failure
// is one app.log line with its exit status and the last line it printed.
class NowPlayingCommand {
  public:
    explicit NowPlayingCommand(std::string commandLine) : commandLine_(std::move(commandLine)) {}
    void run(core::Console& c, const std::string& artist, const std::string& title, long seconds);
    bool set() const { return !commandLine_.empty(); }

  private:
    struct Runs {
        bool running = false;
        bool busyTold = false;
    };
    std::string commandLine_;
    // Shared with the end's report, which may come after the feed was replaced.
    std::shared_ptr<Runs> runs_ = std::make_shared<Runs>();
};

}  // namespace tw::web
