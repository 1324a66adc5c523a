#pragma once
// The last error of each thread that called the engine, as errorGetCode() reports it.
//
// Thread contract: any thread; never the audio callback.

#include <mutex>
#include <thread>
#include <unordered_map>

#include "audio/engine.h"

namespace tw::audio {

class ThreadErrors {
  public:
    void set(int code) {
        std::lock_guard lock(mutex_);
        codes_[std::this_thread::get_id()] = code;
    }
    int get() const {
        std::lock_guard lock(mutex_);
        auto it = codes_.find(std::this_thread::get_id());
        return it == codes_.end() ? kOk : it->second;
    }

  private:
    mutable std::mutex mutex_;
    std::unordered_map<std::thread::id, int> codes_;
};

}  // namespace tw::audio
