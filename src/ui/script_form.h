// ScriptForm: the child window that lists the scripts of both folders, shows
// the chosen one's description and parameters, lets the user edit them in
// the grid, and runs the script against the selected instrument with its
// answers appearing in Results as they come. The script knowledge lives in
// src/automation/script; this class draws, asks and wires.
#pragma once

#include "automation/script.h"
#include "ui/running_action.h"

#include <QWidget>

#include <string>
#include <vector>

class QComboBox;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;
class QToolButton;

namespace qv::ui {

class MainForm;

class ScriptForm : public QWidget {
    Q_OBJECT
public:
    explicit ScriptForm(MainForm& main, QWidget* parent = nullptr);

    // Copies of the main window's selection, set before Load.
    std::string MyVISARsc, MyDevType, MyFirmware;

    // The window's start: lists the scripts and selects the recent one.
    void Load();
    // Lists the scripts again (the Reload button).
    void Reload();
    // Shows element index of the list (the selection box's choice).
    void SelectScript(int index);
    // A click on a cell: in the value column it ends a pending edit, then
    // opens the file dialog (FILE rows) or the editor over the cell.
    void CellClicked(int row, int column);
    // Ends the edit in ParInputBox: the checked value goes into its cell.
    void CommitEdit();
    // Hides ParInputBox and keeps the cell's value.
    void CancelEdit();
    // The Run button: checks the parameters, then runs the script with its
    // answers appended to Results as they come.
    void clickRun();

    const std::vector<qv::automation::ScriptEntry>& entries() const { return entries_; }
    // The grid's rows as the engine takes them.
    std::vector<qv::automation::ScriptParm> parameters() const;
    bool running() const { return action_.running(); }
    // Whether the selected script serves MyDevType.
    bool supported() const { return supported_; }

    QComboBox* ScriptSelection() const { return selection_; }
    QPlainTextEdit* Description() const { return description_; }
    QTableWidget* Parameters() const { return grid_; }
    QLineEdit* ParInputBox() const { return input_; }
    QPlainTextEdit* Results() const { return results_; }
    QPushButton* Run() const { return run_; }
    QToolButton* ReloadButton() const { return reload_; }

    // A file dialog filter of the form "Text (*.txt;*.ini)|*.txt;*.ini|..."
    // in the form Qt's dialogs take ("Text (*.txt *.ini);;...").
    static std::string QtFilter(const std::string& pairs);

protected:
    bool eventFilter(QObject* o, QEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    void appendResults(const std::string& text);

    MainForm& main_;
    QComboBox* selection_ = nullptr;
    QToolButton* reload_ = nullptr;
    QPlainTextEdit* description_ = nullptr;
    QTableWidget* grid_ = nullptr;
    QLineEdit* input_ = nullptr;
    QPlainTextEdit* results_ = nullptr;
    QPushButton* run_ = nullptr;
    std::vector<qv::automation::ScriptEntry> entries_;
    int editRow_ = -1;       // the row ParInputBox edits, -1 when hidden
    bool committing_ = false;  // a refusal's message box takes the focus
    bool supported_ = false;
    RunningAction action_;
};

}  // namespace qv::ui
