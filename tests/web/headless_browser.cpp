#include "tests/web/headless_browser.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QJsonDocument>
#include <cstdlib>
#include <thread>

#include "audio/child_process.h"
#include "tests/testlib/temp_dir.h"
#include "tests/web/http_probe.h"

namespace tw::test {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Long enough for a browser starting on two busy cores beside a sanitized test.
constexpr auto kAnswerLimit = 20s;
constexpr auto kCloseLimit = 5s;

std::string lastLines(const std::string& text, std::size_t count) {
    std::size_t at = text.size();
    for (std::size_t n = 0; n <= count && at != std::string::npos && at > 0; ++n) {
        at = text.rfind('\n', at - 1);
    }
    return at == std::string::npos ? text : text.substr(at + 1);
}

std::string oneLine(const QJsonValue& v) {
    return QJsonDocument(QJsonObject{{"v", v}}).toJson(QJsonDocument::Compact).toStdString();
}

}  // namespace

std::string findChromium() {
    std::string error;
    return audio::findProgram("chromium", error) ? "chromium" : std::string();
}

HeadlessBrowser::HeadlessBrowser(const std::string& program, const std::filesystem::path& folder)
    : log_(folder / "chromium.log") {
    const std::filesystem::path home = folder / "home";
    for (const char* sub : {"", ".config", ".cache", ".local/share", "tmp"}) {
        std::filesystem::create_directories(home / sub);
    }
    // Our end stays here (close-on-exec); chromium's end becomes its descriptors 3 and 4. Both
    // ends are moved above 4 first, so that neither dup2 lands on the other end.
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        error_ = "no socket pair";
        return;
    }
    fd_ = ::fcntl(ends[0], F_DUPFD_CLOEXEC, 10);
    const int theirs = ::fcntl(ends[1], F_DUPFD_CLOEXEC, 10);
    ::close(ends[0]);
    ::close(ends[1]);

    const std::vector<std::string> args = {
        program,
        "--headless",
        "--no-sandbox",  // CI runs as root, where the sandbox will not start
        "--disable-gpu",
        "--disable-dev-shm-usage",
        "--remote-debugging-pipe",
        "--user-data-dir=" + (folder / "profile").string(),
        "--no-first-run",
        "--no-default-browser-check",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-extensions",
        "--disable-sync",
        "--mute-audio",
        "--hide-scrollbars",
        "--password-store=basic",
        "about:blank",
    };
    const char* path = std::getenv("PATH");
    const std::vector<std::string> env = {
        "PATH=" + std::string(path ? path : "/usr/bin:/bin"),
        "HOME=" + home.string(),
        "XDG_CONFIG_HOME=" + (home / ".config").string(),
        "XDG_CACHE_HOME=" + (home / ".cache").string(),
        "XDG_DATA_HOME=" + (home / ".local/share").string(),
        "TMPDIR=" + (home / "tmp").string(),
        "LANG=C.UTF-8",
        "TZ=UTC",
    };
    std::vector<char*> argv, envp;
    for (const std::string& a : args) {
        argv.push_back(const_cast<char*>(a.c_str()));
    }
    argv.push_back(nullptr);
    for (const std::string& e : env) {
        envp.push_back(const_cast<char*>(e.c_str()));
    }
    envp.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, log_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    posix_spawn_file_actions_adddup2(&actions, theirs, 3);
    posix_spawn_file_actions_adddup2(&actions, theirs, 4);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setpgroup(&attributes, 0);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK);
    const int rc =
        ::posix_spawnp(&pid_, program.c_str(), &actions, &attributes, argv.data(), envp.data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(theirs);
    if (rc != 0) {
        pid_ = -1;
        error_ = "cannot start " + program;
        return;
    }

    const auto created = call("Target.createTarget", {{"url", "about:blank"}}, false);
    if (!created) {
        return;
    }
    const auto attached =
        call("Target.attachToTarget",
             {{"targetId", created->value("targetId").toString()}, {"flatten", true}}, false);
    if (!attached) {
        return;
    }
    sessionId_ = attached->value("sessionId").toString().toStdString();
    // Exceptions, console errors and refused resources come as events from here on.
    if (!call("Runtime.enable") || !call("Log.enable")) {
        sessionId_.clear();
    }
}

HeadlessBrowser::~HeadlessBrowser() {
    stop();
}

std::string HeadlessBrowser::error() const {
    return error_ + "\n--- chromium.log (end) ---\n" + lastLines(readFile(log_), 15);
}

bool HeadlessBrowser::open(const std::string& url, int width, int height, bool mobile) {
    if (!resize(width, height, mobile)) {
        return false;
    }
    const auto navigated = call("Page.navigate", {{"url", QString::fromStdString(url)}});
    if (!navigated) {
        return false;
    }
    if (navigated->contains("errorText")) {
        error_ = "loading " + url + ": " + navigated->value("errorText").toString().toStdString();
        return false;
    }
    return true;
}

bool HeadlessBrowser::resize(int width, int height, bool mobile) {
    return call(
               "Emulation.setDeviceMetricsOverride",
               {{"width", width}, {"height", height}, {"deviceScaleFactor", 1}, {"mobile", mobile}})
        .has_value();
}

std::optional<QJsonValue> HeadlessBrowser::evaluate(const std::string& expression) {
    const auto answer =
        call("Runtime.evaluate",
             {{"expression", QString::fromStdString(expression)}, {"returnByValue", true}});
    if (!answer) {
        return std::nullopt;
    }
    if (answer->contains("exceptionDetails")) {
        error_ = "the expression threw: " + oneLine(answer->value("exceptionDetails"));
        return std::nullopt;
    }
    return answer->value("result").toObject().value("value");
}

std::optional<QJsonObject> HeadlessBrowser::call(const QString& method, const QJsonObject& params,
                                                 bool inPage) {
    const int id = nextId_++;
    QJsonObject message{{"id", id}, {"method", method}, {"params", params}};
    if (inPage) {
        message["sessionId"] = QString::fromStdString(sessionId_);
    }
    if (!send(message)) {
        error_ = method.toStdString() + ": chromium does not take commands";
        return std::nullopt;
    }
    const auto deadline = Clock::now() + kAnswerLimit;
    while (true) {
        const auto got = readMessage(deadline);
        if (!got) {
            error_ = method.toStdString() + ": no answer from chromium";
            return std::nullopt;
        }
        if (!got->contains("id")) {
            noteEvent(*got);
            continue;
        }
        if (got->value("id").toInt() != id) {
            continue;
        }
        if (got->contains("error")) {
            error_ = method.toStdString() + ": " + oneLine(got->value("error"));
            return std::nullopt;
        }
        return got->value("result").toObject();
    }
}

bool HeadlessBrowser::send(const QJsonObject& message) {
    std::string bytes = QJsonDocument(message).toJson(QJsonDocument::Compact).toStdString();
    bytes += '\0';
    return test::sendAll(fd_, bytes);
}

std::optional<QJsonObject> HeadlessBrowser::readMessage(Clock::time_point deadline) {
    while (fd_ >= 0) {
        const std::size_t end = inbox_.find('\0');
        if (end != std::string::npos) {
            const QJsonDocument doc =
                QJsonDocument::fromJson(QByteArray(inbox_.data(), static_cast<qsizetype>(end)));
            inbox_.erase(0, end + 1);
            if (doc.isObject()) {
                return doc.object();
            }
            continue;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            return std::nullopt;
        }
        pollfd p{fd_, POLLIN, 0};
        if (::poll(&p, 1, static_cast<int>(left.count())) <= 0) {
            return std::nullopt;
        }
        char buf[65536];
        const ssize_t n = ::recv(fd_, buf, sizeof buf, 0);
        if (n <= 0) {
            return std::nullopt;
        }
        inbox_.append(buf, static_cast<std::size_t>(n));
    }
    return std::nullopt;
}

void HeadlessBrowser::noteEvent(const QJsonObject& message) {
    const QString method = message.value("method").toString();
    const QJsonObject params = message.value("params").toObject();
    if (method == "Runtime.exceptionThrown") {
        const QJsonObject details = params.value("exceptionDetails").toObject();
        problems_.push_back(
            "exception: " +
            details.value("exception").toObject().value("description").toString().toStdString() +
            " " + details.value("text").toString().toStdString());
    } else if (method == "Runtime.consoleAPICalled" &&
               (params.value("type").toString() == "error" ||
                params.value("type").toString() == "warning")) {
        problems_.push_back("console " + params.value("type").toString().toStdString() + ": " +
                            oneLine(params.value("args")));
    } else if (method == "Log.entryAdded") {
        const QJsonObject entry = params.value("entry").toObject();
        if (entry.value("level").toString() == "error" ||
            entry.value("level").toString() == "warning") {
            problems_.push_back(entry.value("source").toString().toStdString() + ": " +
                                entry.value("text").toString().toStdString() + " " +
                                entry.value("url").toString().toStdString());
        }
    }
}

void HeadlessBrowser::stop() {
    if (pid_ > 0) {
        send(QJsonObject{{"id", nextId_++}, {"method", "Browser.close"}});
        // Waited for without reaping it: while it is not reaped, its group's number cannot go
        // to anyone else, so the kill below reaches only what it started.
        const auto deadline = Clock::now() + kCloseLimit;
        while (Clock::now() < deadline) {
            siginfo_t info{};
            if (::waitid(P_PID, static_cast<id_t>(pid_), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
                info.si_pid == pid_) {
                break;
            }
            std::this_thread::sleep_for(20ms);
        }
        // Its helpers (renderers, zygotes) share its group: whatever is left of the group goes,
        // so that nothing of it outlives the test or its folder.
        ::kill(-pid_, SIGKILL);
        int status = 0;
        ::waitpid(pid_, &status, 0);
        pid_ = -1;
    }
    if (fd_ >= 0) {
        ::close(fd_);
        fd_ = -1;
    }
}

}  // namespace tw::test
