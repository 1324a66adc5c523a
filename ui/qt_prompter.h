#pragma once
// The Prompter answered by real dialogs: message boxes, file dialogs and the name dialog, each
// modal over the console window.
//
// Thread contract: console thread only (it opens widgets). Every call blocks in a nested event
// loop until the operator answers; timers and posted work keep running meanwhile.

#include <QPointer>
#include <QWidget>

#include "core/prompter.h"

namespace tw::ui {

class QtPrompter final : public core::Prompter {
  public:
    // The window the dialogs stand over; may be set later, or never (top-level dialogs).
    void setParentWindow(QWidget* parent) { parent_ = parent; }

    core::Answer messageBox(const std::string& text, const std::string& title,
                            core::MessageButtons buttons, core::MessageIcon icon) override;
    std::optional<std::vector<std::string>> openFiles(const core::FileDialog& dialog) override;
    std::optional<std::string> saveFile(const core::FileDialog& dialog) override;
    std::optional<std::string> askName(const std::string& caption, const std::string& explanation,
                                       const std::string& initial) override;

  private:
    QPointer<QWidget> parent_;
};

// The console's filter text ("Playlists (*.pls)|*.pls|All|*.*", description and pattern in
// turns, patterns separated by ";") as a Qt name filter ("Playlists (*.pls);;All (*.*)").
QString toQtNameFilter(const std::string& filter);

}  // namespace tw::ui
