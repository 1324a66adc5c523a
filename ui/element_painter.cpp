#include "ui/element_painter.h"

#include <QFont>
#include <QFontMetricsF>
#include <algorithm>
#include <cmath>

#include "desk/console_layout.h"
#include "ui/console_colors.h"
#include "ui/visible_elements.h"

namespace tw::ui {

// Font sizes are points on a 96-dpi design, so a point is 4/3 of a design pixel whatever the
// screen's own resolution. The captions are placed by a rule that counts characters instead of
// measuring them, made for a narrow face: a condensed face keeps them inside their buttons.
QFont consoleFont(int points, bool bold) {
    QFont f;
    f.setPixelSize(std::max(1, static_cast<int>(std::lround((points > 0 ? points : 8) * 4.0 / 3))));
    f.setBold(bold);
    f.setStretch(QFont::SemiCondensed);
    return f;
}

namespace {

using core::Element;
using core::ElementKind;

QString qs(const std::string& s) {
    return QString::fromStdString(s);
}

QRectF rectOf(const Element& e) {
    return QRectF(e.rect.left, e.rect.top, e.rect.width, e.rect.height);
}

QColor textColor(const Element& e) {
    return e.enabled ? consoleColor(e.foreColor) : QColor(0x90, 0x90, 0x90);
}

// A caption in its own colour unless that colour disappears into the back colour (the pause
// buttons are black with black captions): then white or black, whichever reads.
QColor legibleTextColor(const Element& e) {
    const QColor fore = textColor(e);
    const QColor back = consoleColor(e.backColor);
    if (std::abs(fore.lightness() - back.lightness()) >= 96) {
        return fore;
    }
    return back.lightness() < 128 ? QColor(Qt::white) : QColor(Qt::black);
}

void paintBox(QPainter& p, const QRectF& r, const QColor& fill) {
    p.fillRect(r, fill);
    p.setPen(QPen(kBorder, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0.5, 0.5, -0.5, -0.5));
}

// The fills and printed texts of a picture or painted button, relative to its top left corner.
// How a drawing made for an older size of its element is fitted to the present one: fills are
// stretched by (sx, sy), printed lines moved by (dx, dy). One to one for a drawing of its size.
// Printed lines may also grow by textScale about the element's centre (the window's growth).
struct DrawingFit {
    double sx = 1, sy = 1, dx = 0, dy = 0;
    double textScale = 1;
};

void paintDrawing(QPainter& p, const Element& e, const DrawingFit& fit = {}) {
    const QRectF r = rectOf(e);
    for (const core::Fill& f : e.drawing.fills) {
        const QRectF area(r.left() + f.x * fit.sx, r.top() + f.y * fit.sy, f.width * fit.sx,
                          f.height * fit.sy);
        if (f.image == core::ImageRole::None) {
            p.fillRect(area, consoleColor(f.color));
        } else {
            paintImageRole(p, area, f.image);
        }
    }
    const QPointF centre = r.center();
    for (const core::PrintedText& t : e.drawing.texts) {
        QFont font = consoleFont(t.fontSize, t.bold);
        if (fit.textScale != 1) {
            font.setPixelSize(
                std::max(1, static_cast<int>(std::lround(font.pixelSize() * fit.textScale))));
        }
        p.setFont(font);
        p.setPen(consoleColor(t.color));
        const double lineHeight = QFontMetricsF(font).height();
        const QPointF at(r.left() + t.x + fit.dx, r.top() + t.y + fit.dy);
        const QPointF scaled = centre + (at - centre) * fit.textScale;
        p.drawText(QRectF(scaled.x(), scaled.y(), 10000, lineHeight),
                   Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, qs(t.text));
    }
}

void paintPictureButton(QPainter& p, const Element& e, double textScale) {
    const QRectF r = rectOf(e);
    if (!e.drawing.empty()) {
        // A painted button is its role's picture stretched over it with its lines centred. One
        // painted before the window last changed its size (the console repaints only some
        // buttons on a resize) still shows so: its picture stretched to the present size and its
        // lines moved by half the growth, which keeps them centred.
        DrawingFit fit;
        if (!e.drawing.fills.empty()) {
            const core::Fill& base = e.drawing.fills.front();
            if (base.image != core::ImageRole::None && base.x == 0 && base.y == 0 &&
                base.width > 0 && base.height > 0) {
                fit = {r.width() / base.width, r.height() / base.height,
                       (r.width() - base.width) / 2, (r.height() - base.height) / 2};
            }
        }
        fit.textScale = textScale;
        paintDrawing(p, e, fit);
        return;
    }
    // Not painted by the logic yet: its role and captions, centred.
    paintImageRole(p, r, e.image == core::ImageRole::None ? core::ImageRole::Gray : e.image);
    p.setFont(consoleFont(e.fontSize, e.fontBold));
    p.setPen(textColor(e));
    const QString text = e.caption2.empty() ? qs(e.caption) : qs(e.caption + "\n" + e.caption2);
    p.drawText(r, Qt::AlignCenter, text);
}

void paintButton(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    const QColor back = consoleColor(e.backColor);
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0, back.lighter(105));
    g.setColorAt(1, back.darker(115));
    p.fillRect(r, g);
    p.setPen(QPen(kBorder.darker(130), 1));
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(r.adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
    p.setFont(consoleFont(e.fontSize, e.fontBold));
    p.setPen(legibleTextColor(e));
    p.drawText(r.adjusted(2, 0, -2, 0), Qt::AlignCenter | Qt::TextWordWrap, qs(e.caption));
}

void paintLabel(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    p.fillRect(r, consoleColor(e.backColor));
    QFont font = consoleFont(e.fontSize, e.fontBold);
    // The cue marks turn black when set: their captions stay readable.
    p.setPen(legibleTextColor(e));
    const QString text = qs(e.caption);
    if (r.height() < 2 * QFontMetricsF(font).height()) {
        const FittedLine line = fitOneLine(text, font, r.width());
        p.setFont(line.font);
        p.drawText(r, Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, line.text);
        return;
    }
    p.setFont(font);
    p.drawText(r, Qt::AlignLeft | Qt::AlignTop | Qt::TextWordWrap, text);
}

void paintPicture(QPainter& p, const Element& e) {
    paintBox(p, rectOf(e), consoleColor(e.backColor));
    paintDrawing(p, e);
}

bool isGrid(const Element& e) {
    return e.kind == ElementKind::Grid;
}

constexpr double kThumbWidth = 5;

double rowHeight(const Element& e) {
    return QFontMetricsF(consoleFont(e.fontSize, e.fontBold)).height() + 1;
}

// Where the rows of a list or grid go: inside the border, under a grid's header line.
QRectF rowsArea(const Element& e) {
    const QRectF inside = rectOf(e).adjusted(1, 1, -1, -1);
    return isGrid(e) ? inside.adjusted(0, rowHeight(e) + 1, 0, 0) : inside;
}

int shownCount(const Element& e) {
    return isGrid(e) ? e.rowCount() : e.listCount();
}

// Lines of text one under the other from the top of r, from the element's top row, the selected
// one highlighted; as many as fit, and the thumb when there are more.
template <typename Text, typename Selected>
void paintLines(QPainter& p, const QRectF& r, int count, const Element& e, Text text,
                Selected selected) {
    p.setFont(consoleFont(e.fontSize, e.fontBold));
    const double lineHeight = rowHeight(e);
    const int first = topRow(e);
    const int shown = rowsShown(e);
    paintScrollThumb(p, r, first, shown, count);
    const QRectF lines = count > shown ? r.adjusted(0, 0, -kThumbWidth, 0) : r;
    double y = r.top();
    for (int i = first; i < count && y < r.bottom(); ++i, y += lineHeight) {
        const QRectF line(lines.left(), y, lines.width(), lineHeight);
        if (selected(i)) {
            p.fillRect(line, kSelection);
            p.setPen(Qt::white);
        } else {
            p.setPen(textColor(e));
        }
        text(p, i, line.adjusted(2, 0, -2, 0));
    }
}

void paintList(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    paintBox(p, r, consoleColor(e.backColor));
    paintLines(
        p, rowsArea(e), e.listCount(), e,
        [&](QPainter& pp, int i, const QRectF& line) {
            const auto& item = e.items[static_cast<std::size_t>(i)];
            // Folder lists show folders; say so, since there is no icon to tell them apart.
            const QString text =
                e.kind == ElementKind::DirList ? "[" + qs(item.text) + "]" : qs(item.text);
            pp.drawText(line, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, text);
        },
        [&](int i) { return i == e.listIndex || e.items[static_cast<std::size_t>(i)].selected; });
}

// A tick box at the left of a cell, ticked or not.
void paintTickBox(QPainter& p, const QRectF& cell, bool ticked) {
    const double side = std::min(11.0, cell.height() - 2);
    const QRectF box(cell.left() + 1, cell.center().y() - side / 2, side, side);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kBorder.darker(150), 1));
    p.setBrush(Qt::white);
    p.drawRect(box);
    if (ticked) {
        p.setPen(QPen(Qt::black, 2));
        p.drawLine(QPointF(box.left() + 2, box.center().y()),
                   QPointF(box.center().x() - 1, box.bottom() - 2));
        p.drawLine(QPointF(box.center().x() - 1, box.bottom() - 2),
                   QPointF(box.right() - 2, box.top() + 2));
    }
    p.restore();
}

double gridColumnWidth(const Element& e) {
    std::size_t columns = e.columns.size();
    for (const auto& row : e.rows) {
        columns = std::max(columns, row.cells.size());
    }
    return columns == 0 ? 0 : (e.rect.width - 2) / static_cast<double>(columns);
}

void paintGrid(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    paintBox(p, r, consoleColor(e.backColor));
    std::size_t columns = e.columns.size();
    for (const auto& row : e.rows) {
        columns = std::max(columns, row.cells.size());
    }
    if (columns == 0) {
        return;
    }
    const QFont font = consoleFont(e.fontSize, e.fontBold);
    const QRectF rows = rowsArea(e);
    const double columnWidth = (r.width() - 2) / static_cast<double>(columns);
    auto cellRect = [&](std::size_t column, const QRectF& line) {
        return QRectF(line.left() + columnWidth * static_cast<double>(column) + 2, line.top(),
                      columnWidth - 4, line.height());
    };
    const QRectF header(rows.left(), r.top() + 1, rows.width(), rows.top() - r.top() - 1);
    p.fillRect(header, QColor(0xE4, 0xE4, 0xE4));
    p.setFont(font);
    p.setPen(Qt::black);
    for (std::size_t c = 0; c < e.columns.size(); ++c) {
        p.drawText(cellRect(c, header), Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   qs(e.columns[c]));
    }
    const bool ticks = hasTickColumn(e);
    paintLines(
        p, rows, e.rowCount(), e,
        [&](QPainter& pp, int i, const QRectF& line) {
            const auto& row = e.rows[static_cast<std::size_t>(i)];
            if (ticks) {
                paintTickBox(pp, cellRect(0, line), row.checked);
            }
            for (std::size_t c = ticks ? 1 : 0; c < row.cells.size(); ++c) {
                pp.drawText(cellRect(c, line.adjusted(-2, 0, 2, 0)),
                            Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                            qs(row.cells[c]));
            }
        },
        [&](int i) { return i == e.row || e.rows[static_cast<std::size_t>(i)].selected; });
}

}  // namespace

FittedLine fitOneLine(const QString& text, QFont font, double width) {
    const int full = font.pixelSize();
    while (QFontMetricsF(font).horizontalAdvance(text) > width && font.pixelSize() > full * 2 / 3) {
        font.setPixelSize(font.pixelSize() - 1);
    }
    return {font, QFontMetricsF(font).elidedText(text, Qt::ElideRight, width)};
}

QRectF comboArrowPlace(const Element& e) {
    const QRectF r = rectOf(e);
    const double arrow = std::min(r.height(), 18.0);
    return QRectF(r.right() - arrow, r.top(), arrow, r.height());
}

namespace {

void paintTextBox(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    paintBox(p, r, consoleColor(e.backColor));
    p.setFont(consoleFont(e.fontSize, e.fontBold));
    p.setPen(textColor(e));
    QRectF textArea = r.adjusted(3, 0, -3, 0);
    if (e.kind == ElementKind::ComboBox) {
        const QRectF button = comboArrowPlace(e);
        p.fillRect(button.adjusted(1, 1, -1, -1), QColor(0xE0, 0xE0, 0xE0));
        const QPointF c = button.center();
        const QPointF tri[] = {{c.x() - 4, c.y() - 2}, {c.x() + 4, c.y() - 2}, {c.x(), c.y() + 3}};
        p.save();
        p.setBrush(Qt::black);
        p.setPen(Qt::NoPen);
        p.drawPolygon(tri, 3);
        p.restore();
        textArea.setRight(button.left() - 2);
    }
    p.drawText(textArea, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, qs(e.text));
}

void paintCheck(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    const double side = std::min(13.0, r.height());
    const QRectF box(r.left() + 1, r.center().y() - side / 2, side, side);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kBorder.darker(150), 1));
    p.setBrush(Qt::white);
    if (e.kind == ElementKind::OptionButton) {
        p.drawEllipse(box);
        if (e.value != 0) {
            p.setBrush(Qt::black);
            p.drawEllipse(box.adjusted(3.5, 3.5, -3.5, -3.5));
        }
    } else {
        p.drawRect(box);
        if (e.value != 0) {
            p.setPen(QPen(Qt::black, 2));
            p.drawLine(QPointF(box.left() + 3, box.center().y()),
                       QPointF(box.center().x() - 1, box.bottom() - 3));
            p.drawLine(QPointF(box.center().x() - 1, box.bottom() - 3),
                       QPointF(box.right() - 2, box.top() + 3));
        }
    }
    p.restore();
    p.setFont(consoleFont(e.fontSize, e.fontBold));
    p.setPen(textColor(e));
    p.drawText(QRectF(box.right() + 4, r.top(), r.right() - box.right() - 4, r.height()),
               Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine, qs(e.caption));
}

void paintSlider(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    const double y = r.center().y();
    p.setPen(QPen(kBorder, 2));
    p.drawLine(QPointF(r.left() + 4, y), QPointF(r.right() - 4, y));
    const int span = e.maximum - e.minimum;
    const double share =
        span == 0 ? 0 : std::clamp(static_cast<double>(e.value - e.minimum) / span, 0.0, 1.0);
    const double x = r.left() + 4 + share * (r.width() - 8);
    p.fillRect(QRectF(x - 3, r.top() + 2, 6, r.height() - 4), QColor(0x60, 0x60, 0x60));
}

void paintFrame(QPainter& p, const Element& e) {
    const QRectF r = rectOf(e);
    p.setPen(QPen(kBorder, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(r.adjusted(0.5, 0.5, -0.5, -0.5));
    if (!e.caption.empty()) {
        const QFont font = consoleFont(e.fontSize, e.fontBold);
        p.setFont(font);
        const QString text = qs(e.caption);
        const QRectF label(r.left() + 8, r.top() - QFontMetricsF(font).height() / 2,
                           QFontMetricsF(font).horizontalAdvance(text) + 4,
                           QFontMetricsF(font).height());
        p.fillRect(label, Qt::white);
        p.setPen(textColor(e));
        p.drawText(label, Qt::AlignCenter, text);
    }
}

}  // namespace

bool hasTickColumn(const Element& e) {
    // The rotation's first column ("Sweeper") is a tick per row.
    return e.kind == ElementKind::Grid && e.name == "lstRotation";
}

int columnAt(const Element& e, double x) {
    const double width = gridColumnWidth(e);
    if (e.kind != ElementKind::Grid || width <= 0) {
        return -1;
    }
    const double across = x - e.rect.left - 1;
    if (across < 0 || across >= e.rect.width - 2) {
        return -1;
    }
    return static_cast<int>(across / width);
}

int rowAt(const Element& e, double y) {
    const int count = shownCount(e);
    const QRectF rows = rowsArea(e);
    if (y < rows.top() || y >= rows.bottom()) {
        return -1;
    }
    const int row = topRow(e) + static_cast<int>((y - rows.top()) / rowHeight(e));
    return row < count ? row : -1;
}

bool showsRows(const Element& e) {
    return e.kind == ElementKind::ListBox || e.kind == ElementKind::FileList ||
           e.kind == ElementKind::DirList || e.kind == ElementKind::Grid;
}

int rowsShown(const Element& e) {
    return std::max(1, static_cast<int>(rowsArea(e).height() / rowHeight(e)));
}

int topRow(const Element& e) {
    return std::clamp(e.topIndex, 0, std::max(0, shownCount(e) - rowsShown(e)));
}

int topShowing(const Element& e, int top, int row) {
    const int shown = rowsShown(e);
    if (row < top) {
        top = row;
    } else if (row >= top + shown) {
        top = row - shown + 1;
    }
    return std::clamp(top, 0, std::max(0, shownCount(e) - shown));
}

void paintScrollThumb(QPainter& p, const QRectF& area, int first, int shown, int count) {
    if (count <= shown || count <= 0) {
        return;
    }
    const double share = static_cast<double>(shown) / count;
    const double top = static_cast<double>(first) / count;
    p.fillRect(QRectF(area.right() - kThumbWidth, area.top() + top * area.height(), kThumbWidth,
                      std::max(8.0, share * area.height())),
               QColor(0x90, 0x90, 0x90));
}

void paintElement(QPainter& p, const Element& e, double textScale) {
    p.save();
    // Nothing an element draws leaves its own rect (captions that the centring rule places
    // outside it included), except a frame's caption, which sits on its top edge.
    if (e.kind != ElementKind::Frame) {
        p.setClipRect(rectOf(e), Qt::IntersectClip);
    }
    switch (e.kind) {
        case ElementKind::PictureButton:
            paintPictureButton(p, e, textScale);
            break;
        case ElementKind::Button:
            paintButton(p, e);
            break;
        case ElementKind::Label:
            paintLabel(p, e);
            break;
        case ElementKind::Picture:
            paintPicture(p, e);
            break;
        case ElementKind::ListBox:
        case ElementKind::FileList:
        case ElementKind::DirList:
            paintList(p, e);
            break;
        case ElementKind::Grid:
            paintGrid(p, e);
            break;
        case ElementKind::TextBox:
        case ElementKind::ComboBox:
            paintTextBox(p, e);
            break;
        case ElementKind::CheckBox:
        case ElementKind::OptionButton:
            paintCheck(p, e);
            break;
        case ElementKind::Slider:
            paintSlider(p, e);
            break;
        case ElementKind::Frame:
            paintFrame(p, e);
            break;
        case ElementKind::Form:
        case ElementKind::Timer:
        case ElementKind::Menu:
            break;
    }
    p.restore();
}

void paintConsole(QPainter& p, core::MainForm& form, const QRectF& area) {
    const Element& desk = form.frmTarnDesk;
    p.fillRect(QRectF(0, 0, desk.rect.width, desk.rect.height), consoleColor(desk.backColor));
    // The bold captions printed on the buttons (always at the same size by the console) grow
    // with the window, by the smaller of its two growths.
    const double textScale = std::max(1.0, std::min(desk.rect.width / desk::kDesignWidth,
                                                    desk.rect.height / desk::kDesignHeight));
    // Texts printed on the form (the message line) are on the form's own surface, so the
    // controls stand in front of them.
    p.save();
    for (const core::PrintedText& t : desk.drawing.texts) {
        const QFont font = consoleFont(t.fontSize, t.bold);
        p.setFont(font);
        p.setPen(consoleColor(t.color));
        p.drawText(QRectF(t.x, t.y, desk.rect.width - t.x, QFontMetricsF(font).height()),
                   Qt::AlignLeft | Qt::AlignTop | Qt::TextSingleLine, qs(t.text));
    }
    p.restore();
    for (const Element* e : drawnElements(form)) {
        // Frame captions stand a little above their frame.
        if (area.isNull() || rectOf(*e).adjusted(-8, -8, 8, 8).intersects(area)) {
            paintElement(p, *e, textScale);
        }
    }
}

core::Element maskedBox(const core::Element& box) {
    core::Element masked = box;
    masked.text.clear();
    for (qsizetype i = 0; i < QString::fromStdString(box.text).size(); ++i) {
        masked.text += "\u2022";
    }
    return masked;
}

}  // namespace tw::ui
