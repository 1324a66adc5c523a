#pragma once
// How loud a file is on the air and how high it peaks, for levelling tracks against each other.
// The file is read through the engine's own decoders, so the figures are those of the samples
// the players will play.
//
// A mono file is measured as the players put it on the air, the same signal on both sides: it
// reads 3 LU louder than one channel alone would. Files of more than two channels count their
// channels as left, right, centre, LFE (not counted), left and right surround; channels past the
// sixth are not counted in the loudness but are in the peak.
//
// The peak is that of the 16-bit samples the decoders give. An MP3 whose decoded wave goes past
// full scale is clipped there, as the players play it, so it reads lower than on a meter that
// decodes to floating point (by up to 2.5 dB on the hottest files we have seen).
//
// Thread contract: measureLoudness runs on any thread and shares nothing with other calls, so
// several files may be measured at once on different threads. It reads the file from start to
// end without pause: the console calls it on a worker, never on the console thread.

#include <atomic>
#include <string>

namespace tw::audio {

struct LoudnessFigures {
    // ITU BS.1770-4 / EBU R128 gated integrated loudness; -infinity for a silent file.
    double integratedLufs = 0;
    // Highest true peak of all channels, dBTP; -infinity for a silent file.
    double truePeakDbtp = 0;
    // Length measured.
    double seconds = 0;
};

enum class MeasureResult {
    Measured,    // `out` holds the figures; a file shorter than 0.4 s, or silent, has no gated
                 // block and reads -infinity LUFS
    Unreadable,  // the file cannot be opened or decoded; `error` says why
    Cancelled,   // `cancel` became true before the end; the file was not read further
};

// Measures the file at `path` (WAV and the other PCM forms through libsndfile, else MP3). `cancel`
// may be null; when it is not, it is looked at before every block of 4096 frames, so a cancel
// takes effect within one block's work. `out` is written only when the result is Measured.
// `error` is kOk except for Unreadable, when it holds one of the engine's error codes
// (audio/engine.h): kErrorFileOpen when the file cannot be opened, kErrorFileForm when it is not
// audio the decoders know, kErrorFormat when its sample rate or channel count cannot be measured,
// kErrorMemory when memory runs out.
MeasureResult measureLoudness(const std::string& path, const std::atomic<bool>* cancel,
                              LoudnessFigures& out, int& error);

}  // namespace tw::audio
