#pragma once

// Names the calling thread, so that top, perf and a debugger tell the engine's threads apart.
// Linux keeps 15 characters; a longer name is cut rather than refused.

#include <pthread.h>

#include <string>

namespace tw::audio {

inline void nameThisThread(const std::string& name) {
    pthread_setname_np(pthread_self(), name.substr(0, 15).c_str());
}

}  // namespace tw::audio
