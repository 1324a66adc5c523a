#pragma once
// The Prompter answered by real dialogs: message boxes, file dialogs and the name dialog, each
// modal over the console window.
//
// Thread contract: console thread only (it opens widgets). Every call blocks in a nested event
// loop until the operator answers; timers and posted work keep running meanwhile.

#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <functional>

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
    // One dialog with the user and a masked password field.
    std::optional<core::LogIn> askLogIn(const std::string& caption, const std::string& explanation,
                                        const std::string& user) override;
    // The desktop's viewer when it takes the file, else a read-only window of our own showing
    // the file's last four mebibytes.
    void showFile(const std::string& path, const std::string& title) override;

    // What hands a file to the desktop (QDesktopServices::openUrl unless replaced); false when
    // the desktop has no program for it.
    using DesktopOpener = std::function<bool(const QUrl&)>;
    void setDesktopOpener(DesktopOpener opener) { openOnDesktop_ = std::move(opener); }
    // The window of our own that showFile opened last, if it is still open.
    QWidget* ownViewer() const { return ownViewer_.data(); }

  private:
    QPointer<QWidget> parent_;
    DesktopOpener openOnDesktop_;
    QPointer<QWidget> ownViewer_;
};

// The console's filter text ("Playlists (*.pls)|*.pls|All|*.*", description and pattern in
// turns, patterns separated by ";") as a Qt name filter ("Playlists (*.pls);;All (*.*)").
QString toQtNameFilter(const std::string& filter);

}  // namespace tw::ui
