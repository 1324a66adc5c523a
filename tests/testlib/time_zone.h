#pragma once
// The process's time zone set for a while: TZ and tzset, and the zone before put back at the end
// (the variable removed when there was none). Tests that read local time in a zone of their own
// hold one.

#include <cstdlib>
#include <ctime>
#include <string>

namespace tw::test {

class ScopedTimeZone {
  public:
    explicit ScopedTimeZone(const char* zone) {
        if (const char* old = std::getenv("TZ")) {
            had_ = true;
            old_ = old;
        }
        ::setenv("TZ", zone, 1);
        ::tzset();
    }
    ~ScopedTimeZone() {
        had_ ? ::setenv("TZ", old_.c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }
    ScopedTimeZone(const ScopedTimeZone&) = delete;
    ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

  private:
    bool had_ = false;
    std::string old_;
};

}  // namespace tw::test
