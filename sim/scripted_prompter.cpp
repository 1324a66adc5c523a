#include "sim/scripted_prompter.h"

#include "core/text.h"

namespace tw::sim {

bool ScriptedPrompter::take(std::string& answer) {
    if (answers_.empty()) {
        return false;
    }
    answer = answers_.front();
    answers_.pop_front();
    return true;
}

core::Answer ScriptedPrompter::messageBox(const std::string& text, const std::string& title,
                                          core::MessageButtons buttons, core::MessageIcon) {
    std::string a;
    core::Answer result;
    if (!take(a)) {
        result =
            (buttons == core::MessageButtons::YesNo || buttons == core::MessageButtons::YesNoCancel)
                ? core::Answer::Yes
                : core::Answer::Ok;
    } else {
        const std::string l = core::toLower(core::trim(a));
        result = l == "cancel" ? core::Answer::Cancel
                 : l == "yes"  ? core::Answer::Yes
                 : l == "no"   ? core::Answer::No
                               : core::Answer::Ok;
    }
    const char* names[] = {"", "ok", "cancel", "", "", "", "yes", "no"};
    shown_.push_back({"message", text, title, names[static_cast<int>(result)]});
    return result;
}

std::optional<std::vector<std::string>> ScriptedPrompter::openFiles(
    const core::FileDialog& dialog) {
    std::string a;
    if (!take(a) || a == "<cancel>") {
        shown_.push_back({"open", dialog.folder, dialog.title, "<cancel>"});
        return std::nullopt;
    }
    shown_.push_back({"open", dialog.folder, dialog.title, a});
    return core::split(a, "|");
}

std::optional<std::string> ScriptedPrompter::saveFile(const core::FileDialog& dialog) {
    std::string a;
    if (!take(a) || a == "<cancel>") {
        shown_.push_back({"save", dialog.folder, dialog.title, "<cancel>"});
        return std::nullopt;
    }
    shown_.push_back({"save", dialog.folder, dialog.title, a});
    return a;
}

std::optional<std::string> ScriptedPrompter::askName(const std::string& caption,
                                                     const std::string& explanation,
                                                     const std::string& initial) {
    (void)initial;
    std::string a;
    if (!take(a) || a == "<cancel>") {
        shown_.push_back({"name", explanation, caption, "<cancel>"});
        return std::nullopt;
    }
    shown_.push_back({"name", explanation, caption, a});
    return a;
}

std::optional<core::LogIn> ScriptedPrompter::askLogIn(const std::string& caption,
                                                      const std::string& explanation,
                                                      const std::string& user) {
    (void)user;
    core::LogIn given;
    if (!take(given.user) || given.user == "<cancel>" || !take(given.password) ||
        given.password == "<cancel>") {
        shown_.push_back({"login", explanation, caption, "<cancel>"});
        return std::nullopt;
    }
    shown_.push_back({"login", explanation, caption, given.user});
    return given;
}

void ScriptedPrompter::showFile(const std::string& path, const std::string& title) {
    shown_.push_back({"file", path, title, ""});
}

}  // namespace tw::sim
