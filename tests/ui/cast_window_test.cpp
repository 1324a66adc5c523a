// The "Shoutcast/Icecast Server Settings" window on the offscreen platform: opened from the
// console's button, drawn with its controls, edited and saved by the operator's hands, and
// rendered to PNG at its size and at 150 % with every element and text inside its place.

#include "ui/cast_window.h"
#include "tests/ui/element_geometry.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QHelpEvent>
#include <QLineEdit>
#include <QTest>
#include <QToolTip>
#include <string>
#include <vector>

#include "audio/null_engine.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/element_fit.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "tests/ui/window_snapshot.h"
#include "ui/console_colors.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

using core::Element;
using core::ElementKind;

// What is wrong with the places of the form's shown elements in a window of this size: outside
// it, empty, on top of one another, across the edge of the server frame or under its caption.
// Empty when nothing is.
std::vector<std::string> layoutFaults(core::CastForm& f, const QSize& size) {
    const QRectF window(QPointF(0, 0), size);
    std::vector<std::string> faults;
    std::vector<const Element*> controls;
    for (const Element* e : f.all()) {
        if (e->kind == ElementKind::Form || !e->visible) {
            continue;
        }
        const QRectF r = test::placeOf(*e);
        if (r.isEmpty()) {
            faults.push_back(e->name + " has no size");
        } else if (!window.contains(r)) {
            faults.push_back(e->name + " lies outside the window");
        }
        if (e->kind != ElementKind::Frame) {
            controls.push_back(e);
        }
    }
    const QRectF frame = test::placeOf(f.frameServer);
    const QRectF caption = test::frameCaptionPlace(f.frameServer);
    if (!window.contains(caption)) {
        faults.push_back("the caption of frameServer lies outside the window");
    }
    for (std::size_t i = 0; i < controls.size(); ++i) {
        const Element& a = *controls[i];
        const QRectF r = test::placeOf(a);
        if (r.intersects(frame) && !frame.adjusted(1, 1, -1, -1).contains(r)) {
            faults.push_back(a.name + " crosses the edge of frameServer");
        }
        if (r.intersects(caption)) {
            faults.push_back(a.name + " lies under the caption of frameServer");
        }
        for (std::size_t j = i + 1; j < controls.size(); ++j) {
            if (r.intersects(test::placeOf(*controls[j]))) {
                faults.push_back(a.name + " overlaps " + controls[j]->name);
            }
        }
    }
    return faults;
}

// The texts of the form's shown elements that do not fit their places.
std::vector<std::string> clippedTexts(core::CastForm& f) {
    std::vector<std::string> clipped;
    for (const Element* e : f.all()) {
        if (e->kind != ElementKind::Form && e->visible) {
            for (std::string& text : test::clippedTexts(*e)) {
                clipped.push_back(std::move(text));
            }
        }
    }
    return clipped;
}

// The element as the window draws it: the password as one bullet a character.
Element asDrawn(const core::CastForm& f, const Element& e) {
    Element drawn = e;
    if (&e == &f.txtPassword) {
        drawn.text.clear();
        for (qsizetype i = 0; i < QString::fromStdString(e.text).size(); ++i) {
            drawn.text += "\u2022";
        }
    }
    return drawn;
}

// The shown elements, frames aside, on which a snapshot of the window shows anything but what
// the element alone draws: something else over it, the fixed labels included.
std::vector<std::string> coveredElements(core::CastForm& f, const QImage& shown) {
    std::vector<std::string> covered;
    const QColor back = ui::consoleColor(f.frmCast.backColor);
    for (const Element* e : f.all()) {
        if (e->kind != ElementKind::Form && e->kind != ElementKind::Frame && e->visible &&
            test::pixelsNotItsOwn(shown, asDrawn(f, *e), back) > 0) {
            covered.push_back(e->name);
        }
    }
    return covered;
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
    EXPECT_EQ(editor->text().toStdString(), f.txtName.text);
    // Closed, the editor keeps nothing of it either.
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, centre(f.txtPassword));
    EXPECT_EQ(editor->echoMode(), QLineEdit::Password);
    EXPECT_EQ(editor->text(), QString("s3cret"));
    QTest::mouseClick(&cast(), Qt::LeftButton, {}, QPoint(3, 3));  // the window's background
    EXPECT_TRUE(editor->isHidden());
    for (const QLineEdit* line : cast().findChildren<QLineEdit*>()) {
        EXPECT_NE(line->text(), QString("s3cret")) << "a hidden editor holds the password";
    }
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

TEST_F(CastWindowTest, RenderedAtTheDesignSizeAndAtOneAndAHalfTimesNothingIsClipped) {
    openForm();
    auto& f = c().ui.cast;
    // Encoder 2, whose switch is shown, on every type of server, each showing its own fields.
    ASSERT_TRUE(desk::press(c(), "frmCast.cmdEncoders(1)"));
    ASSERT_TRUE(f.chkEnableEncoder.visible);
    const QSize design(560, 470);
    for (int type = 0; type < f.cmboServerType.listCount(); ++type) {
        ASSERT_TRUE(desk::select(c(), "frmCast.cmboServerType", type));
        cast().follow();
        ASSERT_EQ(cast().size(), design);
        const std::string state = f.cmboServerType.text;
        for (const std::string& fault : layoutFaults(f, design)) {
            ADD_FAILURE() << state << ": " << fault;
        }
        for (const std::string& text : clippedTexts(f)) {
            ADD_FAILURE() << state << ", clipped: " << text;
        }
        for (const std::string& name : coveredElements(f, test::snapshot(cast(), 1))) {
            ADD_FAILURE() << state << ": something is drawn over " << name;
        }
    }

    // Filled in as a station fills it in, with the station ID and the kick button shown.
    ASSERT_TRUE(desk::select(c(), "frmCast.cmboServerType", 2));
    ASSERT_TRUE(f.txtStationID.visible);
    ASSERT_TRUE(f.cmdKickSource.visible);
    for (const auto& [name, text] : std::vector<std::pair<std::string, std::string>>{
             {"txtServer", "stream.tarnvalleyradio.example.org"},
             {"txtPortNumber", "8000"},
             {"txtStationID", "1"},
             {"txtPassword", "hackme-2024"},
             {"txtName", "Tarn Valley Radio"},
             {"txtURL", "https://www.tarnvalleyradio.example.org"},
             {"txtGenre", "Pop Rock Oldies"},
             {"txtDescription", "Music and talk from the valley, around the clock"}}) {
        ASSERT_TRUE(desk::type(c(), "frmCast." + name, text));
    }
    ASSERT_TRUE(desk::select(c(), "frmCast.cmbBitrate", 8));
    ASSERT_TRUE(desk::press(c(), "frmCast.chkReconnect"));
    cast().follow();
    ASSERT_EQ(f.cmbBitrate.text, "128");
    for (const std::string& fault : layoutFaults(f, design)) {
        ADD_FAILURE() << "filled in: " << fault;
    }
    for (const std::string& text : clippedTexts(f)) {
        ADD_FAILURE() << "filled in, clipped: " << text;
    }
    const QColor back = ui::consoleColor(f.frmCast.backColor);
    for (const double scale : {1.0, 1.5}) {
        const QImage shown = test::snapshot(cast(), scale);
        ASSERT_EQ(shown.size(), design * scale);
        for (const std::string& name : coveredElements(f, shown)) {
            ADD_FAILURE() << "at " << scale * 100 << " %: something is drawn over " << name;
        }
        // Nothing runs into the window's edge, the fixed labels included.
        EXPECT_EQ(test::inkOnTheEdge(shown, static_cast<int>(4 * scale), back), 0)
            << "at " << scale * 100 << " %";
        EXPECT_EQ(test::savePng(shown, "cast").size(), design * scale);
    }
}

TEST_F(CastWindowTest, TheChecksFindAFieldUnderALabelAndACaptionTooLongForItsButton) {
    openForm();
    auto& f = c().ui.cast;
    ASSERT_TRUE(desk::select(c(), "frmCast.cmboServerType", 2));
    cast().follow();
    const QSize design(560, 470);
    ASSERT_TRUE(layoutFaults(f, design).empty());
    ASSERT_TRUE(clippedTexts(f).empty());
    ASSERT_TRUE(coveredElements(f, test::snapshot(cast(), 1)).empty());

    f.btnStart.caption = "Start Streaming To Every Listener Of The Station";
    EXPECT_EQ(clippedTexts(f), std::vector<std::string>{"btnStart: " + f.btnStart.caption});
    f.btnStart.caption = "Start";
    // The port box moved left under its fixed label "Port Number:".
    f.txtPortNumber.rect.left = 30;
    EXPECT_EQ(coveredElements(f, test::snapshot(cast(), 1.5)),
              std::vector<std::string>{"txtPortNumber"});
    f.txtPortNumber.rect.left = 160;
    EXPECT_EQ(layoutFaults(f, design), std::vector<std::string>{"txtPortNumber overlaps lblSid"});
    f.txtPortNumber.rect.left = 120;
    f.cmdSave.rect.top = 450;
    EXPECT_EQ(layoutFaults(f, design), std::vector<std::string>{"cmdSave lies outside the window"});
}

}  // namespace
}  // namespace tw::ui
