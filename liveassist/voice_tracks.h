#pragma once
// Voice tracks: a take recorded from the microphone into memory through the voice chain, written
// as VoiceTrack1.wav in the station folder, named in frmDialog and encoded by lame into the
// VoiceTracks category; the take played at once on the air or in the studio; the mode buttons
// shared with the sampler.
//
// Thread contract: console thread only, except recordProc, which runs on the engine's capture
// thread and touches only the take's buffer and length (a failure reaches the console through its
// event loop, as takeCannotGrow).

#include <cstdint>
#include <string>

#include "core/console.h"

namespace tw::liveassist {

// The take's file: AppFolder + "/VoiceTrack1.wav".
std::string voiceTrackPath(const core::Console& c);

void cmdRecord_Click(core::Console& c);
void startRecording(core::Console& c);
// Capture thread: appends `bytes` bytes of the take, growing the buffer in whole steps. False
// (the recording stops) when the buffer cannot grow.
bool recordProc(core::Console& c, const void* data, std::int32_t bytes);
// The take stopped growing (recordProc failed on `channel`): unless the operator has stopped it
// meanwhile, what was recorded is stopped and written as the take, then "Out of memory!" shows.
void takeCannotGrow(core::Console& c, audio::Handle channel);
void stopRecording(core::Console& c);
// The take's RIFF image, as far as it was recorded.
std::string takeImage(const core::Console& c);
// Writes the take to `path`; false, with "Can't create the file" shown, when it cannot.
bool writeTake(core::Console& c, const std::string& path);
void applyVoiceChain(core::Console& c);
void removeVoiceChain(core::Console& c);
void showVoiceTrackState(core::Console& c);

// A press on cmdVoiceTrack; only the left button acts.
void cmdVoiceTrack_MouseDown(core::Console& c, bool leftButton);
// The end of a voice track, a sample or the spoken text: the players come back to full volume.
void spotEnded(core::Console& c);
// A sync callback for the engine's thread that runs spotEnded on the console thread.
audio::SyncProc spotEndedSync(core::Console& c);
// The sampler's mode: 0 "Live", 1 "Preview", 2 "Move to Player" (the take and the samples are
// then dragged onto a player instead of played).
int samplerMode(const core::Console& c);
void optSamplerMode_Click(core::Console& c, int index);

// frmDialog in its "VoiceTrack" mode, and its create button there.
void setUpVoiceTrack(core::Console& c);
// Encodes the take into the VoiceTracks category as `name`: from VoiceTrack1.wav, or with
// `fromWav` false from the take in memory (it could not be written). A failure is logged with
// lame's exit status and last line.
void saveVoiceTrack(core::Console& c, const std::string& name, bool fromWav = true);
// Shut-down: a take being recorded is stopped and written as VoiceTrack1.wav before its buffer
// goes; the encoders still running get 10 s to finish their tracks, after which they are ended
// and leave nothing behind.
void finishVoiceTracks(core::Console& c);

}  // namespace tw::liveassist
