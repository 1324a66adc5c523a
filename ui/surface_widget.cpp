#include "ui/surface_widget.h"

#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QToolTip>
#include <string>

#include "support/actions.h"
#include "support/console_layout.h"
#include "ui/console_colors.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"
#include "ui/visible_elements.h"

namespace tw::ui {

SurfaceWidget::SurfaceWidget(core::Console& console, int repaintMs, QWidget* parent)
    : QWidget(parent), console_(console) {
    const QSize design(static_cast<int>(support::kDesignWidth),
                       static_cast<int>(support::kDesignHeight));
    // The console never shrinks below its design.
    setMinimumSize(design);
    resize(design);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);  // the function keys reach the console anywhere on it
    repaint_.setTimerType(Qt::CoarseTimer);
    repaint_.setInterval(repaintMs);
    QObject::connect(&repaint_, &QTimer::timeout, this, [this] {
        syncTitle();
        repaintChanges();
    });
    repaint_.start();
    syncTitle();
}

QPointF SurfaceWidget::toDesign(const QPointF& windowPoint) const {
    return QPointF(windowPoint.x() * support::kDesignWidth / width(),
                   windowPoint.y() * support::kDesignHeight / height());
}

void SurfaceWidget::syncTitle() {
    const QString title = QString::fromStdString(console_.form().frmTarnDesk.caption);
    if (title != windowTitle()) {
        setWindowTitle(title);
    }
}

QRect SurfaceWidget::windowArea(const core::Rect& r) const {
    if (r.width <= 0 || r.height <= 0) {
        return {};
    }
    const double sx = width() / support::kDesignWidth;
    const double sy = height() / support::kDesignHeight;
    const double margin = 8;
    return QRectF((r.left - margin) * sx, (r.top - margin) * sy, (r.width + 2 * margin) * sx,
                  (r.height + 2 * margin) * sy)
        .toAlignedRect();
}

QRegion SurfaceWidget::repaintChanges() {
    core::MainForm& form = console_.form();
    const std::vector<core::Element*> all = form.all();
    const bool firstLook = fingerprints_.size() != all.size();
    if (firstLook) {
        fingerprints_.assign(all.size(), 0);
        places_.assign(all.size(), {});
    }
    QRegion changed;
    bool whole = firstLook;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const core::Element& e = *all[i];
        const std::size_t print = elementFingerprint(e);
        if (!firstLook && print == fingerprints_[i]) {
            continue;
        }
        fingerprints_[i] = print;
        // The form itself holds the back colour and the message line: all of the window.
        whole = whole || e.kind == core::ElementKind::Form;
        changed += windowArea(places_[i]);
        changed += windowArea(e.rect);
        places_[i] = e.rect;
    }
    if (whole) {
        changed = rect();
    }
    changed &= rect();
    if (!changed.isEmpty()) {
        update(changed);
    }
    return changed;
}

bool SurfaceWidget::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    // Tool tips are the elements' own, looked up where the pointer rests.
    auto* help = static_cast<QHelpEvent*>(event);
    const QPointF at = toDesign(help->pos());
    const core::Element* e = elementAt(console_.form(), at.x(), at.y());
    if (e && !e->toolTip.empty()) {
        QToolTip::showText(help->globalPos(), QString::fromStdString(e->toolTip), this);
    } else {
        QToolTip::hideText();
        event->ignore();
    }
    return true;
}

void SurfaceWidget::paintEvent(QPaintEvent* event) {
    QPainter p(this);
    // The form's own rect may not cover the window (the painter is opaque): start from its colour.
    p.fillRect(rect(), consoleColor(console_.form().frmTarnDesk.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    const double sx = width() / support::kDesignWidth;
    const double sy = height() / support::kDesignHeight;
    p.scale(sx, sy);
    const QRectF area = event->rect().toRectF();
    paintConsole(p, console_.form(),
                 QRectF(area.left() / sx, area.top() / sy, area.width() / sx, area.height() / sy));
}

void SurfaceWidget::mousePressEvent(QMouseEvent* event) {
    support::MouseButton button;
    if (event->button() == Qt::LeftButton) {
        button = support::MouseButton::Left;
    } else if (event->button() == Qt::RightButton) {
        button = support::MouseButton::Right;
    } else {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF at = toDesign(event->position());
    const core::Element* e = elementAt(console_.form(), at.x(), at.y());
    if (!e) {
        return;
    }
    // The name is copied: the action may change the surface it came from.
    const std::string name = e->name;
    const bool list = e->kind == core::ElementKind::ListBox ||
                      e->kind == core::ElementKind::FileList ||
                      e->kind == core::ElementKind::DirList || e->kind == core::ElementKind::Grid;
    if (list && button == support::MouseButton::Left) {
        // A click on a row selects it (and runs the list's click); between rows it does nothing.
        const int row = rowAt(*e, at.y());
        if (row >= 0) {
            support::select(console_, name, row);
            // A grid's own action looks at the column under the pointer.
            if (e->kind == core::ElementKind::Grid) {
                support::press(console_, name, button, at.x() - e->rect.left);
            }
        }
    } else {
        // The pointer's place across the element, for the bars that seek.
        support::press(console_, name, button, at.x() - e->rect.left);
    }
    syncTitle();
    repaintChanges();
}

void SurfaceWidget::keyReleaseEvent(QKeyEvent* event) {
    // The console's key codes: F1 is 112 ... F12 is 123.
    const int key = event->key();
    if (key >= Qt::Key_F1 && key <= Qt::Key_F12) {
        support::keyUp(console_, 112 + (key - Qt::Key_F1));
        syncTitle();
        repaintChanges();
        return;
    }
    QWidget::keyReleaseEvent(event);
}

}  // namespace tw::ui
