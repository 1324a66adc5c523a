// The console's layout as the window shows it: rendered to PNG at its design size and at 150 %,
// with every shown element inside the window and no two shown buttons on top of each other, on
// every panel.

#include <gtest/gtest.h>

#include <QFontMetricsF>
#include <QImage>
#include <QTest>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "audio/null_engine.h"
#include "core/console_ops.h"
#include "desk/console_layout.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"
#include "ui/visible_elements.h"

namespace tw::ui {
namespace {

using core::Element;
using core::ElementKind;

bool isButton(const Element& e) {
    return e.kind == ElementKind::Button || e.kind == ElementKind::PictureButton ||
           e.kind == ElementKind::CheckBox || e.kind == ElementKind::OptionButton;
}

bool overlap(const core::Rect& a, const core::Rect& b) {
    return a.left < b.left + b.width && b.left < a.left + a.width && a.top < b.top + b.height &&
           b.top < a.top + a.height;
}

// What is wrong with the layout the window shows now: elements reaching past the window, pairs
// of buttons that overlap. Empty when nothing is.
std::vector<std::string> layoutFaults(core::MainForm& form, double width, double height) {
    std::vector<std::string> faults;
    const std::vector<const Element*> drawn = drawnElements(form);
    for (const Element* e : drawn) {
        const core::Rect& r = e->rect;
        if (r.left < 0 || r.top < 0 || r.left + r.width > width || r.top + r.height > height) {
            faults.push_back(e->name + " lies outside the window");
        }
    }
    for (std::size_t i = 0; i < drawn.size(); ++i) {
        for (std::size_t j = i + 1; j < drawn.size(); ++j) {
            if (isButton(*drawn[i]) && isButton(*drawn[j]) &&
                overlap(drawn[i]->rect, drawn[j]->rect)) {
                faults.push_back(drawn[i]->name + " overlaps " + drawn[j]->name);
            }
        }
    }
    return faults;
}

class ConsoleLayoutRenderTest : public ::testing::Test {
  protected:
    ConsoleLayoutRenderTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
    }

    core::Console& c() { return station->console(); }
    SurfaceWidget& window() { return station->window(); }

    void loadAndShow() {
        station->load();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    }

    // Every state of the middle of the console: the three panels, and the track list with its
    // second detail frame.
    template <typename Check>
    void forEveryPanel(Check check) {
        for (int panel = 1; panel <= 3; ++panel) {
            desk::showPanel(c(), panel);
            check("panel " + std::to_string(panel));
        }
        desk::showPanel(c(), 1);
        c().form().frmNameTitleArtist.visible = false;
        c().form().frmMoreInfo.visible = true;
        check("track list with more info");
        c().form().frmMoreInfo.visible = false;
        c().form().frmNameTitleArtist.visible = true;
        desk::showPanel(c(), 2);
    }

    // Renders the window to test-output/<name>.png and reads it back.
    QImage renderTo(const std::string& name) {
        const std::filesystem::path folder =
            std::filesystem::path(test::binaryDir()) / "test-output";
        std::filesystem::create_directories(folder);
        const std::filesystem::path file = folder / (name + ".png");
        std::filesystem::remove(file);
        window().repaintChanges();
        const QImage image = window().grab().toImage();
        EXPECT_TRUE(image.save(QString::fromStdString(file.string())));
        return QImage(QString::fromStdString(file.string()));
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(ConsoleLayoutRenderTest, EveryElementShownHasAPlace) {
    loadAndShow();
    for (Element* e : c().form().all()) {
        if (e->kind == ElementKind::Form || e->kind == ElementKind::Timer || !e->visible) {
            continue;  // own flag only: what stands in a hidden panel shows with the panel
        }
        EXPECT_GT(e->rect.width, 0) << e->name;
        EXPECT_GT(e->rect.height, 0) << e->name;
    }
    // Including those hidden at load that the operator brings up.
    for (const char* name : {"lblShowData", "frmMoreInfo", "flSweepers", "cmboSweeperList",
                             "lblSweepStart", "txtSendText", "cmdSayIt", "optSamplerMode(2)"}) {
        const Element* e = c().form().find(name);
        ASSERT_NE(e, nullptr) << name;
        EXPECT_GT(e->rect.width * e->rect.height, 0) << name;
    }
}

TEST_F(ConsoleLayoutRenderTest, AtTheDesignSizeNothingIsOutsideAndNoButtonsOverlap) {
    loadAndShow();
    ASSERT_EQ(window().size(), QSize(896, 641));
    forEveryPanel([&](const std::string& state) {
        for (const std::string& fault : layoutFaults(c().form(), 896, 641)) {
            ADD_FAILURE() << state << ": " << fault;
        }
    });
    const QImage image = renderTo("console-896x641");
    EXPECT_EQ(image.size(), QSize(896, 641));
}

TEST_F(ConsoleLayoutRenderTest, AtOneAndAHalfTimesNothingIsOutsideAndNoButtonsOverlap) {
    loadAndShow();
    window().resize(1344, 962);
    ASSERT_EQ(window().size(), QSize(1344, 962));
    // The model follows the window: the places are scaled, not drawn scaled.
    EXPECT_DOUBLE_EQ(c().form().cmdSkipNow.rect.width, 180);
    EXPECT_DOUBLE_EQ(c().form().cmdSkipNow.rect.left, 12);
    forEveryPanel([&](const std::string& state) {
        for (const std::string& fault : layoutFaults(c().form(), 1344, 962)) {
            ADD_FAILURE() << state << ": " << fault;
        }
    });
    const QImage image = renderTo("console-1344x962");
    EXPECT_EQ(image.size(), QSize(1344, 962));
}

TEST_F(ConsoleLayoutRenderTest, TheFaultCheckFindsAButtonMovedOntoAnother) {
    loadAndShow();
    ASSERT_TRUE(layoutFaults(c().form(), 896, 641).empty());
    c().form().cmdMute.rect.left = c().form().cmdSkipNow.rect.left + 10;
    const auto faults = layoutFaults(c().form(), 896, 641);
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0], "cmdSkipNow overlaps cmdMute");
    c().form().cmdMute.rect.left = 880;
    EXPECT_EQ(layoutFaults(c().form(), 896, 641).front(), "cmdMute lies outside the window");
}

// Printed lines of the painted buttons that do not fit their button as the window draws them.
std::vector<std::string> clippedCaptions(core::MainForm& form) {
    std::vector<std::string> clipped;
    for (const Element* e : drawnElements(form)) {
        if (e->kind != ElementKind::PictureButton) {
            continue;
        }
        for (const core::PrintedText& t : e->drawing.texts) {
            const double width = QFontMetricsF(consoleFont(t.fontSize, t.bold))
                                     .horizontalAdvance(QString::fromStdString(t.text));
            if (t.x < 0 || t.x + width > e->rect.width) {
                clipped.push_back(e->name + " \"" + t.text + "\"");
            }
        }
    }
    return clipped;
}

TEST_F(ConsoleLayoutRenderTest, EveryPaintedCaptionFitsItsButton) {
    loadAndShow();
    for (QSize size : {QSize(896, 641), QSize(1344, 962)}) {
        window().resize(size);
        forEveryPanel([&](const std::string& state) {
            for (const std::string& caption : clippedCaptions(c().form())) {
                ADD_FAILURE() << size.width() << " wide, " << state << ": " << caption;
            }
        });
    }
    // The check sees a caption too long for its button.
    core::printOnButton(c().form().cmdMic, core::ImageRole::Gray, "A caption far too long for it");
    EXPECT_EQ(clippedCaptions(c().form()).size(), 1u);
}

}  // namespace
}  // namespace tw::ui
