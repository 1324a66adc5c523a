#pragma once
// The "Song Statistics" window (frmStatistics): the category folders with a tick box each on the
// left, the Report button under them, and the report grid on the right. Shown while the model
// says the form is visible. The window places the form's elements itself (window pixels, written
// into the model so that the console paints its button at the size it is shown) and grows them
// with the window; a click on a category toggles its tick and a press on Report runs the report,
// both through the console's actions. The wheel scrolls the list or the grid under the pointer.
//
// Thread contract: console thread only (a widget, and it reads and places the console's form).

#include <QPointF>
#include <QSize>
#include <QWidget>
#include <cstddef>
#include <memory>

#include "core/console.h"
#include "ui/visible_beat.h"

namespace tw::ui {

class StatisticsWindow final : public QWidget {
  public:
    StatisticsWindow(core::Console& console, QWidget* owner, int beatMs = 100);

    // The size the layout is designed for; the window is never smaller.
    static QSize designSize();

    // Shows or hides the window as frmStatistics says, places the elements and repaints what
    // changed; called by the beat.
    void follow();
    // The category row of lstCatagories drawn at a window point, -1 for none.
    int categoryAt(const QPointF& at) const;
    // The first row of lstSongList the grid shows (moved by the wheel).
    int firstReportRow() const { return firstRow_; }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    // Writes the places of the form's elements for the window's present size into the model.
    void place();
    // How much the texts grow with the window (1 at the design size).
    double textScale() const;
    double categoryRowHeight() const;
    int categoryRowsShown() const;
    int reportRowsShown() const;
    void paintCategories(QPainter& p);
    void paintReport(QPainter& p);
    void runReport();

    core::Console& console_;
    std::unique_ptr<VisibleBeat> beat_;  // follows while the console window is shown
    int firstItem_ = 0;                  // the first category the list shows
    int firstRow_ = 0;                   // the first report row the grid shows
    std::size_t lastLook_ = 0;           // fingerprint of the form as last painted
};

}  // namespace tw::ui
