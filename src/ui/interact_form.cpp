#include "ui/interact_form.h"

#include "app/context.h"
#include "app/host.h"
#include "app/settings.h"
#include "ui/qt_host.h"

#include <QApplication>
#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace qv::ui {

namespace {
// The colours a command paints: the line while it runs, the status list
// while it waits and when the queue held an error.
const QColor kRunning(0, 255, 0);
const QColor kWaiting(224, 224, 224);
const QColor kError(255, 0, 0);

void setBase(QWidget* w, const QColor& c) {
    QPalette p = w->palette();
    p.setColor(QPalette::Base, c);
    w->setPalette(p);
}

QLabel* caption(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    QFont f = l->font();
    f.setBold(true);
    l->setFont(f);
    return l;
}
}  // namespace

InterActForm::InterActForm(const std::string& instrumentName, QWidget* parent) : QWidget(parent) {
    setObjectName("InterActForm");
    setWindowTitle(qs("Interactive Control - " + instrumentName));
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);

    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(8, 8, 8, 8);
    lay->setSpacing(4);

    lay->addWidget(caption("Command", this));
    auto* line = new QHBoxLayout;
    CommandList_ = new QComboBox(this);
    CommandList_->setObjectName("CommandList");
    CommandList_->setEditable(true);
    // The list is the history: only a sent command joins it, and a command
    // sent twice stands there twice.
    CommandList_->setInsertPolicy(QComboBox::NoInsert);
    CommandList_->setDuplicatesEnabled(true);
    CommandList_->setMaxVisibleItems(20);
    CommandList_->setFont(fixed);
    CommandList_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    CommandList_->lineEdit()->setPlaceholderText("SCPI command, e.g. *IDN?");
    CommandList_->installEventFilter(this);
    CommandList_->lineEdit()->installEventFilter(this);
    // Typing starts a new walk through the history from the newest entry.
    connect(CommandList_->lineEdit(), &QLineEdit::textEdited, this, [this] { history_.resetWalk(); });
    line->addWidget(CommandList_, 1);
    Execute_ = new QPushButton("SEND COMMAND", this);
    Execute_->setObjectName("Execute");
    Execute_->setToolTip("Send the command (Enter)");
    connect(Execute_, &QPushButton::clicked, this, &InterActForm::Execute);
    line->addWidget(Execute_);
    lay->addLayout(line);

    lay->addWidget(caption("Answer", this));
    Answer_ = new QPlainTextEdit(this);
    Answer_->setObjectName("Answer");
    Answer_->setReadOnly(true);
    Answer_->setFont(fixed);
    Answer_->setMinimumHeight(70);
    lay->addWidget(Answer_, 1);

    auto* times = new QGridLayout;
    times->addWidget(caption("Command Time", this), 0, 0);
    times->addWidget(caption("Time-Out", this), 0, 1);
    ExecTime_ = new QLineEdit("---", this);
    ExecTime_->setObjectName("ExecTime");
    ExecTime_->setReadOnly(true);
    ExecTime_->setToolTip("Milliseconds from sending to the instrument's completion");
    times->addWidget(ExecTime_, 1, 0);
    TimeOut_ = new QLineEdit(this);
    TimeOut_->setObjectName("TimeOut");
    TimeOut_->setReadOnly(true);
    times->addWidget(TimeOut_, 1, 1);
    lay->addLayout(times);

    lay->addWidget(caption("Status", this));
    Status_ = new QListWidget(this);
    Status_->setObjectName("Status");
    Status_->setFont(fixed);
    Status_->setMinimumHeight(60);
    lay->addWidget(Status_, 1);

    CommandListToClip_ = new QPushButton("copy command list to clipboard", this);
    CommandListToClip_->setObjectName("CommandListToClip");
    CommandListToClip_->setToolTip("Every command of this window with its answer and errors, as text");
    connect(CommandListToClip_, &QPushButton::clicked, this, &InterActForm::CopyCommandList);
    lay->addWidget(CommandListToClip_, 0, Qt::AlignLeft);

    history_.load(qv::app::context().ConsoleHistory);
    for (const std::string& c : history_.commands()) CommandList_->addItem(qs(c));
    CommandList_->setCurrentIndex(-1);
    CommandList_->setEditText(QString());
    applyColours();
    resize(460, 430);
}

void InterActForm::applyColours() {
    // Skins are not in this build: the window's colours are the
    // application's. An error of the last command keeps its red.
    const QColor base = QApplication::palette(this).color(QPalette::Base);
    setBase(CommandList_, base);
    setBase(CommandList_->lineEdit(), base);
    setBase(Status_, errorShown_ ? kError : base);
}

void InterActForm::setStatusRed() {
    errorShown_ = true;
    setBase(Status_, kError);
}

void InterActForm::Execute() {
    // The host's event pass inside a command lets clicks through: a second
    // command waits for the first.
    if (action_.running()) return;
    const std::string command = ss(CommandList_->currentText());
    if (command.find_first_not_of(" \t") == std::string::npos) return;
    RunningAction::Scope scope(action_, WindowFrame(this));

    Status_->clear();
    Answer_->clear();
    ExecTime_->setText("---");
    errorShown_ = false;
    setBase(CommandList_, kRunning);
    setBase(CommandList_->lineEdit(), kRunning);
    setBase(Status_, kWaiting);
    qv::app::host().processEvents();

    qv::automation::ConsoleOutcome out =
        qv::automation::SendConsoleCommand(MyVISARsc, command, [this](const std::string& error) {
            Status_->addItem(qs(error));
            setStatusRed();
            qv::app::host().processEvents();
        });

    Answer_->setPlainText(qs(out.answer));
    ExecTime_->setText(qs(out.execTime));
    // The outcome's rows are the whole story (those shown while the command
    // ran are among them); without an error the list says "---".
    Status_->clear();
    for (const std::string& row : out.status) Status_->addItem(qs(row));
    if (out.status.empty() && !out.statusText.empty()) Status_->addItem(qs(out.statusText));
    if (out.scpiError) errorShown_ = true;

    // Opened or not, the command joins the list and the history.
    CommandList_->addItem(qs(command));
    while (CommandList_->count() > static_cast<int>(qv::automation::CommandHistory::kLimit))
        CommandList_->removeItem(0);
    CommandList_->setEditText(qs(command));
    history_.add(command);
    history_.resetWalk();
    storeHistory();

    applyColours();
    qv::app::host().processEvents();

    const std::string entry = qv::automation::ConsoleLogLine(command, out.answer, out.status);
    if (!CommandLog_.back().empty()) CommandLog_.emplace_back();
    CommandLog_.back() = entry;

}

void InterActForm::storeHistory() {
    // Saved at once: a program that ends badly keeps its history too.
    qv::app::AppContext& ctx = qv::app::context();
    ctx.ConsoleHistory = history_.commands();
    if (!ctx.IniFilePath.empty()) qv::app::SaveConsoleHistory(ctx);
}

void InterActForm::CopyCommandList() {
    std::string all;
    for (const std::string& e : CommandLog_) all += e;
    qv::app::host().clipboardText(all);
}

void InterActForm::walkHistory(bool older) {
    std::string text;
    const bool moved = older ? history_.up(ss(CommandList_->currentText()), text) : history_.down(text);
    if (!moved) return;
    CommandList_->setEditText(qs(text));
    CommandList_->lineEdit()->end(false);
}

bool InterActForm::eventFilter(QObject* o, QEvent* e) {
    if (o != CommandList_ && o != CommandList_->lineEdit()) return QWidget::eventFilter(o, e);
    if (e->type() == QEvent::KeyPress) {
        auto* k = static_cast<QKeyEvent*>(e);
        // Up and Down walk the history instead of the combo box's items, and
        // Enter waits for its release.
        if (k->key() == Qt::Key_Up || k->key() == Qt::Key_Down) {
            walkHistory(k->key() == Qt::Key_Up);
            return true;
        }
        if (k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter) return true;
    } else if (e->type() == QEvent::KeyRelease) {
        auto* k = static_cast<QKeyEvent*>(e);
        if ((k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter) && !k->isAutoRepeat()) {
            // Taken here, the release reaches neither the combo box nor its
            // line: one release sends once.
            Execute();
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void InterActForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
