// Encoding and casting: the engine's side. The sessions do the work (encoder_session.h); here
// they are created, tapped into the mix and let go.

#include "audio/cast_protocol.h"
#include "audio/mix_engine.h"

namespace tw::audio {

namespace {

constexpr int kCastConnectMs = 3000;

}  // namespace

Handle MixEngine::encodeStart(Handle channel, const std::string& commandLine, std::uint32_t flags) {
    std::lock_guard lock(mutex_);
    if (!channels_.get(channel)) {
        fail(kErrorHandle);
        return 0;
    }
    if (!isMixer(channel)) {
        fail(kErrorNotAvailable);  // only the mix goes to the air
        return 0;
    }
    auto session = std::make_shared<EncoderSession>(
        channel, flags, std::make_shared<EncoderTap>(tapRings_->take(), tapRings_->capacity()),
        programs_);
    std::string error;
    if (!session->start(commandLine, error)) {
        fail(kErrorFileOpen);
        return 0;
    }
    const Handle h = encoders_.add(session);
    if (h == 0) {
        reaper_.drop(session);
        fail(kErrorMemory);
        return 0;
    }
    Command c;
    c.type = Command::Type::AddTap;
    c.tap = session->tap.get();
    send(c);
    ok();
    return h;
}

void MixEngine::stopEncoder(Handle h) {
    std::shared_ptr<EncoderSession> session = encoders_.remove(h);
    if (!session) {
        return;
    }
    Command c;
    c.type = Command::Type::RemoveTap;
    c.tap = session->tap.get();
    // The tap lives until the audio thread has let it go; the session may end before.
    retire(session->tap, send(c));
    session->requestStop();
    reaper_.drop(std::move(session));
}

bool MixEngine::encodeStop(Handle encoder) {
    std::lock_guard lock(mutex_);
    if (!encoders_.get(encoder)) {
        return fail(kErrorHandle);
    }
    stopEncoder(encoder);
    return ok();
}

int MixEngine::encodeIsActive(Handle encoder) {
    std::lock_guard lock(mutex_);
    auto session = encoders_.get(encoder);
    if (!session) {
        fail(kErrorHandle);
        return kStopped;
    }
    ok();
    return session->active() ? kPlaying : kStopped;
}

std::uint64_t MixEngine::encodeGetCount(Handle encoder, int what) {
    std::lock_guard lock(mutex_);
    auto session = encoders_.get(encoder);
    if (!session) {
        fail(kErrorHandle);
        return 0;
    }
    if (what < 0 || what > 2) {
        fail(kErrorIllegalParam);
        return 0;
    }
    ok();
    return session->count(what);
}

bool MixEngine::castInit(Handle encoder, const std::string& server, const std::string& password,
                         const std::string& contentType, const std::string& name,
                         const std::string& url, const std::string& genre,
                         const std::string& description, const std::string&, std::uint32_t kbps,
                         bool isPublic) {
    std::shared_ptr<EncoderSession> session;
    std::string nameServers;
    {
        std::lock_guard lock(mutex_);
        session = encoders_.get(encoder);
        if (!session) {
            return fail(kErrorHandle);
        }
        nameServers = nameServers_;
    }
    // The connection is made without the engine's lock: the mix and every other call go on.
    StationInfo info{password, contentType, name, url, genre, description, kbps, isPublic};
    if (!session->connect(server, info, kCastConnectMs, nameServers)) {
        return fail(kErrorFileOpen);
    }
    return ok();
}

bool MixEngine::castSetTitle(Handle encoder, const std::string& title, const std::string& url) {
    std::lock_guard lock(mutex_);
    auto session = encoders_.get(encoder);
    if (!session) {
        return fail(kErrorHandle);
    }
    session->setTitle(title, url);
    return ok();
}

std::string MixEngine::castGetStats(Handle encoder, int type, const std::string& password) {
    return sessionText(encoder, [&](EncoderSession& s) { return s.stats(type, password); });
}

std::string MixEngine::sessionText(Handle encoder,
                                   const std::function<std::string(EncoderSession&)>& read) {
    std::lock_guard lock(mutex_);
    auto session = encoders_.get(encoder);
    if (!session) {
        fail(kErrorHandle);
        return {};
    }
    ok();
    return read(*session);
}

std::string MixEngine::castGetError(Handle encoder) {
    return sessionText(encoder, [](EncoderSession& s) { return s.connectError(); });
}

std::string MixEngine::encodeGetEnd(Handle encoder) {
    return sessionText(encoder, [](EncoderSession& s) { return s.programEnd(); });
}

void MixEngine::setNameServers(const std::string& nameServers) {
    std::lock_guard lock(mutex_);
    nameServers_ = nameServers;
}

}  // namespace tw::audio
