#include "liveassist/voice_tracks.h"

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <new>

#include "audio/wav_header.h"
#include "autodj/library.h"
#include "autodj/loudness.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/name_dialog.h"
#include "core/program_runner.h"
#include "liveassist/microphone.h"
#include "media/stream_time.h"

namespace tw::liveassist {

namespace {

constexpr std::int32_t kHeaderBytes = 44;

void putLe32(std::vector<std::uint8_t>& b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) {
        b[at + static_cast<std::size_t>(i)] = static_cast<std::uint8_t>((v >> (8 * i)) & 0xFF);
    }
}

// How long the encoders still running at shut-down may take to finish their tracks.
constexpr std::chrono::seconds kEncoderGrace{10};

// The button is narrow: its captions are printed small enough to fit it.
constexpr int kVoiceTrackFont = 7;

void voiceTrackButton(core::Console& c) {
    core::printOnButton(c.form().cmdVoiceTrack, core::ImageRole::Green, "VoiceTrack", "",
                        kVoiceTrackFont);
}

// The category lists read again, and VoiceTracks brought up on them. The first take makes the
// category, and its item action needs the per-category figures to have a place for it.
void showVoiceTracksCategory(core::Console& c) {
    autodj::showplayLists(c);
    autodj::fitRepeatTime(c);
    autodj::pickActivePlaylist(c);
}

}  // namespace

std::string voiceTrackPath(const core::Console& c) {
    return c.AppFolder + "/VoiceTrack1.wav";
}

void cmdRecord_Click(core::Console& c) {
    auto& m = c.form();
    audio::Engine& e = c.engine();
    const int device = c.ui.settings.cboMicDevice.listIndex;
    if (c.recordChannel == 0) {
        e.recordSetDevice(device);
        e.recordInit(device);
        startRecording(c);
        applyVoiceChain(c);
        m.cmdRecord.caption = "Recording";
        return;
    }
    m.picMicLevel.drawing.clear();
    stopRecording(c);
    removeVoiceChain(c);
    const bool written = writeTake(c, voiceTrackPath(c));
    showVoiceTrackState(c);
    if (const auto name = core::askForName(c, "VoiceTrack")) {
        // A take that could not be written is saved from memory: VoiceTrack1.wav still holds
        // the take before, which must not go out under this name.
        saveVoiceTrack(c, *name, written);
    }
    m.cmdRecord.caption = "Record";
}

void startRecording(core::Console& c) {
    audio::Engine& e = c.engine();
    e.streamFree(c.takeStream);
    c.takeStream = 0;
    std::vector<std::uint8_t>().swap(c.recordBuffer);
    c.recordBuffer.assign(static_cast<std::size_t>(c.recordStep), 0);
    c.recordLength = kHeaderBytes;
    const std::string header = audio::pcm16WavHeader(44100, 2, 0);
    std::memcpy(c.recordBuffer.data(), header.data(), header.size());
    putLe32(c.recordBuffer, 4, 0);  // both lengths are filled in at the end
    core::EventLoop* loop = c.svc.loop;
    c.recordChannel = e.recordStart(
        44100, 2, audio::kRecordPause,
        [&c, loop](audio::Handle channel, const std::int16_t* s, std::size_t n) {
            if (recordProc(c, s, static_cast<std::int32_t>(n * sizeof(std::int16_t)))) {
                return true;
            }
            if (loop) {
                loop->post([&c, channel] { takeCannotGrow(c, channel); });
            }
            return false;
        });
    e.channelPlay(c.recordChannel, false);
    if (c.recordChannel == 0) {
        core::showCastError(c, "Couldn't start recording");
        std::vector<std::uint8_t>().swap(c.recordBuffer);
    }
}

bool recordProc(core::Console& c, const void* data, std::int32_t bytes) {
    if ((c.recordLength % c.recordStep) + bytes >= c.recordStep) {
        const double size =
            (std::floor(static_cast<double>(c.recordLength + bytes) / c.recordStep) + 1) *
            c.recordStep;
        try {
            if (size > static_cast<double>(c.recordLimit)) {
                throw std::bad_alloc();
            }
            c.recordBuffer.resize(static_cast<std::size_t>(std::nearbyint(size)));
        } catch (const std::bad_alloc&) {
            return false;
        }
    }
    std::memcpy(c.recordBuffer.data() + c.recordLength, data, static_cast<std::size_t>(bytes));
    c.recordLength += bytes;
    return true;
}

void stopRecording(core::Console& c) {
    audio::Engine& e = c.engine();
    e.channelStop(c.recordChannel);  // no callback runs after this
    c.recordChannel = 0;
    if (c.recordLength < kHeaderBytes ||
        static_cast<std::size_t>(c.recordLength) > c.recordBuffer.size()) {
        return;
    }
    putLe32(c.recordBuffer, 4, static_cast<std::uint32_t>(c.recordLength - 8));
    putLe32(c.recordBuffer, 40, static_cast<std::uint32_t>(c.recordLength - kHeaderBytes));
    auto image = std::make_shared<const std::vector<std::uint8_t>>(
        c.recordBuffer.begin(), c.recordBuffer.begin() + c.recordLength);
    c.takeStream =
        e.streamCreateMemory(std::move(image), 0, static_cast<std::uint64_t>(c.recordLength), 0);
}

void takeCannotGrow(core::Console& c, audio::Handle channel) {
    if (c.recordChannel == channel) {
        // What was recorded up to here is kept as the take, as a press on cmdRecord would keep
        // it, before the operator hears of the failure.
        c.form().picMicLevel.drawing.clear();
        stopRecording(c);
        removeVoiceChain(c);
        writeTake(c, voiceTrackPath(c));
        showVoiceTrackState(c);
        c.form().cmdRecord.caption = "Record";
    }
    core::showCastError(c, "Out of memory!");
}

std::string takeImage(const core::Console& c) {
    const std::size_t length =
        std::min(c.recordBuffer.size(), static_cast<std::size_t>(std::max(c.recordLength, 0)));
    return {reinterpret_cast<const char*>(c.recordBuffer.data()), length};
}

bool writeTake(core::Console& c, const std::string& path) {
    // Written beside and renamed over: a take that cannot be written leaves the last one whole.
    if (!core::replaceFile(path, takeImage(c), core::FileAccess::kKeepMode)) {
        core::showCastError(c, "Can't create the file");
        return false;
    }
    return true;
}

void applyVoiceChain(core::Console& c) {
    if (c.voiceFx[0] != 0) {
        return;
    }
    c.engine().fxReset(c.recordChannel);
    // The amplifier's parameters go to the master chain's amplifier; the take's keeps its
    // defaults.
    installVoiceChain(c, c.recordChannel, micVoiceChain(), c.masterDampFx);
}

void removeVoiceChain(core::Console& c) {
    for (audio::Handle& fx : c.voiceFx) {
        c.engine().channelRemoveFX(c.recordChannel, fx);
        fx = 0;
    }
}

void showVoiceTrackState(core::Console& c) {
    auto& button = c.form().cmdVoiceTrack;
    std::error_code ec;
    if (std::filesystem::exists(voiceTrackPath(c), ec)) {
        voiceTrackButton(c);
        button.toolTip = voiceTrackPath(c);
    } else {
        core::printOnButton(button, core::ImageRole::Gray, "NO VoiceTrack", "", kVoiceTrackFont);
    }
}

void cmdVoiceTrack_MouseDown(core::Console& c, bool leftButton) {
    if (!leftButton) {
        return;
    }
    audio::Engine& e = c.engine();
    if (c.spotChannel != 0 && e.channelIsActive(c.spotChannel) != audio::kStopped) {
        voiceTrackButton(c);
        e.channelStop(c.spotChannel);
        c.spotChannel = 0;
        return;
    }
    const std::string path = voiceTrackPath(c);
    switch (samplerMode(c)) {
        case 1:  // in the studio only: a playing stream, not through the mixer
            c.spotChannel = e.streamCreateFile(path, 0, 0, 0);
            autodj::applyLoudness(c, c.spotChannel, path, autodj::LoudnessKind::Track);
            e.channelPlay(c.spotChannel, false);
            e.channelSetSync(c.spotChannel, audio::kSyncEnd, 0, spotEndedSync(c));
            break;
        case 0:
            c.spotChannel = e.streamCreateFile(path, 0, 0, audio::kStreamDecode);
            autodj::applyLoudness(c, c.spotChannel, path, autodj::LoudnessKind::Track);
            slidePlayers(c, 0.5f, 1000);
            e.mixerAddChannel(c.mixerStream, c.spotChannel, audio::kStreamAutoFree);
            e.channelPlay(c.spotChannel, false);
            e.channelSetSync(c.spotChannel, audio::kSyncFree, 0, spotEndedSync(c));
            break;
        default:
            break;
    }
    setMicPreview(c, c.spotChannel);
}

audio::SyncProc spotEndedSync(core::Console& c) {
    core::EventLoop* loop = c.svc.loop;
    return [loop, &c](audio::Handle, audio::Handle, std::uint32_t) {
        if (loop) {
            loop->post([&c] { spotEnded(c); });
        }
    };
}

void spotEnded(core::Console& c) {
    slidePlayers(c, 1.0f, 1000);
    setMicPreview(c, 0);
}

int samplerMode(const core::Console& c) {
    const auto& options = c.ui.main.optSamplerMode;
    for (std::size_t i = 0; i < options.size(); ++i) {
        if (options[i].value != 0) {
            return static_cast<int>(i);
        }
    }
    return 0;
}

void optSamplerMode_Click(core::Console& c, int index) {
    auto& m = c.form();
    for (std::size_t i = 0; i < m.optSamplerMode.size(); ++i) {
        m.optSamplerMode[i].value = static_cast<int>(i) == index ? 1 : 0;
    }
}

void setUpVoiceTrack(core::Console& c) {
    core::setUpNameDialog(c, "VoiceTrack");
}

void saveVoiceTrack(core::Console& c, const std::string& name, bool fromWav) {
    if (name.empty() || name == core::kNameDialogStart) {
        return;
    }
    namespace fs = std::filesystem;
    const std::string folder = c.AppFolder + "/Music/VoiceTracks";
    std::error_code ec;
    fs::create_directories(folder, ec);
    const std::string target = folder + "/" + name + ".mp3";
    if (!c.programs) {
        c.programs = std::make_shared<core::ProgramRunner>(*c.svc.loop);
    }
    // lame writes a part file beside the target, which takes the target's name only once it is
    // whole: a track of that name stays playable meanwhile, and a failed or cut-off encoding
    // leaves nothing in the category. Arguments go to lame as they are, without a shell: any
    // name works.
    core::ProgramJob job;
    job.partFile = c.programs->partFileFor(target);
    job.target = target;
    job.folder = c.AppFolder;
    job.argv = {"lame",      "--tt",       name,
                "--ta",      "VoiceTrack", "--add-id3v2",
                "-b",        "320",        fromWav ? voiceTrackPath(c) : "-",
                job.partFile};
    if (!fromWav) {
        job.input = takeImage(c);
    }
    auto failed = [&c, name](const core::ProgramEnd& end) {
        core::logError(c, "Voice track \"" + name + "\" not saved: " + end.describe("lame"));
    };
    const bool started = c.programs->start(std::move(job), [&c, failed, target](const auto& end) {
        if (end.whole()) {
            showVoiceTracksCategory(c);  // the new track shows once it is whole
            autodj::askLoudness(c, target);
        } else {
            failed(end);
        }
    });
    if (!started) {
        failed(core::ProgramEnd{});
    }
    showVoiceTracksCategory(c);
}

void finishVoiceTracks(core::Console& c) {
    if (c.recordChannel != 0) {
        c.form().picMicLevel.drawing.clear();
        stopRecording(c);
        removeVoiceChain(c);
        if (!core::replaceFile(voiceTrackPath(c), takeImage(c), core::FileAccess::kKeepMode)) {
            core::logError(c,
                           "Voice track not kept at shut-down: cannot write " + voiceTrackPath(c));
        }
        c.form().cmdRecord.caption = "Record";
    }
    if (c.programs) {
        c.programs->finish(kEncoderGrace);
    }
}

}  // namespace tw::liveassist
