#include "ui/list_drag.h"

#include "autodj/playlist_builder.h"
#include "autodj/rotations.h"
#include "core/settings_store.h"
#include "desk/actions.h"

namespace tw::ui {

namespace {

// The grids whose rows travel with the pointer within the grid.
bool travellingRows(const std::string& name) {
    return name == "lstRotation" || name == "lstPlaylist" || name == "lstPlayListBuilder";
}

}  // namespace

void ListDrag::press(const std::string& name, int row) {
    source_.clear();
    moved_ = false;
    row_ = row;
    auto& m = console_.form();
    if (row < 0) {
        return;
    }
    if (name == "lstPlaylists" && row < m.lstPlaylists.listCount()) {
        source_ = name;
        category_ = m.lstPlaylists.items[static_cast<std::size_t>(row)].text;
    } else if (travellingRows(name) || name == "lstSongs" || name == "lstBuilderCatagoryList") {
        source_ = name;
    }
}

void ListDrag::markBuilderRow(int row) {
    core::EventScope event(*console_.svc.settings);
    autodj::lstPlayListBuilder_DragOver(console_, row);
}

void ListDrag::move(const std::string& name, int row) {
    if (source_ == "lstBuilderCatagoryList") {
        if (name == "lstPlayListBuilder") {
            markBuilderRow(row);
        }
        return;
    }
    if (!travellingRows(source_) || name != source_ || row < 0 || row == row_) {
        return;
    }
    core::EventScope event(*console_.svc.settings);
    if (source_ == "lstRotation") {
        autodj::dragRotationRow(console_, row_, row);
    } else if (source_ == "lstPlaylist") {
        autodj::dragPlaylistRow(console_, row_, row);
    } else {
        autodj::dragBuilderRow(console_, row_, row);
    }
    row_ = row;
    moved_ = true;
}

void ListDrag::release(const std::string& name, int row) {
    const std::string source = std::move(source_);
    source_.clear();
    if (source == "lstPlaylists" && name == "lstRotation" && !category_.empty()) {
        core::EventScope event(*console_.svc.settings);
        // The category goes in at the row it lands on, or after the last row.
        console_.form().lstRotation.row = row;
        autodj::dropCategoryOnRotation(console_, category_);
    } else if ((source == "lstSongs" || source == "lstBuilderCatagoryList") &&
               (name == "lblplayer1" || name == "lblPlayer2")) {
        // A track taken from a list onto a player that is not on the air.
        desk::dragElement(console_, source, name);
    } else if (source == "lstBuilderCatagoryList" && name == "lstPlayListBuilder") {
        // The track lands where the mark stands under the pointer, even when the last move was
        // not reported.
        markBuilderRow(row);
        desk::dragElement(console_, source, name);
    } else if (source == "lstRotation" && moved_) {
        core::EventScope event(*console_.svc.settings);
        autodj::releaseRotationDrag(console_);
    }
    moved_ = false;
    category_.clear();
}

}  // namespace tw::ui
