// Making and removing categories.

#include <algorithm>
#include <filesystem>

#include "autodj/library.h"
#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "core/name_dialog.h"
#include "core/text.h"

namespace tw::autodj {

namespace {

void refreshLibraryLists(core::Console& c) {
    auto& m = c.form();
    core::refreshFileList(m.dirList);
    showplayLists(c);
}

}  // namespace

void createCatagory(core::Console& c) {
    const auto answer = core::askForName(c, "playlist");
    if (!answer) {
        return;
    }
    std::error_code ec;
    std::filesystem::create_directories(c.AppFolder + "/Music/" + *answer, ec);
    if (ec) {
        core::logError(c, "Error in Create Catagory: " + ec.message());
        return;
    }
    showplayLists(c);
    renewRepeatTime(c);
    auto& m = c.form();
    core::refreshFileList(m.fileList);
    core::refreshFileList(m.fileList1);
    showRotationIcons(c);
}

void deleteCatagory(core::Console& c) {
    auto& m = c.form();
    const int index = m.lstPlaylists.listIndex;
    if (index < 0 || index >= m.lstPlaylists.listCount()) {
        return;
    }
    const std::string name = m.lstPlaylists.items[static_cast<std::size_t>(index)].text;
    std::error_code ec;
    std::filesystem::create_directories(c.AppFolder + "/Deleted", ec);
    const core::Answer answer = c.svc.prompter->messageBox(
        "Are you sure you want to DELETE this folder and all its contents?", "",
        core::MessageButtons::OkCancel, core::MessageIcon::Question);
    if (answer != core::Answer::Ok) {
        return;
    }
    core::moveToRecycle(c, c.AppFolder + "/Music/" + name, 0, true);
    // Each row of the category goes as the Delete key on the rotation takes a row: its running
    // record with it, then the rotation is saved and retimed.
    removeCategoryFromRotation(c, name);
    refreshLibraryLists(c);
}

}  // namespace tw::autodj
