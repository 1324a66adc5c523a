#pragma once
// SIGINT and SIGTERM turned into a call on the console thread, so that Ctrl-C or a service stop
// unloads the console like a closed window. The handler only writes a byte into a pipe; a socket
// notifier on the pipe's other end runs the callback from the Qt event loop. No Qt call, lock or
// allocation ever happens in the handler.
//
// Thread contract: construct and destroy on the console thread, after the QCoreApplication
// exists. At most one instance at a time (the handler finds the pipe through the one
// process-wide descriptor below, the only way a signal handler can reach it).

#include <QSocketNotifier>
#include <functional>
#include <memory>

namespace tw::app {

class QuitSignals {
  public:
    // onSignal gets the signal number, on the console thread.
    explicit QuitSignals(std::function<void(int)> onSignal);
    // Restores the default actions, then closes the pipe.
    ~QuitSignals();
    QuitSignals(const QuitSignals&) = delete;
    QuitSignals& operator=(const QuitSignals&) = delete;

  private:
    void drain();

    int readFd_ = -1;
    int writeFd_ = -1;
    std::function<void(int)> onSignal_;
    std::unique_ptr<QSocketNotifier> notifier_;
};

}  // namespace tw::app
