#include "ui/element_tool_tip.h"

#include <QToolTip>

namespace tw::ui {

bool showElementToolTip(QWidget& widget, QHelpEvent& help, const core::Element* under) {
    if (under && !under->toolTip.empty()) {
        QToolTip::showText(help.globalPos(), QString::fromStdString(under->toolTip), &widget);
    } else {
        QToolTip::hideText();
        help.ignore();
    }
    return true;
}

}  // namespace tw::ui
