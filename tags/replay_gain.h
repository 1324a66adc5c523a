#pragma once
// ReplayGain values that taggers (foobar2000, mp3gain, rsgain, loudgain, beets, Picard and
// others) leave in a track, so that a track already measured is played at the station's loudness
// without measuring it again. The values stand in ID3v2 user text frames described
// "REPLAYGAIN_TRACK_GAIN" and "REPLAYGAIN_TRACK_PEAK", or, as mp3gain writes by default, in the
// items of the same names of an APEv2 tag at the end of the file. Names are matched in any case.
//
// Thread contract: free functions without shared state; any thread may call them, several at once,
// also on one file. Reading while another thread writes the same file sees the old file or the new
// one, never a mix (the write renames a complete new file over the track); two writes of one file
// at once are for the caller to prevent, as with every tag write.

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tw::tags {

// The loudness the taggers' gains lead to: a track's loudness is this minus its track gain.
inline constexpr double kReplayGainReferenceLufs = -18.0;

// Beyond these a value is damage, not a measurement.
inline constexpr double kMaxReplayGainDb = 64.0;
inline constexpr double kMaxReplayGainPeak = 100.0;

inline constexpr std::string_view kTrackGainName = "REPLAYGAIN_TRACK_GAIN";
inline constexpr std::string_view kTrackPeakName = "REPLAYGAIN_TRACK_PEAK";

struct ReplayGain {
    double trackGainDb = 0;
    std::optional<double> trackPeak;  // linear sample peak; 1.0 is full scale
};

// "-6.53 dB", "+2.10 dB", "-6.53dB", "-6.53 db", "-6.53", "-6,53 dB": blanks around, a sign,
// digits with one "." or "," and an optional "dB" in any case. Nothing for any other text, for a
// gain beyond +-64 dB, or for an exponent, "nan" or "inf". The process locale plays no part.
std::optional<double> parseReplayGainDb(std::string_view text);
// "0.988547", "1.000000", "1.2" (a clipping master peaks above 1), "0,98": a number from 0 to 100
// written as above, without a sign or unit.
std::optional<double> parseReplayGainPeak(std::string_view text);

// The texts the taggers write: "-6.53 dB", "+2.10 dB" (a gain that rounds to zero is "+0.00 dB")
// and "0.988547". The decimal point is always ".".
std::string formatReplayGainDb(double gainDb);
std::string formatReplayGainPeak(double peak);

// The track gain and peak of the file at path: from the ID3v2 tag at its front when that has a
// track gain, else from an APEv2 tag at its end. Nothing without a readable track gain; the peak
// may be missing. Never throws; a damaged or lying tag gives nothing or what could be read of it,
// and no tag is read past the file or past a fixed size.
std::optional<ReplayGain> readReplayGain(const std::string& path);

// The steps, for the reader, the tests and the fuzzers. body is an ID3v2 tag's frames as
// readFrontTag gives them; tail is the end of a file (or the whole of it) whose APEv2 tag ends it
// or stands just before a 128-byte ID3v1 tag.
std::optional<ReplayGain> readId3ReplayGain(std::string_view body, std::uint8_t revision);
std::optional<ReplayGain> readApeReplayGain(std::span<const std::uint8_t> tail);

// Writes the track gain ("%+.2f dB") and peak ("%.6f") as user text frames in front of the other
// frames of the ID3v2 tag at the front of the file (a revision 3 tag when it has none), replacing
// such frames of any case.
// Every other frame, the audio and whatever follows it (APEv2, Lyrics3, ID3v1) are kept byte for
// byte, except that, as with every tag write, a whole-tag unsynchronisation is undone and an
// extended header dropped; the new file is built beside the track and renamed over it, so a failure
// leaves the track as it was. False with the reason in error for a value out of range or a failed
// write.
bool writeReplayGain(const std::string& path, double trackGainDb, double trackPeakLinear,
                     std::string& error);
// The write's step on a tag body as readFrontTag gives it: the track frames of any case taken out,
// the new ones put in front, the padding kept (2048 bytes where there was none). The values must
// be in range.
std::string withReplayGainFrames(std::string_view body, std::uint8_t revision, double trackGainDb,
                                 double trackPeakLinear);

}  // namespace tw::tags
