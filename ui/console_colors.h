#pragma once
// The console's colours on Qt: its colour numbers (0x00BBGGRR, blue in the high byte) and the
// pictures behind each image role, which we draw ourselves as gradients.
//
// Thread contract: any thread (pure functions of their arguments).

#include <QColor>
#include <QPainter>
#include <QRectF>
#include <cstdint>

#include "core/surface.h"

namespace tw::ui {

// The frame round a list and the back of its selected rows, alike in every window.
inline const QColor kBorder(0x80, 0x80, 0x80);
inline const QColor kSelection(0x33, 0x66, 0xCC);

// A console colour number as a QColor.
QColor consoleColor(std::uint32_t bgr);

// Paints the picture of an image role stretched over rect, as a picture painted onto a button or
// bar would be: a lit gradient for the button roles, green to yellow to red from left to right for
// the level pictures. ImageRole::None paints nothing.
void paintImageRole(QPainter& p, const QRectF& rect, core::ImageRole role);

}  // namespace tw::ui
