// The "TarnWave Settings" window on the offscreen platform: opened from the console's Options
// button, its sliders dragged and stepped by the operator and written to appSettings.ini at once,
// the green box of a two-box field chosen by a click, the auto-trim box, the logs and the reset of
// the play history, the microphone lists, the loudness target chosen or typed, closed by its close
// box, and rendered to PNG at its design size and at 150 % with every element and text inside its
// place.

#include "ui/settings_window.h"
#include "tests/ui/element_geometry.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetricsF>
#include <QHelpEvent>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QSlider>
#include <QStyle>
#include <QStyleOptionSlider>
#include <QTest>
#include <QToolTip>
#include <QUrl>
#include <cmath>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "audio/null_engine.h"
#include "desk/actions.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

namespace fs = std::filesystem;
using core::Element;
using core::ElementKind;

// No audio, but two recording devices with two inputs each, so that the microphone lists have
// something to show.
class TwoMicrophones final : public audio::NullEngine {
  public:
    bool recordInit(int) override { return true; }
    bool recordSetDevice(int) override { return true; }
    bool recordGetDeviceInfo(int device, audio::RecordDeviceInfo& info) override {
        static const char* const kNames[] = {"Built-in Audio", "USB Headset"};
        if (device < 0 || device > 1) {
            return false;
        }
        info.name = kNames[device];
        info.enabled = true;
        return true;
    }
    std::string recordGetInputName(int input) override {
        return input == 0 ? "Microphone" : input == 1 ? "Line In" : "";
    }
};

// A trash that takes the file away, into a folder of the test's own.
class MovingTrash final : public core::Trash {
  public:
    explicit MovingTrash(fs::path folder) : folder_(std::move(folder)) {}
    bool moveToTrash(const std::string& path) override {
        std::error_code ec;
        fs::create_directories(folder_, ec);
        fs::rename(path, folder_ / fs::path(path).filename(), ec);
        return !ec;
    }

  private:
    fs::path folder_;
};

// A value of an INI file as it stands on the disk, "<none>" when the file or key is missing.
std::string iniValue(const fs::path& file, const std::string& section, const std::string& key) {
    std::istringstream in(test::readFile(file));
    std::string line;
    std::string current;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
            current = line.substr(1, line.size() - 2);
        } else if (current == section && line.rfind(key + "=", 0) == 0) {
            return line.substr(key.size() + 1);
        }
    }
    return "<none>";
}

// The frame each element of the form stands in.
const std::map<std::string, std::string>& frameOf() {
    static const std::map<std::string, std::string> frames = {
        {"txtCrossfadeSeconds(0)", "frmCrossFadeTime"},
        {"txtCrossfadeSeconds(1)", "frmCrossFadeTime"},
        {"sldCrossfadeSeconds", "frmCrossFadeTime"},
        {"lblPeriod", "frmCrossFadeTime"},
        {"txtSilenceSeconds(0)", "frmSilenceDetection"},
        {"txtSilenceSeconds(1)", "frmSilenceDetection"},
        {"sldrSilenceValue", "frmSilenceDetection"},
        {"txtArtistSeperation", "frmArtistSeperation"},
        {"sldrArtistSeperation", "frmArtistSeperation"},
        {"lblArtistSepperationText", "frmArtistSeperation"},
        {"chkEnableAutoTrim", "Frame1"},
        {"sldrTrimThreshold", "Frame1"},
        {"lblTrimThreshold", "Frame1"},
        {"cmdViewAppLog", "frmResetPlayeData"},
        {"cmdViewPlayedLog", "frmResetPlayeData"},
        {"cmdResetPlayed", "frmResetPlayeData"},
        {"cboMicDevice", "frmMicrophone"},
        {"cboMicInput", "frmMicrophone"},
        {"cboStudioOutput", "frmStudioOutput"},
        {"cmdRefreshMicList", "frmMicrophone"},
        {"cboLoudnessTarget", "frmLoudness"},
        {"lblLoudnessProgress", "frmLoudness"},
        {"cmdWriteReplayGain", "frmLoudness"},
        {"txtWebPort", "frmWebStatus"},
        {"txtWebAddress", "frmWebStatus"},
        {"txtWebToken", "frmWebStatus"},
        {"txtNowPlayingCommand", "frmWebStatus"},
        {"lblWebStatusUrl", "frmWebStatus"},
    };
    return frames;
}

// What is wrong with the places of the form's elements in a window of this size: outside the
// window, empty, outside their frame, a frame over a frame (its caption included) or an element
// over another. Empty when nothing is.
std::vector<std::string> layoutFaults(core::SettingsForm& f, const QSize& size) {
    std::vector<std::string> faults;
    const QRectF window(QPointF(0, 0), size);
    std::vector<const Element*> frames;
    std::vector<const Element*> controls;
    for (const Element* e : f.all()) {
        if (e->kind == ElementKind::Form) {
            continue;
        }
        const QRectF r(e->rect.left, e->rect.top, e->rect.width, e->rect.height);
        if (r.isEmpty()) {
            faults.push_back(e->name + " has no size");
        } else if (!window.contains(r)) {
            faults.push_back(e->name + " lies outside the window");
        }
        if (e->kind == ElementKind::Frame) {
            frames.push_back(e);
            continue;
        }
        controls.push_back(e);
        const auto frame = frameOf().find(e->name);
        if (frame == frameOf().end()) {
            faults.push_back(e->name + " stands in no frame");
        } else if (const Element* box = f.find(frame->second);
                   !QRectF(box->rect.left, box->rect.top, box->rect.width, box->rect.height)
                        .contains(r)) {
            faults.push_back(e->name + " lies outside " + frame->second);
        }
    }
    auto overlap = [&](const std::vector<const Element*>& list, double above) {
        for (std::size_t i = 0; i < list.size(); ++i) {
            for (std::size_t j = i + 1; j < list.size(); ++j) {
                const Element& a = *list[i];
                const Element& b = *list[j];
                const QRectF ra(a.rect.left, a.rect.top - above, a.rect.width,
                                a.rect.height + above);
                const QRectF rb(b.rect.left, b.rect.top - above, b.rect.width,
                                b.rect.height + above);
                if (ra.intersects(rb)) {
                    faults.push_back(a.name + " overlaps " + b.name);
                }
            }
        }
    };
    overlap(frames, 10);
    overlap(controls, 0);
    return faults;
}

// The texts that do not fit where they are drawn at a text scale: the model's captions and texts
// in their elements, the frames' captions on their frames, and the window's own texts.
std::vector<std::string> clippedTexts(core::SettingsForm& f, const SettingsWindow& window) {
    const double scale = window.textScale();
    auto fontOf = [&](int points) {
        return consoleFont(std::max(1, static_cast<int>(std::lround(points * scale))), false);
    };
    std::vector<std::string> clipped;
    for (const Element* e : f.all()) {
        const QFontMetricsF m(fontOf(e->fontSize));
        const QRectF r(e->rect.left, e->rect.top, e->rect.width, e->rect.height);
        const QString caption = QString::fromStdString(e->caption);
        const QString text = QString::fromStdString(e->text);
        bool fits = true;
        switch (e->kind) {
            case ElementKind::Frame:
                fits = m.horizontalAdvance(caption) + 24 <= r.width();
                break;
            case ElementKind::Button:
                fits = m.horizontalAdvance(caption) + 8 <= r.width() && m.height() <= r.height();
                break;
            case ElementKind::Label:
                fits = r.contains(
                    m.boundingRect(r, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, caption));
                break;
            case ElementKind::CheckBox:
                fits = 13 + 4 + 1 + m.horizontalAdvance(caption) <= r.width() &&
                       m.height() <= r.height();
                break;
            case ElementKind::TextBox:
                fits = m.horizontalAdvance(text) + 6 <= r.width() && m.height() <= r.height();
                break;
            case ElementKind::ComboBox:
                fits = m.horizontalAdvance(text) + 6 + 18 <= r.width() && m.height() <= r.height();
                break;
            default:
                break;
        }
        if (!fits) {
            clipped.push_back(e->name);
        }
    }
    const QFontMetricsF m(fontOf(8));
    for (const SettingsWindow::FixedText& t : window.fixedTexts()) {
        if (!t.rect.contains(m.boundingRect(t.rect, t.flags, t.text))) {
            clipped.push_back(t.text.toStdString());
        }
    }
    return clipped;
}

class SettingsWindowTest : public ::testing::Test {
  protected:
    SettingsWindowTest() {
        test::writeFile(dir / "appSettings.ini",
                        "[Crossfade]\r\ntime=1.5\r\n[Silence]\r\ntime=2.5\r\n"
                        "[ArtistSeperation]\r\nHours=0.5\r\n"
                        "[AutoTrim]\r\nEnabled=0\r\nThreshold=10\r\n");
        station = std::make_unique<QtStation>(dir.str(), std::make_unique<TwoMicrophones>(),
                                              std::make_unique<MovingTrash>(bin.path()));
    }
    core::Console& c() { return station->console(); }
    core::SettingsForm& form() { return c().ui.settings; }
    SettingsWindow& window() { return station->settingsWindow(); }
    std::string ini(const std::string& section, const std::string& key) {
        return iniValue(dir / "appSettings.ini", section, key);
    }

    // The console's Options button clicked, and the window up.
    void openSettings() {
        station->load();
        station->window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
        ASSERT_FALSE(window().isVisible());
        QTest::mouseClick(&station->window(), Qt::LeftButton, {},
                          centre(c().form().cmdProgramSettings));
        ASSERT_TRUE(form().frmAppSettings.visible);
        // The window notices the form on its own beat.
        ASSERT_TRUE(QTest::qWaitFor([this] { return window().isVisible(); }, 3000));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    }
    void click(const Element& e) { QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(e)); }
    // The line the console prints on its own window, "" for none.
    std::string messageLine() {
        const auto& texts = c().form().frmTarnDesk.drawing.texts;
        return texts.empty() ? std::string() : texts.front().text;
    }
    // A click in the text part of the loudness target's box, left of its arrow: the editor
    // opens over it.
    QLineEdit* clickIntoTarget() {
        const QRect box = rectOf(form().cboLoudnessTarget);
        QTest::mouseClick(&window(), Qt::LeftButton, {}, QPoint(box.left() + 8, box.center().y()));
        return window().openEditor();
    }
    // A press on the loudness target's arrow, and its list as it opened.
    QMenu* openTargetList() {
        const QRect box = rectOf(form().cboLoudnessTarget);
        QTest::mouseClick(&window(), Qt::LeftButton, {}, QPoint(box.right() - 5, box.center().y()));
        QMenu* list = window().openList();
        EXPECT_NE(list, nullptr);
        if (list) {
            EXPECT_TRUE(QTest::qWaitForWindowExposed(list));
        }
        return list;
    }
    QSlider& slider(const std::string& name) {
        QSlider* s = window().sliderFor(name);
        EXPECT_NE(s, nullptr) << name;
        return *s;
    }
    // The middle of a slider's handle when it stands at value, in the slider's own pixels.
    static QPoint handleAt(QSlider& s, int value) {
        QStyleOptionSlider opt;
        opt.initFrom(&s);
        opt.subControls = QStyle::SC_All;
        opt.orientation = s.orientation();
        opt.minimum = s.minimum();
        opt.maximum = s.maximum();
        opt.sliderPosition = value;
        opt.sliderValue = value;
        opt.singleStep = s.singleStep();
        opt.pageStep = s.pageStep();
        opt.tickPosition = s.tickPosition();
        opt.tickInterval = s.tickInterval();
        return s.style()
            ->subControlRect(QStyle::CC_Slider, &opt, QStyle::SC_SliderHandle, &s)
            .center();
    }
    // A hand that takes the handle and drags it to where the value stands, in small moves.
    static void drag(QSlider& s, int value) {
        const QPoint from = handleAt(s, s.value());
        const QPoint to = handleAt(s, value);
        QTest::mousePress(&s, Qt::LeftButton, {}, from);
        constexpr int kSteps = 10;
        for (int i = 1; i <= kSteps; ++i) {
            const QPoint at = from + (to - from) * i / kSteps;
            QMouseEvent move(QEvent::MouseMove, at, s.mapToGlobal(at), Qt::NoButton, Qt::LeftButton,
                             Qt::NoModifier);
            QApplication::sendEvent(&s, &move);
        }
        QTest::mouseRelease(&s, Qt::LeftButton, {}, to);
    }
    // The window as it is drawn now, saved to test-output/<name>.png and read back.
    QImage render(const std::string& name) {
        const fs::path folder = fs::path(test::binaryDir()) / "test-output";
        fs::create_directories(folder);
        const fs::path file = folder / (name + ".png");
        fs::remove(file);
        EXPECT_TRUE(window().grab().toImage().save(QString::fromStdString(file.string())));
        return QImage(QString::fromStdString(file.string()));
    }
    // A pixel inside a box, clear of its border and its text.
    static QPoint insideCorner(const Element& e) {
        return QPoint(static_cast<int>(e.rect.left) + 3, static_cast<int>(e.rect.top) + 3);
    }

    test::QtApp qt;
    test::TempDir dir;
    test::TempDir bin;
    std::unique_ptr<QtStation> station;
};

TEST_F(SettingsWindowTest, TheOptionsButtonOpensTheWindowWithItsCaptionAndFramesFilledIn) {
    openSettings();
    EXPECT_EQ(window().windowTitle(), QString("TarnWave Settings"));
    EXPECT_EQ(window().size(), SettingsWindow::designSize());
    auto& f = form();
    EXPECT_EQ(f.frmCrossFadeTime.caption, "CrossFade Time");
    EXPECT_EQ(f.frmSilenceDetection.caption, "Low Volume Detection");
    EXPECT_EQ(f.frmArtistSeperation.caption, "Set Artist Seperation");
    EXPECT_EQ(f.Frame1.caption, "Auto Track Trim / Auto NextStart");
    EXPECT_EQ(f.frmResetPlayeData.caption, "View/Reset Playlist Data");
    EXPECT_EQ(f.frmMicrophone.caption, "Select Microphone or Sound Input Card");
    EXPECT_EQ(f.frmLoudness.caption, "Loudness on the Air");
    EXPECT_EQ(f.cmdWriteReplayGain.caption, "Write ReplayGain Tags");
    EXPECT_EQ(f.cboLoudnessTarget.text, "Off");
    EXPECT_EQ(f.cboLoudnessTarget.listCount(), 5);
    EXPECT_EQ(f.lblLoudnessProgress.caption, "Loudness off");
    // Filled from the file, and the sliders stand where the console put them.
    EXPECT_EQ(f.txtCrossfadeSeconds[0].text, "1");
    EXPECT_EQ(f.txtCrossfadeSeconds[1].text, "5");
    EXPECT_EQ(f.txtSilenceSeconds[0].text, "2");
    EXPECT_EQ(slider("sldCrossfadeSeconds").value(), 1);
    EXPECT_EQ(slider("sldrSilenceValue").value(), 2);
    EXPECT_EQ(slider("sldrArtistSeperation").value(), 50);
    EXPECT_EQ(slider("sldrArtistSeperation").maximum(), 600);
    EXPECT_EQ(slider("sldrTrimThreshold").value(), 10);
    EXPECT_EQ(slider("sldrTrimThreshold").minimum(), 1);
    // Every frame's caption is drawn on its top edge: without it the edge looks otherwise.
    const QImage shown = window().grab().toImage();
    for (Element* frame : {&f.frmCrossFadeTime, &f.frmSilenceDetection, &f.frmArtistSeperation,
                           &f.Frame1, &f.frmResetPlayeData, &f.frmMicrophone, &f.frmStudioOutput,
                           &f.frmLoudness, &f.frmWebStatus}) {
        const std::string caption = frame->caption;
        const QRect edge(rectOf(*frame).left(), rectOf(*frame).top() - 8, rectOf(*frame).width(),
                         16);
        frame->caption.clear();
        const QImage without = window().grab().toImage();
        frame->caption = caption;
        EXPECT_NE(shown.copy(edge), without.copy(edge)) << frame->name;
    }
    // Opening wrote nothing: the file is as the test left it.
    EXPECT_EQ(ini("Loudness", "Target"), "<none>");
    EXPECT_EQ(ini("Crossfade", "time"), "1.5");
    EXPECT_EQ(ini("ArtistSeperation", "Hours"), "0.5");
    EXPECT_EQ(ini("AutoTrim", "Threshold"), "10");
}

TEST_F(SettingsWindowTest, DraggingTheCrossfadeSliderWithTheSecondsBoxGreenWritesTheTime) {
    openSettings();
    auto& f = form();
    click(f.txtCrossfadeSeconds[0]);
    EXPECT_EQ(f.txtCrossfadeSeconds[0].backColor, 0xFF00u);
    EXPECT_EQ(ini("Crossfade", "time"), "1.5") << "a click in a box writes nothing";

    drag(slider("sldCrossfadeSeconds"), 3);
    EXPECT_EQ(f.sldCrossfadeSeconds.value, 3);
    EXPECT_EQ(f.txtCrossfadeSeconds[0].text, "3");
    // The box after the point counts hundredths once the slider has moved.
    EXPECT_EQ(ini("Crossfade", "time"), "3.05");
    EXPECT_FLOAT_EQ(c().crossfadeTime, 3.05f);
    // The low-volume field is its own.
    EXPECT_EQ(ini("Silence", "time"), "2.5");

    // The box shows the new value.
    f.txtCrossfadeSeconds[0].text = "1";
    const QImage before = window().grab().toImage();
    f.txtCrossfadeSeconds[0].text = "3";
    EXPECT_NE(window().grab().toImage().copy(rectOf(f.txtCrossfadeSeconds[0])),
              before.copy(rectOf(f.txtCrossfadeSeconds[0])));
}

TEST_F(SettingsWindowTest, AClickInTheSecondBoxPaintsItGreenAndTheSliderThenDrivesIt) {
    openSettings();
    auto& f = form();
    const QImage white = window().grab().toImage();
    EXPECT_EQ(white.pixelColor(insideCorner(f.txtCrossfadeSeconds[1])), QColor(Qt::white));

    click(f.txtCrossfadeSeconds[1]);
    EXPECT_EQ(f.txtCrossfadeSeconds[1].backColor, 0xFF00u);
    EXPECT_EQ(f.txtCrossfadeSeconds[0].backColor, 0xFFFFFFu);
    EXPECT_EQ(f.sldCrossfadeSeconds.value, 5) << "the slider takes the box's value";
    const QImage green = window().grab().toImage();
    EXPECT_EQ(green.pixelColor(insideCorner(f.txtCrossfadeSeconds[1])), QColor(0, 0xFF, 0));
    EXPECT_EQ(green.pixelColor(insideCorner(f.txtCrossfadeSeconds[0])), QColor(Qt::white));
    // The window set its slider from the model without writing anything.
    EXPECT_EQ(slider("sldCrossfadeSeconds").value(), 5);
    EXPECT_EQ(ini("Crossfade", "time"), "1.5");

    // A step with the keyboard is the operator's too: the green box takes it.
    slider("sldCrossfadeSeconds").setFocus();
    QTest::keyClick(&slider("sldCrossfadeSeconds"), Qt::Key_Right);
    EXPECT_EQ(f.txtCrossfadeSeconds[1].text, "6");
    EXPECT_EQ(f.txtCrossfadeSeconds[0].text, "1");
    EXPECT_EQ(ini("Crossfade", "time"), "1.06");

    // The other field's boxes are their own.
    click(f.txtSilenceSeconds[0]);
    EXPECT_EQ(f.txtCrossfadeSeconds[1].backColor, 0xFF00u);
    EXPECT_EQ(window().grab().toImage().pixelColor(insideCorner(f.txtSilenceSeconds[0])),
              QColor(0, 0xFF, 0));
}

TEST_F(SettingsWindowTest, TheSeparationAndTrimSlidersWriteTheirSettingsAndTheTickBoxToggles) {
    openSettings();
    auto& f = form();
    // Six hundred values on a few hundred pixels: the hand lands within a step or two of 1.5 hours.
    drag(slider("sldrArtistSeperation"), 150);
    EXPECT_NEAR(f.sldrArtistSeperation.value, 150, 4);
    EXPECT_EQ(slider("sldrArtistSeperation").value(), f.sldrArtistSeperation.value);
    EXPECT_EQ(f.txtArtistSeperation.text, "1.5");
    EXPECT_EQ(ini("ArtistSeperation", "Hours"), "1.5");

    ASSERT_EQ(f.chkEnableAutoTrim.value, 0);
    const QImage unticked = window().grab().toImage();
    // A page step, as a click on the slider's groove right of the handle makes.
    slider("sldrTrimThreshold").triggerAction(QAbstractSlider::SliderPageStepAdd);
    EXPECT_EQ(f.sldrTrimThreshold.value, 15);
    EXPECT_EQ(f.lblTrimThreshold.caption, "-15db");
    EXPECT_EQ(ini("AutoTrim", "Threshold"), "15");
    EXPECT_EQ(f.chkEnableAutoTrim.value, 1) << "moving the threshold switches auto-trim on";
    EXPECT_EQ(ini("AutoTrim", "Enabled"), "1");
    const QImage ticked = window().grab().toImage();
    EXPECT_NE(ticked.copy(rectOf(f.chkEnableAutoTrim)), unticked.copy(rectOf(f.chkEnableAutoTrim)));
    EXPECT_NE(ticked.copy(rectOf(f.lblTrimThreshold)), unticked.copy(rectOf(f.lblTrimThreshold)));

    click(f.chkEnableAutoTrim);
    EXPECT_EQ(f.chkEnableAutoTrim.value, 0);
    EXPECT_EQ(ini("AutoTrim", "Enabled"), "0");
    EXPECT_EQ(c().autoTrim, "0");
    EXPECT_EQ(window().grab().toImage().copy(rectOf(f.chkEnableAutoTrim)),
              unticked.copy(rectOf(f.chkEnableAutoTrim)));
}

TEST_F(SettingsWindowTest, TheWebTokenNeverShowsOnTheScreenOnlyABulletForEachCharacter) {
    openSettings();
    auto& f = form();
    const QRect box = rectOf(f.txtWebToken);
    f.txtWebToken.text.clear();
    const QImage empty = window().grab().toImage().copy(box);
    f.txtWebToken.text = "abcd";
    const QImage one = window().grab().toImage().copy(box);
    f.txtWebToken.text = "WXYZ";
    const QImage other = window().grab().toImage().copy(box);
    EXPECT_NE(one, empty) << "the box shows that it holds a token";
    EXPECT_EQ(one, other) << "but not which";
    f.txtWebToken.text = "abc";
    EXPECT_NE(window().grab().toImage().copy(box), one) << "a bullet for each character";
    f.txtWebToken.text.clear();
}

TEST_F(SettingsWindowTest, AWebPortThatIsNoNumberGetsAMessageAndTheSavedOneShowsAgain) {
    openSettings();
    auto& f = form();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rectOf(f.txtWebPort).center());
    QLineEdit* edit = window().openEditor();
    ASSERT_NE(edit, nullptr);
    QTest::keyClicks(edit, "80a");
    QTest::keyClick(edit, Qt::Key_Return);
    EXPECT_EQ(f.txtWebPort.text, "");
    EXPECT_EQ(ini("WebStatus", "Port"), "<none>");
    EXPECT_EQ(messageLine(), "The web status port is a number from 1 to 65535, or empty for off");
}

TEST_F(SettingsWindowTest, APressLetGoOutsideTheButtonDoesNothing) {
    test::writeFile(dir / "played.ini", "[Queen - Bicycle]\r\nPlayCount=4\r\n");
    openSettings();
    const Element& reset = form().cmdResetPlayed;
    const QImage up = window().grab().toImage();
    QTest::mousePress(&window(), Qt::LeftButton, {}, centre(reset));
    EXPECT_NE(window().grab().toImage().copy(rectOf(reset)), up.copy(rectOf(reset)))
        << "the button looks pressed while it is held";
    QTest::mouseRelease(&window(), Qt::LeftButton, {}, rectOf(reset).bottomRight() + QPoint(8, 8));
    EXPECT_TRUE(fs::exists(dir / "played.ini"));
    EXPECT_EQ(window().grab().toImage().copy(rectOf(reset)), up.copy(rectOf(reset)));
}

TEST_F(SettingsWindowTest, ResetPlayTimesSendsThePlayHistoryToTheTrash) {
    test::writeFile(dir / "played.ini", "[Queen - Bicycle]\r\nPlayCount=4\r\nTunedOut=1\r\n");
    openSettings();
    click(form().cmdResetPlayed);
    EXPECT_FALSE(fs::exists(dir / "played.ini"));
    EXPECT_EQ(test::readFile(bin / "played.ini"),
              "[Queen - Bicycle]\r\nPlayCount=4\r\nTunedOut=1\r\n");
}

TEST_F(SettingsWindowTest, TheLogButtonsShowTheStationsLogs) {
    std::vector<QUrl> shown;
    station->prompter().setDesktopOpener([&shown](const QUrl& url) {
        shown.push_back(url);
        return true;
    });
    openSettings();
    click(form().cmdViewAppLog);
    click(form().cmdViewPlayedLog);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(fs::path(shown[0].toLocalFile().toStdString()), dir / "app.log");
    EXPECT_EQ(fs::path(shown[1].toLocalFile().toStdString()), dir / "Played.log");
}

TEST_F(SettingsWindowTest, AMicrophoneListOpensOnAPressAndTheChoiceIsSaved) {
    openSettings();
    auto& f = form();
    ASSERT_EQ(f.cboMicDevice.listCount(), 2);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(f.cboMicDevice));
    QMenu* list = window().openList();
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(list));
    ASSERT_EQ(list->actions().size(), 2);
    EXPECT_EQ(list->actions()[1]->text(), QString("USB Headset"));
    QTest::mouseClick(list, Qt::LeftButton, {}, list->actionGeometry(list->actions()[1]).center());
    EXPECT_EQ(f.cboMicDevice.listIndex, 1);
    EXPECT_EQ(f.cboMicDevice.text, "USB Headset");
    EXPECT_EQ(ini("Shoutcast", "ActiveMicDevice"), "USB Headset");
    EXPECT_TRUE(QTest::qWaitFor([this] { return window().openList() == nullptr; }, 1000));

    // The device's inputs are listed now; the choice of one is saved as well.
    ASSERT_EQ(f.cboMicInput.listCount(), 2);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(f.cboMicInput));
    list = window().openList();
    ASSERT_NE(list, nullptr);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(list));
    QTest::mouseClick(list, Qt::LeftButton, {}, list->actionGeometry(list->actions()[1]).center());
    EXPECT_EQ(ini("Shoutcast", "ActiveMicInput"), "Line In");
    EXPECT_EQ(f.cboMicInput.text, "Line In");

    // Refresh lists the devices anew and empties the inputs.
    click(f.cmdRefreshMicList);
    EXPECT_EQ(f.cboMicDevice.listCount(), 2);
    EXPECT_EQ(f.cboMicInput.listCount(), 0);
}

TEST_F(SettingsWindowTest, TheLoudnessTargetListOpensOnItsArrowAndTheChoiceIsWritten) {
    openSettings();
    auto& f = form();
    const QImage off = window().grab().toImage();
    QMenu* list = openTargetList();
    ASSERT_NE(list, nullptr);
    ASSERT_EQ(list->actions().size(), 5);
    EXPECT_EQ(list->actions()[0]->text(), QString("Off"));
    EXPECT_TRUE(list->actions()[0]->isChecked()) << "the target in force is ticked";
    EXPECT_EQ(list->actions()[3]->text(), QString("-16 LUFS"));
    EXPECT_EQ(window().openEditor(), nullptr) << "the arrow opens the list, not the editor";
    QTest::mouseClick(list, Qt::LeftButton, {}, list->actionGeometry(list->actions()[3]).center());
    EXPECT_EQ(ini("Loudness", "Target"), "-16");
    EXPECT_EQ(f.cboLoudnessTarget.text, "-16 LUFS");
    EXPECT_NE(f.lblLoudnessProgress.caption, "Loudness off");
    EXPECT_TRUE(QTest::qWaitFor([this] { return window().openList() == nullptr; }, 1000));
    // The box and the progress line show what changed.
    const QImage on = window().grab().toImage();
    EXPECT_NE(on.copy(rectOf(f.cboLoudnessTarget)), off.copy(rectOf(f.cboLoudnessTarget)));
    EXPECT_NE(on.copy(rectOf(f.lblLoudnessProgress)), off.copy(rectOf(f.lblLoudnessProgress)));

    // "Off" removes the key again.
    list = openTargetList();
    ASSERT_NE(list, nullptr);
    QTest::mouseClick(list, Qt::LeftButton, {}, list->actionGeometry(list->actions()[0]).center());
    EXPECT_EQ(ini("Loudness", "Target"), "<none>");
    EXPECT_EQ(f.lblLoudnessProgress.caption, "Loudness off");
}

TEST_F(SettingsWindowTest, ALevelTypedIntoTheTargetBoxIsTakenOnReturn) {
    openSettings();
    auto& f = form();
    QLineEdit* editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr) << "a click left of the arrow opens the editor";
    EXPECT_EQ(window().openList(), nullptr);
    EXPECT_TRUE(editor->isVisible());
    EXPECT_EQ(editor->text(), QString("Off"));
    EXPECT_EQ(editor->selectedText(), QString("Off")) << "typing replaces what the box shows";
    // The arrow stays free, a click away.
    EXPECT_LE(editor->geometry().right(), comboArrowPlace(f.cboLoudnessTarget).left());
    QTest::keyClicks(editor, "-19.5");
    EXPECT_EQ(f.cboLoudnessTarget.text, "-19.5") << "each keystroke is the box's text";
    EXPECT_EQ(ini("Loudness", "Target"), "<none>") << "nothing is taken before Return";
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_EQ(ini("Loudness", "Target"), "-19.5");
    EXPECT_EQ(f.cboLoudnessTarget.text, "-19.5 LUFS");
    EXPECT_EQ(window().openEditor(), nullptr) << "Return leaves the box";
    EXPECT_TRUE(window().isVisible());
}

TEST_F(SettingsWindowTest, ALevelOutOfRangeIsRefusedAndTheTargetShowsAgain) {
    openSettings();
    QLineEdit* editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "-3");
    QTest::keyClick(editor, Qt::Key_Return);
    EXPECT_EQ(ini("Loudness", "Target"), "<none>");
    EXPECT_EQ(form().cboLoudnessTarget.text, "Off");
    EXPECT_EQ(messageLine(), "The loudness target is a level between -40 and -5 LUFS, or Off");
}

TEST_F(SettingsWindowTest, TypingLeftWithoutReturnPutsBackTheTargetInForce) {
    openSettings();
    auto& f = form();
    ASSERT_TRUE(desk::select(c(), "frmAppSettings.cboLoudnessTarget", 2));
    ASSERT_EQ(f.cboLoudnessTarget.text, "-18 LUFS");
    // Escape leaves the box, and only the box: the window stays.
    QLineEdit* editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "-30");
    QTest::keyClick(editor, Qt::Key_Escape);
    EXPECT_EQ(window().openEditor(), nullptr);
    EXPECT_EQ(f.cboLoudnessTarget.text, "-18 LUFS");
    EXPECT_TRUE(window().isVisible());
    EXPECT_TRUE(f.frmAppSettings.visible);
    // A press on the arrow while typing: the list, and the typed text gone.
    editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "-30");
    QMenu* list = openTargetList();
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(window().openEditor(), nullptr);
    EXPECT_EQ(f.cboLoudnessTarget.text, "-18 LUFS");
    list->close();
    // A click elsewhere in the window.
    editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "-30");
    click(f.frmLoudness);
    EXPECT_EQ(window().openEditor(), nullptr);
    EXPECT_EQ(f.cboLoudnessTarget.text, "-18 LUFS");
    EXPECT_EQ(ini("Loudness", "Target"), "-18");
}

TEST_F(SettingsWindowTest, WriteReplayGainTagsWithoutATargetAsksForOne) {
    openSettings();
    const Element& button = form().cmdWriteReplayGain;
    const QImage up = window().grab().toImage();
    QTest::mousePress(&window(), Qt::LeftButton, {}, centre(button));
    EXPECT_NE(window().grab().toImage().copy(rectOf(button)), up.copy(rectOf(button)))
        << "the button looks pressed while it is held";
    EXPECT_EQ(messageLine(), "") << "it acts on the release";
    QTest::mouseRelease(&window(), Qt::LeftButton, {}, centre(button));
    EXPECT_EQ(messageLine(), "Choose a loudness target first: the files are measured then");
    EXPECT_EQ(c().replayGainJob, nullptr);
}

TEST_F(SettingsWindowTest, TheSlidersShowTheTipsTheConsoleGivesThem) {
    openSettings();
    for (const Element* e : {&form().sldCrossfadeSeconds, &form().sldrSilenceValue,
                             &form().sldrArtistSeperation, &form().sldrTrimThreshold}) {
        ASSERT_FALSE(e->toolTip.empty()) << e->name;
        QSlider& s = slider(e->name);
        const QPoint at = s.rect().center();
        QHelpEvent help(QEvent::ToolTip, at, s.mapToGlobal(at));
        QApplication::sendEvent(&s, &help);
        EXPECT_EQ(QToolTip::text(), QString::fromStdString(e->toolTip)) << e->name;
    }
    EXPECT_EQ(slider("sldCrossfadeSeconds").toolTip(),
              QString("Set Both Values to Zero to Disable Crossfading Detection"));
}

TEST_F(SettingsWindowTest, ClosingTheWindowHidesTheFormUntilOptionsIsPressedAgain) {
    openSettings();
    window().close();
    EXPECT_FALSE(form().frmAppSettings.visible);
    EXPECT_FALSE(window().isVisible());
    QTest::qWait(250);
    EXPECT_FALSE(window().isVisible()) << "it stays closed on the beat";
    ASSERT_TRUE(desk::press(c(), "cmdProgramSettings"));
    ASSERT_TRUE(QTest::qWaitFor([this] { return window().isVisible(); }, 3000));
    // Escape closes it as the close box does.
    QTest::keyClick(&window(), Qt::Key_Escape);
    EXPECT_FALSE(form().frmAppSettings.visible);
    EXPECT_FALSE(window().isVisible());
}

TEST_F(SettingsWindowTest, RenderedAtTheDesignSizeAndAtOneAndAHalfTimesNothingIsClipped) {
    openSettings();
    click(form().txtCrossfadeSeconds[0]);
    // The microphone lists show a choice, as they do on a station that has one.
    ASSERT_TRUE(desk::select(c(), "frmAppSettings.cboMicDevice", 1));
    ASSERT_TRUE(desk::select(c(), "frmAppSettings.cboMicInput", 0));
    ASSERT_EQ(form().cboMicDevice.text, "USB Headset");
    // The loudness box and its progress line at their longest: a typed level, a large station.
    form().cboLoudnessTarget.text = "-19.5 LUFS";
    form().lblLoudnessProgress.caption = "Measuring 1200 of 12000, 10800 known";
    window().follow();
    const QSize design = SettingsWindow::designSize();
    ASSERT_EQ(window().size(), design);
    for (const std::string& fault : layoutFaults(form(), design)) {
        ADD_FAILURE() << "at the design size: " << fault;
    }
    for (const std::string& text : clippedTexts(form(), window())) {
        ADD_FAILURE() << "at the design size, clipped: " << text;
    }
    const QImage small = render("settings-" + std::to_string(design.width()) + "x" +
                                std::to_string(design.height()));
    EXPECT_EQ(small.size(), design);

    const core::Rect frameAtDesign = form().frmMicrophone.rect;
    const QSize large = design * 3 / 2;
    window().resize(large);
    ASSERT_EQ(window().size(), large);
    EXPECT_DOUBLE_EQ(window().textScale(), 1.5);
    EXPECT_DOUBLE_EQ(form().frmMicrophone.rect.left, frameAtDesign.left * 1.5);
    EXPECT_DOUBLE_EQ(form().frmMicrophone.rect.width, frameAtDesign.width * 1.5);
    for (const std::string& fault : layoutFaults(form(), large)) {
        ADD_FAILURE() << "at 150 %: " << fault;
    }
    for (const std::string& text : clippedTexts(form(), window())) {
        ADD_FAILURE() << "at 150 %, clipped: " << text;
    }
    // The slider widgets moved with their elements.
    EXPECT_EQ(slider("sldrTrimThreshold").geometry(), rectOf(form().sldrTrimThreshold));
    const QImage big =
        render("settings-" + std::to_string(large.width()) + "x" + std::to_string(large.height()));
    EXPECT_EQ(big.size(), large);

    // The hands find the boxes where they are drawn now, the editor over the target's box too.
    click(form().txtCrossfadeSeconds[1]);
    EXPECT_EQ(form().txtCrossfadeSeconds[1].backColor, 0xFF00u);
    QLineEdit* editor = clickIntoTarget();
    ASSERT_NE(editor, nullptr);
    EXPECT_TRUE(rectOf(form().cboLoudnessTarget).contains(editor->geometry()));
    EXPECT_GT(editor->geometry().width(), rectOf(form().cboLoudnessTarget).width() / 2);
    EXPECT_EQ(editor->font().pixelSize(), consoleFont(12, false).pixelSize())
        << "the editor's text grows with the window";
    // The editor follows the box when the window changes size under it.
    window().resize(design);
    ASSERT_EQ(window().openEditor(), editor);
    EXPECT_TRUE(rectOf(form().cboLoudnessTarget).contains(editor->geometry()));
    EXPECT_EQ(editor->font().pixelSize(), consoleFont(8, false).pixelSize());
}

TEST_F(SettingsWindowTest, TheChecksFindAClippedCaptionAndAnElementOutsideItsFrame) {
    openSettings();
    ASSERT_TRUE(layoutFaults(form(), SettingsWindow::designSize()).empty());
    ASSERT_TRUE(clippedTexts(form(), window()).empty());
    form().cmdResetPlayed.caption = "Reset Every Play Time Of Every Track";
    EXPECT_EQ(clippedTexts(form(), window()), std::vector<std::string>{"cmdResetPlayed"});
    form().cmdResetPlayed.caption = "Reset Play Times";
    form().cboMicInput.rect.top += 24;
    EXPECT_EQ(layoutFaults(form(), SettingsWindow::designSize()),
              std::vector<std::string>{"cboMicInput lies outside frmMicrophone"});
}

}  // namespace
}  // namespace tw::ui
