#pragma once
// Where a program of the console keeps its station. The folder named on the command line
// (--station), else $TARNWAVE_HOME, else the program's own folder, as the console always had it;
// but a program installed among the system's programs (under /usr, or any install's bin folder)
// keeps its station in the user's data folder instead: $XDG_DATA_HOME/tarnwave/station, by
// default ~/.local/share/tarnwave/station.

#include <filesystem>
#include <string>

namespace tw::app {

// What the choice is made from: the command line and the environment, read by the program.
struct StationPlaces {
    std::string named;          // --station DIR; "" when none is named
    std::string environment;    // $TARNWAVE_HOME; "" when unset
    std::string programFolder;  // the folder of the program's executable
    std::string dataHome;       // $XDG_DATA_HOME; "" when unset
    std::string home;           // the user's home folder
};

enum class StationSource { Named, Environment, ProgramFolder, DataFolder };

struct StationFolder {
    std::string folder;  // absolute, with no separator at its end
    StationSource source = StationSource::ProgramFolder;
};

// The places of this process: $TARNWAVE_HOME, $XDG_DATA_HOME and $HOME (else the home of the
// user's account) beside the named folder and the program's folder given.
StationPlaces placesOfThisProcess(const std::string& named, const std::string& programFolder);

// The station folder for these places. Nothing is made.
StationFolder chooseStationFolder(const StationPlaces& places);

// Makes the folder and those above it when missing; false when there is no folder after.
bool makeStationFolder(const StationFolder& station);

// Whether a program's folder is the station's: its permissions let this user write into it and
// it is no install's bin folder.
bool programFolderHoldsStation(const std::filesystem::path& folder);

// Whether the folder's permission bits (owner, group, others) let this process's user write into
// it, on a file system mounted for writing. The superuser is judged by the bits like anyone else.
bool permitsWriting(const std::filesystem::path& folder);

// Absolute, in normal form and with no separator at its end: every data path of the console is
// a tail like "/Music" put on it.
std::string plainFolder(const std::filesystem::path& folder);

}  // namespace tw::app
