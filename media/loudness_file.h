#pragma once
// loudness.ini: what the station knows of the loudness of its files, so that a restart does not
// measure them again. One section per file, named by its path (relative to the station folder
// when it lies in it), with the file's size and write time when it was measured: a file replaced
// or edited since does not match and is measured anew.
//
//   [Music/Rock/Song.mp3]
//   Size=5123456
//   Written=1764123456.123456789
//   Loudness=-12.41
//   Peak=-0.32
//   From=Measured
//
// Loudness is the integrated loudness in LUFS, Peak the true peak in dBTP (either "-inf" for a
// silent file); From is "Measured" (by the console) or "ReplayGain" (from the file's tags, whose
// peak is a sample peak, or none). The file is written whole, like every INI of the station.
//
// Thread contract: plain functions on values; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tw::media {

struct LoudnessEntry {
    std::int64_t size = 0;
    std::int64_t writtenSec = 0;
    std::int64_t writtenNsec = 0;
    double lufs = 0;
    std::optional<double> peakDbtp;  // none: a ReplayGain tag without its peak
    bool fromReplayGain = false;

    bool sameFile(const LoudnessEntry& other) const {
        return size == other.size && writtenSec == other.writtenSec &&
               writtenNsec == other.writtenNsec;
    }
};

struct LoudnessRecord {
    std::string name;  // the section: the file's path as the station names it
    LoudnessEntry entry;
};

struct LoudnessFileContents {
    std::vector<LoudnessRecord> records;
    std::size_t rejected = 0;  // sections that were incomplete or held a value out of range
};

LoudnessFileContents parseLoudnessFile(std::string_view bytes);
std::string serializeLoudnessFile(const std::vector<LoudnessRecord>& records);

}  // namespace tw::media
