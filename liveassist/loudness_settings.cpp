#include "liveassist/loudness_settings.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <filesystem>

#include "autodj/loudness.h"
#include "core/console_ops.h"
#include "core/format.h"
#include "core/text.h"
#include "liveassist/sampler.h"

namespace tw::liveassist {

namespace {

namespace fs = std::filesystem;

const std::vector<std::string>& presets() {
    static const std::vector<std::string> p = {kLoudnessOff, "-23 LUFS", "-18 LUFS", "-16 LUFS",
                                               "-14 LUFS"};
    return p;
}

// A level as the settings keep it, to a tenth and without a tenth of none: "-16", "-19.5".
std::string levelText(double v) {
    std::string t = core::formatNumber(v, "0.0");
    if (t.size() > 2 && t.compare(t.size() - 2, 2, ".0") == 0) {
        t.resize(t.size() - 2);
    }
    return t;
}

std::string targetText(double v) {
    return levelText(v) + " LUFS";
}

void showTarget(core::Console& c) {
    auto& combo = c.ui.settings.cboLoudnessTarget;
    const auto target = autodj::loudnessTarget(c);
    combo.text = target ? targetText(*target) : kLoudnessOff;
    combo.listIndex = -1;
    for (int i = 0; i < combo.listCount(); ++i) {
        if (combo.items[static_cast<std::size_t>(i)].text == combo.text) {
            combo.listIndex = i;
        }
    }
    c.ui.settings.lblLoudnessProgress.caption = autodj::loudnessProgressLine(c);
}

void setTarget(core::Console& c, std::optional<double> target) {
    if (target) {
        core::writeIniValue(c, c.appSettingsPath(), "Loudness", "Target", levelText(*target));
    } else {
        core::deleteIniKey(c, c.appSettingsPath(), "Loudness", "Target");
        autodj::stopLoudness(c);
    }
    showTarget(c);
    startLoudnessScan(c);
    if (!c.detailsSong.empty()) {
        c.form().lblLoudnessInfo.caption = autodj::loudnessLine(c, c.detailsSong);
    }
}

// "-16", "-16 LUFS", "-16,5": the level typed, when it is one.
std::optional<double> typedLevel(std::string text) {
    std::replace(text.begin(), text.end(), ',', '.');
    text = core::trim(text);
    const std::string unit = " LUFS";
    if (text.size() > unit.size() &&
        core::toLower(text.substr(text.size() - unit.size())) == core::toLower(unit)) {
        text = core::trim(text.substr(0, text.size() - unit.size()));
    } else if (text.size() > 4 && core::toLower(text.substr(text.size() - 4)) == "lufs") {
        text = core::trim(text.substr(0, text.size() - 4));
    }
    if (text.empty()) {
        return std::nullopt;
    }
    double v = 0;
    const char* first = text.c_str() + (text.front() == '+' ? 1 : 0);
    const auto [end, ec] = std::from_chars(first, text.c_str() + text.size(), v);
    if (ec != std::errc() || end != text.c_str() + text.size() || !std::isfinite(v) || v < -40 ||
        v > -5) {
        return std::nullopt;
    }
    return std::round(v * 10) / 10;
}

}  // namespace

void fillLoudnessTargets(core::Console& c) {
    auto& combo = c.ui.settings.cboLoudnessTarget;
    combo.items.clear();
    for (const std::string& p : presets()) {
        combo.items.push_back({p, 0, {}, false});
    }
    showTarget(c);
}

void cboLoudnessTarget_Click(core::Console& c) {
    auto& combo = c.ui.settings.cboLoudnessTarget;
    if (combo.listIndex < 0 || combo.listIndex >= combo.listCount()) {
        return;
    }
    if (combo.listIndex == 0) {
        setTarget(c, std::nullopt);
        return;
    }
    setTarget(c, typedLevel(combo.items[static_cast<std::size_t>(combo.listIndex)].text));
}

void cboLoudnessTarget_Enter(core::Console& c) {
    const std::string typed = c.ui.settings.cboLoudnessTarget.text;
    if (core::toLower(core::trim(typed)) == core::toLower(kLoudnessOff)) {
        setTarget(c, std::nullopt);
        return;
    }
    const auto level = typedLevel(typed);
    if (!level) {
        core::printMessageOnScreen(
            c, "The loudness target is a level between -40 and -5 LUFS, or Off");
        showTarget(c);
        return;
    }
    setTarget(c, level);
}

std::vector<std::string> stationAudioFiles(core::Console& c) {
    std::vector<std::string> files;
    std::error_code ec;
    const auto addFolder = [&](const fs::path& folder) {
        std::vector<std::string> found;
        for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
            std::error_code fe;
            if (!it->is_regular_file(fe)) {
                continue;
            }
            const std::string ext = core::toLower(it->path().extension().string());
            if (ext == ".mp3" || ext == ".wav") {
                found.push_back(it->path().string());
            }
        }
        ec.clear();
        std::sort(found.begin(), found.end());
        files.insert(files.end(), found.begin(), found.end());
    };
    std::vector<fs::path> categories;
    for (fs::directory_iterator it(c.AppFolder + "/Music", ec), end; !ec && it != end;
         it.increment(ec)) {
        std::error_code de;
        if (it->is_directory(de)) {
            categories.push_back(it->path());
        }
    }
    ec.clear();
    std::sort(categories.begin(), categories.end());
    for (const fs::path& category : categories) {
        addFolder(category);
    }
    addFolder(c.AppFolder + "/Sweepers");
    for (int n = 1; n <= kSampleButtons; ++n) {
        const std::string path = samplePath(c, n);
        if (path != "none" && !path.empty()) {
            files.push_back(path);
        }
    }
    return files;
}

void startLoudnessScan(core::Console& c) {
    if (!autodj::loudnessTarget(c)) {
        return;
    }
    autodj::askLoudness(c, stationAudioFiles(c));
}

}  // namespace tw::liveassist
