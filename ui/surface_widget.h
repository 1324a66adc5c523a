#pragma once
// The console window: draws the console surface from the model, scaled from the design size
// (896 x 641) to the window's size, and turns mouse presses into the operator's actions on the
// element under the pointer. It keeps no copy of the surface; every paint reads the model.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QPointF>
#include <QTimer>
#include <QWidget>

#include "core/console.h"

namespace tw::ui {

class SurfaceWidget final : public QWidget {
  public:
    // The window repaints every repaintMs (and after each press); the logic changes the surface
    // on its own timers, so there is no change signal to wait for.
    explicit SurfaceWidget(core::Console& console, int repaintMs = 60, QWidget* parent = nullptr);

    // A point of the window in design pixels.
    QPointF toDesign(const QPointF& windowPoint) const;
    // The window's title follows frmTarnDesk's caption; called by the repaint beat, and public
    // so that a caller need not wait for the beat.
    void syncTitle();

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;

  private:
    core::Console& console_;
    QTimer repaint_;
};

}  // namespace tw::ui
