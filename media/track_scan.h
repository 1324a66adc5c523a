#pragma once
// Measuring tracks: where the sound really starts and ends (auto-trim), and the cue markers drawn
// under each player's bar.
//
// Thread contract: console thread only. The scan decodes on the console thread and holds it for
// that time.

#include <cstdint>
#include <string>

#include "core/console.h"
#include "core/cue_record.h"

namespace tw::media {

// The suggested next start in whole seconds (the end of the sound less one crossfade), or 0 when
// auto-trim is off, the stream is 0, or the track is a minute or shorter. Positions the stream at
// the first sound.
std::int32_t SetTrackStart(core::Console& c, const std::string& path, audio::Handle stream);
// The byte positions of the first and the last sound of a file above threshold.
void findTrackBounds(core::Console& c, const std::string& path, std::int32_t threshold,
                     std::int64_t& startBytes, std::int64_t& endBytes);
// Draws the cue points of a record on a marker strip.
void drawCueMarkers(core::Console& c, audio::Handle stream, core::Element& picture,
                    const core::CueRecord& cue);
// The same marks placed by time on a picture that spans a track of `seconds` (the details panel's
// waveform), added to what it shows.
void drawCueMarkersByTime(const core::MainForm& m, core::Element& picture,
                          const core::CueRecord& cue, double seconds);

}  // namespace tw::media
