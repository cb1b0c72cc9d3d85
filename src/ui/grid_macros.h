// Small helpers for the table grids: an editor laid over a cell, one call
// that fills and formats a cell, and the fixed colour index of the tables.
#pragma once

#include <QColor>
#include <QString>

class QTableWidget;
class QWidget;

namespace qv::ui {

// Moves editor over the grid's current cell and sizes it to the cell (in
// the editor's parent's coordinates). False, editor untouched, without a
// current cell.
bool PlaceEditor(QTableWidget* grid, QWidget* editor);

// Fills one cell: grows the grid when the cell lies beyond its rows or
// columns, makes it current, and sets text, bold, italic and alignment.
// fore and back are colours as one blue-green-red integer; -1 leaves the
// cell's colour alone. Negative row or column: nothing happens, false.
bool SetCell(QTableWidget* grid, int row, int column, const QString& text, bool bold, bool italic,
             Qt::Alignment alignment, int fore = -1, int back = -1);

// The colour index of the tables: 0 red, 1 green, 2 blue, 3 white,
// 4 magenta, 5 cyan, anything else black (as a blue-green-red integer).
int ColorByIndex(int index);
// A blue-green-red integer as a colour.
QColor ColorOfBgr(int bgr);

}  // namespace qv::ui
