#include "ui/element_fingerprint.h"

#include <functional>
#include <string_view>

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

}  // namespace

std::size_t elementFingerprint(const core::Element& e) {
    Mixer m;
    m << static_cast<int>(e.kind) << e.caption << e.caption2 << static_cast<int>(e.image)
      << e.backColor << e.foreColor << e.visible << e.enabled << e.rect.left << e.rect.top
      << e.rect.width << e.rect.height << e.container << e.fontSize << e.fontBold << e.text
      << e.value << e.minimum << e.maximum << e.listIndex << e.row;
    m << e.items.size();
    for (const auto& item : e.items) {
        m << item.text << item.selected;
    }
    m << e.columns.size();
    for (const auto& column : e.columns) {
        m << column;
    }
    m << e.rows.size();
    for (const auto& row : e.rows) {
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

}  // namespace tw::ui
