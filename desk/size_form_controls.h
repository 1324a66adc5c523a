#pragma once
// The scaling of a window's controls with the window: clsSizeFormControls records the design
// places (GetLocation, once, at load) and applies the window's present size to every control
// (ResizeControls). resizeConsole is the console's own resize rule on top of it.
//
// Sizes are pixels. The design of the console is 896 x 641; it never shrinks below that.
//
// Thread contract: console thread only.

#include <vector>

#include "core/console.h"

namespace tw::desk {

class clsSizeFormControls {
  public:
    using Record = std::vector<core::Console::SavedPlace>;

    // Works on the record it is given (the console keeps its own in Console::savedLayout) and
    // writes its failures to c's log. Both must outlive the object.
    clsSizeFormControls(core::Console& c, Record& record);

    // A window is its element list with the window itself first (MainForm::all() order).
    // Stores the window's size and every control's left, top, width, height (whole pixels, in
    // the 16-bit range) and font size. A control whose values do not fit is left out of the
    // record: it keeps its place on every resize.
    void GetLocation(const std::vector<core::Element*>& frm);
    // x_size and y_size from the window's present inner size against the design's, then every
    // control is placed at its saved values times those factors.
    void ResizeControls(const std::vector<core::Element*>& frm);
    // The same with percentage / 100 in place of both measured factors.
    void ResizeControlsToPercentage(const std::vector<core::Element*>& frm, double percentage);

    // The font size the resize pass gives every control that has a font: points > 0 a fixed
    // size, 0 (the start) the rule of SetFontSizeNew.
    void SetFontSize(int points);
    // With true (the start) a control's font is its saved size times the smaller factor,
    // rounded, at least 1; with false fonts keep their saved size.
    void SetFontSizeNew(bool scaleWithWindow);

    // Puts the window in the middle of a screen of the given size.
    static void CenterForm(core::Element& frm, double screenWidth, double screenHeight);
    // Makes the window the given share (0..1) of the screen, then centres it.
    static void ResizeForm(core::Element& frm, double x_size, double y_size, double screenWidth,
                           double screenHeight);

    double x_size() const { return xSize_; }
    double y_size() const { return ySize_; }
    // The window's design size as recorded by GetLocation (0 before).
    double designWidth() const;
    double designHeight() const;

  private:
    void applyFactors(const std::vector<core::Element*>& frm);
    const core::Console::SavedPlace* saved(const std::string& name) const;

    core::Console& c_;
    Record& record_;
    double xSize_ = 1, ySize_ = 1;
    int fixedFont_ = 0;
    bool scaleFonts_ = true;
};

// Controls the resize pass leaves alone: the window itself and those without a tab stop
// (timers).
bool resizesWithWindow(const core::Element& e);

// Records the console's design layout in c.savedLayout (Form_Load calls it once).
void recordConsoleLayout(core::Console& c);

// The console's resize rule for a window of the given inner size. A window not larger than the
// design in both directions changes nothing (false). Otherwise the controls follow the window,
// the caption pass repaints the buttons at their new sizes (with no folder reread), the player
// bar's reference size becomes pctPlayer1's inner size and formScale follows its width.
bool resizeConsole(core::Console& c, double widthPx, double heightPx);

}  // namespace tw::desk
