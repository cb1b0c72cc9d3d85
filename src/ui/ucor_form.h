// UCorForm: edits one table of frequency and level pairs, fills it from a
// transducer file and uploads it to the selected instrument. The table
// itself and everything done to it live in src/tables; the list on screen
// is redrawn from the table after each change.
#pragma once

#include "tables/ucor.h"
#include "ui/running_action.h"

#include <QWidget>

#include <string>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QRadioButton;
class QToolButton;
class QTreeWidget;

namespace qv::ui {

class UCorForm : public QWidget {
    Q_OBJECT
public:
    // instrumentName: for the caption.
    explicit UCorForm(const std::string& instrumentName, QWidget* parent = nullptr);

    // Set by the main window right after making the window.
    std::string MyVISARsc, MyDevType, MyFirmware;

    const qv::tables::UCorTable& table() const { return table_; }

    // Asks for a frequency and adds a row at the selected one (or first).
    void Insert();
    // Asks for the level of a row that has none; other rows stay as they are.
    void SetLevel(int row);
    // Removes the selected row; nothing without a selection.
    void DeleteSelected();
    // The file dialog, then the import into the table.
    void Load();
    // Sends the table in the dialect of the instrument's group.
    void Upload();
    // The name rule, as when the name box loses the focus.
    void CheckName();

    // What the fields say, as the upload takes it.
    qv::tables::UCorSettings settings() const;
    // The row shown selected, -1 without one.
    int selectedRow() const;
    void selectRow(int row);
    // Where the next transducer file dialog starts: the last folder a file
    // came from, else the save folder.
    static std::string transducerFolder();

    QTreeWidget* UCorList() const { return list_; }
    QLineEdit* UCorName() const { return name_; }
    QComboBox* UCorUnit() const { return unit_; }
    QComboBox* cmbUnitFreq() const { return freqUnit_; }
    QRadioButton* UCorScale(int index) const { return index == 0 ? linear_ : log_; }
    QLineEdit* UCorComment() const { return comment_; }
    QLineEdit* txtRefLvl() const { return refLevel_; }
    QCheckBox* chkNegateValues() const { return negate_; }
    QLabel* UCorPointNum() const { return pointNum_; }
    // lblUCorLoad, lblUCorInsert, lblUCorDelete, lblUCorSend.
    QToolButton* button(const QString& objectName) const;

protected:
    bool eventFilter(QObject* o, QEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    QToolButton* addButton(const QString& name, const QString& caption, const QString& tip, int glyph);
    // The list from the table, the headers from the unit lists, the count.
    void redraw();
    void updateHeaders();

    qv::tables::UCorTable table_;
    QTreeWidget* list_ = nullptr;
    QLineEdit* name_ = nullptr;
    QComboBox* unit_ = nullptr;
    QComboBox* freqUnit_ = nullptr;
    QRadioButton* linear_ = nullptr;
    QRadioButton* log_ = nullptr;
    QLineEdit* comment_ = nullptr;
    QLineEdit* refLevel_ = nullptr;
    QCheckBox* negate_ = nullptr;
    QLabel* pointNum_ = nullptr;
    QWidget* buttons_ = nullptr;
    RunningAction action_;
};

}  // namespace qv::ui
