#include "audio/child_process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <thread>

extern char** environ;

namespace tw::audio {

namespace {
constexpr int kPipeBytes = 1 << 18;
}  // namespace

std::vector<std::string> splitCommandLine(const std::string& commandLine) {
    std::vector<std::string> args;
    std::string current;
    bool quoted = false;
    bool inArgument = false;
    for (char ch : commandLine) {
        if (ch == '"') {
            quoted = !quoted;
            inArgument = true;
        } else if (ch == ' ' && !quoted) {
            if (inArgument) {
                args.push_back(current);
                current.clear();
                inArgument = false;
            }
        } else {
            current += ch;
            inArgument = true;
        }
    }
    if (inArgument) {
        args.push_back(current);
    }
    return args;
}

bool findProgram(const std::string& program, std::string& error) {
    if (program.empty()) {
        error = "empty command line";
        return false;
    }
    if (program.find('/') != std::string::npos) {
        if (::access(program.c_str(), X_OK) == 0) {
            return true;
        }
        error = program + ": " + std::strerror(errno);
        return false;
    }
    const char* path = std::getenv("PATH");
    std::string dirs = path ? path : "/usr/local/bin:/bin:/usr/bin";
    std::size_t from = 0;
    while (from <= dirs.size()) {
        const std::size_t colon = std::min(dirs.find(':', from), dirs.size());
        std::string dir = dirs.substr(from, colon - from);
        from = colon + 1;
        const std::string candidate = (dir.empty() ? std::string(".") : dir) + "/" + program;
        if (::access(candidate.c_str(), X_OK) == 0) {
            return true;
        }
    }
    error = program + ": " + std::strerror(ENOENT);
    return false;
}

ChildProcess::~ChildProcess() {
    stop();
}

bool ChildProcess::start(const std::vector<std::string>& argv, std::string& error) {
    if (argv.empty()) {
        error = "empty command line";
        return false;
    }
    int in[2], out[2], err[2];
    if (::pipe2(in, O_CLOEXEC) != 0) {
        error = std::strerror(errno);
        return false;
    }
    if (::pipe2(out, O_CLOEXEC) != 0) {
        error = std::strerror(errno);
        ::close(in[0]);
        ::close(in[1]);
        return false;
    }
    if (::pipe2(err, O_CLOEXEC) != 0) {
        error = std::strerror(errno);
        for (int fd : {in[0], in[1], out[0], out[1]}) {
            ::close(fd);
        }
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // The child starts with default signal handling and its own process group, so that a
    // terminal's Ctrl+C reaches the console, which then ends its encoders in order.
    sigset_t all;
    sigfillset(&all);
    posix_spawnattr_setsigdefault(&attributes, &all);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
    std::vector<char*> args;
    for (const std::string& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);
    const int rc = ::posix_spawnp(&pid_, args[0], &actions, &attributes, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    if (rc != 0) {
        error = argv[0] + ": " + std::strerror(rc);
        ::close(in[1]);
        ::close(out[0]);
        ::close(err[0]);
        pid_ = -1;
        return false;
    }
    input_ = in[1];
    output_ = out[0];
    errors_ = err[0];
    ::fcntl(errors_, F_SETFL, ::fcntl(errors_, F_GETFL) | O_NONBLOCK);
    name_ = argv[0];
    lastError_ = LastLine();
    status_ = -1;
    signal_ = 0;
    // Our ends never block: the threads that use them wait in poll() and look at their stop flag.
    ::fcntl(input_, F_SETFL, ::fcntl(input_, F_GETFL) | O_NONBLOCK);
    ::fcntl(output_, F_SETFL, ::fcntl(output_, F_GETFL) | O_NONBLOCK);
    // Room for a beat and more of the mix (1.5 s of 16-bit stereo): the program is fed in few,
    // large writes. Where the system allows less, the pipe keeps its size and the feeder simply
    // comes back sooner.
    ::fcntl(input_, F_SETPIPE_SZ, kPipeBytes);
    ::fcntl(output_, F_SETPIPE_SZ, kPipeBytes);
    exited_ = false;
    return true;
}

bool ChildProcess::running() {
    if (pid_ <= 0 || exited_) {
        return false;
    }
    int status = 0;
    const pid_t r = ::waitpid(pid_, &status, WNOHANG);
    if (r == pid_ || (r < 0 && errno == ECHILD)) {
        exited_ = true;
        if (r == pid_ && WIFEXITED(status)) {
            status_ = WEXITSTATUS(status);
        } else if (r == pid_ && WIFSIGNALED(status)) {
            signal_ = WTERMSIG(status);
        }
        return false;
    }
    return true;
}

void ChildProcess::readErrors() {
    if (errors_ < 0) {
        return;
    }
    char buffer[4096];
    for (;;) {
        const ssize_t n = ::read(errors_, buffer, sizeof buffer);
        if (n > 0) {
            lastError_.add(buffer, static_cast<std::size_t>(n));
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            return;
        }
    }
}

std::string ChildProcess::describeEnd() {
    if (name_.empty() || running()) {
        return {};
    }
    readErrors();
    const std::string last = lastError_.get();
    return describeExit(name_, status_, signal_) + (last.empty() ? "" : ": " + last);
}

void ChildProcess::stop() {
    if (input_ >= 0) {
        ::close(input_);
        input_ = -1;
    }
    if (pid_ > 0) {
        // A well-behaved encoder ends when its input does; one that does not is ended.
        using namespace std::chrono_literals;
        const auto deadline = std::chrono::steady_clock::now() + 300ms;
        while (running() && std::chrono::steady_clock::now() < deadline) {
            readErrors();
            std::this_thread::sleep_for(5ms);
        }
        if (running()) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }
    for (int* fd : {&output_, &errors_}) {
        if (*fd >= 0) {
            ::close(*fd);
            *fd = -1;
        }
    }
}

}  // namespace tw::audio
