#pragma once
// An outside program started without a shell, its standard input and output on pipes, its
// standard error read for the last line it printed.
//
// Thread contract: one owner. The pipes' ends may be used from other threads that the owner
// stops before it calls stop().

#include <sys/types.h>

#include <string>
#include <vector>

#include "audio/program_output.h"

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

    // Starts argv[0], looked up on the PATH. False with the reason in `error` when it cannot be
    // started (the program is missing, for one).
    bool start(const std::vector<std::string>& argv, std::string& error);
    // True while the program runs.
    bool running();
    // Our end of its standard input and output (-1 once closed), both non-blocking.
    int input() const { return input_; }
    int output() const { return output_; }
    // Reads what it printed on its standard error since the last call (never blocks); a
    // program that prints much must be read now and then, or it waits on a full pipe.
    void readErrors();
    // Once it has ended (running() false): "lame ended with exit status 1: <the last line it
    // printed>", or the like. Empty while it runs or when it was never started.
    std::string describeEnd();
    // Closes its input, gives it a moment to finish, then ends it; waits for it.
    void stop();

  private:
    pid_t pid_ = -1;
    int input_ = -1;
    int output_ = -1;
    int errors_ = -1;
    bool exited_ = false;
    int status_ = -1;  // its exit status, once it exited by itself
    int signal_ = 0;   // the signal that ended it
    std::string name_;
    LastLine lastError_;
};

}  // namespace tw::audio
