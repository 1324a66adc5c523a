#include "ui/function_keys.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>
#include <QWidget>
#include <utility>

namespace tw::ui {

namespace {

constexpr int kF1Code = 112;

// A widget the operator types into: the function keys are his there.
bool takesText(const QWidget* w) {
    return qobject_cast<const QLineEdit*>(w) || qobject_cast<const QTextEdit*>(w) ||
           qobject_cast<const QPlainTextEdit*>(w) || qobject_cast<const QAbstractSpinBox*>(w);
}

}  // namespace

FunctionKeys::FunctionKeys(QWidget& console, Handler handler)
    : console_(&console), handler_(std::move(handler)) {
    qApp->installEventFilter(this);
}

FunctionKeys::~FunctionKeys() {
    if (qApp) {
        qApp->removeEventFilter(this);
    }
}

bool FunctionKeys::belongsToConsole(const QWidget* w) const {
    for (; w; w = w->parentWidget()) {
        if (w == console_) {
            return true;
        }
    }
    return false;
}

bool FunctionKeys::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyRelease || !console_) {
        return false;
    }
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() < Qt::Key_F1 || key->key() > Qt::Key_F10) {
        return false;
    }
    const auto* w = qobject_cast<const QWidget*>(watched);
    if (!w || !belongsToConsole(w) || QApplication::activeModalWidget() || takesText(w)) {
        return false;
    }
    if (!key->isAutoRepeat()) {
        handler_(kF1Code + (key->key() - Qt::Key_F1));
    }
    return true;  // taken: the parents the release would travel on to never see it again
}

}  // namespace tw::ui
