#pragma once
// The dead-air alarm, which the original console did not have: when the mix has stayed below
// -50 dBFS for "[DeadAir] Seconds" of appSettings.ini (10 when the key is absent, 0 switches the
// alarm off), in either mode, the clock flashes "DEAD AIR" in red, app.log gets one line and the
// command named in "[DeadAir] Command" (none by default) is started without a shell, with the
// station's name as its last argument, for a mail or chat script to tell somebody. It clears
// itself when sound comes back. It only shows, logs and calls: it never changes what plays (the
// dead-air watch of the tick, which starts the next track, is another thing and stays as it is).
//
// Thread contract: console thread only (the tick calls it); the command's end comes back through
// the console's program runner on the console thread.

#include <cstdint>
#include <string>

#include "core/console.h"

namespace tw::playout {

// -50 dBFS on the level scale of the mix (full scale 32768).
inline constexpr std::uint32_t kDeadAirLevel = 104;
inline constexpr const char* kDeadAirCaption = "DEAD AIR";

class DeadAirAlarm {
  public:
    // One look at the mix's level word (left in the low half, right in the high half), at a
    // time of day in seconds (the clock's timer; midnight is taken in its stride).
    void watch(core::Console& c, std::uint32_t level, double timer);
    bool raised() const { return raised_; }
    double quietSeconds() const { return quiet_; }

  private:
    void raise(core::Console& c, int seconds);
    void clear(core::Console& c);
    void flash(core::Console& c, double timer);

    double last_ = -1;  // the timer at the last look, -1 before the first
    double quiet_ = 0;  // how long the mix has been below the level, up to now
    bool raised_ = false;
    double flashedAt_ = 0;
    bool flashOn_ = false;
};

// The tick's call: the console's alarm looks at the level.
void deadAirWatch(core::Console& c, std::uint32_t level);

}  // namespace tw::playout
