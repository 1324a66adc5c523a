#pragma once
// Whether an element of a window is drawn whole: its texts measured in the console's face where
// the element painter puts them, and the window's pixels inside the element compared with what
// the element alone draws.

#include <QColor>
#include <QFontMetricsF>
#include <QImage>
#include <QPainter>
#include <QRectF>
#include <QString>
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "core/forms.h"
#include "ui/element_painter.h"

namespace tw::test {

inline QRectF placeOf(const core::Element& e) {
    return QRectF(e.rect.left, e.rect.top, e.rect.width, e.rect.height);
}

// Where a frame's caption stands: on its top edge, a little in from the left, in a white band.
inline QRectF frameCaptionPlace(const core::Element& frame) {
    const QFontMetricsF m(ui::consoleFont(frame.fontSize, frame.fontBold));
    return QRectF(frame.rect.left + 8, frame.rect.top - m.height() / 2,
                  m.horizontalAdvance(QString::fromStdString(frame.caption)) + 4, m.height());
}

// The texts of an element that do not fit where the painter draws them ("name: text"); empty
// when they all do. Text and combo boxes are measured with the text they hold now.
inline std::vector<std::string> clippedTexts(const core::Element& e) {
    using core::ElementKind;
    const QFontMetricsF m(ui::consoleFont(e.fontSize, e.fontBold));
    const QRectF r = placeOf(e);
    const QString caption = QString::fromStdString(e.caption);
    const QString text = QString::fromStdString(e.text);
    std::vector<std::string> clipped;
    auto unless = [&](bool fits, const std::string& what) {
        if (!fits) {
            clipped.push_back(e.name + ": " + what);
        }
    };
    switch (e.kind) {
        case ElementKind::Button:
            unless(r.contains(m.boundingRect(r.adjusted(2, 0, -2, 0),
                                             Qt::AlignCenter | Qt::TextWordWrap, caption)),
                   e.caption);
            break;
        case ElementKind::Label:
            unless(r.contains(
                       m.boundingRect(r, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, caption)),
                   e.caption);
            break;
        case ElementKind::CheckBox:
        case ElementKind::OptionButton: {
            // The box, four pixels, then the caption on one line.
            const double box = std::min(13.0, r.height());
            unless(
                1 + box + 4 + m.horizontalAdvance(caption) <= r.width() && m.height() <= r.height(),
                e.caption);
            break;
        }
        case ElementKind::TextBox:
            unless(3 + m.horizontalAdvance(text) + 3 <= r.width() && m.height() <= r.height(),
                   e.text);
            break;
        case ElementKind::ComboBox: {
            const double arrow = std::min(r.height(), 18.0);
            unless(
                3 + m.horizontalAdvance(text) + 2 + arrow <= r.width() && m.height() <= r.height(),
                e.text);
            break;
        }
        case ElementKind::Frame:
            unless(frameCaptionPlace(e).right() <= r.right(), e.caption);
            break;
        case ElementKind::PictureButton:
        case ElementKind::Picture:
            for (const core::PrintedText& t : e.drawing.texts) {
                const QFontMetricsF pm(ui::consoleFont(t.fontSize, t.bold));
                const QString line = QString::fromStdString(t.text);
                unless(t.x >= 0 && t.x + pm.horizontalAdvance(line) <= r.width() && t.y >= 0 &&
                           t.y + pm.height() <= r.height(),
                       t.text);
            }
            break;
        default:
            break;
    }
    return clipped;
}

// How many pixels inside the element (clear of its one-pixel edge) the window's picture shows
// otherwise than the element drawn alone on the window's back colour: anything else drawn over
// it, or anything of it missing. The picture may be a snapshot at any scale.
inline int pixelsNotItsOwn(const QImage& shown, const core::Element& e, const QColor& back) {
    const double scale = shown.devicePixelRatio();
    QImage alone(shown.size(), QImage::Format_ARGB32_Premultiplied);
    alone.setDevicePixelRatio(scale);
    alone.fill(back);
    {
        QPainter p(&alone);
        p.setRenderHint(QPainter::TextAntialiasing);
        ui::paintElement(p, e);
    }
    const QRectF r = placeOf(e);
    const int left = static_cast<int>(std::ceil(r.left() * scale)) + 1;
    const int top = static_cast<int>(std::ceil(r.top() * scale)) + 1;
    const int right = static_cast<int>(std::floor(r.right() * scale)) - 2;
    const int bottom = static_cast<int>(std::floor(r.bottom() * scale)) - 2;
    int differ = 0;
    for (int y = std::max(0, top); y <= std::min(bottom, shown.height() - 1); ++y) {
        for (int x = std::max(0, left); x <= std::min(right, shown.width() - 1); ++x) {
            differ += shown.pixel(x, y) != alone.pixel(x, y);
        }
    }
    return differ;
}

}  // namespace tw::test
