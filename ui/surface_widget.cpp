#include "ui/surface_widget.h"

#include <QDesktopServices>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>
#include <string>
#include <vector>

#include "autodj/rotations.h"
#include "core/settings_store.h"
#include "desk/actions.h"
#include "desk/console_layout.h"
#include "desk/size_form_controls.h"
#include "ui/box_editor.h"
#include "ui/console_colors.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"
#include "ui/element_tool_tip.h"
#include "ui/row_choice.h"
#include "ui/visible_elements.h"

namespace tw::ui {

SurfaceWidget::SurfaceWidget(core::Console& console, int repaintMs, QWidget* parent)
    : QWidget(parent),
      console_(console),
      drag_(console),
      openUrl_([](const QUrl& url) { QDesktopServices::openUrl(url); }),
      editor_(this) {
    QLineEdit* edit = editor_.lineEdit();
    QObject::connect(edit, &QLineEdit::textEdited, this, [this](const QString& text) {
        if (editor_.editing().empty()) {
            return;
        }
        const std::string name = editor_.editing();
        desk::type(console_, name, text.toStdString());
        afterAction("type", name);
    });
    QObject::connect(edit, &QLineEdit::returnPressed, this, [this] {
        const std::string name = editor_.editing();
        if (!name.empty()) {
            desk::enter(console_, name);
            afterAction("enter", name);
        }
    });
    QObject::connect(edit, &QLineEdit::editingFinished, this, [this] {
        if (!editor_.lineEdit()->hasFocus()) {
            closeEditor();
        }
    });
    const QSize design(static_cast<int>(desk::kDesignWidth), static_cast<int>(desk::kDesignHeight));
    // The console never shrinks below its design.
    setMinimumSize(design);
    resize(design);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setFocusPolicy(Qt::StrongFocus);  // the function keys reach the console anywhere on it
    setAcceptDrops(true);             // files from the desktop
    // A window no one sees (headless, or not shown yet) has nothing to compare or paint.
    repaint_ = std::make_unique<VisibleBeat>(*this, repaintMs, [this] {
        syncTitle();
        repaintChanges();
    });
    syncTitle();
}

QUrl SurfaceWidget::helpPage() {
    // A browser cannot read the program's resources: the page is written to the user's cache
    // folder (rewritten when it differs, so a newer program brings its newer page) and opened
    // there.
    QFile page(QStringLiteral(":/help/console-help.html"));
    if (!page.open(QIODevice::ReadOnly)) {
        return {};
    }
    const QByteArray bytes = page.readAll();
    QString folder = QStandardPaths::writableLocation(QStandardPaths::CacheLocation);
    if (folder.isEmpty()) {
        folder = QDir::homePath() + QStringLiteral("/.cache/tarnwave");
    }
    QDir().mkpath(folder);
    const QString path = folder + QStringLiteral("/console-help.html");
    QFile out(path);
    if (!out.open(QIODevice::ReadOnly) || out.readAll() != bytes) {
        out.close();
        QSaveFile fresh(path);
        if (fresh.open(QIODevice::WriteOnly)) {
            fresh.write(bytes);
            fresh.commit();
        }
    }
    return QUrl::fromLocalFile(path);
}

void SurfaceWidget::syncTitle() {
    const QString title = QString::fromStdString(console_.form().frmTarnDesk.caption);
    if (title != windowTitle()) {
        setWindowTitle(title);
    }
}

QRect SurfaceWidget::windowArea(const core::Rect& r) const {
    if (r.width <= 0 || r.height <= 0) {
        return {};
    }
    const double margin = 8;
    return QRectF(r.left - margin, r.top - margin, r.width + 2 * margin, r.height + 2 * margin)
        .toAlignedRect();
}

QRegion SurfaceWidget::repaintChanges() {
    core::MainForm& form = console_.form();
    const std::vector<core::Element*> all = form.all();
    const bool firstLook = fingerprints_.size() != all.size();
    if (firstLook) {
        fingerprints_.assign(all.size(), 0);
        places_.assign(all.size(), {});
    }
    QRegion changed;
    bool whole = firstLook;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const core::Element& e = *all[i];
        const std::size_t print = elementFingerprint(e);
        if (!firstLook && print == fingerprints_[i]) {
            continue;
        }
        fingerprints_[i] = print;
        // The form itself holds the back colour and the message line: all of the window.
        whole = whole || e.kind == core::ElementKind::Form;
        changed += windowArea(places_[i]);
        changed += windowArea(e.rect);
        places_[i] = e.rect;
    }
    if (whole) {
        changed = rect();
    }
    changed &= rect();
    if (!changed.isEmpty()) {
        update(changed);
    }
    return changed;
}

bool SurfaceWidget::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    // Tool tips are the elements' own, looked up where the pointer rests.
    auto* help = static_cast<QHelpEvent*>(event);
    return showElementToolTip(*this, *help,
                              elementAt(console_.form(), help->pos().x(), help->pos().y()));
}

void SurfaceWidget::paintEvent(QPaintEvent* event) {
    QPainter p(this);
    // The form's own rect may not cover the window (the painter is opaque): start from its colour.
    p.fillRect(rect(), consoleColor(console_.form().frmTarnDesk.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    paintConsole(p, console_.form(), event->rect().toRectF());
}

void SurfaceWidget::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    closeEditor();  // the box moves with the layout
    // Before the load there is no recorded design to scale; the load applies the size.
    if (!console_.loaded || console_.unloaded) {
        return;
    }
    bool resized = false;
    {
        core::EventScope scope(*console_.svc.settings);
        resized = desk::resizeConsole(console_, width(), height());
    }
    if (resized) {
        repaintChanges();
        update();
    }
}

SurfaceWidget::Target SurfaceWidget::targetAt(const QPointF& at) {
    Target t;
    t.element = elementAt(console_.form(), at.x(), at.y());
    if (t.element) {
        const core::ElementKind k = t.element->kind;
        if (k == core::ElementKind::ListBox || k == core::ElementKind::FileList ||
            k == core::ElementKind::DirList || k == core::ElementKind::Grid) {
            t.row = rowAt(*t.element, at.y());
        }
    }
    return t;
}

void SurfaceWidget::afterAction(const std::string& action, const std::string& name) {
    if (observer_) {
        observer_(action, name);
    }
    syncTitle();
    repaintChanges();
}

void SurfaceWidget::closeEditor() {
    if (editor_.close()) {
        setFocus(Qt::OtherFocusReason);
        repaintChanges();
    }
}

void SurfaceWidget::mousePressEvent(QMouseEvent* event) {
    desk::MouseButton button;
    if (event->button() == Qt::LeftButton) {
        button = desk::MouseButton::Left;
    } else if (event->button() == Qt::RightButton) {
        button = desk::MouseButton::Right;
    } else {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF at = event->position();
    const Target t = targetAt(at);
    closeEditor();
    if (!t.element) {
        return;
    }
    if (t.element->kind == core::ElementKind::TextBox && button == desk::MouseButton::Left &&
        t.element->enabled) {
        keyTarget_.clear();
        editor_.open(*t.element);
        return;
    }
    // The name is copied: the action may change the surface it came from.
    const std::string name = t.element->name;
    const core::ElementKind k = t.element->kind;
    const bool list = k == core::ElementKind::ListBox || k == core::ElementKind::FileList ||
                      k == core::ElementKind::DirList || k == core::ElementKind::Grid;
    if (list && button == desk::MouseButton::Left) {
        keyTarget_ = name;
        // Ctrl and Shift choose several rows where the grid allows it; such a click starts no
        // drag.
        const bool toggle = (event->modifiers() & Qt::ControlModifier) != 0;
        const bool range = (event->modifiers() & Qt::ShiftModifier) != 0;
        const bool many = (toggle || range) && t.row >= 0 && choosesManyRows(*t.element);
        const RowChoice before = many ? rowChoiceOf(*t.element) : RowChoice{};
        // A click on a row selects it (and runs the list's click); between rows it does nothing.
        if (t.row >= 0) {
            desk::select(console_, name, t.row);
            if (core::Element* grid = console_.ui.find(name); many && grid) {
                widenChoice(*grid, before, t.row, toggle, range);
            }
            if (hasTickColumn(*t.element) && columnAt(*t.element, at.x()) == 0) {
                // A click on the tick box of the rotation's sweeper column ticks it.
                core::EventScope scope(*console_.svc.settings);
                autodj::toggleRotationSweeper(console_, t.row);
            } else if (k == core::ElementKind::Grid) {
                // A grid's own action looks at the column under the pointer.
                desk::press(console_, name, button, at.x() - t.element->rect.left);
            }
        }
        drag_.press(name, many ? -1 : t.row);
        afterAction("select", name);
    } else {
        keyTarget_.clear();  // the focus went to something else than a list
        // The pointer's place across the element, for the bars that seek.
        desk::press(console_, name, button, at.x() - t.element->rect.left);
        if (name == "cmdHelp" && button == desk::MouseButton::Left) {
            openUrl_(helpPage());
        }
        afterAction("press", name);
    }
}

void SurfaceWidget::mouseDoubleClickEvent(QMouseEvent* event) {
    const Target t = targetAt(event->position());
    if (event->button() != Qt::LeftButton || !t.element) {
        QWidget::mouseDoubleClickEvent(event);
        return;
    }
    const std::string name = t.element->name;
    desk::doubleClick(console_, name);
    afterAction("doubleClick", name);
}

void SurfaceWidget::mouseMoveEvent(QMouseEvent* event) {
    if (!drag_.active() || !(event->buttons() & Qt::LeftButton)) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    const Target t = targetAt(event->position());
    const std::string name = t.element ? t.element->name : std::string();
    drag_.move(name, t.row);
    afterAction("drag", name);
}

void SurfaceWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !drag_.active()) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    const Target t = targetAt(event->position());
    const std::string name = t.element ? t.element->name : std::string();
    drag_.release(name, t.row);
    afterAction("release", name);
}

void SurfaceWidget::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Delete && !keyTarget_.empty()) {
        desk::keyDown(console_, keyTarget_, "Delete");
        afterAction("key", keyTarget_);
        return;
    }
    QWidget::keyPressEvent(event);
}

const core::Element* SurfaceWidget::fileDropTarget(const QPointF& at) {
    const core::Element* e = elementAt(console_.form(), at.x(), at.y());
    if (e && (e->name == "lstSongs" || e->name == "fileList" || e->name == "flSweepers" ||
              e->name == "lstPlayListBuilder")) {
        return e;
    }
    return nullptr;
}

namespace {

std::vector<std::string> localFiles(const QMimeData* data) {
    std::vector<std::string> files;
    if (!data || !data->hasUrls()) {
        return files;
    }
    for (const QUrl& url : data->urls()) {
        if (url.isLocalFile()) {
            files.push_back(url.toLocalFile().toStdString());
        }
    }
    return files;
}

}  // namespace

void SurfaceWidget::dragEnterEvent(QDragEnterEvent* event) {
    if (!localFiles(event->mimeData()).empty()) {
        event->acceptProposedAction();
    }
}

void SurfaceWidget::dragMoveEvent(QDragMoveEvent* event) {
    if (fileDropTarget(event->position())) {
        event->acceptProposedAction();
    } else {
        event->ignore();
    }
}

void SurfaceWidget::dropEvent(QDropEvent* event) {
    const std::vector<std::string> files = localFiles(event->mimeData());
    const core::Element* target = fileDropTarget(event->position());
    if (files.empty() || !target) {
        event->ignore();
        return;
    }
    // The track list takes files into its category; the sweeper list into the sweepers; the
    // Playlist Builder loads the first as a playlist.
    const std::string name = target->name == "lstSongs" ? "fileList" : target->name;
    desk::dropFiles(console_, name, files);
    event->acceptProposedAction();
    afterAction("drop", name);
}

void SurfaceWidget::keyReleaseEvent(QKeyEvent* event) {
    // The console's key codes: F1 is 112 ... F12 is 123.
    const int key = event->key();
    if (key >= Qt::Key_F1 && key <= Qt::Key_F12) {
        desk::keyUp(console_, 112 + (key - Qt::Key_F1));
        afterAction("keyUp", std::to_string(112 + (key - Qt::Key_F1)));
        return;
    }
    QWidget::keyReleaseEvent(event);
}

}  // namespace tw::ui
