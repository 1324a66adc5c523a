#pragma once
// A QApplication for the length of one test (the offscreen platform comes from the test
// environment).

#include <QApplication>

namespace tw::test {

class QtApp {
  public:
    QtApp() : app_(argc_, argv_) {}
    QApplication& app() { return app_; }

  private:
    int argc_ = 1;
    char name_[8] = "tw_test";
    char* argv_[2] = {name_, nullptr};
    QApplication app_;
};

}  // namespace tw::test
