#pragma once
// The microphone on the air with its voice chain, the ducking of the music, the flanger on the
// voice, the master chain on the mix, the microphone's gain bar, and the choice of recording
// device and input on the settings panel.
//
// Thread contract: console thread only.

#include <array>

#include "core/console.h"

namespace tw::liveassist {

// One effect of a chain: its type, priority and parameters (only those of its type count).
struct FxStep {
    std::uint32_t type = 0;
    int priority = 0;
    audio::ParamEq eq;
    audio::Compressor compressor;
    audio::DynamicAmp damp;
};
using VoiceChain = std::array<FxStep, 4>;

// The chain the microphone and the recorded take get.
const VoiceChain& micVoiceChain();
// Sets each step's effect on `channel` into c.voiceFx, in order, with its parameters. With
// `dampTo` set, the dynamic amplification's parameters go to that effect instead of its own.
void installVoiceChain(core::Console& c, audio::Handle channel, const VoiceChain& chain,
                       audio::Handle dampTo = 0);

// Slides the volume of each player that has a channel to `volume` over `ms`.
void slidePlayers(core::Console& c, float volume, std::uint32_t ms);

// A press on cmdMic: opens or closes the microphone. Only the left button ducks and restores the
// music.
void cmdMic_MouseDown(core::Console& c, bool leftButton);
void chkEFX_Click(core::Console& c);
// The master chain on the mixer, on or off.
void cmdCompressor_Click(core::Console& c);
// The gain bar moved with the left button held, to `x` across it.
void pctMainVolume_MouseMove(core::Console& c, double x);
// The voice track or sample that sounds now (0: none).
void setMicPreview(core::Console& c, audio::Handle channel);

// The settings panel's microphone frame.
void cmdRefreshMicList_Click(core::Console& c);
// The panel's load: the lists, then the saved names as their texts.
void loadMicLists(core::Console& c);
void cboMicDevice_Click(core::Console& c);
void cboMicInput_Click(core::Console& c);

}  // namespace tw::liveassist
