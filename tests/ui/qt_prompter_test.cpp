#include "ui/qt_prompter.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QInputDialog>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <fstream>
#include <functional>
#include <memory>
#include <string>

#include "desk/actions.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "tests/ui/window_snapshot.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

TEST(QtNameFilterTest, DescriptionShowingItsPatternIsKept) {
    EXPECT_EQ(toQtNameFilter("(*.pls)|*.pls").toStdString(), "(*.pls)");
}

TEST(QtNameFilterTest, PatternsAreAddedToAPlainDescription) {
    EXPECT_EQ(toQtNameFilter("Playlists|*.pls|All files|*.*").toStdString(),
              "Playlists (*.pls);;All files (*.*)");
}

TEST(QtNameFilterTest, SeveralPatternsAreSeparatedByBlanks) {
    EXPECT_EQ(toQtNameFilter("Sounds|*.mp3;*.wav").toStdString(), "Sounds (*.mp3 *.wav)");
}

TEST(QtNameFilterTest, EmptyDescriptionGivesThePatternsAlone) {
    EXPECT_EQ(toQtNameFilter("|*.rot").toStdString(), "(*.rot)");
}

TEST(QtNameFilterTest, EmptyOrUnpairedFilterGivesNoFilter) {
    EXPECT_EQ(toQtNameFilter("").toStdString(), "");
    EXPECT_EQ(toQtNameFilter("Playlists").toStdString(), "");
}

// Answers the next modal dialog as an operator would, once it is up.
template <typename Dialog>
void whenShown(QObject* context, std::function<void(Dialog&)> answer) {
    auto* poll = new QTimer(context);
    QObject::connect(poll, &QTimer::timeout, context, [poll, answer] {
        if (auto* d = qobject_cast<Dialog*>(QApplication::activeModalWidget())) {
            poll->stop();
            poll->deleteLater();
            answer(*d);
        }
    });
    poll->start(10);
}

class QtPrompterTest : public ::testing::Test {
  protected:
    test::QtApp qt;
    QObject context;
    QtPrompter prompter;
};

TEST_F(QtPrompterTest, MessageBoxShowsTitleTextIconAndGivesTheButtonPressed) {
    QString title, text;
    QMessageBox::Icon icon = QMessageBox::NoIcon;
    whenShown<QMessageBox>(&context, [&](QMessageBox& box) {
        title = box.windowTitle();
        text = box.text();
        icon = box.icon();
        box.button(QMessageBox::No)->click();
    });
    const core::Answer a =
        prompter.messageBox("Delete the rotation?", "Confirm", core::MessageButtons::YesNo,
                            core::MessageIcon::Question);
    EXPECT_EQ(a, core::Answer::No);
    EXPECT_EQ(title.toStdString(), "Confirm");
    EXPECT_EQ(text.toStdString(), "Delete the rotation?");
    EXPECT_EQ(icon, QMessageBox::Question);
}

TEST_F(QtPrompterTest, MessageBoxYesIsYes) {
    whenShown<QMessageBox>(&context,
                           [](QMessageBox& box) { box.button(QMessageBox::Yes)->click(); });
    EXPECT_EQ(prompter.messageBox("t", "T", core::MessageButtons::YesNoCancel,
                                  core::MessageIcon::Exclamation),
              core::Answer::Yes);
}

TEST_F(QtPrompterTest, MessageBoxClosedWithoutAButtonIsCancel) {
    whenShown<QMessageBox>(&context, [](QMessageBox& box) { box.reject(); });
    EXPECT_EQ(
        prompter.messageBox("t", "T", core::MessageButtons::OkCancel, core::MessageIcon::None),
        core::Answer::Cancel);
}

TEST_F(QtPrompterTest, NameDialogGivesTheTextEntered) {
    QString label, initial, button;
    whenShown<QInputDialog>(&context, [&](QInputDialog& d) {
        label = d.labelText();
        initial = d.textValue();
        button = d.okButtonText();
        d.setTextValue("Morning Drive");
        d.accept();
    });
    EXPECT_EQ(prompter.askName("New Rotation", "Name the rotation", "Untitled"), "Morning Drive");
    EXPECT_EQ(label.toStdString(), "Name the rotation");
    EXPECT_EQ(initial.toStdString(), "Untitled");
    EXPECT_EQ(button.toStdString(), "New Rotation") << "the create button bears the caption";
}

TEST_F(QtPrompterTest, NameDialogCancelledGivesNothing) {
    whenShown<QInputDialog>(&context, [](QInputDialog& d) { d.reject(); });
    EXPECT_FALSE(prompter.askName("New Rotation", "Name the rotation", "x").has_value());
}

TEST_F(QtPrompterTest, NameDialogsHintIsClearedByAClickInItsField) {
    QString afterClick;
    whenShown<QInputDialog>(&context, [&](QInputDialog& d) {
        auto* field = d.findChild<QLineEdit*>();
        ASSERT_NE(field, nullptr);
        QTest::mouseClick(field, Qt::LeftButton, {}, field->rect().center());
        afterClick = field->text();
        QTest::keyClicks(field, "Evening");
        QTest::mouseClick(field, Qt::LeftButton, {}, field->rect().center());
        QTest::keyClick(field, Qt::Key_Return);  // Return is the create button
    });
    EXPECT_EQ(prompter.askName("Create Rotation", "Name it", "Enter Name Here"), "Evening");
    EXPECT_EQ(afterClick, QString()) << "the hint goes with the first click";
}

TEST_F(QtPrompterTest, TheLogInAsksForTheUserAndAPasswordThatIsNeverShown) {
    QLineEdit::EchoMode userEcho = QLineEdit::Password, passwordEcho = QLineEdit::Normal;
    QString offered;
    whenShown<QDialog>(&context, [&](QDialog& d) {
        auto* user = d.findChild<QLineEdit*>("user");
        auto* password = d.findChild<QLineEdit*>("password");
        ASSERT_NE(user, nullptr);
        ASSERT_NE(password, nullptr);
        offered = user->text();
        userEcho = user->echoMode();
        passwordEcho = password->echoMode();
        user->setText("dj");
        QTest::keyClicks(password, "s3cret");
        QTest::keyClick(password, Qt::Key_Return);
    });
    const auto login =
        prompter.askLogIn("Kick and Connect", "The server asks for a log-in.", "admin");
    ASSERT_TRUE(login.has_value());
    EXPECT_EQ(login->user, "dj");
    EXPECT_EQ(login->password, "s3cret");
    EXPECT_EQ(offered, QString("admin"));
    EXPECT_EQ(userEcho, QLineEdit::Normal);
    EXPECT_EQ(passwordEcho, QLineEdit::Password);
}

TEST_F(QtPrompterTest, TheLogInCancelledGivesNothing) {
    whenShown<QDialog>(&context, [](QDialog& d) { d.reject(); });
    EXPECT_FALSE(prompter.askLogIn("Kick and Connect", "Log in", "admin").has_value());
}

TEST_F(QtPrompterTest, AFileTheDesktopTakesOpensThereAndNoWindowOfOurOwn) {
    QUrl asked;
    prompter.setDesktopOpener([&](const QUrl& url) {
        asked = url;
        return true;
    });
    prompter.showFile("/station/app.log", "app.log");
    EXPECT_EQ(asked.toLocalFile().toStdString(), "/station/app.log");
    EXPECT_EQ(prompter.ownViewer(), nullptr);
}

TEST_F(QtPrompterTest, WithoutADesktopViewerTheFileShowsInAReadOnlyWindowOfOurOwn) {
    test::TempDir dir;
    const auto log = dir / "Played.log";
    std::ofstream(log) << "first line\nlast line\n";
    prompter.setDesktopOpener([](const QUrl&) { return false; });
    prompter.showFile(log.string(), "Played.log");
    auto* viewer = qobject_cast<QPlainTextEdit*>(prompter.ownViewer());
    ASSERT_NE(viewer, nullptr);
    EXPECT_TRUE(viewer->isReadOnly());
    EXPECT_TRUE(viewer->isVisible());
    EXPECT_TRUE(viewer->windowTitle().startsWith("Played.log"));
    EXPECT_EQ(viewer->toPlainText().toStdString(), "first line\nlast line\n");
    // Closed, the window is freed when the event loop next runs: a viewer opened every day of a
    // long shift holds nothing after it is closed.
    viewer->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(prompter.ownViewer(), nullptr);
}

TEST_F(QtPrompterTest, AFileThatCannotBeReadSaysSoInTheWindow) {
    prompter.setDesktopOpener([](const QUrl&) { return false; });
    prompter.showFile("/no/such/folder/app.log", "app.log");
    auto* viewer = qobject_cast<QPlainTextEdit*>(prompter.ownViewer());
    ASSERT_NE(viewer, nullptr);
    EXPECT_TRUE(viewer->toPlainText().startsWith("This file cannot be read: "));
    viewer->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(prompter.ownViewer(), nullptr);
}

// The log viewer of our own as the operator opens it on a desktop with no program for logs: the
// settings window's button for the play log.
class LogViewerTest : public ::testing::Test {
  protected:
    LogViewerTest() {
        std::string log;
        for (int i = 0; i < 60; ++i) {
            log += "Artist " + std::to_string(i) + " - Title " + std::to_string(i) +
                   ",11/25/2024 " + std::to_string(1 + i / 6) + ":" +
                   std::to_string(10 + i % 6 * 8) + ":05 PM\n";
        }
        log +=
            "The Last Band - A Track With A Title Long Enough To Run Past The Window's Right "
            "Edge When It Is Shown Unwrapped,11/25/2024 11:58:05 PM\n";
        test::writeFile(dir / "Played.log", log);
        station = std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>());
        station->prompter().setDesktopOpener([](const QUrl&) { return false; });
    }
    // Whether the end of the log, where the cursor stands, is in sight.
    static bool endInSight(QPlainTextEdit& viewer) {
        return viewer.viewport()->rect().contains(viewer.cursorRect());
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(LogViewerTest, ShownAtItsSizeAndAtOneAndAHalfTimesWithTheEndOfTheLogInSight) {
    station->load();
    station->window().show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
    ASSERT_TRUE(desk::press(station->console(), "cmdProgramSettings"));
    ASSERT_TRUE(desk::press(station->console(), "frmAppSettings.cmdViewPlayedLog"));
    auto* viewer = qobject_cast<QPlainTextEdit*>(station->prompter().ownViewer());
    ASSERT_NE(viewer, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(viewer));
    EXPECT_TRUE(viewer->isVisible());
    EXPECT_TRUE(viewer->windowTitle().startsWith("Played.log - "));
    EXPECT_TRUE(viewer->toPlainText().endsWith("11/25/2024 11:58:05 PM\n"));

    const QSize size(760, 520);
    ASSERT_EQ(viewer->size(), size);
    EXPECT_TRUE(endInSight(*viewer));
    EXPECT_EQ(test::savePng(viewer->grab().toImage(), "log-viewer").size(), size);
    viewer->resize(size * 3 / 2);
    QCoreApplication::processEvents();
    ASSERT_EQ(viewer->size(), size * 3 / 2);
    EXPECT_TRUE(endInSight(*viewer));
    EXPECT_EQ(test::savePng(viewer->grab().toImage(), "log-viewer").size(), size * 3 / 2);
    viewer->close();
}

}  // namespace
}  // namespace tw::ui
