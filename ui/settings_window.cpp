#include "ui/settings_window.h"

#include <QCloseEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QSignalBlocker>
#include <QSlider>
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>

#include "desk/actions.h"
#include "ui/box_editor.h"
#include "ui/console_colors.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"
#include "ui/element_tool_tip.h"

namespace tw::ui {

namespace {

// The layout at its design size, in window pixels: two columns of frames, 322 wide, with a
// 12-pixel margin round them and 14 between the frames of a column, and under them three frames
// across both columns, the studio output, the loudness on the air and the web status. A frame's
// caption stands on its top edge, so every frame keeps the caption's half height clear above it.
constexpr double kSettingsDesignWidth = 680;
constexpr double kSettingsDesignHeight = 614;

constexpr std::string_view kForm = "frmAppSettings.";

struct Place {
    core::Element core::SettingsForm::*element;
    core::Rect rect;
};

// The elements that are not in an array, where they stand at the design size.
constexpr Place kPlaces[] = {
    // Left column.
    {&core::SettingsForm::frmCrossFadeTime, {12, 16, 322, 88}},
    {&core::SettingsForm::lblPeriod, {80, 41, 8, 16}},
    {&core::SettingsForm::sldCrossfadeSeconds, {160, 36, 162, 30}},
    {&core::SettingsForm::frmSilenceDetection, {12, 118, 322, 88}},
    {&core::SettingsForm::sldrSilenceValue, {160, 138, 162, 30}},
    {&core::SettingsForm::frmArtistSeperation, {12, 220, 322, 132}},
    {&core::SettingsForm::txtArtistSeperation, {28, 242, 56, 22}},
    {&core::SettingsForm::sldrArtistSeperation, {22, 272, 302, 30}},
    {&core::SettingsForm::lblArtistSepperationText, {28, 308, 290, 36}},
    // Right column.
    {&core::SettingsForm::Frame1, {346, 16, 322, 146}},
    {&core::SettingsForm::chkEnableAutoTrim, {362, 38, 150, 20}},
    {&core::SettingsForm::sldrTrimThreshold, {356, 64, 236, 30}},
    {&core::SettingsForm::lblTrimThreshold, {600, 71, 56, 18}},
    {&core::SettingsForm::frmResetPlayeData, {346, 176, 322, 66}},
    {&core::SettingsForm::cmdViewAppLog, {360, 198, 94, 30}},
    {&core::SettingsForm::cmdViewPlayedLog, {460, 198, 94, 30}},
    {&core::SettingsForm::cmdResetPlayed, {560, 198, 94, 30}},
    {&core::SettingsForm::frmMicrophone, {346, 256, 322, 96}},
    {&core::SettingsForm::cboMicDevice, {414, 279, 160, 22}},
    {&core::SettingsForm::cmdRefreshMicList, {582, 278, 72, 24}},
    {&core::SettingsForm::cboMicInput, {414, 315, 240, 22}},
    // Across both columns.
    {&core::SettingsForm::frmStudioOutput, {12, 366, 656, 52}},
    {&core::SettingsForm::cboStudioOutput, {80, 388, 400, 22}},
    {&core::SettingsForm::frmLoudness, {12, 432, 656, 52}},
    {&core::SettingsForm::cboLoudnessTarget, {80, 454, 120, 22}},
    {&core::SettingsForm::lblLoudnessProgress, {212, 458, 280, 16}},
    {&core::SettingsForm::cmdWriteReplayGain, {504, 452, 150, 26}},
    {&core::SettingsForm::frmWebStatus, {12, 498, 656, 104}},
    {&core::SettingsForm::txtWebPort, {80, 520, 64, 22}},
    {&core::SettingsForm::txtWebAddress, {218, 520, 150, 22}},
    {&core::SettingsForm::txtWebToken, {430, 520, 224, 22}},
    {&core::SettingsForm::txtNowPlayingCommand, {92, 550, 562, 22}},
    {&core::SettingsForm::lblWebStatusUrl, {92, 578, 562, 16}},
};

// The two boxes of the crossfade and of the low-volume field, seconds left of the point and
// hundredths right of it; the silence frame is the crossfade frame moved down.
constexpr double kSilenceShift = 102;
constexpr core::Rect kSecondsBox{28, 38, 48, 22};
constexpr core::Rect kHundredthsBox{92, 38, 48, 22};

constexpr int kCentredLine =
    static_cast<int>(Qt::AlignHCenter | Qt::AlignVCenter) | Qt::TextSingleLine;
constexpr int kLeftLine = static_cast<int>(Qt::AlignLeft | Qt::AlignVCenter) | Qt::TextSingleLine;
constexpr int kParagraph = static_cast<int>(Qt::AlignLeft | Qt::AlignTop) | Qt::TextWordWrap;

struct DesignText {
    const char* text;
    core::Rect rect;
    int flags;
};

// The window's own texts: the units under each box, what the separation box counts, the note
// on auto-trim and the names of the lists.
constexpr DesignText kTexts[] = {
    {"Seconds", {20, 64, 64, 16}, kCentredLine},
    {"MSeconds", {84, 64, 64, 16}, kCentredLine},
    {"Seconds", {20, 64 + kSilenceShift, 64, 16}, kCentredLine},
    {"MSeconds", {84, 64 + kSilenceShift, 64, 16}, kCentredLine},
    {"Hour/s ofArtist Seperation", {92, 242, 226, 22}, kLeftLine},
    {"Auto Trim and Auto NextStart will trim any silence/ low volume of the tracks being played "
     "to prevent silence during track transitions",
     {362, 102, 290, 50},
     kParagraph},
    {"Device", {362, 279, 50, 22}, kLeftLine},
    {"Input", {362, 315, 50, 22}, kLeftLine},
    {"Device", {28, 388, 50, 22}, kLeftLine},
    {"Target", {28, 454, 50, 22}, kLeftLine},
    {"Port", {28, 520, 50, 22}, kLeftLine},
    {"Address", {160, 520, 56, 22}, kLeftLine},
    {"Token", {380, 520, 48, 22}, kLeftLine},
    {"Command", {28, 550, 60, 22}, kLeftLine},
};

// The back colour of a button while the mouse is held down on it.
constexpr std::uint32_t kPressedBack = 0xD0D0D0;

core::Rect moved(core::Rect r, double down) {
    r.top += down;
    return r;
}

// The boxes that take typed text as well as a choice from their list.
bool takesText(const core::SettingsForm& f, const core::Element& box) {
    return &box == &f.cboLoudnessTarget;
}

// The text boxes typed in place (Return takes the text); the others take a click.
bool typedInPlace(const core::SettingsForm& f, const core::Element& box) {
    return &box == &f.txtWebPort || &box == &f.txtWebAddress || &box == &f.txtWebToken ||
           &box == &f.txtNowPlayingCommand;
}

bool inside(const core::Element& e, const QPointF& at) {
    return e.visible && e.rect.width > 0 && at.x() >= e.rect.left &&
           at.x() < e.rect.left + e.rect.width && at.y() >= e.rect.top &&
           at.y() < e.rect.top + e.rect.height;
}

// An element's font grown with the window.
int grownFont(int points, double scale) {
    return std::max(1, static_cast<int>(std::lround((points > 0 ? points : 8) * scale)));
}

// The marks under a slider: whole seconds, five decibels, half hours of separation.
int tickInterval(const core::Element& slider) {
    const int span = slider.maximum - slider.minimum;
    return span <= 10 ? 1 : span <= 60 ? 5 : 50;
}

}  // namespace

SettingsWindow::SettingsWindow(core::Console& console, QWidget* owner, int beatMs)
    : QWidget(owner, Qt::Dialog), console_(console), editor_(this), items_(*this) {
    core::SettingsForm& f = console_.ui.settings;
    // Each keystroke is the box's text at once, as in the server settings; the level is taken
    // only on Return.
    QObject::connect(editor_.lineEdit(), &QLineEdit::textEdited, this, [this](const QString& text) {
        if (!editor_.editing().empty()) {
            desk::type(console_, std::string(kForm) + editor_.editing(), text.toStdString());
            update();
        }
    });
    QObject::connect(editor_.lineEdit(), &QLineEdit::returnPressed, this, [this] {
        const std::string name = editor_.editing();
        if (name.empty()) {
            return;
        }
        desk::type(console_, std::string(kForm) + name, editor_.lineEdit()->text().toStdString());
        editor_.close();
        desk::enter(console_, std::string(kForm) + name);
        syncSliders();
        update();
    });
    QObject::connect(editor_.lineEdit(), &QLineEdit::editingFinished, this, [this] {
        if (!editor_.lineEdit()->hasFocus()) {
            abandonTyping();
        }
    });
    for (core::Element* e : {&f.sldCrossfadeSeconds, &f.sldrSilenceValue, &f.sldrArtistSeperation,
                             &f.sldrTrimThreshold}) {
        auto* slider = new QSlider(Qt::Horizontal, this);
        slider->setObjectName(QString::fromStdString(e->name));
        slider->setTickPosition(QSlider::TicksBelow);
        slider->setFocusPolicy(Qt::StrongFocus);
        // Every value change that reaches here is the operator's: the window sets values from
        // the model with the slider's signals blocked.
        QObject::connect(slider, &QSlider::valueChanged, this,
                         [this, e](int value) { operatorSlid(*e, value); });
        sliders_.push_back({e, slider});
    }
    setMinimumSize(designSize());
    resize(designSize());
    place();
    syncSliders();
    beat_ = std::make_unique<VisibleBeat>(owner ? *owner : *this, beatMs, [this] { follow(); });
}

QSize SettingsWindow::designSize() {
    return QSize(static_cast<int>(kSettingsDesignWidth), static_cast<int>(kSettingsDesignHeight));
}

double SettingsWindow::textScale() const {
    return std::max(1.0,
                    std::min(width() / kSettingsDesignWidth, height() / kSettingsDesignHeight));
}

core::Element SettingsWindow::grownBox(const core::Element& box) const {
    core::Element grown = box;
    grown.fontSize = grownFont(box.fontSize, textScale());
    return grown;
}

void SettingsWindow::place() {
    core::SettingsForm& f = console_.ui.settings;
    const double sx = width() / kSettingsDesignWidth;
    const double sy = height() / kSettingsDesignHeight;
    auto grown = [&](const core::Rect& r) {
        return core::Rect{r.left * sx, r.top * sy, r.width * sx, r.height * sy};
    };
    auto put = [](core::Element& e, const core::Rect& r) {
        if (e.rect != r) {
            e.rect = r;
        }
    };
    put(f.frmAppSettings, {0, 0, static_cast<double>(width()), static_cast<double>(height())});
    for (const Place& place : kPlaces) {
        put(f.*place.element, grown(place.rect));
    }
    put(f.txtCrossfadeSeconds[0], grown(kSecondsBox));
    put(f.txtCrossfadeSeconds[1], grown(kHundredthsBox));
    put(f.txtSilenceSeconds[0], grown(moved(kSecondsBox, kSilenceShift)));
    put(f.txtSilenceSeconds[1], grown(moved(kHundredthsBox, kSilenceShift)));
}

std::vector<SettingsWindow::FixedText> SettingsWindow::fixedTexts() const {
    const double sx = width() / kSettingsDesignWidth;
    const double sy = height() / kSettingsDesignHeight;
    std::vector<FixedText> texts;
    for (const DesignText& t : kTexts) {
        texts.push_back(
            {QString::fromUtf8(t.text),
             QRectF(t.rect.left * sx, t.rect.top * sy, t.rect.width * sx, t.rect.height * sy),
             t.flags});
    }
    return texts;
}

QSlider* SettingsWindow::sliderFor(std::string_view name) const {
    for (const SliderWidget& s : sliders_) {
        if (s.element->name == name) {
            return s.widget;
        }
    }
    return nullptr;
}

QMenu* SettingsWindow::openList() const {
    return items_.menu();
}

void SettingsWindow::syncSliders() {
    for (const SliderWidget& s : sliders_) {
        const core::Element& e = *s.element;
        const QSignalBlocker quiet(s.widget);
        if (s.widget->minimum() != e.minimum || s.widget->maximum() != e.maximum) {
            s.widget->setRange(e.minimum, e.maximum);
            s.widget->setTickInterval(tickInterval(e));
            s.widget->setPageStep(tickInterval(e));
        }
        if (s.widget->value() != e.value) {
            s.widget->setValue(e.value);
        }
        const QRect at = QRectF(e.rect.left, e.rect.top, e.rect.width, e.rect.height).toRect();
        if (s.widget->geometry() != at) {
            s.widget->setGeometry(at);
        }
        const QString tip = QString::fromStdString(e.toolTip);
        if (s.widget->toolTip() != tip) {
            s.widget->setToolTip(tip);
        }
        s.widget->setEnabled(e.enabled);
        s.widget->setVisible(e.visible);
    }
}

void SettingsWindow::operatorSlid(const core::Element& slider, int value) {
    desk::slide(console_, std::string(kForm) + slider.name, value);
    // The console keeps the value within its range; the widget shows what it kept.
    syncSliders();
    update();
}

void SettingsWindow::follow() {
    const core::SettingsForm& f = console_.ui.settings;
    const bool wanted = f.frmAppSettings.visible && console_.loaded && !console_.unloaded;
    if (!wanted) {
        items_.close();
        abandonTyping();
        if (isVisible()) {
            hide();
        }
        return;
    }
    place();
    syncSliders();
    const QString title = QString::fromStdString(f.frmAppSettings.caption);
    if (windowTitle() != title) {
        setWindowTitle(title);
    }
    std::size_t look = std::hash<std::string>{}(pressed_);
    for (const core::Element* e : console_.ui.settings.all()) {
        look = look * 1000003u ^ elementFingerprint(*e);
    }
    if (!isVisible()) {
        show();
        raise();
        activateWindow();
    } else if (look == lastLook_) {
        return;
    }
    lastLook_ = look;
    update();
}

core::Element* SettingsWindow::elementAt(const QPointF& at) {
    core::Element* found = nullptr;
    for (core::Element* e : console_.ui.settings.all()) {
        const bool drawnHere = e->kind != core::ElementKind::Form &&
                               e->kind != core::ElementKind::Frame &&
                               e->kind != core::ElementKind::Slider;
        if (drawnHere && inside(*e, at)) {
            found = e;
        }
    }
    return found;
}

bool SettingsWindow::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip) {
        return QWidget::event(event);
    }
    // The tool tips are the elements' own; the sliders show theirs as widgets.
    auto* help = static_cast<QHelpEvent*>(event);
    return showElementToolTip(*this, *help, elementAt(help->pos()));
}

void SettingsWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    place();
    syncSliders();
    if (const core::Element* box = console_.ui.settings.find(editor_.editing())) {
        editor_.follow(grownBox(*box));
    }
    update();
}

void SettingsWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    core::SettingsForm& f = console_.ui.settings;
    p.fillRect(rect(), consoleColor(f.frmAppSettings.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    const double scale = textScale();
    for (const core::Element* e : f.all()) {
        if (e->kind == core::ElementKind::Form || e->kind == core::ElementKind::Slider ||
            !e->visible || e->rect.width <= 0) {
            continue;
        }
        // The painter draws an element's texts at its own font size: the copy carries the size
        // grown with the window.
        core::Element shown = *e;
        shown.fontSize = grownFont(e->fontSize, scale);
        if (e->kind == core::ElementKind::Button && e->name == pressed_) {
            shown.backColor = kPressedBack;
        }
        if (e == &f.txtWebToken) {
            shown = maskedBox(shown);
        }
        if (e->kind == core::ElementKind::CheckBox && scale > 1) {
            // The painter draws a tick box at one size whatever the font: the whole element is
            // drawn at its design size and grown, so that box and caption grow together.
            p.save();
            p.translate(e->rect.left, e->rect.top);
            p.scale(scale, scale);
            shown.rect = {0, 0, e->rect.width / scale, e->rect.height / scale};
            shown.fontSize = e->fontSize;
            paintElement(p, shown);
            p.restore();
        } else {
            paintElement(p, shown);
        }
    }
    p.setFont(consoleFont(grownFont(8, scale), false));
    p.setPen(Qt::black);
    for (const FixedText& t : fixedTexts()) {
        p.drawText(t.rect, t.flags, t.text);
    }
}

void SettingsWindow::act(const std::string& name) {
    desk::press(console_, std::string(kForm) + name);
    syncSliders();
    update();
}

void SettingsWindow::mousePressEvent(QMouseEvent* event) {
    abandonTyping();
    if (event->button() != Qt::LeftButton) {
        QWidget::mousePressEvent(event);
        return;
    }
    core::Element* e = elementAt(event->position());
    if (!e || !e->enabled) {
        return;
    }
    switch (e->kind) {
        case core::ElementKind::ComboBox:
            // A box that takes a typed level takes text left of its arrow; the arrow opens the
            // list.
            if (takesText(console_.ui.settings, *e) &&
                !comboArrowPlace(*e).contains(event->position())) {
                typedBefore_ = e->text;
                editor_.open(grownBox(*e));
            } else {
                openItems(*e);
            }
            break;
        case core::ElementKind::TextBox:
            if (typedInPlace(console_.ui.settings, *e)) {
                typedBefore_ = e->text;
                editor_.open(grownBox(*e), e == &console_.ui.settings.txtWebToken);
                break;
            }
            [[fallthrough]];
        case core::ElementKind::Button:
        case core::ElementKind::CheckBox:
            pressed_ = e->name;
            update();
            break;
        default:
            break;
    }
}

void SettingsWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || pressed_.empty()) {
        QWidget::mouseReleaseEvent(event);
        return;
    }
    // A click is a press and a release on the same element: let go elsewhere, nothing happens.
    const std::string name = std::exchange(pressed_, std::string());
    const core::Element* e = elementAt(event->position());
    update();
    if (e && e->name == name && e->enabled) {
        act(name);
    }
}

void SettingsWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        // Escape in a box being typed in leaves the box; a second one closes the window.
        if (!editor_.editing().empty()) {
            abandonTyping();
            return;
        }
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

void SettingsWindow::openItems(core::Element& list) {
    // The list is held by name: the console may have filled it anew before the choice.
    const std::string name = list.name;
    items_.open(list, grownFont(list.fontSize, textScale()), [this, name](int row) {
        desk::select(console_, std::string(kForm) + name, row);
        syncSliders();
        update();
    });
}

QLineEdit* SettingsWindow::openEditor() const {
    return editor_.editing().empty() ? nullptr : editor_.lineEdit();
}

void SettingsWindow::abandonTyping() {
    const std::string name = editor_.editing();
    if (!editor_.close()) {
        return;
    }
    // Typing left without Return takes nothing: the box shows again what it showed before, so
    // that it never shows a level that is not the one on the air.
    const core::Element* box = console_.ui.settings.find(name);
    if (box && box->text != typedBefore_) {
        desk::type(console_, std::string(kForm) + name, typedBefore_);
    }
    update();
}

void SettingsWindow::closeEvent(QCloseEvent* event) {
    // The form stays loaded and only hides; the console's Options button shows it again.
    items_.close();
    abandonTyping();
    pressed_.clear();
    console_.ui.settings.frmAppSettings.visible = false;
    event->accept();
}

}  // namespace tw::ui
