#include "media/stream_opener.h"

namespace tw::media {

StreamOpener::StreamOpener(audio::Engine& engine, core::EventLoop& loop)
    : engine_(engine), loop_(loop) {}

StreamOpener::~StreamOpener() {
    // What the opens still under way post is no longer taken. Their streams stay with the
    // engine, which frees every stream when it goes; the engine may be gone before the posted
    // work would run, so it is not touched from there.
    shared_->alive = false;
}

void StreamOpener::open(const std::string& url, std::uint32_t flags, Done done) {
    {
        std::lock_guard lock(mutex_);
        ++underWay_;
    }
    jobs_.run([this, url, flags, done = std::move(done), shared = shared_]() mutable {
        const audio::Handle stream = engine_.streamCreateUrl(url, 0, flags);
        const int error = stream == 0 ? engine_.errorGetCode() : audio::kOk;
        loop_.post([stream, error, done = std::move(done), shared] {
            if (shared->alive) {
                done(stream, error);
            }
        });
        std::lock_guard lock(mutex_);
        --underWay_;
        answered_.notify_all();
    });
}

bool StreamOpener::waitForAnswers(std::chrono::milliseconds limit) {
    std::unique_lock lock(mutex_);
    return answered_.wait_for(lock, limit, [this] { return underWay_ == 0; });
}

StreamOpener& streamOpener(core::Console& c) {
    if (!c.streamOpener) {
        c.streamOpener = std::make_shared<StreamOpener>(c.engine(), *c.svc.loop);
    }
    return *c.streamOpener;
}

std::uint32_t& openingOn(core::Console& c, int n) {
    return n == 2 ? c.player2Opening : c.player1Opening;
}

bool isOpening(const core::Console& c, int n) {
    return (n == 2 ? c.player2Opening : c.player1Opening) != 0;
}

}  // namespace tw::media
