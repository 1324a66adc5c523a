#include "desk/playlist_actions.h"

#include "autodj/library_state.h"
#include "autodj/playlist_builder.h"
#include "autodj/rotations.h"
#include "autodj/schedule.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "playout/preview.h"

namespace tw::desk {

namespace {

// cmdPreviewSelected: the track chosen in the track list or in the builder's list.
void previewSelected(core::Console& c) {
    const auto& m = c.form();
    const auto& files = c.library->trackFiles;
    for (const core::Element* list : {&m.lstSongs, &m.lstBuilderCatagoryList}) {
        if (list->listIndex >= 0 && list->listIndex < static_cast<int>(files.size())) {
            playout::previewTrack(c, files[static_cast<std::size_t>(list->listIndex)]);
            return;
        }
    }
    core::printMessageOnScreen(c, "Please select song to preview");
}

}  // namespace

bool playlistPress(core::Console& c, std::string_view name) {
    if (name == "cmdLoadPlaylist") {
        autodj::cmdLoadPlaylist_Click(c);
    } else if (name == "cmdSavePlaylist") {
        autodj::cmdSavePlaylist_Click(c);
    } else if (name == "cmdDeleteItem") {
        autodj::cmdDeleteItem_Click(c);
    } else if (name == "cmdResetPlaylist") {
        autodj::cmdResetPlaylist_Click(c);
    } else if (name == "cmdRotationSchedule") {
        autodj::cmdRotationSchedule_Click(c);
    } else if (name == "cmdPreviewSelected") {
        previewSelected(c);
    } else if (name == "chkEnableSchedule") {
        autodj::setScheduleEnabled(c, c.form().chkEnableSchedule.value == 0);
    } else {
        return false;
    }
    return true;
}

bool playlistSelect(core::Console& c, std::string_view name, int row) {
    if (name == "flPlaylists") {
        autodj::flPlaylists_Click(c);
    } else if (name == "lstBuilderCatagoryList") {
        autodj::lstBuilderCatagoryList_Click(c, row);
    } else {
        return false;
    }
    return true;
}

bool playlistDropFiles(core::Console& c, std::string_view name,
                       const std::vector<std::string>& files) {
    if (name != "lstPlayListBuilder") {
        return false;
    }
    autodj::lstPlayListBuilder_DropFiles(c, files);
    return true;
}

bool playlistDrag(core::Console& c, std::string_view source, std::string_view target) {
    if (source != "lstBuilderCatagoryList" || target != "lstPlayListBuilder") {
        return false;
    }
    const auto& list = c.form().lstBuilderCatagoryList;
    if (list.listIndex >= 0 && list.listIndex < list.listCount()) {
        autodj::lstPlayListBuilder_DragDrop(
            c, list.items[static_cast<std::size_t>(list.listIndex)].text);
    }
    return true;
}

void schedulePress(core::Console& c, double x, double y) {
    core::EventScope event(*c.svc.settings);
    autodj::pctSchedule_MouseDown(c, x, y);
}

void scheduleMove(core::Console& c, double x, double y, bool leftButton) {
    core::EventScope event(*c.svc.settings);
    autodj::pctSchedule_MouseMove(c, x, y, leftButton);
}

void scheduleDrop(core::Console& c, double x, double y, const std::string& text) {
    core::EventScope event(*c.svc.settings);
    autodj::pctSchedule_DragDrop(c, x, y, text);
}

}  // namespace tw::desk
