#pragma once
// Draws the console surface from the model at the places the model gives (window pixels).
// Nothing here keeps state: every paint reads the surface as the logic left it.
//
// Thread contract: console thread only (reads the surface).

#include <QFont>
#include <QPainter>
#include <QRectF>
#include <QString>

#include "core/forms.h"

namespace tw::ui {

// The face the console's texts are drawn in, at a size in points of the console's design.
QFont consoleFont(int points, bool bold);

// One element at its rect: picture buttons from their drawing (or their role and captions when
// nothing is drawn yet), labels, pictures with their fills and printed texts, lists, grids, text
// and combo boxes, check and option buttons, sliders, frames as outlines, system buttons.
// textScale enlarges the captions printed on picture buttons (1 at the design size).
void paintElement(QPainter& p, const core::Element& e, double textScale = 1);
// A copy of a secret's box (a password, a token) that shows a bullet for each character of its
// text: what the box holds is never drawn on the screen.
core::Element maskedBox(const core::Element& box);

// The row of a list or grid painted at height y (window pixels, as the element's rect), or -1
// for none there: the border, a grid's header, or below the last row.
int rowAt(const core::Element& e, double y);
// Whether an element shows rows (a list or a grid): the pointer's row, the wheel and the top
// row apply to it.
bool showsRows(const core::Element& e);
// How many whole rows a list or grid shows at once (at least one).
int rowsShown(const core::Element& e);
// The first row a list or grid shows: its topIndex, within what its rows allow (the last row at
// the bottom at most).
int topRow(const core::Element& e);
// The top row that shows row in a list or grid that now shows from top, moved as little as it
// takes.
int topShowing(const core::Element& e, int top, int row);
// A thumb on the right edge of area telling how far down a list of count rows shows, when they
// do not all fit: first row shown, rows shown.
void paintScrollThumb(QPainter& p, const QRectF& area, int first, int shown, int count);
// The column of a grid painted at x (window pixels), or -1 outside its columns or for anything
// but a grid.
int columnAt(const core::Element& e, double x);
// A label of one line (the category's facts, the track's history) never wraps into a line that
// its height cuts off: a long text is set smaller, down to two thirds of its size, and then
// shortened at its end.
struct FittedLine {
    QFont font;
    QString text;
};
FittedLine fitOneLine(const QString& text, QFont font, double width);
// The arrow button at the right end of a combo box, in window pixels.
QRectF comboArrowPlace(const core::Element& e);
// Whether a grid shows its rows' ticks (GridRow::checked) as boxes in its first column.
bool hasTickColumn(const core::Element& e);

// The console window: its back colour, the texts printed on the form itself (the message line),
// then every drawn element (see drawnElements) in front of them. With an area (window pixels),
// only the elements that reach into it are drawn; the caller clips to it.
void paintConsole(QPainter& p, core::MainForm& form, const QRectF& area = QRectF());

}  // namespace tw::ui
