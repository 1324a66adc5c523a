#include "liveassist/microphone.h"

#include <cmath>

#include "core/console_ops.h"

namespace tw::liveassist {

namespace {

constexpr std::uint32_t kSlideMs = 1000;
constexpr int kMaxListed = 10;  // devices and inputs 0 to 10 are asked for

FxStep eqStep(int priority, float center, float bandwidth, float gain) {
    FxStep s;
    s.type = audio::kFxParamEq;
    s.priority = priority;
    s.eq = {center, bandwidth, gain};
    return s;
}

FxStep dampStep(int priority, const audio::DynamicAmp& p) {
    FxStep s;
    s.type = audio::kFxDynamicAmp;
    s.priority = priority;
    s.damp = p;
    return s;
}

FxStep compressorStep(int priority, const audio::Compressor& p) {
    FxStep s;
    s.type = audio::kFxCompressor;
    s.priority = priority;
    s.compressor = p;
    return s;
}

void setParameters(audio::Engine& e, audio::Handle fx, const FxStep& step) {
    switch (step.type) {
        case audio::kFxParamEq:
            e.fxSetParameters(fx, step.eq);
            break;
        case audio::kFxCompressor:
            e.fxSetParameters(fx, step.compressor);
            break;
        case audio::kFxDynamicAmp:
            e.fxSetParameters(fx, step.damp);
            break;
        default:
            break;  // the library's defaults
    }
}

int micDeviceIndex(core::Console& c) {
    return c.ui.settings.cboMicDevice.listIndex;
}

void listInputs(core::Console& c) {
    auto& inputs = c.ui.settings.cboMicInput;
    for (int i = 0; i <= kMaxListed; ++i) {
        const std::string name = c.engine().recordGetInputName(i);
        if (!name.empty()) {
            inputs.items.push_back(core::ListItem{name, 0, "", false});
        }
    }
}

std::string selectedText(const core::Element& list) {
    const int i = list.listIndex;
    return i >= 0 && i < list.listCount() ? list.items[static_cast<std::size_t>(i)].text
                                          : std::string();
}

}  // namespace

const VoiceChain& micVoiceChain() {
    static const VoiceChain chain = {
        eqStep(3, 80.0f, 4.0f, 2.0f),
        eqStep(2, 10000.0f, 5.0f, 3.0f),
        dampStep(1, {0.98f, 0.4f, 0.01f, 2.0f, 0.4f, -1}),
        compressorStep(0, {2.0f, 0.1f, 200.0f, -5.0f, 20.0f, 0.0f}),
    };
    return chain;
}

void installVoiceChain(core::Console& c, audio::Handle channel, const VoiceChain& chain,
                       audio::Handle dampTo) {
    audio::Engine& e = c.engine();
    for (std::size_t i = 0; i < chain.size(); ++i) {
        const FxStep& step = chain[i];
        c.voiceFx[i] = e.channelSetFX(channel, step.type, step.priority);
        const bool redirected = dampTo != 0 && step.type == audio::kFxDynamicAmp;
        setParameters(e, redirected ? dampTo : c.voiceFx[i], step);
    }
}

void slidePlayers(core::Console& c, float volume, std::uint32_t ms) {
    for (audio::Handle player : {c.player1Stream, c.player2Stream}) {
        if (player != 0) {
            c.engine().channelSlideAttribute(player, audio::kAttribVol, volume, ms);
        }
    }
}

void cmdMic_MouseDown(core::Console& c, bool leftButton) {
    auto& m = c.form();
    audio::Engine& e = c.engine();
    if (!c.micOn) {
        core::printOnButton(m.cmdMic, core::ImageRole::Green, "On", "Microphone");
        c.micOn = true;
        if (leftButton) {
            slidePlayers(c, 0.5f, kSlideMs);
        }
        e.recordSetDevice(micDeviceIndex(c));
        // Each opening makes a new record channel; the last one is only taken out of the mix at
        // the close, as the engine's record channels cost nothing out of a mix.
        c.micChannel = e.recordStart(44100, 2, audio::kRecordPause, nullptr);
        e.mixerAddChannel(c.mixerStream, c.micChannel, 0);
        e.channelPlay(c.micChannel, false);
        core::wakePreviewTimer(c);  // the microphone's meter
        if (c.voiceFx[0] == 0) {
            e.fxReset(c.micChannel);
            installVoiceChain(c, c.micChannel, micVoiceChain());
        }
        return;
    }
    if (c.micChannel != 0 && c.mixerStream != 0) {
        for (std::size_t i : {1u, 0u, 2u, 3u}) {
            e.channelRemoveFX(c.micChannel, c.voiceFx[i]);
        }
        e.mixerChannelRemove(c.micChannel);
        c.voiceFx[0] = 0;
        c.micChannel = 0;
    }
    m.cmdMic.toolTip = "Microphone Off";
    c.micOn = false;
    core::printOnButton(m.cmdMic, core::ImageRole::Gray, "Off", "Microphone");
    if (leftButton) {
        slidePlayers(c, 1.0f, kSlideMs);
    }
}

void chkEFX_Click(core::Console& c) {
    audio::Engine& e = c.engine();
    if (c.form().chkEFX.value == 0) {
        e.fxReset(c.micChannel);
        e.channelRemoveFX(c.micChannel, c.flangerFx);
        c.flangerFx = 0;
    } else if (c.flangerFx == 0 && c.micChannel != 0) {
        c.flangerFx = e.channelSetFX(c.micChannel, audio::kFxFlanger, 0);
    }
}

void cmdCompressor_Click(core::Console& c) {
    audio::Engine& e = c.engine();
    auto& button = c.form().cmdCompressor;
    if (c.compressorId == 0 || c.masterDampFx == 0) {
        button.backColor = 0x0080FF;
        e.fxReset(c.mixerStream);
        c.masterDampFx = e.channelSetFX(c.mixerStream, audio::kFxDynamicAmp, 2);
        e.fxSetParameters(c.masterDampFx, audio::DynamicAmp{0.98f, 0.3f, 0.01f, 2.0f, 0.01f, -1});
        c.masterEqFx = e.channelSetFX(c.mixerStream, audio::kFxParamEq, 1);
        // Two sets on the one EQ: the second replaces the first, so the chain has its low band.
        e.fxSetParameters(c.masterEqFx, audio::ParamEq{10000.0f, 3.0f, 2.0f});
        e.fxSetParameters(c.masterEqFx, audio::ParamEq{80.0f, 2.0f, 1.0f});
        c.compressorId = e.channelSetFX(c.mixerStream, audio::kFxCompressor, 0);
        e.fxSetParameters(c.compressorId,
                          audio::Compressor{0.5f, 0.1f, 200.0f, -8.0f, 10.0f, 0.0f});
        return;
    }
    button.backColor = 0xFFFFFF;
    for (audio::Handle fx : {c.compressorId, c.masterEqFx, c.masterDampFx, c.masterFourthFx}) {
        e.channelRemoveFX(c.mixerStream, fx);
    }
    c.compressorId = c.masterEqFx = c.masterDampFx = c.masterFourthFx = 0;
}

void pctMainVolume_MouseMove(core::Console& c, double x) {
    audio::Engine& e = c.engine();
    auto& bar = c.form().pctMainVolume;
    e.recordSetDevice(micDeviceIndex(c));
    const double width = bar.scaleWidth();
    const double value = width > 0 ? x / width : 0;
    if (x > -1 && x <= width - 2) {
        bar.drawing.clear();
        bar.drawing.fills.push_back({0, 0, x, bar.scaleHeight(), core::ImageRole::GYR, 0});
        bar.drawing.texts.push_back(
            {std::to_string(std::lround(value * 100)), width / 2 - 8, 0, 0xFFFFFF, 8, false});
    }
    if (c.recordChannel != 0) {
        e.channelSetAttribute(c.recordChannel, audio::kAttribVol,
                              c.micOn ? static_cast<float>(value) : 0.0f);
    }
    // The device list's index is passed as the input number, as it always was.
    if (!e.recordSetInput(micDeviceIndex(c), 0, static_cast<float>(value))) {
        e.recordSetInput(-1, 0, static_cast<float>(value));
    }
}

void setMicPreview(core::Console& c, audio::Handle channel) {
    c.spotChannel = channel;
    if (channel != 0) {
        core::wakePreviewTimer(c);  // the time left on cmdVoiceTrack
    }
}

void cmdRefreshMicList_Click(core::Console& c) {
    auto& s = c.ui.settings;
    s.cboMicDevice.items.clear();
    s.cboMicDevice.listIndex = -1;
    s.cboMicInput.items.clear();
    s.cboMicInput.listIndex = -1;
    for (int i = 0; i <= kMaxListed; ++i) {
        audio::RecordDeviceInfo info;
        if (c.engine().recordGetDeviceInfo(i, info) && !info.name.empty()) {
            s.cboMicDevice.items.push_back(core::ListItem{info.name, 0, "", false});
        }
    }
}

void loadMicLists(core::Console& c) {
    cmdRefreshMicList_Click(c);
    auto& s = c.ui.settings;
    s.cboMicDevice.text = core::readIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicDevice", "");
    s.cboMicInput.text = core::readIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicInput", "");
}

void cboMicDevice_Click(core::Console& c) {
    auto& s = c.ui.settings;
    audio::Engine& e = c.engine();
    s.cboMicInput.items.clear();
    s.cboMicInput.listIndex = -1;
    const int device = s.cboMicDevice.listIndex;
    e.recordSetDevice(device);
    e.recordInit(device);
    listInputs(c);
    s.cboMicDevice.text = selectedText(s.cboMicDevice);
    core::writeIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicDevice", s.cboMicDevice.text);
}

void cboMicInput_Click(core::Console& c) {
    auto& s = c.ui.settings;
    audio::Engine& e = c.engine();
    const int input = s.cboMicInput.listIndex;
    e.recordSetDevice(s.cboMicDevice.listIndex);
    float volume = 0;
    e.recordGetInput(input, volume);
    e.recordInit(s.cboMicDevice.listIndex);
    e.recordSetInput(input, 0, volume);
    s.cboMicInput.text = selectedText(s.cboMicInput);
    listInputs(c);  // the list grows with each choice
    core::writeIni(c, c.appSettingsPath(), "Shoutcast", "ActiveMicInput", s.cboMicInput.text);
    for (int j = 0; j < s.cboMicInput.listCount(); ++j) {
        e.recordSetInput(j, audio::kRecordInputOff, -1.0f);
    }
    e.recordSetInput(input, audio::kRecordInputOn, 1.0f);
    e.recordInit(s.cboMicDevice.listIndex);
}

}  // namespace tw::liveassist
