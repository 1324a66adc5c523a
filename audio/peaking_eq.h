#pragma once
// The peaking EQ's biquad (the audio EQ cookbook's), as the engine's EQ effect takes it from its
// parameters (centre in Hz, bandwidth in twelfths of an octave, gain in dB):
// y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2].
//
// Thread contract: a pure function, any thread.

namespace tw::audio {

struct PeakingEq {
    float b0 = 1, b1 = 0, b2 = 0, a1 = 0, a2 = 0;
};
PeakingEq peakingEqOf(float center, float bandwidth, float gain);

}  // namespace tw::audio
