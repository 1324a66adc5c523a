#include "liveassist/sampler.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"
#include "liveassist/microphone.h"
#include "liveassist/voice_tracks.h"
#include "media/stream_time.h"

namespace tw::liveassist {

namespace {

constexpr auto kUnassigned = "unnassiged";
constexpr auto kToolTip =
    "Drag and Drop Sample Files Here, Use F1 to F8 on Keyboard for shortcuts.";

// A caption the button's width can carry: a size between 5 and 8 that gives each character
// about its size in pixels, and a name too long even for 5 cut with an ellipsis (the tool tip
// keeps the whole path).
void paintSampleButton(core::Element& button, core::ImageRole image, std::string caption) {
    const double width = button.scaleWidth();
    constexpr int kSmallest = 5, kLargest = 8;
    const auto fits = static_cast<std::size_t>(std::max(1.0, width / kSmallest));
    if (core::charCount(caption) > fits) {
        caption = core::leftChars(caption, fits - 1) + "\u2026";
    }
    const double perChar =
        width / static_cast<double>(std::max<std::size_t>(1, core::charCount(caption)));
    const int size = std::clamp(static_cast<int>(perChar), kSmallest, kLargest);
    core::printOnButton(button, image, caption, "", size);
}

std::string section(int n) {
    return "Sample" + std::to_string(n);
}

bool isButton(int n) {
    return n >= 1 && n <= kSampleButtons;
}

SampleBank& bank(core::Console& c) {
    if (!c.samples) {
        c.samples = std::make_shared<SampleBank>();
    }
    return *c.samples;
}

// Copies the file into the Samples folder and makes it button n's sample.
void takeSample(core::Console& c, int n, const std::string& file) {
    try {
        makeSamplesFolder(c);
        const std::string copy = core::copyIntoFolder(file, samplesFolder(c));
        saveSample(c, copy, n);
        loadSamples(c);
        showSamples(c);
        autodj::askLoudness(c, copy);
    } catch (const std::exception& e) {
        core::logError(c, "Error in file drop: " + core::describeFailure(e).description);
    }
}

}  // namespace

std::string samplesFolder(const core::Console& c) {
    return c.AppFolder + "/Samples";
}

std::string samplePath(const core::Console& c, int n) {
    if (!c.samples || !isButton(n)) {
        return "none";
    }
    return c.samples->buttons[static_cast<std::size_t>(n - 1)].thePath();
}

int samplerButton(std::string_view elementName) {
    constexpr std::string_view kPrefix = "cmdSampler(";
    if (!elementName.starts_with(kPrefix) || !elementName.ends_with(")")) {
        return 0;
    }
    const std::string_view digits =
        elementName.substr(kPrefix.size(), elementName.size() - kPrefix.size() - 1);
    int n = 0;
    for (const char ch : digits) {
        if (ch < '0' || ch > '9' || n > kSampleButtons) {
            return 0;
        }
        n = n * 10 + (ch - '0');
    }
    return isButton(n) ? n : 0;
}

void makeSamplesFolder(core::Console& c) {
    std::error_code ec;
    std::filesystem::create_directories(samplesFolder(c), ec);
}

void loadSamples(core::Console& c) {
    SampleBank& b = bank(c);
    for (int n = 1; n <= kSampleButtons; ++n) {
        clsSampleInfo& s = b.buttons[static_cast<std::size_t>(n - 1)];
        s.thePath(core::readIni(c, c.appSettingsPath(), section(n), "path", "none"));
        s.looped(core::readIni(c, c.appSettingsPath(), section(n), "loop", "false"));
        s.fadeOut(core::readIni(c, c.appSettingsPath(), section(n), "fadeOut", "false"));
    }
}

void showSamples(core::Console& c) {
    SampleBank& b = bank(c);
    auto& buttons = c.form().cmdSampler;
    for (int n = 1; n <= kSampleButtons; ++n) {
        core::Element& button = buttons[static_cast<std::size_t>(n - 1)];
        const std::string& path = b.buttons[static_cast<std::size_t>(n - 1)].thePath();
        if (path != "none") {
            paintSampleButton(button, core::ImageRole::Blue, core::parsePath(path, 6));
            button.toolTip = path;
        } else {
            paintSampleButton(button, core::ImageRole::Gray, kUnassigned);
            button.toolTip = kToolTip;
        }
    }
}

void saveSample(core::Console& c, const std::string& path, int n) {
    core::writeIniValue(c, c.appSettingsPath(), section(n), "path", path);
    core::writeIniValue(c, c.appSettingsPath(), section(n), "loop", "false");
    core::writeIniValue(c, c.appSettingsPath(), section(n), "fadeOut", "false");
}

void cmdSampler_Click(core::Console& c, int n) {
    if (!isButton(n)) {
        return;
    }
    audio::Engine& e = c.engine();
    if (c.spotChannel != 0 && e.channelIsActive(c.spotChannel) != audio::kStopped) {
        e.channelStop(c.spotChannel);
        c.spotChannel = 0;
    }
    playSample(c, n);
}

void playSample(core::Console& c, int n) {
    if (!isButton(n)) {
        return;
    }
    const std::string& path = bank(c).buttons[static_cast<std::size_t>(n - 1)].thePath();
    audio::Engine& e = c.engine();
    const int mode = samplerMode(c);
    if (mode == 2 || path == "none") {
        return;
    }
    if (mode == 1) {  // in the studio only
        c.spotChannel = media::openStream(e, path, 0, 0, 0, path);
        autodj::applyLoudness(c, c.spotChannel, path, autodj::LoudnessKind::Jingle);
        e.channelPlay(c.spotChannel, false);
        e.channelSetSync(c.spotChannel, audio::kSyncEnd, 0, spotEndedSync(c));
    } else {  // over the music, without ducking the players
        c.spotChannel = media::openStream(e, path, 0, 0, audio::kStreamDecode, path);
        autodj::applyLoudness(c, c.spotChannel, path, autodj::LoudnessKind::Jingle);
        e.mixerAddChannel(c.mixerStream, c.spotChannel, audio::kStreamAutoFree);
        e.channelPlay(c.spotChannel, false);
        e.channelSetSync(c.spotChannel, audio::kSyncFree, 0, spotEndedSync(c));
    }
    setMicPreview(c, c.spotChannel);
}

void cmdSampler_DragTrack(core::Console& c, int n, const std::string& rowText) {
    if (!isButton(n) || !c.library) {
        return;
    }
    // Either track list: both show the files of the same collection.
    for (const core::Element* list : {&c.form().lstSongs, &c.form().lstBuilderCatagoryList}) {
        if (const std::string path = autodj::trackPathOfRow(*c.library, *list, rowText);
            !path.empty()) {
            takeSample(c, n, path);
            return;
        }
    }
}

void cmdSampler_DropFiles(core::Console& c, int n, const std::vector<std::string>& files) {
    if (!isButton(n) || files.empty()) {
        return;
    }
    takeSample(c, n, files.front());
}

void cmdSampler_Clear(core::Console& c, int n) {
    if (!isButton(n)) {
        return;
    }
    core::writeIniValue(c, c.appSettingsPath(), section(n), "path", "");
    core::writeIniValue(c, c.appSettingsPath(), section(n), "loop", "");
    core::writeIniValue(c, c.appSettingsPath(), section(n), "fadeOut", "");
    loadSamples(c);
    showSamples(c);
}

}  // namespace tw::liveassist
