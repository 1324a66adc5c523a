#include "ui/list_drag.h"

#include "autodj/playlist_builder.h"
#include "autodj/rotations.h"
#include "core/settings_store.h"
#include "desk/actions.h"
#include "liveassist/sampler.h"
#include "liveassist/voice_tracks.h"

namespace tw::ui {

namespace {

// The grids whose rows travel with the pointer within the grid.
bool travellingRows(const std::string& name) {
    return name == "lstRotation" || name == "lstPlaylist" || name == "lstPlayListBuilder";
}

bool trackList(const std::string& name) {
    return name == "lstSongs" || name == "lstBuilderCatagoryList";
}

bool playerButton(const std::string& name) {
    return name == "lblplayer1" || name == "lblPlayer2";
}

// The buttons that carry their file to a player while the mode is "Move to Player".
bool carriesFile(const core::Console& c, const std::string& name) {
    return liveassist::samplerMode(c) == 2 &&
           (name == "cmdVoiceTrack" || liveassist::samplerButton(name) != 0);
}

}  // namespace

void ListDrag::press(const std::string& name, int row) {
    source_.clear();
    moved_ = false;
    row_ = row;
    auto& m = console_.form();
    if (carriesFile(console_, name)) {
        source_ = name;
        return;
    }
    if (row < 0) {
        return;
    }
    if (name == "lstPlaylists" && row < m.lstPlaylists.listCount()) {
        source_ = name;
        category_ = m.lstPlaylists.items[static_cast<std::size_t>(row)].text;
    } else if (travellingRows(name) || trackList(name)) {
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
    } else if ((trackList(source) || carriesFile(console_, source)) && playerButton(name)) {
        // A track taken from a list, or the file of a button, onto a player that is not on the
        // air.
        desk::dragElement(console_, source, name);
    } else if (trackList(source) && liveassist::samplerButton(name) != 0) {
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
