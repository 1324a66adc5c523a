#pragma once
// One encoder: an outside program fed the mix through a tap, its output sent to a server once a
// cast is set up, with the server's statistics fetched and titles sent in the background.
//
// Thread contract: the engine calls start, connect, connectError, setTitle, stats, active, count
// and requestStop from the console's side (connect may block up to its time limit and is called
// without the engine's lock, from any thread). Two threads of its own: the shuttle (the tap into
// the program's input, the program's output to the server; it never blocks) and the control
// thread (titles, statistics). The destructor waits for them and for the program: the engine
// lets sessions go on its reaper. The program is started by the shuttle, once the programs of
// stopped sessions (the engine's ProgramGate) have ended.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "audio/cast_protocol.h"
#include "audio/child_process.h"
#include "audio/encoder_tap.h"
#include "audio/engine.h"
#include "audio/program_gate.h"

namespace tw::audio {

class EncoderSession {
  public:
    EncoderSession(Handle channel, std::uint32_t flags, std::shared_ptr<EncoderTap> tap,
                   std::shared_ptr<ProgramGate> gate);
    ~EncoderSession();
    EncoderSession(const EncoderSession&) = delete;
    EncoderSession& operator=(const EncoderSession&) = delete;

    // Starts the threads, which start the program of the command line. False with the reason in
    // error when there is no such program.
    bool start(const std::string& commandLine, std::string& error);
    // Opens the source connection; blocks up to timeoutMs, the host name's resolution included
    // (nameServers: see resolveHost). False when refused or unreachable, when this encoder
    // already has a cast, or when it was stopped meanwhile; connectError() then says why.
    bool connect(const std::string& server, const StationInfo& info, int timeoutMs,
                 const std::string& nameServers = {});
    // Why the last connect failed, as the operator reads it; empty after a success.
    std::string connectError() const;
    // Queued; sent by the control thread.
    void setTitle(const std::string& title, const std::string& url);
    // The latest statistics page of this type, or "" when there is none fresher than 15 s or the
    // cast is down. A connect fetches both types with its password before it returns; asking with
    // another password starts fetching with that one.
    std::string stats(int type, const std::string& password);
    // The program runs, and its cast (if it has one) is connected.
    bool active() const;
    // How the program ended when it ended by itself, with the last line it printed; empty while
    // it runs and after a stop.
    std::string programEnd() const;
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

    // The shuttle's first step: false when stopped first or the program cannot be started.
    bool startProgram(std::stop_token stop);
    // The shuttle's last step when the program ended by itself: keeps how it ended.
    void programGone(std::stop_token stop);

    const std::shared_ptr<ProgramGate> gate_;
    ChildProcess program_;
    std::vector<std::string> argv_;  // the program the shuttle starts
    std::atomic<bool> programAlive_{false};
    std::atomic<bool> programWaiting_{false};  // until the shuttle has started it
    std::atomic<bool> stopping_{false};
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
    std::string connectError_;
    std::string programEnd_;
    bool statsAsked_ = false;        // a type was asked for the first time: fetch now
    bool statsRescheduled_ = false;  // a connect moved nextStats_
    std::chrono::steady_clock::time_point nextStats_{};

    std::jthread shuttle_, controller_;  // last: they start after what they use
};

}  // namespace tw::audio
