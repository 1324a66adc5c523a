#pragma once
// What an outside program left behind: the last line it printed and how it ended, as app.log
// shows them.
//
// Thread contract: a LastLine belongs to the thread that reads the program's output.

#include <cstddef>
#include <string>

namespace tw::audio {

// The last line a program printed: lines end at a line feed or a carriage return (progress
// lines rewrite themselves with the latter), blank ones do not count, and a line is kept to its
// first kLongest bytes, so that a program that prints much costs nothing.
class LastLine {
  public:
    void add(const char* text, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) {
            if (text[i] == '\n' || text[i] == '\r') {
                takeCurrent();
            } else if (current_.size() < kLongest) {
                current_ += text[i];
            }
        }
    }
    std::string get() {
        takeCurrent();
        return last_;
    }

  private:
    static constexpr std::size_t kLongest = 400;
    void takeCurrent() {
        const auto first = current_.find_first_not_of(' ');
        if (first != std::string::npos) {
            last_ = current_.substr(first, current_.find_last_not_of(' ') - first + 1);
        }
        current_.clear();
    }
    std::string current_, last_;
};

// "lame ended with exit status 3", "lame was ended by signal 9", "lame could not be started"
// (status < 0 and no signal).
inline std::string describeExit(const std::string& program, int status, int signal) {
    if (signal != 0) {
        return program + " was ended by signal " + std::to_string(signal);
    }
    if (status < 0) {
        return program + " could not be started";
    }
    return program + " ended with exit status " + std::to_string(status);
}

}  // namespace tw::audio
