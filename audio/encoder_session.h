#pragma once
// One encoder: an outside program fed the mix through a tap, its output sent to a server once a
// cast is set up, with the server's statistics fetched and titles sent in the background.
//
// Thread contract: the engine calls start, connect, setTitle, stats, active, count and
// requestStop from the console's side (connect may block up to its time limit and is called
// without the engine's lock). Two threads of its own: the shuttle (the tap into the program's
// input, the program's output to the server; it never blocks) and the control thread (titles,
// statistics). The destructor waits for them and for the program: the engine lets sessions go
// on its reaper.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "audio/cast_protocol.h"
#include "audio/child_process.h"
#include "audio/encoder_tap.h"
#include "audio/engine.h"

namespace tw::audio {

class EncoderSession {
  public:
    EncoderSession(Handle channel, std::uint32_t flags);
    ~EncoderSession();
    EncoderSession(const EncoderSession&) = delete;
    EncoderSession& operator=(const EncoderSession&) = delete;

    // Starts the program of the command line and the threads. False with the reason in error.
    bool start(const std::string& commandLine, std::string& error);
    // Opens the source connection; blocks up to timeoutMs. False when refused or unreachable, or
    // when this encoder already has a cast.
    bool connect(const std::string& server, const StationInfo& info, int timeoutMs);
    // Queued; sent by the control thread.
    void setTitle(const std::string& title, const std::string& url);
    // The latest statistics page of this type, or "" when there is none fresher than 15 s or the
    // cast is down. A connect fetches both types with its password before it returns; asking with
    // another password starts fetching with that one.
    std::string stats(int type, const std::string& password);
    // The program runs, and its cast (if it has one) is connected.
    bool active() const;
    // 0 bytes fed to the program, 1 bytes it gave back, 2 bytes sent to the server.
    std::uint64_t count(int what) const;
    // Tells the threads to end; returns at once.
    void requestStop();

    const Handle channel;
    const std::uint32_t flags;
    const std::shared_ptr<EncoderTap> tap;

  private:
    // The shuttle thread (encoder_shuttle.cpp) and its steps.
    struct Shuttle;
    enum class FeedResult { TapEmpty, PipeFull, ProgramGone };
    void shuttle(std::stop_token stop);
    bool collectOutput(Shuttle& s);  // false when the program's output has ended
    void sendOutbox(Shuttle& s);
    FeedResult feedProgram(Shuttle& s);
    void control(std::stop_token stop);
    // Fetches the wanted statistics pages, each within limitMs.
    void fetchStats(int limitMs);
    void sendTitle(const std::string& title, const std::string& url);

    ChildProcess program_;
    std::atomic<bool> programAlive_{false};
    std::atomic<int> socket_{-1};
    std::atomic<bool> castBroken_{false};
    std::atomic<std::uint64_t> fed_{0}, encoded_{0}, sent_{0};

    // Guarded by mutex_: the cast's target, the titles to send and the statistics cache.
    mutable std::mutex mutex_;
    std::condition_variable_any wake_;
    bool hasCast_ = false;
    CastTarget target_;
    StationInfo info_;
    std::deque<std::pair<std::string, std::string>> titles_;
    struct StatsCache {
        bool wanted = false;
        std::string password;
        std::string text;
        std::chrono::steady_clock::time_point fetched{};
    };
    StatsCache stats_[2];
    bool statsAsked_ = false;        // a type was asked for the first time: fetch now
    bool statsRescheduled_ = false;  // a connect moved nextStats_
    std::chrono::steady_clock::time_point nextStats_{};

    std::jthread shuttle_, controller_;  // last: they start after what they use
};

}  // namespace tw::audio
