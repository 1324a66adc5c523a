#include "ui/cast_window.h"

#include <QCloseEvent>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>

#include "desk/actions.h"
#include "ui/box_editor.h"
#include "ui/console_colors.h"
#include "ui/element_painter.h"
#include "ui/element_tool_tip.h"
#include "ui/item_list.h"

namespace tw::ui {

namespace {

// The form's fixed labels, left of the fields they name.
struct FixedLabel {
    const char* text;
    double left, top;
};
constexpr FixedLabel kLabels[] = {
    {"Type:", 20, 108},     {"Server Path:", 20, 136}, {"Port Number:", 20, 164},
    {"Password:", 20, 192}, {"Name:", 20, 220},        {"URL:", 20, 248},
    {"Genre:", 20, 276},    {"Description:", 20, 304}, {"Select Bitrate", 380, 372},
};

bool inside(const core::Element& e, const QPointF& at) {
    return e.visible && e.rect.width > 0 && at.x() >= e.rect.left &&
           at.x() < e.rect.left + e.rect.width && at.y() >= e.rect.top &&
           at.y() < e.rect.top + e.rect.height;
}

bool onComboArrow(const core::Element& box, const QPointF& at) {
    return comboArrowPlace(box).contains(at);
}

}  // namespace

CastWindow::CastWindow(core::Console& console, QWidget* owner, int beatMs)
    : QWidget(owner, Qt::Dialog), console_(console), editor_(this), items_(*this) {
    QObject::connect(editor_.lineEdit(), &QLineEdit::textEdited, this, [this](const QString& text) {
        if (!editor_.editing().empty()) {
            desk::type(console_, "frmCast." + editor_.editing(), text.toStdString());
            update();
        }
    });
    QObject::connect(editor_.lineEdit(), &QLineEdit::editingFinished, this, [this] {
        if (!editor_.lineEdit()->hasFocus()) {
            closeEditor();
        }
    });
    beat_ = std::make_unique<VisibleBeat>(owner ? *owner : *this, beatMs, [this] { follow(); });
}

void CastWindow::follow() {
    const core::CastForm& f = console_.ui.cast;
    const bool wanted = f.frmCast.visible && console_.loaded && !console_.unloaded;
    if (!wanted) {
        closeEditor();
        if (isVisible()) {
            hide();
        }
        return;
    }
    const QString title = QString::fromStdString(f.frmCast.caption);
    if (windowTitle() != title) {
        setWindowTitle(title);
    }
    const QSize size(static_cast<int>(f.frmCast.rect.width),
                     static_cast<int>(f.frmCast.rect.height));
    if (!size.isEmpty() && this->size() != size) {
        setFixedSize(size);
    }
    if (!isVisible()) {
        show();
        raise();
    }
    update();
}

core::Element* CastWindow::elementAt(const QPointF& at) {
    core::Element* found = nullptr;
    for (core::Element* e : console_.ui.cast.all()) {
        // The frame lies under the fields: a field found later wins.
        if (e->kind != core::ElementKind::Form && inside(*e, at)) {
            found = e;
        }
    }
    return found;
}

bool CastWindow::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    // The tool tips are the elements' own.
    auto* help = static_cast<QHelpEvent*>(event);
    return showElementToolTip(*this, *help, elementAt(help->pos()));
}

void CastWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    core::CastForm& f = console_.ui.cast;
    p.fillRect(rect(), consoleColor(f.frmCast.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    for (const core::Element* e : f.all()) {
        if (e->kind == core::ElementKind::Form || !e->visible || e->rect.width <= 0) {
            continue;
        }
        if (e == &f.txtPassword) {
            paintElement(p, maskedBox(*e));
        } else {
            paintElement(p, *e);
        }
    }
    p.setFont(consoleFont(8, false));
    p.setPen(Qt::black);
    for (const FixedLabel& l : kLabels) {
        p.drawText(QRectF(l.left, l.top, 98, 22), Qt::AlignLeft | Qt::AlignVCenter, l.text);
    }
}

void CastWindow::act(const std::string& name) {
    desk::press(console_, "frmCast." + name);
    update();
}

void CastWindow::mousePressEvent(QMouseEvent* event) {
    closeEditor();
    if (event->button() != Qt::LeftButton) {
        return;
    }
    core::Element* e = elementAt(event->position());
    if (!e || !e->enabled) {
        return;
    }
    switch (e->kind) {
        case core::ElementKind::TextBox:
            editor_.open(*e, e == &console_.ui.cast.txtPassword);
            break;
        case core::ElementKind::ComboBox:
            // The bit rate is stored as typed: its box takes text left of its arrow.
            if (e == &console_.ui.cast.cmbBitrate && !onComboArrow(*e, event->position())) {
                editor_.open(*e);
            } else {
                chooseFrom(*e);
            }
            break;
        case core::ElementKind::Button:
        case core::ElementKind::PictureButton:
        case core::ElementKind::CheckBox:
        case core::ElementKind::OptionButton:
            act(e->name);
            break;
        default:
            break;
    }
}

void CastWindow::closeEvent(QCloseEvent* event) {
    items_.close();
    // The window's close box is the Close button: the form stays loaded and only hides.
    event->ignore();
    auto& f = console_.ui.cast;
    f.cmdSave.tag = "close";
    act("cmdSave");
    follow();
}

void CastWindow::closeEditor() {
    if (editor_.close()) {
        update();
    }
}

QMenu* CastWindow::openList() const {
    return items_.menu();
}

void CastWindow::chooseFrom(core::Element& list) {
    const std::string name = list.name;
    items_.open(list, list.fontSize, [this, name](int row) {
        desk::select(console_, "frmCast." + name, row);
        update();
    });
}

}  // namespace tw::ui
