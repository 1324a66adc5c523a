#pragma once
// An outside program started without a shell, its standard input and output on pipes.
//
// Thread contract: one owner. The pipes' ends may be used from other threads that the owner
// stops before it calls stop().

#include <sys/types.h>

#include <string>
#include <vector>

namespace tw::audio {

// A command line split into arguments at blanks; double quotes group blanks into one argument
// and are dropped. No other character has a meaning: nothing of it reaches a shell.
std::vector<std::string> splitCommandLine(const std::string& commandLine);

// True when `program` names an executable file, looked up on the PATH as start() looks it up;
// false with the reason in `error` otherwise.
bool findProgram(const std::string& program, std::string& error);

class ChildProcess {
  public:
    ChildProcess() = default;
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    // Starts argv[0], looked up on the PATH, with its standard error discarded. False with the
    // reason in `error` when it cannot be started (the program is missing, for one).
    bool start(const std::vector<std::string>& argv, std::string& error);
    // True while the program runs.
    bool running();
    // Our end of its standard input and output (-1 once closed), both non-blocking.
    int input() const { return input_; }
    int output() const { return output_; }
    // Closes its input, gives it a moment to finish, then ends it; waits for it.
    void stop();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    bool exited_ = false;
};

}  // namespace tw::audio
