#include "desk/size_form_controls.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string>

#include "core/console_ops.h"
#include "core/text.h"
#include "desk/console_layout.h"

namespace tw::desk {

namespace {

using core::Element;
using core::ElementKind;

bool hasFont(const Element& e) {
    switch (e.kind) {
        case ElementKind::Form:
        case ElementKind::Picture:
        case ElementKind::Slider:
        case ElementKind::Timer:
        case ElementKind::Menu:
            return false;
        default:
            return true;
    }
}

// A place value as the record keeps it: a whole number in the 16-bit range (a Failure if not).
double whole(double v) {
    return core::cInt(v);
}

}  // namespace

bool resizesWithWindow(const Element& e) {
    return e.kind != ElementKind::Form && e.kind != ElementKind::Timer &&
           e.kind != ElementKind::Menu;
}

clsSizeFormControls::clsSizeFormControls(core::Console& c, Record& record)
    : c_(c), record_(record) {}

void clsSizeFormControls::GetLocation(const std::vector<Element*>& frm) {
    record_.clear();
    for (const Element* e : frm) {
        try {
            const core::Rect r{whole(e->rect.left), whole(e->rect.top), whole(e->rect.width),
                               whole(e->rect.height)};
            record_.push_back({e->name, r, e->fontSize});
        } catch (const std::exception&) {
            // Not recordable: the control keeps whatever place it has.
        }
    }
}

double clsSizeFormControls::designWidth() const {
    return record_.empty() ? 0 : record_.front().rect.width;
}

double clsSizeFormControls::designHeight() const {
    return record_.empty() ? 0 : record_.front().rect.height;
}

const core::Console::SavedPlace* clsSizeFormControls::saved(const std::string& name) const {
    const auto it =
        std::find_if(record_.begin(), record_.end(),
                     [&](const core::Console::SavedPlace& p) { return p.name == name; });
    return it == record_.end() ? nullptr : &*it;
}

void clsSizeFormControls::ResizeControls(const std::vector<Element*>& frm) {
    if (frm.empty() || designWidth() <= 0 || designHeight() <= 0) {
        return;  // nothing recorded yet: there is no design to scale
    }
    xSize_ = frm.front()->rect.width / designWidth();
    ySize_ = frm.front()->rect.height / designHeight();
    applyFactors(frm);
}

void clsSizeFormControls::ResizeControlsToPercentage(const std::vector<Element*>& frm,
                                                     double percentage) {
    xSize_ = percentage / 100;
    ySize_ = percentage / 100;
    applyFactors(frm);
}

void clsSizeFormControls::SetFontSize(int points) {
    fixedFont_ = std::max(0, points);
}

void clsSizeFormControls::SetFontSizeNew(bool scaleWithWindow) {
    scaleFonts_ = scaleWithWindow;
}

void clsSizeFormControls::applyFactors(const std::vector<Element*>& frm) {
    for (Element* e : frm) {
        if (!resizesWithWindow(*e)) {
            continue;
        }
        const core::Console::SavedPlace* p = saved(e->name);
        if (!p) {
            continue;  // lost its saved values: keeps its place
        }
        try {
            // Every value is computed (and checked) before any is set, so a control that fails
            // keeps its whole place rather than half of a new one.
            core::Rect r = e->rect;
            r.left = whole(p->rect.left * xSize_);
            r.width = whole(p->rect.width * xSize_);
            if (e->kind != ElementKind::ComboBox) {
                r.height = whole(p->rect.height * ySize_);  // a combo box's height is its font's
            }
            r.top = whole(p->rect.top * ySize_);
            int font = e->fontSize;
            if (hasFont(*e)) {
                if (fixedFont_ > 0) {
                    font = fixedFont_;
                } else if (scaleFonts_) {
                    font = std::max(
                        1, static_cast<int>(core::cInt(p->fontSize * std::min(xSize_, ySize_))));
                } else {
                    font = p->fontSize;
                }
            }
            e->rect = r;
            e->fontSize = font;
        } catch (const std::exception&) {
            core::logError(c_, "error in resizeControls " + e->name);
        }
    }
}

void clsSizeFormControls::CenterForm(Element& frm, double screenWidth, double screenHeight) {
    frm.rect.left = (screenWidth - frm.rect.width) / 2;
    frm.rect.top = (screenHeight - frm.rect.height) / 2;
}

void clsSizeFormControls::ResizeForm(Element& frm, double x_size, double y_size, double screenWidth,
                                     double screenHeight) {
    frm.rect.width = screenWidth * x_size;
    frm.rect.height = screenHeight * y_size;
    CenterForm(frm, screenWidth, screenHeight);
}

void recordConsoleLayout(core::Console& c) {
    clsSizeFormControls(c, c.savedLayout).GetLocation(c.ui.main.all());
}

bool resizeConsole(core::Console& c, double widthPx, double heightPx) {
    auto& m = c.ui.main;
    clsSizeFormControls sizer(c, c.savedLayout);
    if (widthPx <= kDesignWidth || heightPx <= kDesignHeight) {
        // Never below the design. A window brought back to it from a larger one shows the
        // design layout again, rather than the larger one cut off at the window's edge.
        if (m.frmTarnDesk.rect.width == kDesignWidth &&
            m.frmTarnDesk.rect.height == kDesignHeight) {
            return false;
        }
        m.frmTarnDesk.rect.width = kDesignWidth;
        m.frmTarnDesk.rect.height = kDesignHeight;
        sizer.ResizeControlsToPercentage(m.all(), 100);
    } else {
        m.frmTarnDesk.rect.width = widthPx;
        m.frmTarnDesk.rect.height = heightPx;
        sizer.ResizeControls(m.all());
    }
    captionPass(c, true);
    c.playerBarWidth = std::round(m.pctPlayer1.scaleWidth());
    c.playerBarHeight = std::round(m.pctPlayer1.scaleHeight());
    c.formScale = static_cast<float>((m.pctPlayer1.scaleWidth() - 250) / 250 + 1);
    return true;
}

}  // namespace tw::desk
