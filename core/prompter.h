#pragma once
// Message boxes, confirmations, file dialogs and the modal name dialog. The Qt view answers with
// real dialogs; tests and the simulator answer from a script.
//
// Thread contract: console thread only.

#include <optional>
#include <string>
#include <vector>

namespace tw::core {

enum class MessageButtons { Ok, OkCancel, YesNo, YesNoCancel };
enum class MessageIcon { None, Critical, Question, Exclamation, Information };
enum class Answer { Ok = 1, Cancel = 2, Yes = 6, No = 7 };

// A user name and password the operator typed for a server's log-in.
struct LogIn {
    std::string user;
    std::string password;
};

struct FileDialog {
    std::string title;
    std::string folder;
    std::string filter;       // "(*.pls)|*.pls"
    std::string defaultName;  // offered name or default pattern
    bool multiSelect = false;
};

class Prompter {
  public:
    virtual ~Prompter() = default;
    virtual Answer messageBox(const std::string& text, const std::string& title,
                              MessageButtons buttons, MessageIcon icon) = 0;
    // Paths chosen, or nothing when the dialog was cancelled.
    virtual std::optional<std::vector<std::string>> openFiles(const FileDialog& dialog) = 0;
    virtual std::optional<std::string> saveFile(const FileDialog& dialog) = 0;
    // The modal name dialog: the text the operator entered, or nothing for Cancel. caption and
    // explanation are what the dialog shows; initial is the text box's first text.
    virtual std::optional<std::string> askName(const std::string& caption,
                                               const std::string& explanation,
                                               const std::string& initial) = 0;
    // A server's log-in: the user (offered as `user`) and a password typed in a field that shows
    // no characters; nothing for Cancel.
    virtual std::optional<LogIn> askLogIn(const std::string& caption,
                                          const std::string& explanation,
                                          const std::string& user) = 0;
    // Shows a text file (a log) to the operator: in the desktop's own viewer where there is one,
    // else in a window of the view's own. Returns at once; nothing waits for the viewer.
    virtual void showFile(const std::string& path, const std::string& title) = 0;
};

}  // namespace tw::core
