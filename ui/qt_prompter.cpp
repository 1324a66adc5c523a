#include "ui/qt_prompter.h"

#include <QDesktopServices>
#include <QDialog>
#include <QDialogButtonBox>
#include <QFile>
#include <QFileDialog>
#include <QFontDatabase>
#include <QFormLayout>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QStringList>

namespace tw::ui {

namespace {

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

// The name dialog's field starts with a hint ("Enter Name Here") that a click in the field
// clears, so that the operator types his name on an empty line.
class ClearHintOnClick final : public QObject {
  public:
    ClearHintOnClick(QLineEdit& field, QString hint)
        : QObject(&field), field_(field), hint_(std::move(hint)) {}

  protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::MouseButtonPress && field_.text() == hint_) {
            field_.clear();
        }
        return false;
    }

  private:
    QLineEdit& field_;
    QString hint_;
};

QMessageBox::Icon toQtIcon(core::MessageIcon icon) {
    switch (icon) {
        case core::MessageIcon::Critical:
            return QMessageBox::Critical;
        case core::MessageIcon::Question:
            return QMessageBox::Question;
        case core::MessageIcon::Exclamation:
            return QMessageBox::Warning;
        case core::MessageIcon::Information:
            return QMessageBox::Information;
        case core::MessageIcon::None:
            break;
    }
    return QMessageBox::NoIcon;
}

QMessageBox::StandardButtons toQtButtons(core::MessageButtons buttons) {
    switch (buttons) {
        case core::MessageButtons::OkCancel:
            return QMessageBox::Ok | QMessageBox::Cancel;
        case core::MessageButtons::YesNo:
            return QMessageBox::Yes | QMessageBox::No;
        case core::MessageButtons::YesNoCancel:
            return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
        case core::MessageButtons::Ok:
            break;
    }
    return QMessageBox::Ok;
}

// The folder a dialog opens in, with the offered name when it is a name and not a pattern.
QString startPath(const core::FileDialog& dialog) {
    const bool isPattern = dialog.defaultName.find_first_of("*?") != std::string::npos;
    if (dialog.defaultName.empty() || isPattern) {
        return qs(dialog.folder);
    }
    if (dialog.folder.empty()) {
        return qs(dialog.defaultName);
    }
    return qs(dialog.folder + "/" + dialog.defaultName);
}

}  // namespace

QString toQtNameFilter(const std::string& filter) {
    const QStringList parts = qs(filter).split('|');
    QStringList filters;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        const QString description = parts[i].trimmed();
        QString patterns = parts[i + 1].trimmed();
        patterns.replace(';', ' ');
        // Qt reads the patterns from the last parentheses of each entry; a description that
        // already shows them is kept as it is.
        if (description.endsWith("(" + patterns + ")")) {
            filters << description;
        } else if (description.isEmpty()) {
            filters << "(" + patterns + ")";
        } else {
            filters << description + " (" + patterns + ")";
        }
    }
    return filters.join(";;");
}

core::Answer QtPrompter::messageBox(const std::string& text, const std::string& title,
                                    core::MessageButtons buttons, core::MessageIcon icon) {
    QMessageBox box(toQtIcon(icon), qs(title), qs(text), toQtButtons(buttons), parent_.data());
    switch (box.exec()) {
        case QMessageBox::Ok:
            return core::Answer::Ok;
        case QMessageBox::Yes:
            return core::Answer::Yes;
        case QMessageBox::No:
            return core::Answer::No;
        default:
            break;
    }
    // Closed with Escape or the window's close box: the safe answer of each set of buttons.
    switch (buttons) {
        case core::MessageButtons::Ok:
            return core::Answer::Ok;
        case core::MessageButtons::YesNo:
            return core::Answer::No;
        default:
            return core::Answer::Cancel;
    }
}

std::optional<std::vector<std::string>> QtPrompter::openFiles(const core::FileDialog& dialog) {
    const QString filter = toQtNameFilter(dialog.filter);
    QStringList chosen;
    if (dialog.multiSelect) {
        chosen = QFileDialog::getOpenFileNames(parent_.data(), qs(dialog.title), startPath(dialog),
                                               filter);
    } else {
        const QString one = QFileDialog::getOpenFileName(parent_.data(), qs(dialog.title),
                                                         startPath(dialog), filter);
        if (!one.isEmpty()) {
            chosen << one;
        }
    }
    if (chosen.isEmpty()) {
        return std::nullopt;
    }
    std::vector<std::string> paths;
    for (const QString& p : chosen) {
        paths.push_back(p.toStdString());
    }
    return paths;
}

std::optional<std::string> QtPrompter::saveFile(const core::FileDialog& dialog) {
    const QString chosen = QFileDialog::getSaveFileName(
        parent_.data(), qs(dialog.title), startPath(dialog), toQtNameFilter(dialog.filter));
    if (chosen.isEmpty()) {
        return std::nullopt;
    }
    return chosen.toStdString();
}

std::optional<std::string> QtPrompter::askName(const std::string& caption,
                                               const std::string& explanation,
                                               const std::string& initial) {
    // frmDialog: its create button carries the caption of the mode ("Save VoiceTrack").
    QInputDialog dialog(parent_.data());
    dialog.setWindowTitle(qs(caption));
    dialog.setLabelText(qs(explanation));
    dialog.setTextValue(qs(initial));
    dialog.setOkButtonText(qs(caption));
    dialog.setCancelButtonText(QStringLiteral("Cancel"));
    if (auto* field = dialog.findChild<QLineEdit*>()) {
        field->installEventFilter(new ClearHintOnClick(*field, qs(initial)));
    }
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return dialog.textValue().toStdString();
}

std::optional<core::LogIn> QtPrompter::askLogIn(const std::string& caption,
                                                const std::string& explanation,
                                                const std::string& user) {
    QDialog dialog(parent_.data());
    dialog.setWindowTitle(qs(caption));
    auto* form = new QFormLayout(&dialog);
    form->addRow(new QLabel(qs(explanation)));
    auto* userBox = new QLineEdit(qs(user));
    userBox->setObjectName(QStringLiteral("user"));
    auto* passwordBox = new QLineEdit;
    passwordBox->setObjectName(QStringLiteral("password"));
    // The password is never shown on the screen, not even while it is typed.
    passwordBox->setEchoMode(QLineEdit::Password);
    form->addRow(QStringLiteral("User:"), userBox);
    form->addRow(QStringLiteral("Password:"), passwordBox);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    form->addRow(buttons);
    passwordBox->setFocus();
    if (dialog.exec() != QDialog::Accepted) {
        return std::nullopt;
    }
    return core::LogIn{userBox->text().toStdString(), passwordBox->text().toStdString()};
}

void QtPrompter::showFile(const std::string& path, const std::string& title) {
    const QUrl url = QUrl::fromLocalFile(qs(path));
    const bool taken = openOnDesktop_ ? openOnDesktop_(url) : QDesktopServices::openUrl(url);
    if (taken) {
        return;
    }
    // A log of weeks on the air can be large: its end is what the operator looks for.
    constexpr qint64 kShownBytes = 4 << 20;
    QFile file(qs(path));
    QString text;
    if (file.open(QIODevice::ReadOnly)) {
        if (file.size() > kShownBytes) {
            file.seek(file.size() - kShownBytes);
        }
        text = QString::fromUtf8(file.readAll());
    } else {
        text = QStringLiteral("This file cannot be read: ") + file.errorString();
    }
    auto* viewer = new QPlainTextEdit(parent_.data());
    viewer->setWindowFlag(Qt::Window);
    viewer->setAttribute(Qt::WA_DeleteOnClose);
    viewer->setReadOnly(true);
    viewer->setLineWrapMode(QPlainTextEdit::NoWrap);
    viewer->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    viewer->setWindowTitle(qs(title) + QStringLiteral(" - ") + qs(path));
    viewer->setPlainText(text);
    viewer->moveCursor(QTextCursor::End);
    viewer->resize(760, 520);
    viewer->show();
    ownViewer_ = viewer;
}

}  // namespace tw::ui
