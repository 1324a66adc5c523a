#include "support/actions.h"

#include <functional>
#include <map>

#include "autodj/library.h"
#include "autodj/planner.h"
#include "autodj/rotations.h"
#include "core/settings_store.h"
#include "playout/player_start.h"
#include "support/console_layout.h"

namespace tw::support {

namespace {

using PressAction = std::function<void(core::Console&, MouseButton)>;

void cmdAutoManual_Click(core::Console& c) {
    auto& caption = c.form().cmdAutoManual.caption;
    caption = caption == core::kAutomated ? core::kManual : core::kAutomated;
}

void cmdSkipNow_Click(core::Console& c) {
    playout::startNExt(c);
    if (c.automated()) {
        autodj::loadNextSong(c, 0);
    }
}

const std::map<std::string, PressAction, std::less<>>& pressActions() {
    static const std::map<std::string, PressAction, std::less<>> actions = {
        {"cmdAutoManual", [](core::Console& c, MouseButton) { cmdAutoManual_Click(c); }},
        {"cmdSkipNow", [](core::Console& c, MouseButton) { cmdSkipNow_Click(c); }},
        {"cmdTrackList", [](core::Console& c, MouseButton) { showPanel(c, 1); }},
        {"cmdRotationList", [](core::Console& c, MouseButton) { showPanel(c, 2); }},
        {"cmdPlaylistBuilder", [](core::Console& c, MouseButton) { showPanel(c, 3); }},
        {"cmdAddPlayList",
         [](core::Console& c, MouseButton) {
             showPanel(c, 1);
             autodj::createCatagory(c);
         }},
        {"cmdCalculate", [](core::Console& c, MouseButton) { autodj::cmdCalculate(c, false); }},
        {"cmdSearch", [](core::Console& c, MouseButton) { autodj::cmdSearch_Click(c); }},
    };
    return actions;
}

void afterSelect(core::Console& c, std::string_view name, int row) {
    if (name == "flRotations") {
        autodj::flRotations_Click(c);
    } else if (row >= 0 && name == "lstPlaylists") {
        autodj::lstPlaylists_Click(c, row);
    } else if (row >= 0 && name == "lstPlaylist1") {
        autodj::lstPlaylist1_Click(c, row);
    }
}

}  // namespace

bool press(core::Console& c, std::string_view name, MouseButton button) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    const auto& actions = pressActions();
    if (auto it = actions.find(name); it != actions.end()) {
        it->second(c, button);
    }
    return true;
}

bool select(core::Console& c, std::string_view name, int row) {
    core::Element* e = c.ui.find(name);
    if (!e) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (e->kind == core::ElementKind::Grid) {
        if (row < -1 || row >= e->rowCount()) {
            return false;
        }
        e->row = row;
        for (int i = 0; i < e->rowCount(); ++i) {
            e->rows[static_cast<std::size_t>(i)].selected = i == row;
        }
    } else {
        if (row < -1 || row >= e->listCount()) {
            return false;
        }
        e->listIndex = row;
    }
    afterSelect(c, name, row);
    return true;
}

bool keyDown(core::Console& c, std::string_view name, std::string_view key) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (name == "lstPlaylists" && key == "Delete") {
        autodj::deleteCatagory(c);
    }
    return true;
}

bool dropFiles(core::Console& c, std::string_view name, const std::vector<std::string>& files) {
    if (!c.ui.find(name)) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    if (name == "fileList") {
        autodj::fileList_DragDrop(c, files);
    }
    return true;
}

bool type(core::Console& c, std::string_view name, const std::string& text) {
    core::Element* e = c.ui.find(name);
    if (!e) {
        return false;
    }
    core::EventScope event(*c.svc.settings);
    e->text = text;
    return true;
}

}  // namespace tw::support
