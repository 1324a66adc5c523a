#pragma once
// The operator's drags between and within the console's lists: a category from lstPlaylists
// dropped on lstRotation joins the rotation where it lands; a track of lstBuilderCatagoryList
// carried over lstPlayListBuilder marks the row it would go in at (the end below the last row)
// and goes in there when let go; a row of lstRotation, lstPlaylist or lstPlayListBuilder dragged
// over the rows of its own grid travels with the pointer. A track of lstSongs or of the builder's
// list let go on a sampler button goes onto that button. In "Move to Player" mode the voice
// track's button and the sampler buttons are drag sources too: let go on a player's button,
// their file goes onto that player. The window feeds it the element and row
// under the pointer at the press, at each move with the button held and at the release; each
// call that changes the console is one console event.
//
// Thread contract: console thread only.

#include <string>

#include "core/console.h"

namespace tw::ui {

class ListDrag {
  public:
    explicit ListDrag(core::Console& console) : console_(console) {}

    // A press of the left button on a row (-1 for none, or an element that has no rows) of the
    // named element.
    void press(const std::string& name, int row);
    // The pointer moved, the button held, over a row (-1 for none) of the named element ("" for
    // no element).
    void move(const std::string& name, int row);
    // The button released over a row of the named element. Ends the drag.
    void release(const std::string& name, int row);

    // Whether a drag that can land is under way (a category, track, grid row or, in "Move to
    // Player" mode, a button that carries a file was pressed).
    bool active() const { return !source_.empty(); }

  private:
    // A track of the builder's list over the builder's grid: the row it would land at is marked.
    void markBuilderRow(int row);

    core::Console& console_;
    std::string source_;  // "" when no drag is under way
    int row_ = -1;        // the dragged row's present index
    bool moved_ = false;  // a grid row changed places
    std::string category_;
};

}  // namespace tw::ui
