#include "liveassist/settings_panel.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/console_ops.h"
#include "core/format.h"
#include "core/paths.h"
#include "core/prompter.h"
#include "core/settings_store.h"
#include "core/text.h"
#include "liveassist/loudness_settings.h"
#include "liveassist/microphone.h"

namespace tw::liveassist {

namespace {

constexpr std::uint32_t kGreen = 0xFF00;
constexpr std::uint32_t kWhite = 0xFFFFFF;

struct TwoBoxField {
    std::array<core::Element, 2>* boxes;
    core::Element* slider;
    const char* section;
    void (*reread)(core::Console&);
};

TwoBoxField twoBoxField(core::Console& c, std::string_view name) {
    auto& s = c.ui.settings;
    if (name == "txtCrossfadeSeconds" || name == "sldCrossfadeSeconds") {
        return {&s.txtCrossfadeSeconds, &s.sldCrossfadeSeconds, "Crossfade", &readCrossfadeTime};
    }
    if (name == "txtSilenceSeconds" || name == "sldrSilenceValue") {
        return {&s.txtSilenceSeconds, &s.sldrSilenceValue, "Silence", &readSilenceTime};
    }
    return {nullptr, nullptr, "", nullptr};
}

// "1.5" gives the boxes "1" and "5"; the slider stands at the whole seconds.
void fillTwoBoxField(core::Console& c, const TwoBoxField& f) {
    const std::string time = core::readIni(c, c.appSettingsPath(), f.section, "time", "1.5");
    (*f.boxes)[0].text = core::token(".", 1, time);
    (*f.boxes)[1].text = core::token(".", 2, time);
    f.slider->value =
        std::clamp(core::cLng(core::val((*f.boxes)[0].text)), f.slider->minimum, f.slider->maximum);
}

// The box that the slider drives writes the slider's value; the pair is written back as
// seconds "." hundredths.
void twoBoxSliderChanged(core::Console& c, const TwoBoxField& f) {
    auto& boxes = *f.boxes;
    core::Element& driven = boxes[0].backColor == kGreen ? boxes[0] : boxes[1];
    driven.text = std::to_string(f.slider->value);
    const std::string time =
        boxes[0].text + "." + core::formatNumber(core::val(boxes[1].text), "0#");
    core::writeIniValue(c, c.appSettingsPath(), f.section, "time", time);
    f.reread(c);
}

std::string oneDecimal(double hours) {
    return core::numberText(core::roundHalfEven(hours * 10) / 10);
}

void showTrimThreshold(core::Console& c) {
    auto& s = c.ui.settings;
    s.lblTrimThreshold.caption = "-" + std::to_string(s.sldrTrimThreshold.value) + "db";
}

// The engine's cards that can take the studio streams, by number.
std::vector<std::string> studioOutputs(core::Console& c) {
    std::vector<std::string> names;
    constexpr int kMostCards = 32;
    std::string name;
    for (int i = 0; i < kMostCards && c.engine().getOutputDeviceName(i, name); ++i) {
        names.push_back(name);
    }
    return names;
}

std::string savedStudioOutput(core::Console& c) {
    return core::readIni(c, c.appSettingsPath(), "Preview", "Device", "");
}

void showLog(core::Console& c, const std::string& name) {
    c.svc.prompter->showFile(c.AppFolder + "/" + name, name);
}

}  // namespace

void readCrossfadeTime(core::Console& c) {
    const std::string s = core::readIni(c, c.appSettingsPath(), "Crossfade", "time", "1.5");
    const auto v = static_cast<float>(core::val(s));
    // The crossfade is never zero: the early-start rule of the tick needs a window to fire in.
    c.crossfadeTime = v == 0 ? 0.1f : v;
}

void readSilenceTime(core::Console& c) {
    c.silenceTime = static_cast<float>(
        core::val(core::readIni(c, c.appSettingsPath(), "Silence", "time", "1.5")));
}

std::int32_t readArtistSeperationTime(core::Console& c) {
    c.artistSeperationTime = static_cast<float>(
        core::val(core::readIni(c, c.appSettingsPath(), "ArtistSeperation", "Hours", "0")));
    return core::cLng(c.artistSeperationTime);
}

void readAutoTrimValues(core::Console& c) {
    c.autoTrim = core::readIni(c, c.appSettingsPath(), "AutoTrim", "Enabled", "0");
    c.autoTrimThreshold =
        core::cLng(core::val(core::readIni(c, c.appSettingsPath(), "AutoTrim", "Threshold", "1")));
}

void cmdProgramSettings_Click(core::Console& c) {
    frmAppSettings_Load(c);
    c.ui.settings.frmAppSettings.visible = true;
}

void frmAppSettings_Load(core::Console& c) {
    auto& s = c.ui.settings;
    try {
        loadMicLists(c);
    } catch (const std::exception& e) {
        core::logError(c, core::failureText("frmAppSettings microphone ", e));
    }
    fillStudioOutputs(c);
    fillLoudnessTargets(c);
    fillTwoBoxField(c, twoBoxField(c, "txtCrossfadeSeconds"));
    fillTwoBoxField(c, twoBoxField(c, "txtSilenceSeconds"));
    readArtistSeperationTime(c);
    s.sldrArtistSeperation.value =
        std::clamp(static_cast<int>(std::lround(c.artistSeperationTime * 100.0)),
                   s.sldrArtistSeperation.minimum, s.sldrArtistSeperation.maximum);
    s.txtArtistSeperation.text = oneDecimal(c.artistSeperationTime);
    readAutoTrimValues(c);
    s.sldrTrimThreshold.value =
        std::clamp(c.autoTrimThreshold, s.sldrTrimThreshold.minimum, s.sldrTrimThreshold.maximum);
    showTrimThreshold(c);
    s.chkEnableAutoTrim.value = c.autoTrim == "1" ? 1 : 0;
}

void twoBoxField_Click(core::Console& c, std::string_view field, int index) {
    const TwoBoxField f = twoBoxField(c, field);
    if (!f.boxes || index < 0 || index > 1) {
        return;
    }
    auto& boxes = *f.boxes;
    const std::optional<double> v = core::finiteVal(boxes[static_cast<std::size_t>(index)].text);
    f.slider->value = std::clamp(v ? static_cast<int>(std::clamp(*v, -1e9, 1e9)) : 0,
                                 f.slider->minimum, f.slider->maximum);
    boxes[0].backColor = kWhite;
    boxes[1].backColor = kWhite;
    boxes[static_cast<std::size_t>(index)].backColor = kGreen;
}

bool sliderChanged(core::Console& c, std::string_view slider, int value) {
    auto& s = c.ui.settings;
    core::Element* e = c.ui.find(std::string("frmAppSettings.") + std::string(slider));
    if (!e || e->kind != core::ElementKind::Slider) {
        return false;
    }
    e->value = std::clamp(value, e->minimum, e->maximum);
    try {
        if (const TwoBoxField f = twoBoxField(c, slider); f.boxes) {
            twoBoxSliderChanged(c, f);
        } else if (slider == "sldrArtistSeperation") {
            s.txtArtistSeperation.text = oneDecimal(e->value / 100.0);
            core::writeIniValue(c, c.appSettingsPath(), "ArtistSeperation", "Hours",
                                s.txtArtistSeperation.text);
            readArtistSeperationTime(c);
        } else if (slider == "sldrTrimThreshold") {
            showTrimThreshold(c);
            // Moving the threshold switches auto-trim on: the box's click runs with its tick.
            s.chkEnableAutoTrim.value = 1;
            chkEnableAutoTrim_Click(c);
            core::writeIniValue(c, c.appSettingsPath(), "AutoTrim", "Threshold",
                                std::to_string(e->value));
            c.autoTrimThreshold = e->value;
        }
    } catch (const std::exception& ex) {
        core::logError(c, core::failureText(std::string(slider) + " ", ex));
    }
    return true;
}

void chkEnableAutoTrim_Click(core::Console& c) {
    const std::string v = c.ui.settings.chkEnableAutoTrim.value ? "1" : "0";
    core::writeIniValue(c, c.appSettingsPath(), "AutoTrim", "Enabled", v);
    c.autoTrim = v;
}

void cmdViewAppLog_Click(core::Console& c) {
    showLog(c, "app.log");
}

void cmdViewPlayedLog_Click(core::Console& c) {
    showLog(c, "Played.log");
}

void cmdResetPlayed_Click(core::Console& c) {
    // What the store holds of the history goes to the disk first, and is forgotten after, so
    // that the next read finds no file.
    c.svc.settings->dropCache();
    core::moveToRecycle(c, c.playedIniPath(), 0, false);
    c.svc.settings->dropCache();
}

void fillStudioOutputs(core::Console& c) {
    auto& combo = c.ui.settings.cboStudioOutput;
    combo.items.clear();
    combo.items.push_back({kMainOutput, 0, {}, false});
    for (std::string& name : studioOutputs(c)) {
        combo.items.push_back({std::move(name), 0, {}, false});
    }
    const std::string saved = savedStudioOutput(c);
    combo.listIndex = 0;
    for (int i = 1; i < combo.listCount(); ++i) {
        if (combo.items[static_cast<std::size_t>(i)].text == saved) {
            combo.listIndex = i;
        }
    }
    combo.text = combo.items[static_cast<std::size_t>(combo.listIndex)].text;
}

void cboStudioOutput_Click(core::Console& c) {
    auto& combo = c.ui.settings.cboStudioOutput;
    if (combo.listIndex < 0 || combo.listIndex >= combo.listCount()) {
        return;
    }
    const std::string name = combo.items[static_cast<std::size_t>(combo.listIndex)].text;
    if (combo.listIndex == 0) {
        c.engine().setStudioDevice(-1);
        core::writeIniValue(c, c.appSettingsPath(), "Preview", "Device", "");
    } else if (c.engine().setStudioDevice(combo.listIndex - 1)) {
        core::writeIniValue(c, c.appSettingsPath(), "Preview", "Device", name);
    } else {
        c.engine().setStudioDevice(-1);
        core::writeIniValue(c, c.appSettingsPath(), "Preview", "Device", "");
        core::printMessageOnScreen(c, "The preview output " + name +
                                          " cannot be opened: previews play on the main output");
        combo.listIndex = 0;
    }
    combo.text = combo.items[static_cast<std::size_t>(combo.listIndex)].text;
}

void applyStudioOutput(core::Console& c) {
    const std::string saved = savedStudioOutput(c);
    if (saved.empty()) {
        return;
    }
    const std::vector<std::string> names = studioOutputs(c);
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (names[i] == saved && c.engine().setStudioDevice(static_cast<int>(i))) {
            return;
        }
    }
    core::logError(c, "Preview output " + saved + " not found: previews play on the main output");
}

}  // namespace tw::liveassist
