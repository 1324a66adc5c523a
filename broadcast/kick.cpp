#include "broadcast/kick.h"

#include "audio/http_get.h"
#include "broadcast/cast_state.h"

namespace tw::broadcast {

namespace {

constexpr int kKickLimitMs = 3000;

}  // namespace

void kickSource(core::Console& c, const std::string& url, const std::string& userPassword) {
    auto alive = c.cast->alive;
    core::EventLoop* loop = c.svc.loop;
    c.cast->kicks.run([&c, loop, url, userPassword, alive] {
        const audio::HttpAnswer answer = audio::httpGet(url, userPassword, kKickLimitMs);
        if (answer.status != 401 || !userPassword.empty()) {
            return;
        }
        loop->post([&c, url, alive] {
            if (!*alive) {
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
