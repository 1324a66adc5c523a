#include "ui/schedule_window.h"

#include <QCloseEvent>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <string_view>

#include "autodj/schedule.h"
#include "desk/actions.h"
#include "desk/playlist_actions.h"
#include "ui/console_colors.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"

namespace tw::ui {

namespace {

// The picture is drawn one pixel per unit: 24 hours of cells from x = 45 to 1122 and 7 days
// from y = 10 to 394, with the hour-0 margin at its left.
constexpr double kMargin = 8;
constexpr double kListWidth = 180;
constexpr double kGridWidth = 1130;
constexpr double kGridHeight = 400;
constexpr double kItemHeight = 20;
constexpr double kIconSide = 16;
constexpr int kDays = 7;

// The pictures of the list sit on the colour of a scheduled cell, as they do on the grid.
constexpr std::uint32_t kIconBack = 0x008550;

const char* const kDayNames[kDays] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};

constexpr std::string_view kListName = "frmSchedule.lstRotationOrList";

core::ImageRole itemPicture(int picture) {
    switch (picture) {
        case 1:
            return core::ImageRole::Rotation;
        case 2:
            return core::ImageRole::Playlist;
        default:
            return core::ImageRole::None;
    }
}

}  // namespace

ScheduleWindow::ScheduleWindow(core::Console& console, QWidget* owner, int beatMs)
    : QWidget(owner, Qt::Dialog), console_(console) {
    setFixedSize(static_cast<int>(listArea().width() + gridArea().width() + 3 * kMargin),
                 static_cast<int>(gridArea().height() + 2 * kMargin));
    // The grid shows each cell's list as its tip while the pointer only passes over it.
    setMouseTracking(true);
    beat_ = std::make_unique<VisibleBeat>(owner ? *owner : *this, beatMs, [this] { follow(); });
}

QRectF ScheduleWindow::listArea() {
    return QRectF(kMargin, kMargin, kListWidth, kGridHeight);
}

QRectF ScheduleWindow::gridArea() {
    return QRectF(2 * kMargin + kListWidth, kMargin, kGridWidth, kGridHeight);
}

QPointF ScheduleWindow::windowPoint(const QPointF& picture) {
    return gridArea().topLeft() + picture;
}

int ScheduleWindow::itemAt(const QPointF& at) const {
    const QRectF inside = listArea().adjusted(1, 1, -1, -1);
    if (!inside.contains(at)) {
        return -1;
    }
    const int item = firstItem_ + static_cast<int>((at.y() - inside.top()) / kItemHeight);
    return item < console_.ui.schedule.lstRotationOrList.listCount() ? item : -1;
}

void ScheduleWindow::follow() {
    const core::ScheduleForm& f = console_.ui.schedule;
    const bool wanted = f.frmSchedule.visible && console_.loaded && !console_.unloaded;
    if (!wanted) {
        carried_.clear();
        if (isVisible()) {
            hide();
        }
        return;
    }
    // The console may have rebuilt the list shorter than where it was scrolled to.
    firstItem_ = std::clamp(firstItem_, 0, std::max(0, f.lstRotationOrList.listCount() - 1));
    const QString title = QString::fromStdString(f.frmSchedule.caption);
    if (windowTitle() != title) {
        setWindowTitle(title);
    }
    const std::size_t look =
        elementFingerprint(f.pctSchedule) * 1000003u ^ elementFingerprint(f.lstRotationOrList);
    if (!isVisible()) {
        show();
        raise();
    } else if (look == lastLook_) {
        return;
    }
    lastLook_ = look;
    update();
}

bool ScheduleWindow::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    // The grid's tip is the list of the cell the pointer last moved over, as the console keeps it.
    auto* help = static_cast<QHelpEvent*>(event);
    const std::string& tip = console_.ui.schedule.pctSchedule.toolTip;
    if (gridArea().contains(help->pos()) && !tip.empty()) {
        QToolTip::showText(help->globalPos(), QString::fromStdString(tip), this,
                           gridArea().toRect());
    } else {
        QToolTip::hideText();
        event->ignore();
    }
    return true;
}

void ScheduleWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    const core::ScheduleForm& f = console_.ui.schedule;
    p.fillRect(rect(), consoleColor(f.frmSchedule.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    paintList(p);
    // The picture where this window puts it; its drawing is relative to its own corner.
    core::Element picture = f.pctSchedule;
    const QRectF grid = gridArea();
    picture.rect = {grid.left(), grid.top(), grid.width(), grid.height()};
    // Every line printed on the grid starts at the left edge of its cell. A list's name is
    // mostly wider than a cell and would run over the cells after it: it is shortened to the
    // cell's width, and the cell's tip gives it whole.
    for (core::PrintedText& t : picture.drawing.texts) {
        t.text = QFontMetricsF(consoleFont(t.fontSize, t.bold))
                     .elidedText(QString::fromStdString(t.text), Qt::ElideRight,
                                 autodj::kScheduleCellSize)
                     .toStdString();
    }
    paintElement(p, picture);
    // The days in the margin left of the first hour, so the operator knows which row is which.
    const QFont font = consoleFont(8, false);
    p.setFont(font);
    p.setPen(QColor(0x50, 0x50, 0x50));
    const double lineHeight = QFontMetricsF(font).height();
    for (int day = 1; day <= kDays; ++day) {
        const double middle = autodj::scheduleCellTop(day) + autodj::kScheduleCellSize / 2.0;
        p.drawText(QRectF(grid.left() + 4, grid.top() + middle - lineHeight / 2,
                          autodj::scheduleCellLeft(1) - 6, lineHeight),
                   Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, kDayNames[day - 1]);
    }
}

void ScheduleWindow::paintList(QPainter& p) {
    const core::Element& list = console_.ui.schedule.lstRotationOrList;
    const QRectF box = listArea();
    p.fillRect(box, consoleColor(list.backColor));
    p.setPen(QPen(kBorder, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(box.adjusted(0.5, 0.5, -0.5, -0.5));
    const QRectF inside = box.adjusted(1, 1, -1, -1);
    p.save();
    p.setClipRect(inside);
    p.setFont(consoleFont(list.fontSize, list.fontBold));
    double y = inside.top();
    for (int i = firstItem_; i < list.listCount() && y < inside.bottom(); ++i, y += kItemHeight) {
        const core::ListItem& item = list.items[static_cast<std::size_t>(i)];
        const QRectF line(inside.left(), y, inside.width(), kItemHeight);
        const bool chosen = i == list.listIndex;
        if (chosen) {
            p.fillRect(line, kSelection);
        }
        const core::ImageRole role = itemPicture(item.picture);
        const QRectF icon(line.left() + 3, line.center().y() - kIconSide / 2, kIconSide, kIconSide);
        if (role != core::ImageRole::None) {
            p.fillRect(icon, consoleColor(kIconBack));
            paintImageRole(p, icon, role);
        }
        p.setPen(chosen ? QColor(Qt::white) : consoleColor(list.foreColor));
        // A name wider than the box ends in an ellipsis rather than at the box's edge.
        const QRectF room = line.adjusted(icon.width() + 8, 0, -2, 0);
        p.drawText(room, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   QFontMetricsF(p.font()).elidedText(QString::fromStdString(item.text),
                                                      Qt::ElideRight, room.width()));
    }
    p.restore();
}

void ScheduleWindow::afterAction(const QPoint& globalAt) {
    const std::string& tip = console_.ui.schedule.pctSchedule.toolTip;
    if (tip != shownTip_) {
        shownTip_ = tip;
        if (tip.empty()) {
            QToolTip::hideText();
        } else {
            QToolTip::showText(globalAt, QString::fromStdString(tip), this, gridArea().toRect());
        }
    }
    follow();
    update();
}

void ScheduleWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF at = event->position();
    carried_.clear();
    pressedOnGrid_ = false;
    const int item = itemAt(at);
    if (item >= 0) {
        // A click chooses the item; holding the button carries it to a cell.
        desk::select(console_, kListName, item);
        const core::Element& list = console_.ui.schedule.lstRotationOrList;
        if (item < list.listCount()) {
            carried_ = list.items[static_cast<std::size_t>(item)].text;
        }
    } else if (gridArea().contains(at)) {
        pressedOnGrid_ = true;
        const QPointF unit = at - gridArea().topLeft();
        desk::schedulePress(console_, unit.x(), unit.y());
        // A hand that presses moves a little inside the cell before it leaves it, and the
        // console counts on that: the move gives the tip the cell's new list, so the next cell
        // of a drag differs from it and is painted. The pointer may leave at once; the move is
        // handed over here.
        desk::scheduleMove(console_, unit.x(), unit.y(), true);
        paintedTo_ = unit;
    } else {
        return;
    }
    afterAction(event->globalPosition().toPoint());
}

void ScheduleWindow::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = event->position();
    const bool held = (event->buttons() & Qt::LeftButton) != 0;
    if (!carried_.empty() && held) {
        setCursor(gridArea().contains(at) ? Qt::DragCopyCursor : Qt::ForbiddenCursor);
    }
    if (!gridArea().contains(at)) {
        paintedTo_.reset();
        return;
    }
    // Only a press that began on the grid paints as the pointer crosses it: an item carried
    // from the list lands where it is let go.
    const QPointF unit = at - gridArea().topLeft();
    if (held && pressedOnGrid_) {
        paintAlong(unit);
    } else {
        desk::scheduleMove(console_, unit.x(), unit.y(), false);
    }
    afterAction(event->globalPosition().toPoint());
}

void ScheduleWindow::paintAlong(const QPointF& unit) {
    // Moves arrive far apart when the hand is quick: every cell on the way from the last one is
    // handed over in turn, so that none is passed over unpainted. Steps far smaller than a cell.
    constexpr double kStep = 4;
    const QPointF from = paintedTo_.value_or(unit);
    const QPointF way = unit - from;
    const int steps =
        std::max(1, static_cast<int>(std::ceil(std::hypot(way.x(), way.y()) / kStep)));
    for (int i = 1; i <= steps; ++i) {
        const QPointF at = from + way * (static_cast<double>(i) / steps);
        desk::scheduleMove(console_, at.x(), at.y(), true);
    }
    paintedTo_ = unit;
}

void ScheduleWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const std::string carried = std::move(carried_);
    carried_.clear();
    pressedOnGrid_ = false;
    paintedTo_.reset();
    unsetCursor();
    const QPointF at = event->position();
    if (carried.empty() || !gridArea().contains(at)) {
        return;
    }
    const QPointF unit = at - gridArea().topLeft();
    desk::scheduleDrop(console_, unit.x(), unit.y(), carried);
    afterAction(event->globalPosition().toPoint());
}

void ScheduleWindow::wheelEvent(QWheelEvent* event) {
    // More lists than the box holds: the wheel scrolls them.
    const int count = console_.ui.schedule.lstRotationOrList.listCount();
    const int shown = static_cast<int>((listArea().height() - 2) / kItemHeight);
    if (!listArea().contains(event->position()) || count <= shown) {
        QWidget::wheelEvent(event);
        return;
    }
    const int steps = event->angleDelta().y() / 120;
    firstItem_ = std::clamp(firstItem_ - steps * 3, 0, count - shown);
    update();
}

void ScheduleWindow::closeEvent(QCloseEvent* event) {
    // The form stays loaded and only hides; the console's button shows it again.
    console_.ui.schedule.frmSchedule.visible = false;
    carried_.clear();
    pressedOnGrid_ = false;
    event->accept();
}

}  // namespace tw::ui
