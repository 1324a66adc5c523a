#pragma once
// The table of the operator's gestures: every element of every window of the console with each
// gesture the console gives it (a press of either button, a double click, a move with the button
// held, a row or element carried onto another, files dropped from the file manager, the Delete,
// function and Return keys, typing, a choice in a combo box's list, a menu entry, a window's
// close box). Each row sets the stage through the console, performs the gesture with Qt's
// events on the real window (GestureBench) and checks its effect in the console. The rows are
// run at the design size and at half as large again.

#include <functional>
#include <string>
#include <vector>

#include "tests/ui/gesture_bench.h"

namespace tw::test {

enum class Gesture {
    LeftClick,
    RightClick,
    DoubleClick,
    HeldMove,     // the left button held and moved across the element
    RowClick,     // a row of a list or grid
    RowDrag,      // a row carried with the button held, within its list or onto another element
    ElementDrag,  // an element carried onto another ("Move to Player")
    FileDrop,     // files from the file manager
    DeleteKey,
    FunctionKey,
    ReturnKey,
    Typing,
    Choice,     // an entry chosen in a combo box's list
    MenuEntry,  // an entry of a menu the window pops up
    CloseBox,   // the window's own close box
};

const char* gestureName(Gesture g);

struct GestureRow {
    std::string name;     // unique, names the test
    std::string element;  // "cmdSkipNow", "frmCast.cmdSave"
    Gesture gesture;
    std::function<void(GestureBench&)> prepare;  // the stage, through the console
    std::function<void(GestureBench&)> act;      // the gesture, through the window only
    std::function<void(GestureBench&)> check;    // its effect, read from the console
};

// The rows, by the part of the console they touch.
std::vector<GestureRow> playerGestures();
std::vector<GestureRow> libraryGestures();
std::vector<GestureRow> liveGestures();
std::vector<GestureRow> windowGestures();
std::vector<GestureRow> allGestures();

// Elements the operator does not act on, with the reason.
struct NoGesture {
    std::string element;
    std::string reason;
};
std::vector<NoGesture> elementsWithoutGestures();

}  // namespace tw::test
