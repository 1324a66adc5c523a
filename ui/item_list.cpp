#include "ui/item_list.h"

#include <QAction>
#include <QMenu>
#include <utility>

#include "ui/element_painter.h"

namespace tw::ui {

void ItemList::open(const core::Element& box, int fontSize, Chosen chosen) {
    close();
    auto* menu = new QMenu(&owner_);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setFont(consoleFont(fontSize, false));
    menu->setMinimumWidth(static_cast<int>(box.rect.width));
    for (int i = 0; i < box.listCount(); ++i) {
        const core::ListItem& item = box.items[static_cast<std::size_t>(i)];
        QAction* a = menu->addAction(QString::fromStdString(item.text));
        a->setData(i);
        a->setCheckable(true);
        a->setChecked(box.listIndex >= 0 ? i == box.listIndex : item.text == box.text);
    }
    if (box.items.empty()) {
        menu->addAction(QStringLiteral("(none found)"))->setEnabled(false);
    }
    QObject::connect(menu, &QMenu::triggered, &owner_,
                     [chosen = std::move(chosen)](QAction* a) { chosen(a->data().toInt()); });
    menu_ = menu;
    menu->popup(owner_.mapToGlobal(
        QPoint(static_cast<int>(box.rect.left), static_cast<int>(box.rect.top + box.rect.height))));
}

QMenu* ItemList::menu() const {
    return menu_.data();
}

void ItemList::close() {
    if (menu_) {
        menu_->close();
    }
}

}  // namespace tw::ui
