#include "ui/box_editor.h"

#include <QRectF>

#include "ui/element_painter.h"

namespace tw::ui {

void openBoxEditor(QLineEdit& editor, const core::Element& box) {
    editor.setFont(consoleFont(box.fontSize, box.fontBold));
    editor.setGeometry(QRectF(box.rect.left, box.rect.top, box.rect.width, box.rect.height)
                           .toAlignedRect()
                           .adjusted(1, 1, -1, -1));
    editor.setText(QString::fromStdString(box.text));
    editor.selectAll();
    editor.show();
    editor.setFocus(Qt::MouseFocusReason);
}

}  // namespace tw::ui
