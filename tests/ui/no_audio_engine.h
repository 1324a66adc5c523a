#pragma once
// No audio at all, but a recording device that records nothing: the window tests start the
// console without the question about a missing microphone standing in their way.

#include "audio/null_engine.h"

namespace tw::test {

class NoAudioEngine final : public audio::NullEngine {
  public:
    bool recordInit(int) override { return true; }
};

}  // namespace tw::test
