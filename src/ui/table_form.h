// TableForm ("Tables"): a table the instrument holds, read into a grid of
// three columns, which the user copies or saves as text. Reading and
// parsing live in src/tables; this class draws, asks and wires.
#pragma once

#include "tables/peak_list.h"
#include "ui/running_action.h"

#include <QWidget>

#include <string>

class QComboBox;
class QTableWidget;
class QToolButton;

namespace qv::ui {

class MainForm;

class TableForm : public QWidget {
    Q_OBJECT
public:
    explicit TableForm(MainForm& main, QWidget* parent = nullptr);

    // Set by the main window right after making the window.
    std::string MyVISARsc, MyDevType, MyFirmware;

    // Reads the table chosen in ListSelection and redraws the grid.
    void ReadSelectedTable();
    // The grid as text, header line included ("" while it is empty).
    std::string ListToText() const;
    void Copy();
    void Save();

    const qv::tables::TableGrid& grid() const { return grid_; }
    QComboBox* ListSelection() const { return selection_; }
    QTableWidget* TableView() const { return view_; }
    // imgUpdate, imgCopy, imgSave.
    QToolButton* button(const QString& objectName) const;

protected:
    void closeEvent(QCloseEvent* e) override;

private:
    QToolButton* addButton(QWidget* strip, const QString& name, const QString& caption, const QString& tip,
                           int glyph);
    void redraw();

    MainForm& main_;
    qv::tables::TableGrid grid_;
    QComboBox* selection_ = nullptr;
    QTableWidget* view_ = nullptr;
    RunningAction action_;
};

}  // namespace qv::ui
