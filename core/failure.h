#pragma once
// A run-time failure inside a console routine. Routines that catch their own failures write its
// description, number and source into their log line, the way the console always has:
// "main Timer" + description + "  " + number + ...

#include <stdexcept>
#include <string>

namespace tw::core {

// Failure numbers the console reports.
inline constexpr int kErrOverflow = 6;
inline constexpr int kErrOutOfMemory = 7;
inline constexpr int kErrSubscript = 9;
inline constexpr int kErrDivisionByZero = 11;
inline constexpr int kErrTypeMismatch = 13;
inline constexpr int kErrFileNotFound = 53;
inline constexpr int kErrPathFileAccess = 75;
inline constexpr int kErrPathNotFound = 76;
inline constexpr int kErrInvalidCall = 5;

inline constexpr const char* kFailureSource = "TarnWave";

class Failure : public std::runtime_error {
  public:
    Failure(int number, const std::string& description, std::string source = kFailureSource)
        : std::runtime_error(description), number_(number), source_(std::move(source)) {}

    int number() const { return number_; }
    const std::string& source() const { return source_; }
    std::string description() const { return what(); }

  private:
    int number_;
    std::string source_;
};

[[noreturn]] void failOverflow();
[[noreturn]] void failDivisionByZero();
[[noreturn]] void failTypeMismatch();
[[noreturn]] void failSubscript();

// Number and description of any exception, as a failure line reports them: a Failure gives its
// own, anything else counts as an unexpected failure with number 51 ("Internal error").
struct FailureInfo {
    int number;
    std::string description;
    std::string source;
};
FailureInfo describeFailure(const std::exception& e);

}  // namespace tw::core
