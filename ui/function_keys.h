#pragma once
// The console's function keys: F1 to F10 let go anywhere in the console's windows reach the
// console as its key codes (F1 is 112), whichever element or window has the focus, except inside
// a text box being edited and while a modal dialog waits for an answer. A key held down repeats
// nothing: only the real release counts, as on the original console.
//
// Thread contract: console thread only (an event filter on the application).

#include <QObject>
#include <QPointer>
#include <functional>

class QWidget;

namespace tw::ui {

class FunctionKeys final : public QObject {
  public:
    using Handler = std::function<void(int keyCode)>;

    // Filters the application's events for the windows that belong to console (the window
    // itself and every window it owns).
    FunctionKeys(QWidget& console, Handler handler);
    ~FunctionKeys() override;
    FunctionKeys(const FunctionKeys&) = delete;
    FunctionKeys& operator=(const FunctionKeys&) = delete;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    bool belongsToConsole(const QWidget* w) const;

    QPointer<QWidget> console_;
    Handler handler_;
};

}  // namespace tw::ui
