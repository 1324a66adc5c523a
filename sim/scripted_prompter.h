#pragma once
// A Prompter that answers from a queue, for the simulator and the tests. It keeps every prompt it
// was shown. With no answer queued, a message box takes its first button and a dialog is
// cancelled.

#include <deque>
#include <string>
#include <vector>

#include "core/prompter.h"

namespace tw::sim {

class ScriptedPrompter final : public core::Prompter {
  public:
    struct Shown {
        std::string kind;  // "message", "open", "save", "name", "login", "file"
        std::string text;
        std::string title;
        std::string answer;
    };

    // "ok", "cancel", "yes", "no" for message boxes; a path or name for dialogs; "<cancel>"
    // cancels a dialog.
    void queueAnswer(std::string answer) { answers_.push_back(std::move(answer)); }

    core::Answer messageBox(const std::string& text, const std::string& title,
                            core::MessageButtons buttons, core::MessageIcon icon) override;
    std::optional<std::vector<std::string>> openFiles(const core::FileDialog& dialog) override;
    std::optional<std::string> saveFile(const core::FileDialog& dialog) override;
    std::optional<std::string> askName(const std::string& caption, const std::string& explanation,
                                       const std::string& initial) override;
    // Takes two answers, the user and the password; the password is not kept in what was shown.
    std::optional<core::LogIn> askLogIn(const std::string& caption, const std::string& explanation,
                                        const std::string& user) override;
    // Kept as shown, with the path as its text.
    void showFile(const std::string& path, const std::string& title) override;

    const std::vector<Shown>& shown() const { return shown_; }
    std::size_t pendingAnswers() const { return answers_.size(); }

  private:
    bool take(std::string& answer);

    std::deque<std::string> answers_;
    std::vector<Shown> shown_;
};

}  // namespace tw::sim
