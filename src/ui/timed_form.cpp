#include "ui/timed_form.h"

#include "app/context.h"
#include "app/host.h"
#include "app/text.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"

#include <QButtonGroup>
#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QDateTime>
#include <QFontDatabase>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpression>
#include <QTableWidget>
#include <QTimeEdit>
#include <QTimer>
#include <QVBoxLayout>

namespace qv::ui {

namespace automation = qv::automation;
using automation::StartMode;
using automation::StopMode;
using automation::TimeUnit;

namespace {
constexpr const char* kTitle = "Timed actions";

QComboBox* unitBox(const QString& name, QWidget* parent) {
    auto* c = new QComboBox(parent);
    c->setObjectName(name);
    c->addItems({"seconds", "minutes", "hours"});
    c->setCurrentIndex(0);
    return c;
}

QLineEdit* valueBox(const QString& name, const QString& text, QWidget* parent) {
    auto* e = new QLineEdit(text, parent);
    e->setObjectName(name);
    e->setMaximumWidth(90);
    return e;
}

QTimeEdit* timeBox(const QString& name, const QTime& t, QWidget* parent) {
    auto* e = new QTimeEdit(t, parent);
    e->setObjectName(name);
    e->setDisplayFormat("HH:mm:ss");
    return e;
}

QDateEdit* dateBox(const QString& name, const QDate& d, QWidget* parent) {
    auto* e = new QDateEdit(d, parent);
    e->setObjectName(name);
    e->setCalendarPopup(true);
    return e;
}

QRadioButton* option(const QString& name, const QString& caption, QButtonGroup* group, int id, QWidget* parent) {
    auto* r = new QRadioButton(caption, parent);
    r->setObjectName(name);
    group->addButton(r, id);
    return r;
}

TimeUnit unitOf(const QComboBox* c) {
    switch (c->currentIndex()) {
        case 1: return TimeUnit::Minutes;
        case 2: return TimeUnit::Hours;
        default: return TimeUnit::Seconds;
    }
}

int64_t msOf(const QDateEdit* d, const QTimeEdit* t) {
    return QDateTime(d->date(), t->time()).toMSecsSinceEpoch();
}

QString clock(int64_t ms) {
    const QDateTime at = QDateTime::fromMSecsSinceEpoch(ms);
    if (at.date() == QDate::currentDate()) return at.toString("HH:mm:ss");
    return at.toString("HH:mm:ss") + " (" + QLocale().toString(at.date(), QLocale::ShortFormat) + ")";
}

// The result of a run for the log: its last line (the verdict), and what
// says most about it: the first error, else the first answer.
QString verdictOf(const std::string& results) {
    QStringList lines = qs(results).split(QRegularExpression("\r?\n"), Qt::SkipEmptyParts);
    if (lines.isEmpty()) return "(no result)";
    QString v = lines.takeLast().trimmed();
    if (lines.isEmpty()) return v;
    QString detail = lines.first();
    for (const QString& l : lines)
        if (l.startsWith("ERROR: ")) {
            detail = l;
            break;
        }
    return v + "  - " + detail.trimmed();
}
}  // namespace

TimedForm::TimedForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("TimedForm");
    setWindowTitle(kTitle);
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(8, 8, 8, 8);
    lay->setSpacing(6);
    lay->addWidget(buildAction());
    lay->addWidget(buildStart());
    lay->addWidget(buildRepeat());
    lay->addWidget(buildStop());

    auto* buttons = new QHBoxLayout;
    start_ = new QPushButton("Start", this);
    start_->setObjectName("Start");
    stop_ = new QPushButton("Stop", this);
    stop_->setObjectName("Stop");
    stop_->setEnabled(false);
    buttons->addWidget(start_);
    buttons->addWidget(stop_);
    status_ = new QLabel("Not started", this);
    status_->setObjectName("Status");
    buttons->addWidget(status_, 1);
    lay->addLayout(buttons);
    log_ = new QPlainTextEdit(this);
    log_->setObjectName("RunLog");
    log_->setReadOnly(true);
    log_->setLineWrapMode(QPlainTextEdit::NoWrap);
    log_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    log_->setMinimumHeight(60);
    lay->addWidget(log_, 1);

    timer_ = new QTimer(this);
    timer_->setSingleShot(true);
    connect(timer_, &QTimer::timeout, this, &TimedForm::tick);
    connect(start_, &QPushButton::clicked, this, [this] { Start(); });
    connect(stop_, &QPushButton::clicked, this, &TimedForm::Stop);
    resize(600, 660);
}

TimedForm::~TimedForm() = default;

QGroupBox* TimedForm::buildAction() {
    auto* box = new QGroupBox("ACTION", this);
    box->setObjectName("ActionFrame");
    auto* g = new QGridLayout(box);
    g->addWidget(new QLabel("Script", box), 0, 0);
    script_ = new QComboBox(box);
    script_->setObjectName("ActionScript");
    script_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    // Long family lists would otherwise widen the window past the screen;
    // the tip shows the whole entry.
    script_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    script_->setMinimumContentsLength(30);
    g->addWidget(script_, 0, 1);
    support_ = new QLabel(box);
    support_->setObjectName("ActionSupport");
    support_->setStyleSheet("color: #b03030;");
    support_->hide();
    g->addWidget(support_, 1, 1);
    parms_ = new QTableWidget(0, 3, box);
    parms_->setObjectName("ActionParameters");
    parms_->setHorizontalHeaderLabels({"Name", "Value", "Type"});
    parms_->horizontalHeader()->setSectionResizeMode(1, QHeaderView::Stretch);
    parms_->verticalHeader()->hide();
    parms_->setMaximumHeight(110);
    parms_->setToolTip("Each run uses these values; a double click edits one");
    g->addWidget(parms_, 2, 0, 1, 2);
    connect(script_, &QComboBox::currentIndexChanged, this, &TimedForm::scriptChosen);
    fields_ << box;
    return box;
}

QGroupBox* TimedForm::buildStart() {
    auto* box = new QGroupBox("START", this);
    box->setObjectName("StartFrame");
    auto* g = new QGridLayout(box);
    startMode_ = new QButtonGroup(box);
    const QDateTime soon = QDateTime::currentDateTime().addSecs(60);
    g->addWidget(option("StartAtOnce", "at once", startMode_, 0, box), 0, 0);
    g->addWidget(option("StartAt", "at", startMode_, 1, box), 1, 0);
    startAtTime_ = timeBox("StartAtTime", soon.time(), box);
    startAtDate_ = dateBox("StartAtDate", soon.date(), box);
    g->addWidget(startAtTime_, 1, 1);
    g->addWidget(startAtDate_, 1, 2);
    g->addWidget(option("StartIn", "in", startMode_, 2, box), 2, 0);
    startInValue_ = valueBox("StartInValue", "10", box);
    startInUnit_ = unitBox("StartInUnit", box);
    g->addWidget(startInValue_, 2, 1);
    g->addWidget(startInUnit_, 2, 2);
    g->setColumnStretch(3, 1);
    startMode_->button(0)->setChecked(true);
    // Only the chosen option's fields take input.
    auto follow = [this] {
        const int m = startMode_->checkedId();
        startAtTime_->setEnabled(m == 1);
        startAtDate_->setEnabled(m == 1);
        startInValue_->setEnabled(m == 2);
        startInUnit_->setEnabled(m == 2);
    };
    connect(startMode_, &QButtonGroup::idToggled, this, follow);
    follow();
    fields_ << box;
    return box;
}

QGroupBox* TimedForm::buildRepeat() {
    auto* box = new QGroupBox("REPEATE", this);
    box->setObjectName("RepeatFrame");
    auto* g = new QGridLayout(box);
    auto* group = new QButtonGroup(box);
    QRadioButton* every = option("RepeatEvery", "every", group, 0, box);
    every->setChecked(true);
    g->addWidget(every, 0, 0);
    everyValue_ = valueBox("RepeatEveryValue", "60", box);
    everyUnit_ = unitBox("RepeatEveryUnit", box);
    g->addWidget(everyValue_, 0, 1);
    g->addWidget(everyUnit_, 0, 2);
    g->setColumnStretch(3, 1);
    fields_ << box;
    return box;
}

QGroupBox* TimedForm::buildStop() {
    auto* box = new QGroupBox("STOP", this);
    box->setObjectName("StopFrame");
    auto* g = new QGridLayout(box);
    stopMode_ = new QButtonGroup(box);
    const QDateTime later = QDateTime::currentDateTime().addSecs(3600);
    g->addWidget(option("StopAt", "at", stopMode_, 0, box), 0, 0);
    stopAtTime_ = timeBox("StopAfterTime", later.time(), box);
    stopAtDate_ = dateBox("StopAfterDate", later.date(), box);
    g->addWidget(stopAtTime_, 0, 1);
    g->addWidget(stopAtDate_, 0, 2);
    g->addWidget(option("StopAfter", "after", stopMode_, 1, box), 1, 0);
    stopAfterValue_ = valueBox("StopAfterValue", "1", box);
    stopAfterUnit_ = unitBox("StopAfterUnit", box);
    g->addWidget(stopAfterValue_, 1, 1);
    g->addWidget(stopAfterUnit_, 1, 2);
    g->addWidget(option("StopAfterCountOption", "after", stopMode_, 2, box), 2, 0);
    stopAfterCount_ = valueBox("StopAfterCount", "10", box);
    g->addWidget(stopAfterCount_, 2, 1);
    g->addWidget(new QLabel("actions", box), 2, 2);
    g->setColumnStretch(3, 1);
    stopMode_->button(2)->setChecked(true);
    auto follow = [this] {
        const int m = stopMode_->checkedId();
        stopAtTime_->setEnabled(m == 0);
        stopAtDate_->setEnabled(m == 0);
        stopAfterValue_->setEnabled(m == 1);
        stopAfterUnit_->setEnabled(m == 1);
        stopAfterCount_->setEnabled(m == 2);
    };
    connect(stopMode_, &QButtonGroup::idToggled, this, follow);
    follow();
    fields_ << box;
    return box;
}

void TimedForm::Load() {
    const app::AppContext& ctx = app::context();
    const std::string own = ctx.AppDataFolder.empty() ? std::string() : ctx.AppDataFolder + "/Scripts";
    std::vector<automation::ScriptEntry> all = automation::FindScripts(own, ctx.ScriptFolder);
    // Element 0 is the introduction, never an action.
    scripts_.assign(all.size() > 1 ? all.begin() + 1 : all.end(), all.end());
    QSignalBlocker block(script_);
    script_->clear();
    for (const automation::ScriptEntry& e : scripts_) script_->addItem(qs(automation::SelectionText(e, false)));
    // The script last chosen in the script window, when it is one.
    int index = automation::RecentIndex(all, ctx.ScriptRecent) - 1;
    script_->setCurrentIndex(index >= 0 ? index : 0);
    scriptChosen(script_->currentIndex());
}

void TimedForm::scriptChosen(int index) {
    parms_->setRowCount(0);
    support_->hide();
    if (index < 0 || index >= static_cast<int>(scripts_.size())) return;
    const automation::ScriptEntry& e = scripts_[static_cast<size_t>(index)];
    const auto parms = automation::ScriptParms(e, app::context().SaveFolder);
    parms_->setRowCount(static_cast<int>(parms.size()));
    for (int r = 0; r < static_cast<int>(parms.size()); ++r) {
        const automation::ScriptParm& p = parms[static_cast<size_t>(r)];
        int col = 0;
        for (const std::string* text : {&p.name, &p.value, &p.type}) {
            auto* item = new QTableWidgetItem(qs(*text));
            if (col != 1) item->setFlags(item->flags() & ~Qt::ItemIsEditable);
            parms_->setItem(r, col++, item);
        }
    }
    parms_->resizeColumnToContents(0);
    if (!automation::ScriptSupports(e, MyDevType, automation::FamilyAliases(MyDevType))) {
        support_->setText("Current Instrument not supported by this script!");
        support_->show();
    }
}

bool TimedForm::readSpec(automation::SchedulePlan& s, std::string& message) const {
    s.start = static_cast<StartMode>(startMode_->checkedId());
    if (s.start == StartMode::At) s.startAt = msOf(startAtDate_, startAtTime_);
    if (s.start == StartMode::In) {
        if (!automation::ParseAmount(ss(startInValue_->text()), "Start in", true, s.startIn, message)) return false;
        s.startInUnit = unitOf(startInUnit_);
    }
    if (!automation::ParseAmount(ss(everyValue_->text()), "Repeat every", false, s.every, message)) return false;
    s.everyUnit = unitOf(everyUnit_);
    s.stop = static_cast<StopMode>(stopMode_->checkedId());
    switch (s.stop) {
        case StopMode::At: s.stopAt = msOf(stopAtDate_, stopAtTime_); break;
        case StopMode::After:
            if (!automation::ParseAmount(ss(stopAfterValue_->text()), "Stop after", false, s.stopAfter, message))
                return false;
            s.stopAfterUnit = unitOf(stopAfterUnit_);
            break;
        case StopMode::AfterCount:
            if (!automation::ParseCount(ss(stopAfterCount_->text()), "Stop after (actions)", s.stopCount, message))
                return false;
            break;
    }
    return automation::ValidateSchedule(s, QDateTime::currentMSecsSinceEpoch(), message);
}

bool TimedForm::Start() {
    if (schedule_ || action_.running()) return false;
    auto refuse = [](const std::string& message) {
        app::host().message(kTitle, message, app::Icon::Warning);
        return false;
    };
    const int index = script_->currentIndex();
    if (index < 0 || index >= static_cast<int>(scripts_.size())) return refuse("Action: choose a script.");
    const automation::ScriptEntry& e = scripts_[static_cast<size_t>(index)];
    if (!automation::ScriptSupports(e, MyDevType, automation::FamilyAliases(MyDevType)))
        return refuse("Action: Current Instrument not supported by this script!");
    // Every run takes the same values: they are checked once, here.
    std::vector<automation::ScriptParm> parms;
    for (int r = 0; r < parms_->rowCount(); ++r) {
        auto text = [&](int c) {
            const QTableWidgetItem* it = parms_->item(r, c);
            return it ? ss(it->text()) : std::string();
        };
        automation::ScriptParm p{text(0), text(1), text(2)};
        std::string why;
        if (app::TrimBlanks(p.value).empty()) return refuse("Action: Parameter " + p.name + " is empty!");
        if (!automation::CheckParmValue(p.type, p.value, why)) return refuse("Action: " + p.name + ": " + why);
        parms.push_back(std::move(p));
    }
    automation::SchedulePlan plan;
    std::string message;
    if (!readSpec(plan, message)) return refuse(message);

    file_ = e.File;
    runParms_ = std::move(parms);
    done_ = 0;
    schedule_.emplace(plan, QDateTime::currentMSecsSinceEpoch());
    enableFields(false);
    log_->appendPlainText(clock(QDateTime::currentMSecsSinceEpoch()) + "  started: " +
                          qs(automation::SelectionText(e, false)));
    arm();
    return true;
}

void TimedForm::Stop() {
    if (schedule_) finish("Stopped");
}

void TimedForm::enableFields(bool on) {
    for (QWidget* w : fields_) w->setEnabled(on);
    // A run that outlives a Stop holds Start back until it ends.
    start_->setEnabled(on && !action_.running());
    stop_->setEnabled(!on);
}

void TimedForm::arm() {
    if (!schedule_ || action_.running()) return;
    const int64_t now = QDateTime::currentMSecsSinceEpoch();
    if (schedule_->finished(now)) return finish("Finished");
    const int64_t wait = std::clamp<int64_t>(schedule_->nextRun() - now, 0, 1000);
    timer_->start(static_cast<int>(wait));
    showStatus();
}

void TimedForm::tick() {
    if (!schedule_ || action_.running()) return;
    if (schedule_->due(QDateTime::currentMSecsSinceEpoch())) runOnce();
    else arm();
}

void TimedForm::runOnce() {
    action_.begin();
    showStatus();
    // The engine lets events run after each line: a Stop or a close may come
    // meanwhile, and the window waits for the run's end to act on them.
    QPointer<TimedForm> alive(this);
    const int64_t started = QDateTime::currentMSecsSinceEpoch();
    const automation::ScriptRunResult r = automation::RunScript(file_, runParms_, MyVISARsc, {}, 20000);
    if (!alive) return;
    const int64_t ended = QDateTime::currentMSecsSinceEpoch();
    ++done_;
    if (schedule_) schedule_->ran(ended);
    log_->appendPlainText(clock(started) + "  #" + QString::number(done_) + "  " + verdictOf(r.results));
    if (action_.end(WindowFrame(this))) return;
    if (schedule_) return arm();
    enableFields(true);
    showStatus();
}

void TimedForm::finish(const QString& why) {
    timer_->stop();
    schedule_.reset();
    enableFields(true);
    ended_ = why;
    log_->appendPlainText(clock(QDateTime::currentMSecsSinceEpoch()) + "  " + why.toLower() + " after " +
                          QString::number(done_) + (done_ == 1 ? " action" : " actions"));
    showStatus();
}

void TimedForm::showStatus() {
    const QString done = QString::number(done_) + " done";
    if (action_.running()) {
        status_->setText("Running action " + QString::number(done_ + 1) + " - " + done);
        return;
    }
    if (!schedule_) {
        status_->setText(ended_ + " - " + done);
        return;
    }
    QString text = "Next run: " + clock(schedule_->nextRun()) + " - " + done;
    if (schedule_->stopTime() >= 0) text += " - stops " + clock(schedule_->stopTime());
    status_->setText(text);
}

void TimedForm::closeEvent(QCloseEvent* e) {
    Stop();
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
