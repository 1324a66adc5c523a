#pragma once
// A QApplication for the length of one test (the offscreen platform comes from the test
// environment), in a home of its own: what the window deletes goes to the test's trash, and the
// help page and Qt's caches go to the test's cache folder.

#include <QApplication>

#include "tests/testlib/temp_dir.h"

namespace tw::test {

class QtApp {
  public:
    QtApp() : app_(argc_, argv_) {}
    QApplication& app() { return app_; }
    const ScopedHome& home() const { return home_; }

  private:
    ScopedHome home_;  // before the application, which may read it as it starts
    int argc_ = 1;
    char name_[8] = "tw_test";
    char* argv_[2] = {name_, nullptr};
    QApplication app_;
};

}  // namespace tw::test
