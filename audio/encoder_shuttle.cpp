// The encoder's shuttle thread: the tap's PCM into the program, the program's stream out to the
// server. One thread does both on a half-second beat, so that an encoder on the air costs two
// wake-ups a second (and its program as few) rather than one for every block the program writes.
// Nothing here blocks: a full pipe is tried again at the next beat, and what the server has not
// taken yet waits in the outbox until it has taken nothing for five seconds.

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/encoder_session.h"

namespace tw::audio {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto kBeat = 500ms;    // the tap holds two seconds, the pipes 1.5 s of PCM each
constexpr auto kSendLimit = 5s;  // a server that takes nothing this long is gone
constexpr std::size_t kFeedFrames = 16384;
constexpr std::size_t kOutboxLimit = 1 << 20;  // far beyond five seconds of any bit rate

// A write into the program's input after it died must give EPIPE, not end the console.
void ignoreBrokenPipesOnThisThread() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

}  // namespace

struct EncoderSession::Shuttle {
    std::vector<std::int16_t> block = std::vector<std::int16_t>(kFeedFrames * kMixChannels);
    std::size_t blockBytes = 0;  // read from the tap
    std::size_t blockDone = 0;   // of those, written to the program
    std::vector<char> outbox;    // the program's stream, not yet taken by the server
    std::size_t outboxDone = 0;
    int outboxFd = -1;  // the connection the outbox is for
    Clock::time_point lastTaken = Clock::now();
};

void EncoderSession::shuttle(std::stop_token stop) {
    ignoreBrokenPipesOnThisThread();
    if (!startProgram(stop)) {
        return;
    }
    Shuttle s;
    s.outbox.reserve(1 << 16);
    std::mutex beatMutex;
    std::condition_variable_any beat;
    while (!stop.stop_requested()) {
        if (!collectOutput(s)) {
            programGone(stop);  // its output ended: the program has ended
            return;
        }
        sendOutbox(s);
        const FeedResult fed = feedProgram(s);
        if (fed == FeedResult::ProgramGone) {
            programGone(stop);
            return;
        }
        if (fed == FeedResult::PipeFull) {
            // The program is behind (a burst offline, or its start): look again soon.
            pollfd p{program_.input(), POLLOUT, 0};
            ::poll(&p, 1, 20);
            continue;
        }
        std::unique_lock lock(beatMutex);
        beat.wait_for(lock, stop, kBeat, [] { return false; });
    }
}

void EncoderSession::programGone(std::stop_token stop) {
    // Its pipes closed a moment before it exited: the exit is waited for a little, unless the
    // session is being stopped (then the end is the stop's, not news).
    const auto deadline = Clock::now() + 2s;
    while (program_.running() && !stop.stop_requested() && Clock::now() < deadline) {
        program_.readErrors();
        std::this_thread::sleep_for(10ms);
    }
    if (!stop.stop_requested()) {
        const std::string end = program_.describeEnd();
        std::lock_guard lock(mutex_);
        programEnd_ = end;
    }
    programAlive_ = false;
}

bool EncoderSession::collectOutput(Shuttle& s) {
    // Its standard error is read at every beat, so that a talkative program never waits on it.
    program_.readErrors();
    char buffer[16384];
    for (;;) {
        const ssize_t n = ::read(program_.output(), buffer, sizeof buffer);
        if (n > 0) {
            encoded_ += static_cast<std::uint64_t>(n);
            if (socket_.load() >= 0 && s.outbox.size() - s.outboxDone < kOutboxLimit) {
                s.outbox.insert(s.outbox.end(), buffer, buffer + n);
            }
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        return n < 0 && errno == EAGAIN;
    }
}

void EncoderSession::sendOutbox(Shuttle& s) {
    const int fd = socket_.load();
    if (fd != s.outboxFd) {
        // A new connection (or none): it starts with what the program writes from now on.
        s.outboxFd = fd;
        s.lastTaken = Clock::now();
        if (fd < 0) {
            s.outbox.clear();
            s.outboxDone = 0;
        }
    }
    if (fd < 0) {
        return;
    }
    bool broken = false;
    while (s.outboxDone < s.outbox.size()) {
        const ssize_t n = ::send(fd, s.outbox.data() + s.outboxDone, s.outbox.size() - s.outboxDone,
                                 MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            s.outboxDone += static_cast<std::size_t>(n);
            sent_ += static_cast<std::uint64_t>(n);
            s.lastTaken = Clock::now();
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            broken = !(n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK));
            break;
        }
    }
    if (s.outboxDone == s.outbox.size()) {
        s.outbox.clear();
        s.outboxDone = 0;
        s.lastTaken = Clock::now();
    } else if (s.outboxDone > s.outbox.size() / 2) {
        s.outbox.erase(s.outbox.begin(), s.outbox.begin() + static_cast<long>(s.outboxDone));
        s.outboxDone = 0;
    }
    if (broken || Clock::now() - s.lastTaken > kSendLimit) {
        if (int expected = fd; socket_.compare_exchange_strong(expected, -1)) {
            ::close(fd);
            castBroken_ = true;
        }
        s.outboxFd = -1;
        s.outbox.clear();
        s.outboxDone = 0;
    }
}

EncoderSession::FeedResult EncoderSession::feedProgram(Shuttle& s) {
    for (;;) {
        if (s.blockDone == s.blockBytes) {
            const std::size_t n = tap->samples.read(s.block.data(), s.block.size());
            if (n == 0) {
                return FeedResult::TapEmpty;
            }
            s.blockBytes = n * sizeof(std::int16_t);
            s.blockDone = 0;
        }
        const char* bytes = reinterpret_cast<const char*>(s.block.data()) + s.blockDone;
        const ssize_t w = ::write(program_.input(), bytes, s.blockBytes - s.blockDone);
        if (w > 0) {
            s.blockDone += static_cast<std::size_t>(w);
            fed_ += static_cast<std::uint64_t>(w);
        } else if (w < 0 && errno == EINTR) {
            continue;
        } else if (w < 0 && errno == EAGAIN) {
            return FeedResult::PipeFull;
        } else {
            return FeedResult::ProgramGone;
        }
    }
}

}  // namespace tw::audio
