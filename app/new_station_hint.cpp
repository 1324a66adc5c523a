#include "app/new_station_hint.h"

#include "core/console_ops.h"

namespace tw::app {

std::string newStationHint(const std::string& folder) {
    return "New station in " + folder +
           ": add a category with +, then drop MP3 files on the track list; or start with "
           "--station DIR";
}

std::string showNewStationHint(core::Console& c, const StationFolder& station) {
    // A station the operator named, or the program's own folder, was chosen knowingly: the
    // operator knows where it is.
    if (station.source != StationSource::DataFolder || !c.form().lstPlaylists.items.empty()) {
        return {};
    }
    const std::string hint = newStationHint(station.folder);
    core::printMessageOnScreen(c, hint);
    return hint;
}

}  // namespace tw::app
