#pragma once
// The operator's hands on the console surface: a press, a selection or typed text on a named
// element runs that element's action. The Qt view and the simulator both come through here, so a
// scripted press does exactly what a click does. Each call is one console event: settings written
// during it reach the disk when it ends.
//
// Thread contract: console thread only.

#include <string>
#include <string_view>
#include <vector>

#include "core/console.h"

namespace tw::desk {

enum class MouseButton { Left = 1, Right = 2 };

// False when there is no element of that name; an element without an action does nothing. x is
// the pointer's position across the element, for the bars; y its position down it, for the grid
// of the schedule.
bool press(core::Console& c, std::string_view name, MouseButton button = MouseButton::Left,
           double x = 0, double y = 0);
// The mouse moved over an element with the left button held (held: true), x and y across it as
// for press. The window sends the moves to the element the button went down on, also when the
// pointer has left it. False for no such element.
bool move(core::Console& c, std::string_view name, double x, double y = 0);
// The left button let go over the element it went down on. False for no such element.
bool release(core::Console& c, std::string_view name);
// Selects an item or row (-1 for none) and runs the selection's action. False for no such element
// or a row out of range.
bool select(core::Console& c, std::string_view name, int row);
// An element dragged onto another: a track list's selected row or a "Move to Player" button onto
// a player's button. False for no such elements.
bool dragElement(core::Console& c, std::string_view source, std::string_view target);
// A key released anywhere on the console (key codes: F1 112 ... F10 121).
bool keyUp(core::Console& c, int keyCode);
// A key pressed on an element ("Delete"); false for no such element.
bool keyDown(core::Console& c, std::string_view name, std::string_view key);
// Files dropped on an element, as full paths; false for no such element.
bool dropFiles(core::Console& c, std::string_view name, const std::vector<std::string>& files);
// The operator moved a slider to value (kept within its range) and its change action runs. False
// for no slider of that name.
bool slide(core::Console& c, std::string_view name, int value);
// Sets the text of a text box and runs its change action.
bool type(core::Console& c, std::string_view name, const std::string& text);
// A double click on an element (the peak figure's reset).
bool doubleClick(core::Console& c, std::string_view name);
// The Return key in a text box: in the search box it runs the search; in the loudness target's
// box it takes the level typed.
bool enter(core::Console& c, std::string_view name);

}  // namespace tw::desk
