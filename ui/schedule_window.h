#pragma once
// The "Rotation Scheduler" window (frmSchedule): the week grid pctSchedule drawn one pixel per
// unit of the picture, and beside it lstRotationOrList with each item's picture. Shown while the
// model says the form is visible. A press on the grid paints the cell with the chosen item, a
// move with the button held paints the cells it crosses, and an item carried from the list and
// let go over a cell is written into it; the console does all of that, the window only hands it
// the position in the picture's own units and draws what comes back.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QPointF>
#include <QRectF>
#include <QWidget>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "core/console.h"
#include "ui/visible_beat.h"

namespace tw::ui {

class ScheduleWindow final : public QWidget {
  public:
    ScheduleWindow(core::Console& console, QWidget* owner, int beatMs = 100);

    // Shows or hides the window as frmSchedule says and repaints what changed; called by the
    // beat.
    void follow();

    // Where the grid and the list stand in the window (window pixels). The grid's top left
    // corner is the picture's origin.
    static QRectF gridArea();
    static QRectF listArea();
    // The window point of a position of the picture.
    static QPointF windowPoint(const QPointF& picture);
    // The item of lstRotationOrList drawn at a window point, -1 for none.
    int itemAt(const QPointF& at) const;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    // After the console has run an action: the grid's tip where the pointer is, and a repaint.
    void afterAction(const QPoint& globalAt);
    void paintList(QPainter& p);
    // A move of a painting drag to a position of the picture.
    void paintAlong(const QPointF& unit);

    core::Console& console_;
    std::unique_ptr<VisibleBeat> beat_;  // follows while the console window is shown
    std::string carried_;                // the list item being carried to the grid, "" for none
    bool pressedOnGrid_ = false;         // the button went down on the grid: moves paint
    std::optional<QPointF> paintedTo_;   // where the painting drag was last handed over
    int firstItem_ = 0;                  // the first item the list box shows (wheel scrolling)
    std::string shownTip_;               // the grid's tip as last shown
    std::size_t lastLook_ = 0;           // fingerprint of the grid and list as last painted
};

}  // namespace tw::ui
