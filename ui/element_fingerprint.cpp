#include "ui/element_fingerprint.h"

#include <algorithm>
#include <functional>
#include <string_view>

#include "ui/element_painter.h"

namespace tw::ui {

namespace {

// Boost-style mixing: order matters, so "ab" + "c" and "a" + "bc" differ.
class Mixer {
  public:
    template <typename T>
    Mixer& operator<<(const T& v) {
        mix(std::hash<T>{}(v));
        return *this;
    }
    Mixer& operator<<(const std::string& s) {
        mix(std::hash<std::string_view>{}(s));
        mix(s.size());
        return *this;
    }
    std::size_t value() const { return h_; }

  private:
    void mix(std::size_t v) { h_ ^= v + 0x9e3779b97f4a7c15ULL + (h_ << 6) + (h_ >> 2); }
    std::size_t h_ = 0;
};

std::size_t fingerprint(const core::Element& e, std::size_t first, std::size_t end) {
    Mixer m;
    m << static_cast<int>(e.kind) << e.caption << e.caption2 << static_cast<int>(e.image)
      << e.backColor << e.foreColor << e.visible << e.enabled << e.rect.left << e.rect.top
      << e.rect.width << e.rect.height << e.container << e.fontSize << e.fontBold << e.text
      << e.value << e.minimum << e.maximum << e.listIndex << e.row << e.topIndex;
    m << e.items.size();
    for (std::size_t i = first; i < e.items.size() && i < end; ++i) {
        m << e.items[i].text << e.items[i].selected;
    }
    m << e.columns.size();
    for (const auto& column : e.columns) {
        m << column;
    }
    m << e.rows.size();
    for (std::size_t i = first; i < e.rows.size() && i < end; ++i) {
        const auto& row = e.rows[i];
        m << row.checked << row.selected << row.cells.size();
        for (const auto& cell : row.cells) {
            m << cell;
        }
    }
    m << e.drawing.fills.size();
    for (const auto& f : e.drawing.fills) {
        m << f.x << f.y << f.width << f.height << static_cast<int>(f.image) << f.color;
    }
    m << e.drawing.texts.size();
    for (const auto& t : e.drawing.texts) {
        m << t.text << t.x << t.y << t.color << t.fontSize << t.bold;
    }
    return m.value();
}

}  // namespace

std::size_t elementFingerprint(const core::Element& e) {
    return fingerprint(e, 0, std::max(e.items.size(), e.rows.size()));
}

std::size_t shownFingerprint(const core::Element& e) {
    if (!showsRows(e)) {
        return elementFingerprint(e);
    }
    // A partly shown row at the bottom is painted too.
    const auto first = static_cast<std::size_t>(topRow(e));
    return fingerprint(e, first, first + static_cast<std::size_t>(rowsShown(e)) + 1);
}

}  // namespace tw::ui
