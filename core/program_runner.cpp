#include "core/program_runner.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <pthread.h>
#include <algorithm>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "audio/program_output.h"
#include "core/text.h"

extern char** environ;

namespace tw::core {

namespace {

// How often a waiter looks whether its program ended while the pipe stays quiet.
constexpr int kEndedPollMs = 100;

std::vector<char*> argPointers(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    return args;
}

// Feeds `input` to `toChild` (-1: none) and closes it once all is written or the program takes no
// more, while reading `fromChild` to its end into `sink`; both at once, so that neither side
// waits for the other with a full pipe. A program that ends before it has read everything must
// give EPIPE here, not end the console: SIGPIPE is held back on this thread meanwhile and taken
// afterwards. With `ended` given, the reading also stops once the program has ended and nothing
// more is there to read: a child it left behind may hold the pipe open much longer.
void exchange(int toChild, const std::string& input, int fromChild,
              const std::function<void(const char*, std::size_t)>& sink,
              const std::function<bool()>& ended = {}) {
    sigset_t pipeSet, oldSet;
    sigemptyset(&pipeSet);
    sigaddset(&pipeSet, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSet, &oldSet);
    std::size_t written = 0;
    if (toChild >= 0 && input.empty()) {
        close(toChild);
        toChild = -1;
    }
    if (toChild >= 0) {
        fcntl(toChild, F_SETFL, O_NONBLOCK);
    }
    char buf[65536];
    for (;;) {
        pollfd fds[2] = {{fromChild, POLLIN, 0}, {toChild, POLLOUT, 0}};
        const int ready = poll(fds, toChild >= 0 ? 2 : 1, ended ? kEndedPollMs : -1);
        if (ready < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        if (ready == 0) {
            if (ended()) {
                break;
            }
            continue;
        }
        if (toChild >= 0 && (fds[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
            const ssize_t n = write(toChild, input.data() + written, input.size() - written);
            if (n > 0) {
                written += static_cast<std::size_t>(n);
            }
            if (n < 0 && errno != EAGAIN && errno != EINTR) {
                written = input.size();  // the program took no more: it has what it wanted
            }
            if (written == input.size()) {
                close(toChild);
                toChild = -1;
            }
        }
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            const ssize_t n = read(fromChild, buf, sizeof buf);
            if (n > 0) {
                sink(buf, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                break;
            }
        }
    }
    if (toChild >= 0) {
        close(toChild);
    }
    const timespec now{0, 0};
    while (sigtimedwait(&pipeSet, nullptr, &now) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &oldSet, nullptr);
}

using audio::LastLine;

}  // namespace

bool runCapturing(const std::vector<std::string>& argv, const std::string& input,
                  std::string& output) {
    if (argv.empty()) {
        return false;
    }
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0) {
        return false;
    }
    if (pipe2(out, O_CLOEXEC) != 0) {
        close(in[0]);
        close(in[1]);
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> args = argPointers(argv);
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    if (rc != 0) {
        close(in[1]);
        close(out[0]);
        return false;
    }
    exchange(in[1], input, out[0],
             [&output](const char* text, std::size_t n) { output.append(text, n); });
    close(out[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

std::string ProgramEnd::describe(const std::string& program) const {
    std::string text = audio::describeExit(program, status, signal);
    if (!fileError.empty()) {
        text += ", its file was not put in place: " + fileError;
    }
    if (!lastLine.empty()) {
        text += ": " + lastLine;
    }
    return text;
}

void ProgramRunner::State::runReports() {
    for (;;) {
        std::function<void()> report;
        {
            std::lock_guard lock(mutex);
            if (reports.empty()) {
                return;
            }
            report = std::move(reports.front());
            reports.pop_front();
        }
        report();
    }
}

ProgramRunner::ProgramRunner(EventLoop& loop) : loop_(loop) {}

ProgramRunner::~ProgramRunner() {
    {
        std::lock_guard lock(state_->mutex);
        state_->closing = true;
        state_->reports.clear();
    }
    if (signalRunning(SIGTERM) &&
        !waitUntil(std::chrono::steady_clock::now() + std::chrono::seconds(1))) {
        signalRunning(SIGKILL);
    }
    // The waiters are joined by waiters_' own end.
}

bool ProgramRunner::signalRunning(int sig) {
    // A program stays listed until its waiter reaps it under this lock, so a listed pid is never
    // one the system has given to another process.
    std::lock_guard lock(state_->mutex);
    for (pid_t pid : state_->running) {
        kill(pid, sig);
    }
    return !state_->running.empty();
}

bool ProgramRunner::waitUntil(std::chrono::steady_clock::time_point until) {
    std::unique_lock lock(state_->mutex);
    return state_->ended.wait_until(lock, until, [this] { return state_->running.empty(); });
}

std::string ProgramRunner::partFileFor(const std::string& target) {
    const auto slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : target.substr(0, slash);
    return folder + "/.tw-" + std::to_string(::getpid()) + "-" + std::to_string(++parts_) + ".part";
}

bool ProgramRunner::start(const std::vector<std::string>& argv, const std::string& folder,
                          std::function<void(int status)> done) {
    return start(ProgramJob{argv, folder, std::nullopt, {}, {}},
                 [done = std::move(done)](const ProgramEnd& end) {
                     if (done) {
                         done(end.signal != 0 ? -1 : end.status);
                     }
                 });
}

bool ProgramRunner::start(ProgramJob job, std::function<void(const ProgramEnd&)> done) {
    if (job.argv.empty()) {
        return false;
    }
    int in[2] = {-1, -1}, out[2] = {-1, -1};
    if ((job.input && pipe2(in, O_CLOEXEC) != 0) || pipe2(out, O_CLOEXEC) != 0) {
        for (int fd : {in[0], in[1]}) {
            if (fd >= 0) {
                close(fd);
            }
        }
        return false;
    }
    std::vector<char*> args = argPointers(job.argv);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (job.input) {
        posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    } else {
        posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    }
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, out[1], 2);
    if (!job.folder.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, job.folder.c_str());
    }
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    for (int fd : {in[0], out[1]}) {
        if (fd >= 0) {
            close(fd);
        }
    }
    if (rc != 0) {
        for (int fd : {in[1], out[0]}) {
            if (fd >= 0) {
                close(fd);
            }
        }
        if (!job.partFile.empty()) {
            ::unlink(job.partFile.c_str());
        }
        return false;
    }
    {
        std::lock_guard lock(state_->mutex);
        state_->running.push_back(pid);
    }
    waiters_.run([this, pid, toChild = in[1], fromChild = out[0], job = std::move(job),
                  done = std::move(done)] {
        LastLine last;
        exchange(
            toChild, job.input.value_or(std::string()), fromChild,
            [&last](const char* text, std::size_t n) { last.add(text, n); },
            [pid] {
                siginfo_t info{};
                return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) ==
                           0 &&
                       info.si_pid == pid;
            });
        close(fromChild);
        // Waits for the end without reaping, so that the pid stays this program's until it
        // is taken off the list below.
        siginfo_t info{};
        while (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT) < 0 &&
               errno == EINTR) {
        }
        ProgramEnd end;
        end.lastLine = last.get();
        if (info.si_code == CLD_EXITED) {
            end.status = info.si_status;
        } else {
            end.signal = info.si_status;
        }
        if (!job.partFile.empty()) {
            if (end.status == 0 && ::rename(job.partFile.c_str(), job.target.c_str()) != 0) {
                end.fileError = std::strerror(errno);
            }
            if (!end.whole()) {
                ::unlink(job.partFile.c_str());
            }
        }
        bool report = false;
        {
            std::lock_guard lock(state_->mutex);
            int status = 0;
            while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
            }
            std::erase(state_->running, pid);
            if (!state_->closing && done) {
                state_->reports.push_back([done, end] { done(end); });
                report = true;
            }
        }
        state_->ended.notify_all();
        if (report) {
            loop_.post([state = state_] { state->runReports(); });
        }
    });
    return true;
}

void ProgramRunner::finish(std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    if (!waitUntil(Clock::now() + limit)) {
        signalRunning(SIGTERM);
        if (!waitUntil(Clock::now() + std::chrono::seconds(1))) {
            signalRunning(SIGKILL);
            waitUntil(Clock::now() + std::chrono::seconds(5));
        }
    }
    state_->runReports();
}

}  // namespace tw::core
