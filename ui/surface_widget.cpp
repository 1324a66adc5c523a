#include "ui/surface_widget.h"

#include <QDesktopServices>
#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFile>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QSaveFile>
#include <QStandardPaths>
#include <QUrl>
#include <QWheelEvent>
#include <string>
#include <utility>
#include <vector>

#include "autodj/rotations.h"
#include "core/settings_store.h"
#include "desk/actions.h"
#include "desk/console_layout.h"
#include "desk/size_form_controls.h"
#include "liveassist/sampler.h"
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
      editor_(this),
      items_(*this),
      keys_(*this, [this](int keyCode) { functionKeyReleased(keyCode); }) {
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

void SurfaceWidget::followSelections(const std::vector<core::Element*>& all) {
    if (lists_.size() != all.size()) {
        lists_.assign(all.size(), {});
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        core::Element& e = *all[i];
        if (!showsRows(e)) {
            continue;
        }
        const bool grid = e.kind == core::ElementKind::Grid;
        ListLook now;
        now.selected = grid ? e.row : e.listIndex;
        now.count = grid ? e.rows.size() : e.items.size();
        if (now.count > 0) {
            now.first = grid ? (e.rows[0].cells.empty() ? std::string() : e.rows[0].cells.back())
                             : e.items[0].text;
        }
        ListLook& last = lists_[i];
        int top = topRow(e);
        if (now.count != last.count && now.first != last.first) {
            top = 0;  // other rows: shown from the top, as a list filled anew is
        }
        if (now.selected >= 0 && now.selected != last.selected) {
            top = topShowing(e, top, now.selected);
        }
        e.topIndex = top;
        last = std::move(now);
    }
}

QRegion SurfaceWidget::repaintChanges() {
    core::MainForm& form = console_.form();
    const std::vector<core::Element*> all = form.all();
    followSelections(all);
    const bool firstLook = fingerprints_.size() != all.size();
    if (firstLook) {
        fingerprints_.assign(all.size(), 0);
        places_.assign(all.size(), {});
    }
    QRegion changed;
    bool whole = firstLook;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const core::Element& e = *all[i];
        const std::size_t print = shownFingerprint(e);
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
    if (t.element && showsRows(*t.element)) {
        t.row = rowAt(*t.element, at.y());
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
    items_.close();
    held_ = {};
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
    const bool list = showsRows(*t.element);
    if (k == core::ElementKind::ComboBox && button == desk::MouseButton::Left &&
        t.element->enabled) {
        keyTarget_.clear();
        items_.open(*t.element, t.element->fontSize, [this, name](int row) {
            desk::select(console_, name, row);
            afterAction("select", name);
        });
        return;
    }
    if (name == "lstSongs" && button == desk::MouseButton::Right) {
        keyTarget_ = name;
        trackMenu(event->globalPosition().toPoint(), t.row);
        return;
    }
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
        // The focus goes with the press: a sampler button keeps it for the Delete key, anything
        // else that is not a list takes it from the list.
        keyTarget_ = liveassist::samplerButton(name) != 0 ? name : std::string();
        if (button == desk::MouseButton::Left) {
            // Like the original's controls, the element the button went down on gets the moves
            // and the release, wherever the pointer goes meanwhile.
            held_ = {name, t.element->rect.left, t.element->rect.top};
            drag_.press(name, -1);
        }
        // The pointer's place across the element, for the bars that seek.
        desk::press(console_, name, button, at.x() - t.element->rect.left,
                    at.y() - t.element->rect.top);
        if (name == "cmdHelp" && button == desk::MouseButton::Left) {
            openUrl_(helpPage());
        }
        afterAction("press", name);
    }
}

void SurfaceWidget::trackMenu(const QPoint& globalAt, int row) {
    auto& songs = console_.form().lstSongs;
    // A press on a row that is not among the chosen ones chooses it alone, as the left button
    // would; on a chosen row the choice stays for the menu to act on.
    if (row >= 0 && row < songs.listCount() &&
        !songs.items[static_cast<std::size_t>(row)].selected && songs.listIndex != row) {
        desk::select(console_, "lstSongs", row);
        afterAction("select", "lstSongs");
    }
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    const core::Element& entry = console_.form().clkDelTrack;
    QAction* remove = menu->addAction(QString::fromStdString(entry.caption));
    remove->setObjectName(QString::fromStdString(entry.name));
    remove->setShortcut(QKeySequence::Delete);
    QObject::connect(remove, &QAction::triggered, this, [this] {
        desk::press(console_, "clkDelTrack");
        afterAction("press", "clkDelTrack");
    });
    trackMenu_ = menu;
    menu->popup(globalAt);
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
    if (!(event->buttons() & Qt::LeftButton)) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    if (!held_.name.empty() && !drag_.active()) {
        // The bars that follow the pointer: the place across the element the button went down
        // on, past its ends too.
        const QPointF at = event->position();
        desk::move(console_, held_.name, at.x() - held_.left, at.y() - held_.top);
        afterAction("move", held_.name);
        return;
    }
    if (!drag_.active()) {
        QWidget::mouseMoveEvent(event);
        return;
    }
    const Target t = targetAt(event->position());
    const std::string name = t.element ? t.element->name : std::string();
    drag_.move(name, t.row);
    afterAction("drag", name);
}

void SurfaceWidget::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && !held_.name.empty()) {
        const std::string name = std::exchange(held_, {}).name;
        desk::release(console_, name);
        afterAction("letGo", name);
    }
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
    if (e && (e->name == "lstSongs" || e->name == "flSweepers" || e->name == "lstPlayListBuilder" ||
              liveassist::samplerButton(e->name) != 0)) {
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
    // The track list imports the files into its category (on the import worker, with its
    // messages and progress); the sweeper list takes them into the sweepers; the Playlist
    // Builder loads the first as a playlist; a sampler button takes the first.
    const std::string name = target->name;
    desk::dropFiles(console_, name, files);
    event->acceptProposedAction();
    afterAction("drop", name);
}

void SurfaceWidget::keyReleaseEvent(QKeyEvent* event) {
    // The function keys come through the station's key filter, from every window of the console.
    QWidget::keyReleaseEvent(event);
}

void SurfaceWidget::wheelEvent(QWheelEvent* event) {
    const core::Element* under = targetAt(event->position()).element;
    core::Element* e = under ? console_.ui.find(under->name) : nullptr;
    const int steps = event->angleDelta().y() / 120;
    if (!e || !showsRows(*e) || steps == 0) {
        QWidget::wheelEvent(event);
        return;
    }
    // Three rows a notch, as the other windows' lists scroll.
    const int before = topRow(*e);
    e->topIndex = before - steps * 3;
    e->topIndex = topRow(*e);
    if (e->topIndex != before) {
        repaintChanges();
    }
    event->accept();
}

void SurfaceWidget::functionKeyReleased(int keyCode) {
    desk::keyUp(console_, keyCode);
    afterAction("keyUp", std::to_string(keyCode));
}

}  // namespace tw::ui
