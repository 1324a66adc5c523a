#pragma once
// The console window: draws the console surface from the model, scaled from the design size
// (896 x 641) to the window's size, and turns mouse presses into the operator's actions on the
// element under the pointer. It keeps no copy of the surface; every paint reads the model.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QPointF>
#include <QRect>
#include <QRegion>
#include <QTimer>
#include <QWidget>
#include <cstddef>
#include <vector>

#include "core/console.h"

namespace tw::ui {

class SurfaceWidget final : public QWidget {
  public:
    // The window looks at the surface every repaintMs (and after each press) and repaints the
    // places that changed: the logic changes the surface on its own timers, with no change
    // signal to wait for.
    explicit SurfaceWidget(core::Console& console, int repaintMs = 60, QWidget* parent = nullptr);

    // A point of the window in design pixels.
    QPointF toDesign(const QPointF& windowPoint) const;
    // The window's title follows frmTarnDesk's caption; called by the repaint beat, and public
    // so that a caller need not wait for the beat.
    void syncTitle();
    // Compares the surface with the last look and schedules a repaint of what changed (its old
    // and new places). Returns the window area scheduled, empty when nothing changed.
    QRegion repaintChanges();

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;

  private:
    // An element's design rect in window pixels, with room for what is drawn just past its edge
    // (a frame's caption, antialiasing).
    QRect windowArea(const core::Rect& r) const;

    core::Console& console_;
    QTimer repaint_;
    // The last look, in the order of the form's element list (a fixed order).
    std::vector<std::size_t> fingerprints_;
    std::vector<core::Rect> places_;
};

}  // namespace tw::ui
