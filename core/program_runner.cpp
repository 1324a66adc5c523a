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

extern char** environ;

namespace tw::core {

namespace {

std::vector<char*> argPointers(const std::vector<std::string>& argv) {
    std::vector<char*> args;
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    return args;
}

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
    // A program that ends before it has read everything must give EPIPE here, not end the
    // console: SIGPIPE is held back on this thread meanwhile and taken afterwards.
    sigset_t pipeSet, oldSet;
    sigemptyset(&pipeSet);
    sigaddset(&pipeSet, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &pipeSet, &oldSet);
    // Both ways at once, so that neither side waits for the other with a full pipe.
    fcntl(in[1], F_SETFL, O_NONBLOCK);
    std::size_t written = 0;
    int toChild = in[1];
    if (input.empty()) {
        close(toChild);
        toChild = -1;
    }
    char buf[65536];
    for (;;) {
        pollfd fds[2] = {{out[0], POLLIN, 0}, {toChild, POLLOUT, 0}};
        if (poll(fds, toChild >= 0 ? 2 : 1, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        if (toChild >= 0 && (fds[1].revents & (POLLOUT | POLLERR | POLLHUP))) {
            const ssize_t n = write(toChild, input.data() + written, input.size() - written);
            if (n > 0) {
                written += static_cast<std::size_t>(n);
            }
            if (n < 0 && errno != EAGAIN) {
                written = input.size();  // the program took no more: it has what it wanted
            }
            if (written == input.size()) {
                close(toChild);
                toChild = -1;
            }
        }
        if (fds[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            const ssize_t n = read(out[0], buf, sizeof buf);
            if (n > 0) {
                output.append(buf, static_cast<std::size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                break;
            }
        }
    }
    if (toChild >= 0) {
        close(toChild);
    }
    close(out[0]);
    const timespec now{0, 0};
    while (sigtimedwait(&pipeSet, nullptr, &now) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &oldSet, nullptr);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ProgramRunner::ProgramRunner(EventLoop& loop) : loop_(loop) {}

ProgramRunner::~ProgramRunner() {
    {
        std::lock_guard lock(mutex_);
        closing_ = true;
        for (pid_t pid : running_) {
            kill(pid, SIGTERM);
        }
    }
    // The waiters are joined by waiters_' own end.
}

bool ProgramRunner::start(const std::vector<std::string>& argv, const std::string& folder,
                          std::function<void(int status)> done) {
    if (argv.empty()) {
        return false;
    }
    std::vector<char*> args = argPointers(argv);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (int fd = 0; fd <= 2; ++fd) {
        posix_spawn_file_actions_addopen(&actions, fd, "/dev/null", fd == 0 ? O_RDONLY : O_WRONLY,
                                         0);
    }
    if (!folder.empty()) {
        posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    }
    pid_t pid = -1;
    const int rc = posix_spawnp(&pid, args[0], &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        return false;
    }
    {
        std::lock_guard lock(mutex_);
        running_.push_back(pid);
    }
    waiters_.run([this, pid, done = std::move(done)] {
        int status = 0;
        while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
        }
        const int result = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        std::lock_guard lock(mutex_);
        std::erase(running_, pid);
        if (!closing_ && done) {
            loop_.post([done, result] { done(result); });
        }
    });
    return true;
}

}  // namespace tw::core
