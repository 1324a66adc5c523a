#include "ui/console_colors.h"

#include <QLinearGradient>
#include <QPainterPath>
#include <algorithm>

namespace tw::ui {

namespace {

using core::ImageRole;

// Light top, dark bottom: a button lit from above.
void paintLit(QPainter& p, const QRectF& r, QColor top, QColor bottom) {
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0, top);
    g.setColorAt(1, bottom);
    p.fillRect(r, g);
    p.setPen(QPen(bottom.darker(140), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0.5, 0.5, -0.5, -0.5));
}

void paintLevels(QPainter& p, const QRectF& r) {
    QLinearGradient g(r.topLeft(), r.topRight());
    g.setColorAt(0, QColor(0x20, 0xC0, 0x30));
    g.setColorAt(0.6, QColor(0xF0, 0xE0, 0x20));
    g.setColorAt(1, QColor(0xE0, 0x20, 0x20));
    p.fillRect(r, g);
}

void paintPlus(QPainter& p, const QRectF& r) {
    paintLit(p, r, QColor(0xE8, 0xE8, 0xE8), QColor(0xA0, 0xA0, 0xA0));
    const double arm = std::min(r.width(), r.height()) * 0.3;
    const QPointF c = r.center();
    p.setPen(QPen(QColor(0x20, 0x80, 0x20), std::max(2.0, arm / 3), Qt::SolidLine, Qt::RoundCap));
    p.drawLine(QPointF(c.x() - arm, c.y()), QPointF(c.x() + arm, c.y()));
    p.drawLine(QPointF(c.x(), c.y() - arm), QPointF(c.x(), c.y() + arm));
}

// A circle of arrows: the rotation's picture, in outline over what lies under it.
void paintRotation(QPainter& p, const QRectF& r) {
    const double side = std::min(r.width(), r.height()) * 0.5;
    const QRectF ring(r.center().x() - side / 2, r.center().y() - side / 2, side, side);
    p.setPen(
        QPen(QColor(0xFF, 0xFF, 0xFF, 0xC0), std::max(1.5, side / 8), Qt::SolidLine, Qt::RoundCap));
    p.setBrush(Qt::NoBrush);
    p.drawArc(ring, 30 * 16, 300 * 16);
    const QPointF tip(ring.right(), r.center().y() - side * 0.2);
    p.drawLine(tip, tip + QPointF(-side * 0.2, -side * 0.05));
    p.drawLine(tip, tip + QPointF(side * 0.05, -side * 0.22));
}

// Three lines of a list: the playlist's picture.
void paintPlaylist(QPainter& p, const QRectF& r) {
    const double side = std::min(r.width(), r.height()) * 0.5;
    const QPointF origin(r.center().x() - side / 2, r.center().y() - side / 2);
    p.setPen(
        QPen(QColor(0xFF, 0xFF, 0xFF, 0xC0), std::max(1.5, side / 8), Qt::SolidLine, Qt::RoundCap));
    for (int i = 0; i < 3; ++i) {
        const double y = origin.y() + side * (0.15 + 0.35 * i);
        p.drawLine(QPointF(origin.x(), y), QPointF(origin.x() + side, y));
    }
}

}  // namespace

QColor consoleColor(std::uint32_t bgr) {
    return QColor(static_cast<int>(bgr & 0xFF), static_cast<int>((bgr >> 8) & 0xFF),
                  static_cast<int>((bgr >> 16) & 0xFF));
}

void paintImageRole(QPainter& p, const QRectF& rect, ImageRole role) {
    if (rect.width() <= 0 || rect.height() <= 0) {
        return;
    }
    p.save();
    switch (role) {
        case ImageRole::Gray:
            paintLit(p, rect, QColor(0xEE, 0xEE, 0xEE), QColor(0xA8, 0xA8, 0xA8));
            break;
        case ImageRole::Blue:
            paintLit(p, rect, QColor(0xC8, 0xDC, 0xFF), QColor(0x50, 0x80, 0xE0));
            break;
        case ImageRole::Green:
            paintLit(p, rect, QColor(0xCC, 0xF5, 0xC8), QColor(0x48, 0xB0, 0x48));
            break;
        case ImageRole::Red:
            paintLit(p, rect, QColor(0xFF, 0xD0, 0xC8), QColor(0xD8, 0x48, 0x40));
            break;
        case ImageRole::Settings:
            paintLit(p, rect, QColor(0xF8, 0xE8, 0xC0), QColor(0xC8, 0x98, 0x40));
            break;
        case ImageRole::Plus:
            paintPlus(p, rect);
            break;
        case ImageRole::GYR:
        case ImageRole::GYRVolume:
            paintLevels(p, rect);
            break;
        case ImageRole::Rotation:
            paintRotation(p, rect);
            break;
        case ImageRole::Playlist:
            paintPlaylist(p, rect);
            break;
        case ImageRole::None:
            break;
    }
    p.restore();
}

}  // namespace tw::ui
