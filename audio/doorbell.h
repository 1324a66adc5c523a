#pragma once

// A wake-up that the audio thread may ring: sem_post takes no lock, never blocks, and enters the
// kernel only when a thread waits. The worker that sleeps on it wakes for news instead of polling.
//
// Thread contract: ring() from any thread, the audio thread included; waitFor() from one thread.

#include <semaphore.h>

#include <cerrno>
#include <chrono>
#include <ctime>

namespace tw::audio {

class Doorbell {
  public:
    Doorbell() { sem_init(&sem_, 0, 0); }
    ~Doorbell() { sem_destroy(&sem_); }
    Doorbell(const Doorbell&) = delete;
    Doorbell& operator=(const Doorbell&) = delete;

    void ring() {
        int pending = 0;
        sem_getvalue(&sem_, &pending);
        if (pending == 0) {  // one ring is news enough; the count stays small
            sem_post(&sem_);
        }
    }

    // Sleeps until the bell rings or `limit` has passed; every ring up to now is answered.
    void waitFor(std::chrono::milliseconds limit) {
        timespec until{};
        clock_gettime(CLOCK_MONOTONIC, &until);
        const auto ns = until.tv_nsec + static_cast<long>(limit.count() % 1000) * 1000000L;
        until.tv_sec += static_cast<time_t>(limit.count() / 1000 + ns / 1000000000L);
        until.tv_nsec = ns % 1000000000L;
        while (sem_clockwait(&sem_, CLOCK_MONOTONIC, &until) != 0 && errno == EINTR) {
        }
        while (sem_trywait(&sem_) == 0) {
        }
    }

  private:
    sem_t sem_;
};

}  // namespace tw::audio
