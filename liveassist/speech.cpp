#include "liveassist/speech.h"

namespace tw::liveassist {

// Speech is synthesised on demand; there is no voice object to hold yet.
void createVoice(core::Console& c) {
    (void)c;
}

}  // namespace tw::liveassist
