#pragma once
// The console surface as data. Every named element of the console's windows is a plain record here:
// captions, picture role, colours, tag, tool tip, visibility; lists and grids with their rows;
// pictures with what to draw. The logic reads and writes these records exactly where an operator's
// eye would look (the mode is the caption of cmdAutoManual; a player is paused while its button's
// back colour is 0x40). The Qt view draws them and forwards events; tests read them.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tw::core {

enum class ElementKind {
    Form,
    Button,         // a system button with a caption
    PictureButton,  // a picture painted by printOnButton
    Label,
    Picture,
    ListBox,
    FileList,
    DirList,
    Grid,
    TextBox,
    ComboBox,
    CheckBox,
    OptionButton,
    Slider,
    Frame,
    Timer,
    Menu,  // an entry of a menu the window pops up; never drawn on the form
};

// The pictures a button or bar is painted from.
// Rotation and Playlist are the pictures of the rotation and playlist lists, drawn over what lies
// under them.
enum class ImageRole {
    None,
    Gray,
    Blue,
    Green,
    Red,
    Plus,
    Settings,
    GYR,
    GYRVolume,
    Rotation,
    Playlist
};

const char* imageRoleName(ImageRole r);
const char* elementKindName(ElementKind k);

struct Rect {
    double left = 0, top = 0, width = 0, height = 0;

    bool operator==(const Rect&) const = default;
};

// A line of text printed on a picture, at its start position.
struct PrintedText {
    std::string text;
    double x = 0, y = 0;
    std::uint32_t color = 0;
    int fontSize = 0;
    bool bold = false;
};

// A filled area of a picture: from an image (stretched) or in a plain colour.
struct Fill {
    double x = 0, y = 0, width = 0, height = 0;
    ImageRole image = ImageRole::None;
    std::uint32_t color = 0;
};

// What a picture shows now. Cleared by the logic, then drawn again.
struct Drawing {
    std::vector<Fill> fills;
    std::vector<PrintedText> texts;
    void clear() {
        fills.clear();
        texts.clear();
    }
    bool empty() const { return fills.empty() && texts.empty(); }
};

struct ListItem {
    std::string text;
    int picture = 0;
    std::string tag;
    bool selected = false;
};

struct GridRow {
    std::vector<std::string> cells;
    bool checked = false;
    bool selected = false;
};

struct Element {
    Element() = default;
    Element(std::string elementName, ElementKind elementKind)
        : name(std::move(elementName)), kind(elementKind) {}

    std::string name;
    ElementKind kind = ElementKind::Label;

    std::string caption;   // caption, or the first line painted on a picture button
    std::string caption2;  // second painted line
    ImageRole image = ImageRole::None;
    std::uint32_t backColor = 0xFFFFFF;
    std::uint32_t foreColor = 0;
    std::string tag;
    std::string toolTip;
    bool visible = true;
    bool enabled = true;
    Rect rect;  // present place and size, in pixels; the inner size of a picture is its size
    std::string container;  // the frame it stands in, if any: hidden with it
    int fontSize = 8;
    bool fontBold = false;

    std::string text;         // text boxes, combo boxes
    std::string hiddenValue;  // the value a text box keeps beside its text
    int value = 0;            // check boxes (0/1), option buttons (0/1), sliders
    int minimum = 0, maximum = 0;

    // Lists: items and the selected one (-1 none). File and folder lists: folder and pattern.
    std::vector<ListItem> items;
    int listIndex = -1;
    std::string path;
    std::string pattern;

    // Grids.
    std::vector<std::string> columns;
    std::vector<GridRow> rows;
    int row = -1;  // the selected row, -1 none

    // Lists and grids: the first row shown (a list box's TopIndex). The window scrolls it with
    // the wheel and keeps a newly selected row in view.
    int topIndex = 0;

    Drawing drawing;  // pictures and painted buttons

    int interval = 0;  // timers, milliseconds; enabled says whether it runs

    // Inner size as the logic measures it.
    double scaleWidth() const { return rect.width; }
    double scaleHeight() const { return rect.height; }
    int listCount() const { return static_cast<int>(items.size()); }
    int rowCount() const { return static_cast<int>(rows.size()); }
};

}  // namespace tw::core
