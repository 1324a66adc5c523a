#pragma once
// Spoken text: a typed line rendered by the speech synthesiser (espeak-ng) into spoken.wav in the
// station folder, played over the music through a treatment of its own while the players dip.
//
// Thread contract: console thread only. Rendering blocks the console thread until the whole text
// is rendered, as the console always did; the end of the speech comes back through the event
// loop.

#include <cstdint>
#include <string>
#include <vector>

#include "core/console.h"

namespace tw::liveassist {

// The synthesiser: the espeak-ng program, asked for a text's audio as a WAV on its standard
// output (the text goes in on its standard input, never on a command line). Held for the
// console's life; it keeps no state of its own between texts.
class SpeechVoice {
  public:
    explicit SpeechVoice(std::string program = "espeak-ng") : program_(std::move(program)) {}

    // The text as 44100 Hz 16-bit stereo samples; throws Failure when the synthesiser cannot be
    // run or gives no audio. An empty text gives no samples.
    std::vector<std::int16_t> render(const std::string& text) const;

  private:
    std::string program_;
};

// The first channel of a 16-bit PCM WAV as the synthesiser streams it (its lengths left open);
// `rate` gets its rate. Throws Failure when it holds no such audio.
std::vector<std::int16_t> speechSamples(const std::string& wav, int& rate);

// Start-up: makes the voice. The console goes on without one.
void createVoice(core::Console& c);
// Renders the text into AppFolder + "/spoken.wav" and plays it; failures are logged.
void sayText(core::Console& c, const std::string& text);
// The toggle: stops the spoken text that sounds, or plays the file over the music.
void playSpoken(core::Console& c, const std::string& path);

}  // namespace tw::liveassist
