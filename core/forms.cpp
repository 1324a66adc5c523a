#include "core/forms.h"

#include <string>

namespace tw::core {

namespace {

std::string indexedName(const char* name, int index) {
    return std::string(name) + "(" + std::to_string(index) + ")";
}

}  // namespace

const char* imageRoleName(ImageRole r) {
    switch (r) {
        case ImageRole::None:
            return "";
        case ImageRole::Gray:
            return "imgGray";
        case ImageRole::Blue:
            return "imgBlue";
        case ImageRole::Green:
            return "imgGreen";
        case ImageRole::Red:
            return "imgRed";
        case ImageRole::Plus:
            return "imgPlus";
        case ImageRole::Settings:
            return "imgSettings";
        case ImageRole::GYR:
            return "imgGYR";
        case ImageRole::GYRVolume:
            return "imgGYRVolume";
        case ImageRole::Rotation:
            return "imgRotation";
        case ImageRole::Playlist:
            return "imgPlaylist";
    }
    return "";
}

const char* elementKindName(ElementKind k) {
    switch (k) {
        case ElementKind::Form:
            return "form";
        case ElementKind::Button:
            return "button";
        case ElementKind::PictureButton:
            return "pictureButton";
        case ElementKind::Label:
            return "label";
        case ElementKind::Picture:
            return "picture";
        case ElementKind::ListBox:
            return "list";
        case ElementKind::FileList:
            return "fileList";
        case ElementKind::DirList:
            return "dirList";
        case ElementKind::Grid:
            return "grid";
        case ElementKind::TextBox:
            return "textBox";
        case ElementKind::ComboBox:
            return "comboBox";
        case ElementKind::CheckBox:
            return "checkBox";
        case ElementKind::OptionButton:
            return "optionButton";
        case ElementKind::Slider:
            return "slider";
        case ElementKind::Frame:
            return "frame";
        case ElementKind::Timer:
            return "timer";
        case ElementKind::Menu:
            return "menu";
    }
    return "";
}

#define TW_INIT_NONE(elementName_, kind_)
#define TW_INIT_ARRAY(elementName_, kind_, first_, count_)               \
    for (int i = 0; i < (count_); ++i) {                                 \
        elementName_[i].name = indexedName(#elementName_, (first_) + i); \
        elementName_[i].kind = ElementKind::kind_;                       \
    }
#define TW_FIND_ONE(elementName_, kind_) \
    if (elementName == #elementName_) {  \
        return &elementName_;            \
    }
#define TW_FIND_ARRAY(elementName_, kind_, first_, count_) \
    for (auto& e : elementName_) {                         \
        if (elementName == e.name) {                       \
            return &e;                                     \
        }                                                  \
    }
#define TW_ALL_ONE(elementName_, kind_) out.push_back(&elementName_);
#define TW_ALL_ARRAY(elementName_, kind_, first_, count_) \
    for (auto& e : elementName_) {                        \
        out.push_back(&e);                                \
    }

#define TW_FORM_IMPL(Type, LIST)                                         \
    Type::Type(){LIST(TW_INIT_NONE, TW_INIT_ARRAY)} Element* Type::find( \
        std::string_view elementName) {                                  \
        LIST(TW_FIND_ONE, TW_FIND_ARRAY)                                 \
        return nullptr;                                                  \
    }                                                                    \
    std::vector<Element*> Type::all() {                                  \
        std::vector<Element*> out;                                       \
        LIST(TW_ALL_ONE, TW_ALL_ARRAY)                                   \
        return out;                                                      \
    }

TW_FORM_IMPL(MainForm, TW_MAIN_FORM_ELEMENTS)
TW_FORM_IMPL(StatusForm, TW_STATUS_FORM_ELEMENTS)
TW_FORM_IMPL(DialogForm, TW_DIALOG_FORM_ELEMENTS)
TW_FORM_IMPL(CastForm, TW_CAST_FORM_ELEMENTS)
TW_FORM_IMPL(SettingsForm, TW_SETTINGS_FORM_ELEMENTS)
TW_FORM_IMPL(ScheduleForm, TW_SCHEDULE_FORM_ELEMENTS)
TW_FORM_IMPL(StatisticsForm, TW_STATISTICS_FORM_ELEMENTS)

Element* Surface::find(std::string_view name) {
    auto dot = name.find('.');
    if (dot == std::string_view::npos) {
        return main.find(name);
    }
    std::string_view form = name.substr(0, dot);
    std::string_view element = name.substr(dot + 1);
    if (form == "frmTarnDesk")
        return main.find(element);
    if (form == "frmStatus")
        return status.find(element);
    if (form == "frmDialog")
        return dialog.find(element);
    if (form == "frmCast")
        return cast.find(element);
    if (form == "frmAppSettings")
        return settings.find(element);
    if (form == "frmSchedule")
        return schedule.find(element);
    if (form == "frmStatistics")
        return statistics.find(element);
    return nullptr;
}

}  // namespace tw::core
