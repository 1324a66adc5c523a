#include "ui/box_editor.h"

#include <QRectF>

#include "ui/element_painter.h"

namespace tw::ui {

BoxEditor::BoxEditor(QWidget* host) : edit_(new QLineEdit(host)) {
    edit_->hide();
    edit_->setFrame(false);
}

BoxEditor::~BoxEditor() {
    edit_->blockSignals(true);
}

void BoxEditor::open(const core::Element& box, bool password) {
    editing_ = box.name;
    // Emptied before its echo mode changes: a password left from the last box is never, not
    // even hidden, held by an editor that would show it.
    edit_->clear();
    edit_->setEchoMode(password ? QLineEdit::Password : QLineEdit::Normal);
    follow(box);
    edit_->setText(QString::fromStdString(box.text));
    edit_->selectAll();
    edit_->show();
    edit_->setFocus(Qt::MouseFocusReason);
}

void BoxEditor::follow(const core::Element& box) {
    edit_->setFont(consoleFont(box.fontSize, box.fontBold));
    QRectF area(box.rect.left, box.rect.top, box.rect.width, box.rect.height);
    if (box.kind == core::ElementKind::ComboBox) {
        // A box that takes text keeps its arrow free: the list stays a click away.
        area.setRight(comboArrowPlace(box).left());
    }
    edit_->setGeometry(area.toAlignedRect().adjusted(1, 1, -1, -1));
}

bool BoxEditor::close() {
    if (editing_.empty()) {
        return false;
    }
    editing_.clear();
    edit_->hide();
    edit_->clear();
    return true;
}

}  // namespace tw::ui
