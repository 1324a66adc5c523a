#include "ui/statistics_window.h"

#include <QCloseEvent>
#include <QFontMetricsF>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include "desk/actions.h"
#include "reporting/statistics.h"
#include "ui/console_colors.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"

namespace tw::ui {

namespace {

// The layout at its design size, in window pixels: the categories over the Report button on the
// left, the report grid filling the rest.
constexpr double kStatisticsDesignWidth = 760;
constexpr double kStatisticsDesignHeight = 440;
constexpr core::Rect kCategories{8, 8, 180, 360};
constexpr core::Rect kReportButton{8, 376, 180, 56};
constexpr core::Rect kGrid{196, 8, 556, 424};

// The report's columns (category, track name, plays, tune-outs, percentage) as shares of the
// grid's width: the track names need the most.
constexpr double kColumnShares[] = {0.16, 0.42, 0.14, 0.14, 0.14};

constexpr std::string_view kCategoryList = "frmStatistics.lstCatagories";
constexpr std::string_view kReportName = "frmStatistics.cmdRunReport";

QRectF rectOf(const core::Element& e) {
    return QRectF(e.rect.left, e.rect.top, e.rect.width, e.rect.height);
}

// An element's font grown with the window.
int grownFont(const core::Element& e, double scale) {
    return std::max(1, static_cast<int>(std::lround((e.fontSize > 0 ? e.fontSize : 8) * scale)));
}

// A tick box at the left of a row, ticked or not.
void paintTick(QPainter& p, const QRectF& line, bool ticked) {
    const double side = std::min(line.height() - 4, 13.0 * line.height() / 18.0);
    const QRectF box(line.left() + 3, line.center().y() - side / 2, side, side);
    p.save();
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(QPen(kBorder.darker(150), 1));
    p.setBrush(Qt::white);
    p.drawRect(box);
    if (ticked) {
        p.setPen(QPen(Qt::black, std::max(1.5, side / 6)));
        const QPointF turn(box.left() + side * 0.42, box.bottom() - side * 0.22);
        p.drawLine(QPointF(box.left() + side * 0.2, box.center().y()), turn);
        p.drawLine(turn, QPointF(box.right() - side * 0.18, box.top() + side * 0.2));
    }
    p.restore();
}

}  // namespace

StatisticsWindow::StatisticsWindow(core::Console& console, QWidget* owner, int beatMs)
    : QWidget(owner, Qt::Dialog), console_(console) {
    setMinimumSize(designSize());
    resize(designSize());
    place();
    beat_ = std::make_unique<VisibleBeat>(owner ? *owner : *this, beatMs, [this] { follow(); });
}

QSize StatisticsWindow::designSize() {
    return QSize(static_cast<int>(kStatisticsDesignWidth),
                 static_cast<int>(kStatisticsDesignHeight));
}

double StatisticsWindow::textScale() const {
    return std::max(1.0,
                    std::min(width() / kStatisticsDesignWidth, height() / kStatisticsDesignHeight));
}

void StatisticsWindow::place() {
    core::StatisticsForm& f = console_.ui.statistics;
    const double sx = width() / kStatisticsDesignWidth;
    const double sy = height() / kStatisticsDesignHeight;
    auto grown = [&](const core::Rect& r) {
        return core::Rect{r.left * sx, r.top * sy, r.width * sx, r.height * sy};
    };
    const core::Rect form{0, 0, static_cast<double>(width()), static_cast<double>(height())};
    const std::pair<core::Element*, core::Rect> places[] = {{&f.frmStatistics, form},
                                                            {&f.lstCatagories, grown(kCategories)},
                                                            {&f.cmdRunReport, grown(kReportButton)},
                                                            {&f.lstSongList, grown(kGrid)}};
    for (const auto& [e, r] : places) {
        if (e->rect != r) {
            e->rect = r;
        }
    }
}

double StatisticsWindow::categoryRowHeight() const {
    const core::Element& list = console_.ui.statistics.lstCatagories;
    const QFont font = consoleFont(grownFont(list, textScale()), list.fontBold);
    return std::ceil(QFontMetricsF(font).height() + 6 * textScale());
}

int StatisticsWindow::categoryRowsShown() const {
    const core::Element& list = console_.ui.statistics.lstCatagories;
    return std::max(1, static_cast<int>((list.rect.height - 2) / categoryRowHeight()));
}

int StatisticsWindow::reportRowsShown() const {
    // The grid's rows are its font's height and one; its header is one row and a line.
    const core::Element& grid = console_.ui.statistics.lstSongList;
    const QFont font = consoleFont(grownFont(grid, textScale()), grid.fontBold);
    const double row = QFontMetricsF(font).height() + 1;
    return std::max(1, static_cast<int>((grid.rect.height - 2 - row - 1) / row));
}

int StatisticsWindow::categoryAt(const QPointF& at) const {
    const core::Element& list = console_.ui.statistics.lstCatagories;
    const QRectF inside = rectOf(list).adjusted(1, 1, -1, -1);
    if (!list.visible || !inside.contains(at)) {
        return -1;
    }
    const int row = firstItem_ + static_cast<int>((at.y() - inside.top()) / categoryRowHeight());
    return row < list.listCount() ? row : -1;
}

void StatisticsWindow::follow() {
    const core::StatisticsForm& f = console_.ui.statistics;
    const bool wanted = f.frmStatistics.visible && console_.loaded && !console_.unloaded;
    if (!wanted) {
        if (isVisible()) {
            hide();
        }
        return;
    }
    place();
    // The console may have listed fewer categories or rows than where they were scrolled to.
    firstItem_ =
        std::clamp(firstItem_, 0, std::max(0, f.lstCatagories.listCount() - categoryRowsShown()));
    firstRow_ = std::clamp(firstRow_, 0, std::max(0, f.lstSongList.rowCount() - reportRowsShown()));
    const QString title = QString::fromStdString(f.frmStatistics.caption);
    if (windowTitle() != title) {
        setWindowTitle(title);
    }
    const std::size_t look =
        (elementFingerprint(f.lstCatagories) * 1000003u ^ elementFingerprint(f.cmdRunReport)) *
            1000003u ^
        elementFingerprint(f.lstSongList);
    if (!isVisible()) {
        show();
        raise();
    } else if (look == lastLook_) {
        return;
    }
    lastLook_ = look;
    update();
}

void StatisticsWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    place();
    update();
}

void StatisticsWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    core::StatisticsForm& f = console_.ui.statistics;
    p.fillRect(rect(), consoleColor(f.frmStatistics.backColor));
    p.setRenderHint(QPainter::TextAntialiasing);
    paintCategories(p);
    if (f.cmdRunReport.visible) {
        paintElement(p, f.cmdRunReport, textScale());
    }
    paintReport(p);
}

void StatisticsWindow::paintCategories(QPainter& p) {
    const core::Element& list = console_.ui.statistics.lstCatagories;
    if (!list.visible) {
        return;
    }
    const QRectF box = rectOf(list);
    p.fillRect(box, consoleColor(list.backColor));
    p.setPen(QPen(kBorder, 1));
    p.setBrush(Qt::NoBrush);
    p.drawRect(box.adjusted(0.5, 0.5, -0.5, -0.5));
    const QRectF inside = box.adjusted(1, 1, -1, -1);
    p.save();
    p.setClipRect(inside);
    p.setFont(consoleFont(grownFont(list, textScale()), list.fontBold));
    const double lineHeight = categoryRowHeight();
    double y = inside.top();
    for (int i = firstItem_; i < list.listCount() && y < inside.bottom(); ++i, y += lineHeight) {
        const core::ListItem& item = list.items[static_cast<std::size_t>(i)];
        const QRectF line(inside.left(), y, inside.width(), lineHeight);
        // The tick is the selection: the highlight marks the row the operator last clicked.
        const bool current = i == list.listIndex;
        if (current) {
            p.fillRect(line, kSelection);
        }
        paintTick(p, line, item.selected);
        p.setPen(current ? QColor(Qt::white) : consoleColor(list.foreColor));
        p.drawText(line.adjusted(line.height() + 4, 0, -2, 0),
                   Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                   QString::fromStdString(item.text));
    }
    p.restore();
}

void StatisticsWindow::paintReport(QPainter& p) {
    const core::Element& grid = console_.ui.statistics.lstSongList;
    if (!grid.visible) {
        return;
    }
    // The box as the painter draws an empty grid; the header and rows are drawn here, with the
    // track names given most of the width and only the rows from where the grid is scrolled to.
    core::Element box = grid;
    box.columns.clear();
    box.rows.clear();
    paintElement(p, box);
    const QRectF inside = rectOf(grid).adjusted(1, 1, -1, -1);
    const QFont font = consoleFont(grownFont(grid, textScale()), grid.fontBold);
    const double lineHeight = QFontMetricsF(font).height() + 1;
    auto cells = [&](const std::vector<std::string>& texts, const QRectF& line) {
        double x = line.left();
        for (std::size_t c = 0; c < texts.size() && c < std::size(kColumnShares); ++c) {
            const double w = inside.width() * kColumnShares[c];
            p.drawText(QRectF(x + 2, line.top(), w - 4, line.height()),
                       Qt::AlignLeft | Qt::AlignVCenter | Qt::TextSingleLine,
                       QString::fromStdString(texts[c]));
            x += w;
        }
    };
    p.save();
    p.setClipRect(inside);
    p.setFont(font);
    const QRectF header(inside.left(), inside.top(), inside.width(), lineHeight);
    p.fillRect(header, QColor(0xE4, 0xE4, 0xE4));
    p.setPen(Qt::black);
    cells(grid.columns, header);
    const int rowsShown = reportRowsShown();
    double y = header.bottom() + 1;
    for (int i = firstRow_; i < grid.rowCount() && i < firstRow_ + rowsShown;
         ++i, y += lineHeight) {
        const QRectF line(inside.left(), y, inside.width(), lineHeight);
        const core::GridRow& row = grid.rows[static_cast<std::size_t>(i)];
        const bool chosen = i == grid.row || row.selected;
        if (chosen) {
            p.fillRect(line, kSelection);
        }
        p.setPen(chosen ? QColor(Qt::white) : consoleColor(grid.foreColor));
        cells(row.cells, line);
    }
    p.restore();
    // Longer than the grid: a thumb on its right edge tells how far down it shows.
    paintScrollThumb(p, inside, firstRow_, rowsShown, grid.rowCount());
}

void StatisticsWindow::runReport() {
    // The report reads its tags on a worker; a second press before its end is not taken.
    if (reporting::reportRunning(console_)) {
        return;
    }
    desk::press(console_, kReportName);
    firstRow_ = 0;
    follow();
    update();
}

void StatisticsWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || reporting::reportRunning(console_)) {
        QWidget::mousePressEvent(event);
        return;
    }
    const QPointF at = event->position();
    const core::Element& button = console_.ui.statistics.cmdRunReport;
    if (const int row = categoryAt(at); row >= 0) {
        desk::select(console_, kCategoryList, row);
        update();
    } else if (button.visible && button.enabled && rectOf(button).contains(at)) {
        runReport();
    }
}

void StatisticsWindow::wheelEvent(QWheelEvent* event) {
    const core::StatisticsForm& f = console_.ui.statistics;
    const int steps = event->angleDelta().y() / 120;
    const QPointF at = event->position();
    if (rectOf(f.lstSongList).contains(at)) {
        const int most = std::max(0, f.lstSongList.rowCount() - reportRowsShown());
        firstRow_ = std::clamp(firstRow_ - steps * 3, 0, most);
    } else if (rectOf(f.lstCatagories).contains(at)) {
        const int most = std::max(0, f.lstCatagories.listCount() - categoryRowsShown());
        firstItem_ = std::clamp(firstItem_ - steps * 3, 0, most);
    } else {
        QWidget::wheelEvent(event);
        return;
    }
    update();
}

void StatisticsWindow::closeEvent(QCloseEvent* event) {
    // The form stays loaded and only hides; the console's button shows it again.
    console_.ui.statistics.frmStatistics.visible = false;
    event->accept();
}

}  // namespace tw::ui
