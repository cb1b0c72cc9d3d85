// RawForm: a list of commands sent as they stand, and whatever the
// instrument says after the last one saved into a file without any
// interpretation. The session work is qv::automation::RunRawCommands.
#pragma once

#include "ui/running_action.h"

#include <QWidget>

#include <functional>
#include <string>

class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;

namespace qv::ui {

class RawForm : public QWidget {
    Q_OBJECT
public:
    // instrumentName: for the caption. resourceOf: the selected instrument's
    // resource, asked at the time of a run.
    RawForm(const std::string& instrumentName, std::function<std::string()> resourceOf, QWidget* parent = nullptr);

    // The text of txtCommand, without surrounding blanks, at the end of the
    // list (nothing when blank). Enter in the text does the same.
    void AddCommand();
    // Asks for a commands file and replaces the list with its commands.
    void OpenCommandsFile();
    // Loads a commands file (LF or CR LF); false when it cannot be read,
    // which leaves the list empty.
    bool LoadCommandsFile(const std::string& path);
    // Sends the list, asks for the result file, reads the answer into it.
    void Execute();

    QListWidget* lstCommands() const { return lstCommands_; }
    QLineEdit* txtCommand() const { return txtCommand_; }
    QPushButton* button(const QString& objectName) const;
    // Where the next commands file dialog starts.
    static std::string commandsFolder();
    bool running() const { return action_.running(); }

    static constexpr const char* kCommandPrompt = "Please enter write command to execute before; nothing to skip";

protected:
    void closeEvent(QCloseEvent* e) override;

private:

    std::function<std::string()> resourceOf_;
    QListWidget* lstCommands_ = nullptr;
    QLineEdit* txtCommand_ = nullptr;
    RunningAction action_;
};

}  // namespace qv::ui
