#include "app/quit_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <stdexcept>

namespace tw::app {

namespace {

// The one piece of process-wide state of the program, and on purpose: a signal handler receives
// nothing but the signal number, so the write end of the pipe must be reachable from here.
// -1 while no QuitSignals exists.
std::atomic<int> signalWriteFd{-1};

extern "C" void onQuitSignal(int signal) {
    const int savedErrno = errno;
    const int fd = signalWriteFd.load(std::memory_order_relaxed);
    if (fd >= 0) {
        const unsigned char byte = static_cast<unsigned char>(signal);
        // A full pipe already holds a wake-up; losing this byte loses nothing.
        [[maybe_unused]] const ssize_t n = ::write(fd, &byte, 1);
    }
    errno = savedErrno;
}

void setHandler(int signal, void (*handler)(int)) {
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

}  // namespace

QuitSignals::QuitSignals(std::function<void(int)> onSignal) : onSignal_(std::move(onSignal)) {
    static_assert(std::atomic<int>::is_always_lock_free, "the handler needs a lock-free load");
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw std::runtime_error("cannot create the signal pipe");
    }
    readFd_ = fds[0];
    writeFd_ = fds[1];
    int expected = -1;
    if (!signalWriteFd.compare_exchange_strong(expected, writeFd_)) {
        ::close(readFd_);
        ::close(writeFd_);
        throw std::logic_error("only one QuitSignals at a time");
    }
    notifier_ = std::make_unique<QSocketNotifier>(readFd_, QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { drain(); });
    setHandler(SIGINT, onQuitSignal);
    setHandler(SIGTERM, onQuitSignal);
}

QuitSignals::~QuitSignals() {
    setHandler(SIGINT, SIG_DFL);
    setHandler(SIGTERM, SIG_DFL);
    signalWriteFd.store(-1);
    notifier_.reset();
    ::close(readFd_);
    ::close(writeFd_);
}

void QuitSignals::drain() {
    unsigned char byte = 0;
    int last = 0;
    while (::read(readFd_, &byte, 1) == 1) {
        last = byte;
    }
    if (last != 0 && onSignal_) {
        onSignal_(last);
    }
}

}  // namespace tw::app
