// Effects on a stream (before its volume) or on the mixer's output (before its level and the
// encoders). The console thread creates and frees them; the audio thread runs them in priority
// order and is told of every change by a command, so it never sees a half-made chain.

#include "audio/mix_engine.h"

namespace tw::audio {

Handle MixEngine::channelSetFX(Handle h, std::uint32_t type, int priority) {
    std::lock_guard lock(mutex_);
    auto ch = channels_.get(h);
    if (!ch) {
        fail(kErrorHandle);
        return 0;
    }
    std::shared_ptr<Effect> effect = makeEffect(type);
    if (!effect) {
        fail(kErrorIllegalParam);
        return 0;
    }
    std::size_t onChannel = 0;
    for (Handle fx : effects_.handles()) {
        onChannel += effects_.get(fx)->channel == h;
    }
    if (onChannel == FxChain::kMax) {
        fail(kErrorMemory);
        return 0;
    }
    const Handle fx = effects_.add(std::make_shared<FxEntry>(FxEntry{h, effect}));
    if (fx == 0) {
        fail(kErrorMemory);
        return 0;
    }
    if (hub_.addFx(h, effect.get(), priority)) {
        ok();  // a record channel with a callback runs it on the capture thread
        return fx;
    }
    Command c;
    c.type = Command::Type::AddFx;
    c.source = ch->source.get();  // null: the mixer
    c.fx = effect.get();
    c.count = priority;
    send(c);
    ok();
    return fx;
}

void MixEngine::removeEffect(Handle fx) {
    std::shared_ptr<FxEntry> entry = effects_.remove(fx);
    if (!entry) {
        return;
    }
    if (hub_.removeFx(entry->channel, entry->effect.get())) {
        return;  // the capture thread has let go of it
    }
    auto ch = channels_.get(entry->channel);
    Command c;
    c.type = Command::Type::RemoveFx;
    c.source = ch ? ch->source.get() : nullptr;
    c.fx = entry->effect.get();
    retire(entry->effect, send(c));
}

bool MixEngine::channelRemoveFX(Handle h, Handle fx) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry || entry->channel != h) {
        return fail(kErrorHandle);
    }
    removeEffect(fx);
    return ok();
}

bool MixEngine::setFxValues(Handle fx, std::uint32_t type, const float (&values)[Effect::kParams]) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry) {
        return fail(kErrorHandle);
    }
    if (entry->effect->type() != type) {
        return fail(kErrorIllegalParam);  // another effect's structure
    }
    entry->effect->set(values);
    return ok();
}

bool MixEngine::fxSetParameters(Handle fx, const ParamEq& p) {
    float values[Effect::kParams];
    paramsOf(p, values);
    return setFxValues(fx, kFxParamEq, values);
}

bool MixEngine::fxSetParameters(Handle fx, const Compressor& p) {
    float values[Effect::kParams];
    paramsOf(p, values);
    return setFxValues(fx, kFxCompressor, values);
}

bool MixEngine::fxSetParameters(Handle fx, const DynamicAmp& p) {
    float values[Effect::kParams];
    paramsOf(p, values);
    return setFxValues(fx, kFxDynamicAmp, values);
}

bool MixEngine::fxReset(Handle h) {
    std::lock_guard lock(mutex_);
    std::vector<std::shared_ptr<FxEntry>> targets;
    if (auto entry = effects_.get(h)) {
        targets.push_back(entry);
    } else if (channels_.get(h)) {
        for (Handle fx : effects_.handles()) {
            if (auto e = effects_.get(fx); e->channel == h) {
                targets.push_back(e);
            }
        }
    } else {
        return fail(kErrorHandle);
    }
    for (const auto& entry : targets) {
        if (hub_.resetFx(entry->channel, entry->effect.get())) {
            continue;
        }
        Command c;
        c.type = Command::Type::ResetFx;
        c.fx = entry->effect.get();
        send(c);
    }
    return ok();
}

}  // namespace tw::audio
