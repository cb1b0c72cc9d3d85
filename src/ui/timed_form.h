// TimedForm: the "Timed actions" window. The user picks a script as the
// action, states when it starts, how often it repeats and when it stops,
// and the window runs it on that schedule against the selected instrument,
// showing the next run, the count done and each run's result. The timing
// lives in src/automation/schedule, the runs in src/automation/script.
#pragma once

#include "automation/schedule.h"
#include "automation/script.h"
#include "ui/running_action.h"

#include <QWidget>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class QButtonGroup;
class QComboBox;
class QDateEdit;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTableWidget;
class QTimeEdit;
class QTimer;

namespace qv::ui {

class MainForm;

class TimedForm : public QWidget {
    Q_OBJECT
public:
    explicit TimedForm(MainForm& main, QWidget* parent = nullptr);
    ~TimedForm() override;

    // Copies of the main window's selection, set before Load.
    std::string MyVISARsc, MyDevType;

    // Lists the scripts the action can be (the script window's list).
    void Load();
    // The Start button: checks the fields and starts the schedule. False,
    // after telling the user which field is wrong, when it does not start.
    bool Start();
    // The Stop button (and closing the window): no further run starts.
    void Stop();

    bool active() const { return schedule_.has_value(); }
    bool running() const { return action_.running(); }
    // Runs done since the last Start.
    int64_t count() const { return done_; }
    // The action's choices: the listed scripts (without the introduction).
    const std::vector<qv::automation::ScriptEntry>& scripts() const { return scripts_; }

    QLabel* Status() const { return status_; }
    QPlainTextEdit* RunLog() const { return log_; }
    QPushButton* StartButton() const { return start_; }
    QPushButton* StopButton() const { return stop_; }

protected:
    void closeEvent(QCloseEvent* e) override;

private:
    QGroupBox* buildStart();
    QGroupBox* buildRepeat();
    QGroupBox* buildStop();
    QGroupBox* buildAction();
    // The fields as a schedule; false with the field's message.
    bool readSpec(qv::automation::SchedulePlan& plan, std::string& message) const;
    void scriptChosen(int index);
    // Arms the timer for the next due run (at most a second ahead, so the
    // status line keeps up).
    void arm();
    void tick();
    void runOnce();
    void finish(const QString& why);
    void showStatus();
    void enableFields(bool on);

    MainForm& main_;
    QButtonGroup *startMode_ = nullptr, *stopMode_ = nullptr;
    QTimeEdit *startAtTime_ = nullptr, *stopAtTime_ = nullptr;
    QDateEdit *startAtDate_ = nullptr, *stopAtDate_ = nullptr;
    QLineEdit *startInValue_ = nullptr, *everyValue_ = nullptr, *stopAfterValue_ = nullptr,
              *stopAfterCount_ = nullptr;
    QComboBox *startInUnit_ = nullptr, *everyUnit_ = nullptr, *stopAfterUnit_ = nullptr;
    QComboBox* script_ = nullptr;
    QTableWidget* parms_ = nullptr;
    QLabel* support_ = nullptr;
    QLabel* status_ = nullptr;
    QPlainTextEdit* log_ = nullptr;
    QPushButton *start_ = nullptr, *stop_ = nullptr;
    QList<QWidget*> fields_;
    QTimer* timer_ = nullptr;
    std::vector<qv::automation::ScriptEntry> scripts_;
    std::optional<qv::automation::Schedule> schedule_;
    // What the running schedule runs, fixed at Start.
    std::string file_;
    std::vector<qv::automation::ScriptParm> runParms_;
    int64_t done_ = 0;
    QString ended_ = "Not started";  // why the last schedule ended
    RunningAction action_;
};

}  // namespace qv::ui
