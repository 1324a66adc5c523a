#include "ui/status_window.h"

#include <QCloseEvent>
#include <QFontMetricsF>
#include <QPainter>

#include "core/console_ops.h"
#include "ui/console_colors.h"
#include "ui/element_painter.h"

namespace tw::ui {

StatusWindow::StatusWindow(core::Console& console, QWidget* owner, int beatMs)
    : QWidget(owner, Qt::Tool), console_(console) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    beat_ = std::make_unique<VisibleBeat>(owner ? *owner : *this, beatMs, [this] { follow(); });
}

void StatusWindow::follow() {
    const core::StatusForm& f = console_.ui.status;
    const bool wanted = f.frmStatus.visible && console_.loaded && !console_.unloaded;
    if (!wanted) {
        if (isVisible()) {
            hide();
        }
        return;
    }
    const QString title = f.frmStatus.caption.empty() ? QStringLiteral("Library Update")
                                                      : QString::fromStdString(f.frmStatus.caption);
    if (windowTitle() != title) {
        setWindowTitle(title);
    }
    const QSize size(static_cast<int>(f.frmStatus.rect.width),
                     static_cast<int>(f.frmStatus.rect.height));
    if (size.isValid() && !size.isEmpty() && this->size() != size) {
        setFixedSize(size);
    }
    if (!isVisible()) {
        show();
        raise();
    }
    update();
}

void StatusWindow::closeEvent(QCloseEvent* event) {
    core::dismissStatus(console_);
    event->accept();
}

void StatusWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    core::StatusForm& f = console_.ui.status;
    p.fillRect(rect(), consoleColor(f.frmStatus.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    // The text has one line of a window that does not grow, and the jobs put whole paths in
    // it: one longer than the line is shortened in its middle, which keeps both what is being
    // done and the end of the file's name in sight instead of wrapping onto a line cut in half.
    core::Element label = f.lblProgress;
    label.caption =
        QFontMetricsF(consoleFont(label.fontSize, label.fontBold))
            .elidedText(QString::fromStdString(label.caption), Qt::ElideMiddle, label.rect.width)
            .toStdString();
    for (const core::Element* e : {&label, &f.pctStatus}) {
        if (e->visible && e->rect.width > 0 && e->rect.height > 0) {
            paintElement(p, *e);
        }
    }
}

}  // namespace tw::ui
