#include "ui/status_window.h"

#include <QPainter>

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

void StatusWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    core::StatusForm& f = console_.ui.status;
    p.fillRect(rect(), consoleColor(f.frmStatus.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    for (const core::Element* e : {&f.lblProgress, &f.pctStatus}) {
        if (e->visible && e->rect.width > 0 && e->rect.height > 0) {
            paintElement(p, *e);
        }
    }
}

}  // namespace tw::ui
