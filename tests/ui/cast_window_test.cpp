// The "Shoutcast/Icecast Server Settings" window on the offscreen platform: opened from the
// console's button, drawn with its controls, edited and saved by the operator's hands.

#include "ui/cast_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QLineEdit>
#include <QTest>
#include <QToolTip>

#include "audio/null_engine.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

QPoint centre(const core::Element& e) {
    return QPoint(static_cast<int>(e.rect.left + e.rect.width / 2),
                  static_cast<int>(e.rect.top + e.rect.height / 2));
}

class CastWindowTest : public ::testing::Test {
  protected:
    CastWindowTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
    }
    core::Console& c() { return station->console(); }
    CastWindow& cast() { return station->castWindow(); }
    void openForm() {
        station->load();
        station->window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
        QTest::mouseClick(&station->window(), Qt::LeftButton, {}, centre(c().form().cmdSettings));
        cast().follow();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&cast()));
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(CastWindowTest, SettingsBroadcastOpensTheFormOnEncoderOneWithItsControls) {
    openForm();
    EXPECT_TRUE(cast().isVisible());
    EXPECT_EQ(cast().windowTitle(), QString("Shoutcast/Icecast Server Settings"));
    EXPECT_EQ(c().cast->selectedEncoder, 1);
    auto& f = c().ui.cast;
    // Every control that the profile shows has a place in the window and is found there.
    for (core::Element* e :
         {&f.cmboServerType, &f.txtServer, &f.txtPortNumber, &f.txtPassword, &f.txtName, &f.txtURL,
          &f.txtGenre, &f.txtDescription, &f.cmbBitrate, &f.chkReconnect, &f.chkPublic, &f.btnStart,
          &f.cmdSave, &f.Options[0], &f.Options[2], &f.cmdEncoders[11]}) {
        ASSERT_GT(e->rect.width, 0) << e->name;
        EXPECT_EQ(cast().elementAt(QPointF(centre(*e))), e) << e->name;
    }
    const QImage image = cast().grab().toImage();
    EXPECT_EQ(image.size(), QSize(560, 470));
}

TEST_F(CastWindowTest, TypingInAFieldMarksTheFormChangedAndSaveThenCloseHidesIt) {
    openForm();
    auto& f = c().ui.cast;
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.txtName));
    auto* editor = cast().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "Tarn FM");
    EXPECT_EQ(f.txtName.text, "Tarn FM");
    EXPECT_EQ(f.cmdSave.tag, "") << "the change turns Close into Save";
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.cmdSave));
    EXPECT_EQ(core::readIni(c(), c().appSettingsPath(), "Shoutcast", "Name", ""), "Tarn FM");
    EXPECT_TRUE(f.frmCast.visible);
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.cmdSave));
    EXPECT_FALSE(f.frmCast.visible);
    cast().follow();
    EXPECT_FALSE(cast().isVisible());
}

TEST_F(CastWindowTest, ThePasswordIsNeverShownOnTheScreen) {
    openForm();
    auto& f = c().ui.cast;
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.txtPassword));
    auto* editor = cast().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    EXPECT_EQ(editor->echoMode(), QLineEdit::Password);
    QTest::keyClicks(editor, "s3cret");
    EXPECT_EQ(f.txtPassword.text, "s3cret");
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.txtName));
    EXPECT_EQ(editor->echoMode(), QLineEdit::Normal);
    // Drawn: the password box shows bullets, as many as the characters, and no letters.
    const QImage shown = cast().grab().toImage();
    f.txtPassword.text = "";
    const QImage empty = cast().grab().toImage();
    const QRect box(
        static_cast<int>(f.txtPassword.rect.left), static_cast<int>(f.txtPassword.rect.top),
        static_cast<int>(f.txtPassword.rect.width), static_cast<int>(f.txtPassword.rect.height));
    EXPECT_NE(shown.copy(box), empty.copy(box)) << "something is drawn for the password";
    f.txtPassword.text = "iiiiii";
    EXPECT_EQ(cast().grab().toImage().copy(box), shown.copy(box))
        << "six characters look alike whatever they are";
}

TEST_F(CastWindowTest, AFieldsToolTipIsItsOwn) {
    openForm();
    const QPoint at = centre(c().ui.cast.txtPortNumber);
    QHelpEvent help(QEvent::ToolTip, at, cast().mapToGlobal(at));
    QApplication::sendEvent(&cast(), &help);
    EXPECT_EQ(QToolTip::text(), QString("Enter Port Number of your Streaming Service"));
}

TEST_F(CastWindowTest, TheCloseBoxClosesAsTheCloseButtonDoes) {
    openForm();
    cast().close();
    EXPECT_FALSE(c().ui.cast.frmCast.visible);
    EXPECT_FALSE(cast().isVisible());
}

}  // namespace
}  // namespace tw::ui
