#pragma once
// A headless chromium for the status page's tests, driven through its DevTools pipe: it opens a
// page and evaluates script in it while the page lives, so that a test reads what the page
// shows as events reach it. (The command line's --dump-dom cannot: it waits for the page to
// settle, which a page holding an event stream open never does.)
//
// Chromium runs in a process group of its own, with its home, profile, caches and temporary
// files in the folder the test gives, and without the user's display or session bus. What it
// prints goes to chromium.log in that folder.
//
// The pipe is chromium's descriptors 3 (commands in) and 4 (answers and events out), both one
// end of a socket pair here, each message a JSON object ended by a NUL byte.
//
// Thread contract: one thread at a time.

#include <sys/types.h>

#include <QJsonObject>
#include <QJsonValue>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tw::test {

// The chromium program on the PATH; empty when there is none.
std::string findChromium();

class HeadlessBrowser {
  public:
    // Starts chromium and opens an empty page; ok() says whether it answered.
    HeadlessBrowser(const std::string& program, const std::filesystem::path& folder);
    // Closes the browser; a browser that does not end within seconds is killed, with whatever
    // else of its process group is left.
    ~HeadlessBrowser();
    HeadlessBrowser(const HeadlessBrowser&) = delete;
    HeadlessBrowser& operator=(const HeadlessBrowser&) = delete;

    bool ok() const { return !sessionId_.empty(); }
    // Why the last thing failed, with the end of chromium.log.
    std::string error() const;

    // Shows the page at a size in CSS pixels (as a phone, with `mobile`) and loads the address.
    bool open(const std::string& url, int width, int height, bool mobile = false);
    // Sizes the page again without loading it again.
    bool resize(int width, int height, bool mobile);
    // The value of a script expression in the page (objects and arrays by value); nothing
    // when it threw or the browser did not answer.
    std::optional<QJsonValue> evaluate(const std::string& expression);

    // What went wrong inside the page so far: uncaught exceptions, console errors and the
    // browser's own errors (a refused script or style among them), one line each.
    const std::vector<std::string>& pageProblems() const { return problems_; }
    // The same, handed over and forgotten: for a test that causes some on purpose.
    std::vector<std::string> takePageProblems() { return std::exchange(problems_, {}); }

  private:
    std::optional<QJsonObject> call(const QString& method, const QJsonObject& params = {},
                                    bool inPage = true);
    bool send(const QJsonObject& message);
    std::optional<QJsonObject> readMessage(std::chrono::steady_clock::time_point deadline);
    void noteEvent(const QJsonObject& message);
    void stop();

    std::filesystem::path log_;
    pid_t pid_ = -1;
    int fd_ = -1;
    int nextId_ = 1;
    std::string inbox_;
    std::string sessionId_;
    std::string error_;
    std::vector<std::string> problems_;
};

}  // namespace tw::test
