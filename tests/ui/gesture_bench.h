#pragma once
// A station on the real Qt windows, for the operator's gestures: a small library (two
// categories of three tagged tracks, two numbered sweepers), a rotation over it on the air, the
// engine of our own rendering offline, a trash that records. Every gesture below reaches the
// console only as Qt's own events on the window that shows the element, at the place where the
// element is drawn: a press that finds no element there, a drop the window refuses, a key that
// no window takes, changes nothing, and the row's check fails. Modal dialogs are answered from a
// queue, as an operator would answer them.
//
// Thread contract: console thread only (the test's thread, which runs Qt).

#include <QEvent>
#include <QLineEdit>
#include <QPoint>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QTimer>
#include <QWidget>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "audio/mix_engine.h"
#include "tests/testlib/console_fixture.h"
#include "tests/testlib/temp_dir.h"
#include "ui/qt_station.h"

namespace tw::test {

class GestureBench {
  public:
    // Makes the station (nothing loaded yet).
    GestureBench();
    ~GestureBench();
    GestureBench(const GestureBench&) = delete;
    GestureBench& operator=(const GestureBench&) = delete;

    // Loads the console, shows it at scale (1 the design size, 1.5 half as large again) and lets
    // it go on the air.
    void load(double scale);
    double scale() const { return scale_; }

    core::Console& c() { return station_->console(); }
    core::MainForm& m() { return c().form(); }
    ui::QtStation& station() { return *station_; }
    audio::MixEngine& engine() { return *engine_; }
    // The volume the engine holds for a handle; -1 when it has none.
    float volumeOf(audio::Handle h) {
        float v = -1;
        engine_->channelGetAttribute(h, audio::kAttribVol, v);
        return v;
    }
    const std::vector<std::string>& trashed() const { return trash_->trashed; }
    const std::filesystem::path& folder() const { return dir_.path(); }
    // A track of about the given seconds in a folder outside the station (the desktop).
    std::string outsideTrack(const std::string& name, double seconds = 10) const;
    std::string outsideFile(const std::string& name, const std::string& bytes) const;
    std::string iniValue(const std::string& file, const std::string& section,
                         const std::string& key);
    std::string appLog() const;
    // What an earlier run measured of a file of the station (a path under its folder), written
    // into loudness.ini for the file as it is now, before the console first reads that file.
    void measured(const std::string& file, double lufs, double peakDbtp);

    // Brings a window of the console up as the console shows it (its form made visible by the
    // model), at the bench's scale where the window grows.
    void show(const std::string& form);

    // --- the operator's hands: Qt events only --------------------------------------------
    // Elements are named as the console names them: "cmdSkipNow" on the console, or
    // "frmCast.cmdSave" on another window.
    void click(const std::string& name, Qt::MouseButton button = Qt::LeftButton,
               Qt::KeyboardModifiers modifiers = {});
    // A click at a share (0 to 1) across the element and down it.
    void clickAt(const std::string& name, double across, double down = 0.5,
                 Qt::MouseButton button = Qt::LeftButton);
    // A click at a point inside the element (pixels from its top left corner).
    void clickIn(const std::string& name, const QPointF& inside);
    void doubleClick(const std::string& name);
    // A press at `from` across the element, the held button moved to `to` (a share; past 1 is
    // beyond its end), and let go there. A `from` below 0 takes a slider by its handle.
    void slide(const std::string& name, double from, double to);
    // A row of a list or grid (at column `column` of a grid, -1 its last column).
    void clickRow(const std::string& name, int row, Qt::MouseButton button = Qt::LeftButton,
                  Qt::KeyboardModifiers modifiers = {}, int column = -1);
    // A row carried with the button held to a row of a list (-1: the middle of the element).
    void dragRow(const std::string& from, int row, const std::string& to, int toRow = -1);
    // An element carried with the button held onto another.
    void dragElement(const std::string& from, const std::string& to);
    // Files from the file manager dropped on an element; false when the window refused them.
    bool dropFiles(const std::string& name, const std::vector<std::string>& files);
    // A click on the element (a row of a list: row), then the Delete key.
    void deleteKey(const std::string& name, int row = -1);
    // A function key (F1 = 112) pressed and let go on the widget that has the focus.
    void functionKey(int keyCode);
    // The focus on a text box, then the text typed into it (what it held replaced).
    void type(const std::string& name, const std::string& text);
    // The Return key in a text box.
    void returnKey(const std::string& name);
    // The combo box's list opened by a click and an entry chosen in it.
    void choose(const std::string& name, int row);
    // An entry of the menu that is open (the track list's menu), by its place from the top.
    void chooseInMenu(int entry);
    // The window's own close box.
    void closeWindow(const std::string& form);

    // --- the operator's answers to dialogs ------------------------------------------------
    // Queued answers, taken in order by the next modal dialogs: "ok", "cancel", "yes", "no"
    // for message boxes; "name:TEXT" for the name dialog; "file:PATH" for a file dialog;
    // "login:USER:PASSWORD" for a log-in. The name dialog also takes "typed:TEXT" (a click in
    // its field, the text typed, Return), "create:TEXT" (the text, then its create button) and
    // anything else as its Cancel button.
    void answer(const std::string& a) { answers_.push_back(a); }
    // What the dialogs asked (a message box's text, a dialog's title) in order.
    const std::vector<std::string>& asked() const { return asked_; }
    // What the name dialog's field held after the click in it; the caption of the button last
    // pressed in a dialog.
    const std::string& fieldAfterClick() const { return fieldAfterClick_; }
    const std::string& pressedButton() const { return pressedButton_; }
    // Waits (running Qt's events) until the condition holds or the time is out.
    bool waitFor(const std::function<bool()>& condition, int ms = 5000);

    // What a row's stage wants its check to compare with.
    std::map<std::string, std::string> memo;

    // Where an element is drawn, in its window's pixels, and that window.
    QWidget& windowOf(const std::string& name);
    QRectF placeOf(const std::string& name);
    QPoint rowPoint(const std::string& name, int row, int column = -1);

  private:
    void answerModal();
    // A press and a release at one point of a window.
    void pressAndLetGo(QWidget& w, const QPointF& at, Qt::MouseButton button,
                       Qt::KeyboardModifiers modifiers = {});
    // The left button carried from one point of a window to another, held, in steps.
    void carry(QWidget& w, const QPointF& start, const QPointF& end);
    // The line editor open over a text box, opened by a click when it is not.
    QLineEdit* editorOn(const std::string& name);
    void clickButton(QWidget& dialog, bool accept);
    void send(QWidget& w, QEvent::Type type, const QPointF& at, Qt::MouseButton button,
              Qt::MouseButtons held, Qt::KeyboardModifiers modifiers = {});
    void settle();

    TempDir dir_;
    RecordingTrash* trash_ = nullptr;
    audio::MixEngine* engine_ = nullptr;
    std::unique_ptr<ui::QtStation> station_;
    double scale_ = 1;
    std::deque<std::string> answers_;
    std::vector<std::string> asked_;
    std::unique_ptr<QTimer> answering_;
    std::string fieldAfterClick_, pressedButton_;
    QPointer<QWidget> grabbed_;  // the widget that took the press, until the release
};

}  // namespace tw::test
