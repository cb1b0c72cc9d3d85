// InterActForm: a small console. The user types one SCPI line and sends it;
// the window shows the answer, the time it took and what the error queue
// said, and keeps a log of every command for the clipboard. Each command
// runs on a fresh session (qv::automation::SendConsoleCommand), so the
// window never holds the instrument between commands.
#pragma once

#include "automation/console.h"
#include "ui/running_action.h"

#include <QWidget>

#include <string>
#include <vector>

class QComboBox;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace qv::ui {

class InterActForm : public QWidget {
    Q_OBJECT
public:
    // instrumentName: for the caption. The history comes from the context.
    explicit InterActForm(const std::string& instrumentName, QWidget* parent = nullptr);

    // Set by the main window when it opens the window.
    std::string MyVISARsc, MyDevType, MyFirmware;

    // Sends the text of CommandList (the button, and Enter at its release).
    void Execute();
    // The log of every command so far onto the clipboard.
    void CopyCommandList();
    // The window's own colours again; Status stays red while it shows an
    // error of the last command.
    void applyColours();

    QComboBox* CommandList() const { return CommandList_; }
    QPlainTextEdit* Answer() const { return Answer_; }
    QLineEdit* ExecTime() const { return ExecTime_; }
    QLineEdit* TimeOut() const { return TimeOut_; }
    QListWidget* Status() const { return Status_; }
    QPushButton* ExecuteButton() const { return Execute_; }
    QPushButton* CommandListToClip() const { return CommandListToClip_; }
    // One text per command, each ending in CR LF; one empty text at first.
    const std::vector<std::string>& CommandLog() const { return CommandLog_; }
    bool running() const { return action_.running(); }

protected:
    bool eventFilter(QObject* o, QEvent* e) override;
    void closeEvent(QCloseEvent* e) override;

private:
    void setStatusRed();
    // Up (older) and Down (newer) through the history, as a shell does.
    void walkHistory(bool older);
    void storeHistory();

    QComboBox* CommandList_ = nullptr;
    QPushButton* Execute_ = nullptr;
    QPlainTextEdit* Answer_ = nullptr;
    QLineEdit* ExecTime_ = nullptr;
    QLineEdit* TimeOut_ = nullptr;
    QListWidget* Status_ = nullptr;
    QPushButton* CommandListToClip_ = nullptr;
    std::vector<std::string> CommandLog_{std::string()};
    qv::automation::CommandHistory history_;
    bool errorShown_ = false;
    RunningAction action_;
};

}  // namespace qv::ui
