#include "web/status_settings.h"

#include <string>

#include "core/console_ops.h"
#include "core/text.h"
#include "web/status_feed.h"

namespace tw::web {

namespace {

struct Field {
    core::Element core::SettingsForm::*box;
    const char* section;
    const char* key;
};

constexpr Field kFields[] = {
    {&core::SettingsForm::txtWebPort, "WebStatus", "Port"},
    {&core::SettingsForm::txtWebAddress, "WebStatus", "Address"},
    {&core::SettingsForm::txtWebToken, "WebStatus", "Token"},
    {&core::SettingsForm::txtNowPlayingCommand, "NowPlaying", "Command"},
};

std::string saved(core::Console& c, const Field& f) {
    return core::trim(core::readIni(c, c.appSettingsPath(), f.section, f.key, ""));
}

void showUrl(core::Console& c) {
    core::Element& label = c.ui.settings.lblWebStatusUrl;
    const std::string url = statusFeedUrl(c);
    const std::string problem = statusFeedProblem(c);
    if (!url.empty()) {
        label.caption = "Open " + url;
    } else if (!problem.empty()) {
        label.caption = "Off: " + problem;
    } else {
        label.caption = "Off";
    }
}

bool isPort(const std::string& text) {
    if (text.empty() || text.size() > 5 ||
        text.find_first_not_of("0123456789") != std::string::npos) {
        return text.empty();
    }
    return std::stoul(text) <= 65535;
}

}  // namespace

void fillWebStatusSettings(core::Console& c) {
    for (const Field& f : kFields) {
        (c.ui.settings.*f.box).text = saved(c, f);
    }
    if (c.ui.settings.txtWebAddress.text.empty()) {
        c.ui.settings.txtWebAddress.text = ServiceSettings{}.address;
    }
    showUrl(c);
}

bool webStatusBox_Enter(core::Console& c, std::string_view box) {
    for (const Field& f : kFields) {
        core::Element& e = c.ui.settings.*f.box;
        if (e.name != box) {
            continue;
        }
        const std::string typed = core::trim(e.text);
        if (f.box == &core::SettingsForm::txtWebPort && !isPort(typed)) {
            core::printMessageOnScreen(c,
                                       "The web status port is a number from 1 to 65535, or "
                                       "empty for off");
            e.text = saved(c, f);
            return true;
        }
        if (typed != saved(c, f)) {
            core::writeIniValue(c, c.appSettingsPath(), f.section, f.key, typed);
            if (f.box == &core::SettingsForm::txtNowPlayingCommand) {
                useNowPlayingCommand(c, typed);
            } else {
                restartStatusFeed(c);
            }
        }
        e.text = typed;
        showUrl(c);
        return true;
    }
    return false;
}

}  // namespace tw::web
