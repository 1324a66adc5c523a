#include "broadcast/kick.h"

#include "audio/http_get.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"

namespace tw::broadcast {

namespace {

constexpr int kKickLimitMs = 3000;

// What came of a kick, for app.log: the operator cannot see the server's side, and a kick that
// did nothing otherwise leaves no trace.
std::string kickResult(const audio::HttpAnswer& answer, bool loggedIn) {
    if (answer.status == 0) {
        return "no answer (" +
               (answer.error.empty() ? std::string("no reason given") : answer.error) + ")";
    }
    if (answer.status == 401) {
        return loggedIn ? "the server refused the log-in (401)"
                        : "the server asks for a log-in (401)";
    }
    return "the server answered " + std::to_string(answer.status);
}

}  // namespace

void kickSource(core::Console& c, const std::string& url, const std::string& userPassword) {
    auto alive = c.cast->alive;
    core::EventLoop* loop = c.svc.loop;
    c.cast->kicks.run([&c, loop, url, userPassword, alive] {
        const audio::HttpAnswer answer = audio::httpGet(url, userPassword, kKickLimitMs);
        const bool loggedIn = !userPassword.empty();
        const bool askLogIn = answer.status == 401 && !loggedIn;
        const std::string result = kickResult(answer, loggedIn);
        loop->post([&c, url, alive, askLogIn, result] {
            if (!*alive) {
                return;
            }
            core::logError(c, "Kick and Connect " + url + ": " + result);
            if (!askLogIn) {
                return;
            }
            const auto login = c.svc.prompter->askLogIn("Kick and Connect",
                                                        "The server asks for a log-in.", "admin");
            if (login) {
                kickSource(c, url, login->user + ":" + login->password);
            }
        });
    });
}

}  // namespace tw::broadcast
