#include "ui/grid_macros.h"

#include <QTableWidget>

namespace qv::ui {

bool PlaceEditor(QTableWidget* grid, QWidget* editor) {
    if (!grid || !editor) return false;
    const QModelIndex at = grid->currentIndex();
    if (!at.isValid()) return false;
    grid->scrollTo(at);
    QRect cell = grid->visualRect(at);
    QWidget* viewport = grid->viewport();
    QWidget* parent = editor->parentWidget();
    // The cell rectangle is in the viewport's coordinates; the editor may
    // live anywhere in the window.
    if (parent && parent != viewport)
        cell.moveTopLeft(parent->mapFromGlobal(viewport->mapToGlobal(cell.topLeft())));
    editor->setGeometry(cell);
    return true;
}

bool SetCell(QTableWidget* grid, int row, int column, const QString& text, bool bold, bool italic,
             Qt::Alignment alignment, int fore, int back) {
    if (!grid || row < 0 || column < 0) return false;
    if (row >= grid->rowCount()) grid->setRowCount(row + 1);
    if (column >= grid->columnCount()) grid->setColumnCount(column + 1);
    QTableWidgetItem* item = grid->item(row, column);
    if (!item) {
        item = new QTableWidgetItem;
        grid->setItem(row, column, item);
    }
    grid->setCurrentCell(row, column);
    item->setText(text);
    QFont f = item->font();
    f.setBold(bold);
    f.setItalic(italic);
    item->setFont(f);
    item->setTextAlignment(alignment);
    if (fore != -1) item->setForeground(ColorOfBgr(fore));
    if (back != -1) item->setBackground(ColorOfBgr(back));
    return true;
}

int ColorByIndex(int index) {
    static constexpr int kColours[] = {255, 65280, 16711680, 16777215, 16711935, 16776960};
    return index >= 0 && index < 6 ? kColours[index] : 0;
}

QColor ColorOfBgr(int bgr) { return QColor(bgr & 0xff, (bgr >> 8) & 0xff, (bgr >> 16) & 0xff); }

}  // namespace qv::ui
