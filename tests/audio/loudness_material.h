#pragma once
// Test signals for loudness and peak measurement: tones that fade in and out (so that no click
// at either end adds a peak of its own) and a stand-in for music, pink noise under a progression
// of chords, at a chosen peak level.

#include <cstdint>
#include <ostream>

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {

// A sine of `hz` whose highest sample is `peakDbfs` (0 dBFS = 32767), `phase` radians at the
// first sample, on every channel, with 10 ms fades at both ends.
Pcm fadedSine(int rate, int channels, double hz, double peakDbfs, double seconds, double phase = 0);

struct NoiseUnderChords {
    int rate = 44100;
    int channels = 2;
    double seconds = 10;
    double peakDbfs = -6;  // level of the highest sample
    // Pushes the signal 12 dB into a soft clipper before it is brought to its peak level, as a
    // loud master is: most of it then sits near the peak.
    bool squashed = false;
    std::uint32_t seed = 1;
};

// How GoogleTest names a parameter.
void PrintTo(const NoiseUnderChords& spec, std::ostream* out);

// Pink noise (different on each channel) under chords that change every two seconds.
Pcm noiseUnderChords(const NoiseUnderChords& spec);

}  // namespace tw::audio::test
