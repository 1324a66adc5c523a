#pragma once
// The open list of a combo box: the box's items under it, the present one ticked, the one the
// operator chooses handed to a callback by its row. It does not block: the window goes on
// painting and the console's timers go on running while it is open, and a test can find it and
// click in it. One list is open per owner at a time; opening another closes the first.
//
// Thread contract: console thread only (widgets).

#include <QPointer>
#include <QWidget>
#include <functional>

#include "core/surface.h"

class QMenu;

namespace tw::ui {

class ItemList {
  public:
    using Chosen = std::function<void(int row)>;

    // The list's menus are children of owner.
    explicit ItemList(QWidget& owner) : owner_(owner) {}

    // Opens the items of box under its place (window pixels of the owner), in the given font
    // size. chosen runs after the operator picked a row; the box is named by the caller, so that
    // a box the console filled anew meanwhile is looked up afresh.
    void open(const core::Element& box, int fontSize, Chosen chosen);
    // The list while it is open, else nullptr.
    QMenu* menu() const;
    void close();

  private:
    QWidget& owner_;
    QPointer<QMenu> menu_;
};

}  // namespace tw::ui
