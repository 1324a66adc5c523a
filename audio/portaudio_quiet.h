#pragma once
// PortAudio opens every host interface it knows while it starts, and ALSA and JACK print each
// failed probe on standard error: dozens of lines on a machine without a card or a JACK server.
// This switches their messages off, and keeps JACK from starting a server of its own unless the
// operator sets TARNWAVE_JACK. Call before Pa_Initialize; console thread.

namespace tw::audio {

void quietenProbing();

}  // namespace tw::audio
