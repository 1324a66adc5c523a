#include "tests/ui/gesture_bench.h"

#include <sys/stat.h>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QInputDialog>
#include <QLineEdit>
#include <QMenu>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QSlider>
#include <QStyle>
#include <QTest>
#include <QTimer>
#include <QUrl>

#include <fstream>
#include <sstream>

#include "audio/capture_device.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "media/loudness_file.h"
#include "tests/tags/tag_test_util.h"
#include "ui/element_painter.h"

namespace tw::test {

namespace fs = std::filesystem;

namespace {

// MPEG audio of about the given seconds (frames of 1152 samples at 44.1 kHz) with an ID3v2.3
// tag: artist, title and, for a sweeper, its number.
std::string trackBytes(const std::string& artist, const std::string& title,
                       const std::string& owner = "", double seconds = 10) {
    std::string body = textFrame("TIT2", title, 3) + textFrame("TPE1", artist, 3);
    if (!owner.empty()) {
        body += textFrame("TOWN", owner, 3);
    }
    return id3Tag(3, body) + mpegFrames(static_cast<int>(seconds * 44100 / 1152));
}

// A rotation row as the rotation file keeps it: three fields of 100 characters.
std::string rotationRow(const std::string& category) {
    auto field = [](std::string s) {
        s.resize(100, ' ');
        return s;
    };
    return field(category) + field("False") + field("saved");
}

std::string formOf(const std::string& name) {
    const auto dot = name.find('.');
    return dot == std::string::npos ? std::string() : name.substr(0, dot);
}

}  // namespace

GestureBench::GestureBench() {
    struct Track {
        const char *category, *artist, *title, *owner;
    };
    // The first track holds cue data (no sweeper chosen, no points), the others none.
    for (const Track& t :
         {Track{"Jazz", "Alpha", "One", "twTag~-1~~~~~~~~"}, Track{"Jazz", "Beta", "Two", ""},
          Track{"Jazz", "Gamma", "Three", ""}, Track{"Rock", "Delta", "Four", ""},
          Track{"Rock", "Epsilon", "Five", ""}, Track{"Rock", "Zeta", "Six", ""}}) {
        writeFile(
            dir_ / (std::string("Music/") + t.category + "/" + t.artist + " - " + t.title + ".mp3"),
            trackBytes(t.artist, t.title, t.owner));
    }
    writeFile(dir_ / "Sweepers/Sweep A.mp3", trackBytes("Station", "Sweep A", "twSTag~1"));
    writeFile(dir_ / "Sweepers/Sweep B.mp3", trackBytes("Station", "Sweep B", "twSTag~2"));
    writeFile(dir_ / "Rotations/Demo.rot", rotationRow("Jazz") + rotationRow("Rock"));
    writeFile(dir_ / "Desktop/.keep", "");

    auto engine = std::make_unique<audio::MixEngine>(audio::EngineMode::Offline);
    engine->useCapture(audio::silentCapture());
    engine_ = engine.get();
    auto trash = std::make_unique<RecordingTrash>();
    trash_ = trash.get();
    station_ = std::make_unique<ui::QtStation>(dir_.str(), std::move(engine), std::move(trash));
    answering_ = std::make_unique<QTimer>();
    answering_->setInterval(15);
    QObject::connect(answering_.get(), &QTimer::timeout, [this] { answerModal(); });
    answering_->start();
}

GestureBench::~GestureBench() {
    answering_.reset();
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* menu = qobject_cast<QMenu*>(w)) {
            menu->close();
        }
    }
    station_.reset();
}

void GestureBench::load(double scale) {
    scale_ = scale;
    station_->load();
    QWidget& w = station_->window();
    w.show();
    EXPECT_TRUE(QTest::qWaitForWindowExposed(&w));
    w.resize(static_cast<int>(896 * scale), static_cast<int>(641 * scale));
    settle();
}

std::string GestureBench::outsideTrack(const std::string& name, double seconds) const {
    return outsideFile(name, trackBytes("Outside", name, "", seconds));
}

std::string GestureBench::outsideFile(const std::string& name, const std::string& bytes) const {
    const fs::path p = dir_ / "Desktop" / name;
    writeFile(p, bytes);
    return p.string();
}

std::string GestureBench::iniValue(const std::string& file, const std::string& section,
                                   const std::string& key) {
    return core::readIni(c(), c().AppFolder + "/" + file, section, key, "<none>");
}

std::string GestureBench::appLog() const {
    return readFile(dir_ / "app.log");
}

void GestureBench::measured(const std::string& file, double lufs, double peakDbtp) {
    struct stat st {};
    ASSERT_EQ(::stat((dir_ / file).c_str(), &st), 0) << file;
    media::LoudnessRecord r;
    r.name = file;
    r.entry.size = static_cast<std::int64_t>(st.st_size);
    r.entry.writtenSec = static_cast<std::int64_t>(st.st_mtim.tv_sec);
    r.entry.writtenNsec = static_cast<std::int64_t>(st.st_mtim.tv_nsec);
    r.entry.lufs = lufs;
    r.entry.peakDbtp = peakDbtp;
    writeFile(dir_ / "loudness.ini", media::serializeLoudnessFile({r}));
}

void GestureBench::settle() {
    for (int i = 0; i < 3; ++i) {
        QApplication::processEvents();
    }
}

bool GestureBench::waitFor(const std::function<bool()>& condition, int ms) {
    return QTest::qWaitFor(condition, ms);
}

void GestureBench::show(const std::string& form) {
    auto& ui = station_->console().ui;
    if (form == "frmCast") {
        station_->castWindow().follow();
    } else if (form == "frmAppSettings") {
        ui.settings.frmAppSettings.visible = true;
        station_->settingsWindow().follow();
        station_->settingsWindow().resize(ui::SettingsWindow::designSize() * scale_);
        station_->settingsWindow().follow();
    } else if (form == "frmStatistics") {
        station_->statisticsWindow().follow();
        station_->statisticsWindow().resize(ui::StatisticsWindow::designSize() * scale_);
        station_->statisticsWindow().follow();
    } else if (form == "frmSchedule") {
        station_->scheduleWindow().follow();
    } else if (form == "frmStatus") {
        station_->statusWindow().follow();
    }
    QWidget& w = windowOf(form + ".x");
    EXPECT_TRUE(w.isVisible()) << form << " is not shown";
    if (w.isVisible()) {
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&w));
    }
    settle();
}

QWidget& GestureBench::windowOf(const std::string& name) {
    const std::string form = formOf(name);
    if (form == "frmCast") {
        return station_->castWindow();
    }
    if (form == "frmAppSettings") {
        return station_->settingsWindow();
    }
    if (form == "frmStatistics") {
        return station_->statisticsWindow();
    }
    if (form == "frmSchedule") {
        return station_->scheduleWindow();
    }
    if (form == "frmStatus") {
        return station_->statusWindow();
    }
    return station_->window();
}

QRectF GestureBench::placeOf(const std::string& name) {
    if (name == "frmSchedule.pctSchedule") {
        return ui::ScheduleWindow::gridArea();
    }
    if (name == "frmSchedule.lstRotationOrList") {
        return ui::ScheduleWindow::listArea();
    }
    const core::Element* e = c().ui.find(name);
    EXPECT_NE(e, nullptr) << "no element " << name;
    if (!e) {
        return {};
    }
    EXPECT_GT(e->rect.width, 0) << name << " has no place on its window";
    return QRectF(e->rect.left, e->rect.top, e->rect.width, e->rect.height);
}

QPoint GestureBench::rowPoint(const std::string& name, int row, int column) {
    QWidget& w = windowOf(name);
    const QRectF r = placeOf(name);
    const core::Element* e = c().ui.find(name);
    for (int y = static_cast<int>(r.top()); y < r.bottom(); ++y) {
        const QPointF probe(r.right() - 6, y + 3);
        int found = -1;
        if (name == "frmStatistics.lstCatagories") {
            found = station_->statisticsWindow().categoryAt(probe);
        } else if (name == "frmSchedule.lstRotationOrList") {
            found = station_->scheduleWindow().itemAt(probe);
        } else if (&w == &station_->window() && e) {
            found = ui::rowAt(*e, probe.y());
        }
        if (found == row) {
            double x = r.right() - 6;
            if (column >= 0 && e && e->kind == core::ElementKind::Grid) {
                for (double cx = r.left() + 1; cx < r.right(); cx += 1) {
                    if (ui::columnAt(*e, cx) == column) {
                        x = cx + 3;
                        break;
                    }
                }
            }
            return QPoint(static_cast<int>(x), static_cast<int>(probe.y()));
        }
    }
    ADD_FAILURE() << "no row " << row << " drawn on " << name;
    return {};
}

void GestureBench::send(QWidget& w, QEvent::Type type, const QPointF& at, Qt::MouseButton button,
                        Qt::MouseButtons held, Qt::KeyboardModifiers modifiers) {
    // As on a screen: a press goes to the widget drawn under the pointer (a slider or an editor
    // laid over the window), and that widget keeps the moves and the release.
    if (type == QEvent::MouseButtonPress || !grabbed_) {
        QWidget* under = w.childAt(at.toPoint());
        grabbed_ = under ? under : &w;
    }
    QWidget* target = grabbed_ ? grabbed_.data() : &w;
    const QPointF local = target->mapFrom(&w, at);
    QMouseEvent e(type, local, w.mapToGlobal(at), button, held, modifiers);
    QApplication::sendEvent(target, &e);
    if (type == QEvent::MouseButtonRelease) {
        grabbed_.clear();
    }
}

void GestureBench::click(const std::string& name, Qt::MouseButton button,
                         Qt::KeyboardModifiers modifiers) {
    const QPointF at = placeOf(name).center();
    QWidget& w = windowOf(name);
    pressAndLetGo(w, at, button, modifiers);
}

void GestureBench::clickAt(const std::string& name, double across, double down,
                           Qt::MouseButton button) {
    const QRectF r = placeOf(name);
    const QPointF at(r.left() + r.width() * across, r.top() + r.height() * down);
    QWidget& w = windowOf(name);
    pressAndLetGo(w, at, button);
}

void GestureBench::clickIn(const std::string& name, const QPointF& inside) {
    const QPointF at = placeOf(name).topLeft() + inside;
    QWidget& w = windowOf(name);
    pressAndLetGo(w, at, Qt::LeftButton);
}

void GestureBench::doubleClick(const std::string& name) {
    QWidget& w = windowOf(name);
    QTest::mouseDClick(&w, Qt::LeftButton, {}, placeOf(name).center().toPoint());
    settle();
}

void GestureBench::slide(const std::string& name, double from, double to) {
    const QRectF r = placeOf(name);
    QWidget& w = windowOf(name);
    const double y = r.center().y();
    if (from < 0) {
        // A slider is taken by its handle, where the operator takes it.
        auto* slider = qobject_cast<QSlider*>(w.childAt(r.center().toPoint()));
        ASSERT_NE(slider, nullptr) << "no slider drawn at " << name;
        const int handle = slider->style()->pixelMetric(QStyle::PM_SliderLength, nullptr, slider);
        const int at = QStyle::sliderPositionFromValue(slider->minimum(), slider->maximum(),
                                                       slider->value(), slider->width() - handle);
        from = (slider->mapTo(&w, QPoint(at + handle / 2, 0)).x() - r.left()) / r.width();
    }
    carry(w, QPointF(r.left() + r.width() * from, y), QPointF(r.left() + r.width() * to, y));
}

void GestureBench::clickRow(const std::string& name, int row, Qt::MouseButton button,
                            Qt::KeyboardModifiers modifiers, int column) {
    QWidget& w = windowOf(name);
    const QPoint at = rowPoint(name, row, column);
    pressAndLetGo(w, at, button, modifiers);
}

void GestureBench::dragRow(const std::string& from, int row, const std::string& to, int toRow) {
    QWidget& w = windowOf(from);
    // A grid's row is taken by its second column: a press on the running list's last column
    // is its Re-Pick.
    const core::Element* e = c().ui.find(from);
    const int column = e && e->kind == core::ElementKind::Grid ? 1 : -1;
    const QPointF start = rowPoint(from, row, column);
    const QPointF end = toRow >= 0 ? QPointF(rowPoint(to, toRow, column)) : placeOf(to).center();
    carry(w, start, end);
}

void GestureBench::dragElement(const std::string& from, const std::string& to) {
    carry(windowOf(from), placeOf(from).center(), placeOf(to).center());
}

void GestureBench::pressAndLetGo(QWidget& w, const QPointF& at, Qt::MouseButton button,
                                 Qt::KeyboardModifiers modifiers) {
    send(w, QEvent::MouseButtonPress, at, button, button, modifiers);
    send(w, QEvent::MouseButtonRelease, at, button, Qt::NoButton, modifiers);
    settle();
}

void GestureBench::carry(QWidget& w, const QPointF& start, const QPointF& end) {
    send(w, QEvent::MouseButtonPress, start, Qt::LeftButton, Qt::LeftButton);
    constexpr int kSteps = 8;
    for (int i = 1; i <= kSteps; ++i) {
        send(w, QEvent::MouseMove, start + (end - start) * i / kSteps, Qt::NoButton,
             Qt::LeftButton);
    }
    send(w, QEvent::MouseButtonRelease, end, Qt::LeftButton, Qt::NoButton);
    settle();
}

bool GestureBench::dropFiles(const std::string& name, const std::vector<std::string>& files) {
    QWidget& w = windowOf(name);
    QMimeData data;
    QList<QUrl> urls;
    for (const std::string& f : files) {
        urls << QUrl::fromLocalFile(QString::fromStdString(f));
    }
    data.setUrls(urls);
    const QPointF at = placeOf(name).center();
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&w, &enter);
    QDragMoveEvent over(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&w, &over);
    if (!enter.isAccepted() || !over.isAccepted()) {
        return false;
    }
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&w, &drop);
    settle();
    return drop.isAccepted();
}

void GestureBench::deleteKey(const std::string& name, int row) {
    if (row >= 0) {
        clickRow(name, row);
    } else {
        click(name);
    }
    QTest::keyClick(&windowOf(name), Qt::Key_Delete);
    settle();
}

void GestureBench::functionKey(int keyCode) {
    QWidget* target = QApplication::focusWidget();
    if (!target) {
        target = &station_->window();
    }
    const auto key = static_cast<Qt::Key>(Qt::Key_F1 + (keyCode - 112));
    QTest::keyPress(target, key);
    QTest::keyRelease(target, key);
    settle();
}

QLineEdit* GestureBench::editorOn(const std::string& name) {
    auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (!edit || !edit->isVisible()) {
        click(name);  // the click opens the editor over the box
        edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    }
    if (!edit) {
        for (QLineEdit* e : windowOf(name).findChildren<QLineEdit*>()) {
            if (e->isVisible()) {
                edit = e;
            }
        }
    }
    EXPECT_NE(edit, nullptr) << "no editor opened on " << name;
    return edit;
}

void GestureBench::type(const std::string& name, const std::string& text) {
    click(name);
    QLineEdit* edit = editorOn(name);
    ASSERT_NE(edit, nullptr);
    edit->selectAll();
    QTest::keyClicks(edit, QString::fromStdString(text));
    settle();
}

void GestureBench::returnKey(const std::string& name) {
    QLineEdit* edit = editorOn(name);
    ASSERT_NE(edit, nullptr);
    QTest::keyClick(edit, Qt::Key_Return);
    settle();
}

void GestureBench::choose(const std::string& name, int row) {
    // The list opens from the box's arrow (the bit rate's box takes text left of it).
    const QRectF r = placeOf(name);
    clickAt(name, (r.width() - 6) / r.width());
    QMenu* open = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* menu = qobject_cast<QMenu*>(w); menu && menu->isVisible()) {
            open = menu;
        }
    }
    ASSERT_NE(open, nullptr) << "no list opened on " << name;
    ASSERT_TRUE(QTest::qWaitForWindowExposed(open));
    ASSERT_LT(row, open->actions().size()) << name;
    QTest::mouseClick(open, Qt::LeftButton, {},
                      open->actionGeometry(open->actions()[row]).center());
    settle();
}

void GestureBench::chooseInMenu(int entry) {
    QMenu* open = nullptr;
    for (QWidget* w : QApplication::topLevelWidgets()) {
        if (auto* menu = qobject_cast<QMenu*>(w); menu && menu->isVisible()) {
            open = menu;
        }
    }
    ASSERT_NE(open, nullptr) << "no menu is open";
    ASSERT_TRUE(QTest::qWaitForWindowExposed(open));
    ASSERT_LT(entry, open->actions().size());
    QTest::mouseClick(open, Qt::LeftButton, {},
                      open->actionGeometry(open->actions()[entry]).center());
    settle();
}

void GestureBench::closeWindow(const std::string& form) {
    windowOf(form + ".x").close();
    settle();
}

void GestureBench::clickButton(QWidget& dialog, bool accept) {
    // The dialog's own buttons, found by their role as the operator finds them by their caption.
    for (QPushButton* b : dialog.findChildren<QPushButton*>()) {
        auto* box = qobject_cast<QDialogButtonBox*>(b->parentWidget());
        if (box && b->isVisible() &&
            (box->buttonRole(b) == QDialogButtonBox::AcceptRole) == accept) {
            pressedButton_ = b->text().toStdString();
            QTest::mouseClick(b, Qt::LeftButton, {}, b->rect().center());
            return;
        }
    }
    ADD_FAILURE() << "the dialog has no " << (accept ? "accept" : "cancel") << " button";
}

void GestureBench::answerModal() {
    QWidget* modal = QApplication::activeModalWidget();
    if (!modal || !modal->isVisible()) {
        return;
    }
    std::string a;
    if (!answers_.empty()) {
        a = answers_.front();
        answers_.pop_front();
    }
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
        asked_.push_back(box->text().toStdString());
        const QMessageBox::StandardButton wanted = a == "ok"    ? QMessageBox::Ok
                                                   : a == "yes" ? QMessageBox::Yes
                                                   : a == "no"  ? QMessageBox::No
                                                                : QMessageBox::Cancel;
        if (QAbstractButton* b = box->button(wanted)) {
            b->click();
        } else {
            box->reject();
        }
    } else if (auto* input = qobject_cast<QInputDialog*>(modal)) {
        asked_.push_back(input->windowTitle().toStdString());
        auto* field = input->findChild<QLineEdit*>();
        if (a.rfind("name:", 0) == 0) {
            input->setTextValue(QString::fromStdString(a.substr(5)));
            input->accept();
        } else if (a.rfind("typed:", 0) == 0 && field) {
            // The operator's hands: a click in the field, the name typed, Return.
            QTest::mouseClick(field, Qt::LeftButton, {}, field->rect().center());
            fieldAfterClick_ = field->text().toStdString();
            QTest::keyClicks(field, QString::fromStdString(a.substr(6)));
            QTest::keyClick(field, Qt::Key_Return);
        } else if (a.rfind("create:", 0) == 0 && field) {
            field->setText(QString::fromStdString(a.substr(7)));
            clickButton(*input, true);
        } else {
            clickButton(*input, false);
        }
    } else if (auto* files = qobject_cast<QFileDialog*>(modal)) {
        asked_.push_back(files->windowTitle().toStdString());
        auto* name = files->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        if (a.rfind("file:", 0) == 0 && name) {
            // The whole path typed into the name field and Return: what the dialog's own
            // folder view loads meanwhile cannot change the choice.
            name->setText(QString::fromStdString(a.substr(5)));
            QTest::keyClick(name, Qt::Key_Return);
        } else {
            files->reject();
        }
    } else if (auto* dialog = qobject_cast<QDialog*>(modal)) {
        asked_.push_back(dialog->windowTitle().toStdString());
        auto* user = dialog->findChild<QLineEdit*>(QStringLiteral("user"));
        auto* password = dialog->findChild<QLineEdit*>(QStringLiteral("password"));
        if (a.rfind("login:", 0) == 0 && user && password) {
            const std::string rest = a.substr(6);
            const auto colon = rest.find(':');
            user->setText(QString::fromStdString(rest.substr(0, colon)));
            password->setText(QString::fromStdString(rest.substr(colon + 1)));
            dialog->accept();
        } else {
            dialog->reject();
        }
    }
}

}  // namespace tw::test
