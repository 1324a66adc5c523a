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

namespace {

template <typename Params>
bool setParams(Effect& effect, std::uint32_t type, const Params& params) {
    if (effect.type() != type) {
        return false;
    }
    float values[Effect::kParams];
    paramsOf(params, values);
    effect.set(values);
    return true;
}

}  // namespace

bool MixEngine::fxSetParameters(Handle fx, const ParamEq& p) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry) {
        return fail(kErrorHandle);
    }
    return setParams(*entry->effect, kFxParamEq, p) ? ok() : fail(kErrorIllegalParam);
}

bool MixEngine::fxSetParameters(Handle fx, const Compressor& p) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry) {
        return fail(kErrorHandle);
    }
    return setParams(*entry->effect, kFxCompressor, p) ? ok() : fail(kErrorIllegalParam);
}

bool MixEngine::fxSetParameters(Handle fx, const DynamicAmp& p) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry) {
        return fail(kErrorHandle);
    }
    return setParams(*entry->effect, kFxDynamicAmp, p) ? ok() : fail(kErrorIllegalParam);
}

bool MixEngine::fxReset(Handle fx) {
    std::lock_guard lock(mutex_);
    auto entry = effects_.get(fx);
    if (!entry) {
        return fail(kErrorHandle);
    }
    Command c;
    c.type = Command::Type::ResetFx;
    c.fx = entry->effect.get();
    send(c);
    return ok();
}

}  // namespace tw::audio
