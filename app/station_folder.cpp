#include "app/station_folder.h"

#include <pwd.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

namespace tw::app {

namespace fs = std::filesystem;

namespace {

std::string environmentValue(const char* name) {
    const char* v = std::getenv(name);
    return v ? std::string(v) : std::string();
}

bool inGroup(gid_t group) {
    if (group == ::getegid()) {
        return true;
    }
    const int count = ::getgroups(0, nullptr);
    if (count <= 0) {
        return false;
    }
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    const int got = ::getgroups(count, groups.data());
    groups.resize(static_cast<std::size_t>(std::max(got, 0)));
    return std::find(groups.begin(), groups.end(), group) != groups.end();
}

// An install puts its programs into PREFIX/bin and what goes with them into PREFIX/share:
// /usr/bin, /usr/local/bin, ~/.local/bin. Such a folder holds programs, never a station, also
// for a user who could write into it.
bool isInstallBinFolder(const fs::path& folder) {
    std::error_code ec;
    const fs::path plain = fs::path(plainFolder(folder));
    return plain.filename() == "bin" && fs::is_directory(plain.parent_path() / "share", ec);
}

// $XDG_DATA_HOME when it is set to an absolute path; a relative one is to be ignored, and an
// unset or empty one means ~/.local/share.
fs::path dataHome(const StationPlaces& places) {
    const fs::path given(places.dataHome);
    if (!places.dataHome.empty() && given.is_absolute()) {
        return given;
    }
    return fs::path(places.home) / ".local/share";
}

}  // namespace

StationPlaces placesOfThisProcess(const std::string& named, const std::string& programFolder) {
    StationPlaces p;
    p.named = named;
    p.environment = environmentValue("TARNWAVE_HOME");
    p.programFolder = programFolder;
    p.dataHome = environmentValue("XDG_DATA_HOME");
    p.home = environmentValue("HOME");
    if (p.home.empty()) {
        // A service started with no HOME still has an account.
        if (const passwd* account = ::getpwuid(::geteuid()); account && account->pw_dir) {
            p.home = account->pw_dir;
        }
    }
    return p;
}

StationFolder chooseStationFolder(const StationPlaces& places) {
    if (!places.named.empty()) {
        return {plainFolder(places.named), StationSource::Named};
    }
    if (!places.environment.empty()) {
        return {plainFolder(places.environment), StationSource::Environment};
    }
    if (programFolderHoldsStation(places.programFolder)) {
        return {plainFolder(places.programFolder), StationSource::ProgramFolder};
    }
    return {plainFolder(dataHome(places) / "tarnwave" / "station"), StationSource::DataFolder};
}

bool makeStationFolder(const StationFolder& station) {
    std::error_code ec;
    fs::create_directories(station.folder, ec);
    return fs::is_directory(station.folder, ec);
}

bool programFolderHoldsStation(const fs::path& folder) {
    return !folder.empty() && permitsWriting(folder) && !isInstallBinFolder(folder);
}

bool permitsWriting(const fs::path& folder) {
    struct stat st {};
    if (::stat(folder.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        return false;
    }
    struct statvfs mounted {};
    if (::statvfs(folder.c_str(), &mounted) == 0 && (mounted.f_flag & ST_RDONLY) != 0) {
        return false;
    }
    // The bits alone, not access(): the superuser may write anywhere, and a console run by root
    // from a read-only program folder would fill that folder with a station. Access control
    // lists are not read; a folder writable only through one counts as read-only, which costs
    // no more than a station in the data folder.
    if (st.st_uid == ::geteuid()) {
        return (st.st_mode & S_IWUSR) != 0;
    }
    if (inGroup(st.st_gid)) {
        return (st.st_mode & S_IWGRP) != 0;
    }
    return (st.st_mode & S_IWOTH) != 0;
}

std::string plainFolder(const fs::path& folder) {
    std::error_code ec;
    const fs::path absolute = fs::absolute(folder, ec);
    fs::path normal = (ec ? folder : absolute).lexically_normal();
    if (!normal.has_filename() && normal.has_relative_path()) {
        normal = normal.parent_path();
    }
    return normal.string();
}

}  // namespace tw::app
