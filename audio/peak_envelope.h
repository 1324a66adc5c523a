#pragma once
// A track's peak envelope for drawing: the loudest sample of each of a number of equal stretches
// of the file, on the 16-bit scale. An MP3 is parsed frame by frame and only every few frames are
// decoded (mixed to mono), which is plenty for a picture a few hundred pixels wide and keeps a
// five-minute track well under a tenth of a second.
//
// Thread contract: any thread; it opens the file on its own and shares nothing.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tw::audio {

struct PeakEnvelope {
    std::vector<std::uint16_t> peaks;  // one per column, 0..32767
    double seconds = 0;                // the track's length
    bool ok() const { return seconds > 0; }
};

// The envelope of a file in `columns` columns; !ok() when it cannot be read.
PeakEnvelope peakEnvelope(const std::string& path, std::size_t columns);

}  // namespace tw::audio
