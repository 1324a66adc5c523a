#pragma once
// The console's writes that fail (a full disk, a folder gone), told at most once a minute.
//
// A console on a full disk fails at every start (Played.log, played.ini) and at every line it
// logs; a line for each would fill the log the moment space came back, and the operator needs
// only to know that writes fail, why, and when they work again. So the first failure is told at
// once, later ones are counted, and a line is due again only a minute after the last: the next
// failure then, or the first success, which says that writing works again.
//
// Thread contract: console thread only.

#include <optional>
#include <string>

namespace tw::core {

class WriteFailures {
  public:
    static constexpr double kSecondsBetweenLines = 60;

    // A write of path failed with the system's error err at `seconds` (a count of seconds that
    // only moves on; one that goes back counts as a minute later). The line to log, when due.
    std::optional<std::string> failed(const std::string& path, int err, double seconds);
    // A write succeeded at `seconds`. After failures the line that says so, when due.
    std::optional<std::string> succeeded(double seconds);

  private:
    bool due(double seconds) const;
    std::string countText() const;

    bool told_ = false;  // a line was given at lastLine_
    double lastLine_ = 0;
    bool failing_ = false;  // failed since the last success
    long untold_ = 0;       // failures since the last line
};

}  // namespace tw::core
