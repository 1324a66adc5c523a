#pragma once
// Where an element of the surface is drawn, in window pixels, for the tests that press on it.

#include <QPoint>
#include <QRect>
#include <QRectF>

#include "core/surface.h"

namespace tw::ui {

inline QRect rectOf(const core::Element& e) {
    return QRectF(e.rect.left, e.rect.top, e.rect.width, e.rect.height).toRect();
}

inline QPoint centre(const core::Element& e) {
    return QPoint(static_cast<int>(e.rect.left + e.rect.width / 2),
                  static_cast<int>(e.rect.top + e.rect.height / 2));
}

}  // namespace tw::ui
