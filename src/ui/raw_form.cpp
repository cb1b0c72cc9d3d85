#include "ui/raw_form.h"

#include "app/context.h"
#include "app/data_folder.h"
#include "app/host.h"
#include "automation/raw_reading.h"
#include "ui/qt_host.h"

#include <QCloseEvent>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

namespace qv::ui {

namespace {
// The folder of the last commands file dialog, for this run of the program.
QString& lastCommandsFolder() {
    static QString folder;
    return folder;
}

// Text files first: the dialog opens on them.
constexpr const char* kCommandsFilter = "Text Files (*.txt);;All Files (*);;Data Files (*.dat);;CSV Files (*.csv)";
}  // namespace

RawForm::RawForm(const std::string& instrumentName, std::function<std::string()> resourceOf, QWidget* parent)
    : QWidget(parent), resourceOf_(std::move(resourceOf)) {
    setObjectName("RawForm");
    setWindowTitle(qs("Raw Reading - " + instrumentName));

    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(8, 8, 8, 8);
    lay->setSpacing(4);

    auto* listHead = new QHBoxLayout;
    auto* listLabel = new QLabel("Commands, in sending order:", this);
    listHead->addWidget(listLabel, 1);
    auto* open = new QPushButton("Load...", this);
    open->setObjectName("cmdOpenCommandsFile");
    open->setToolTip("Load the commands from a text file, one a line");
    connect(open, &QPushButton::clicked, this, &RawForm::OpenCommandsFile);
    listHead->addWidget(open);
    lay->addLayout(listHead);

    lstCommands_ = new QListWidget(this);
    lstCommands_->setObjectName("lstCommands");
    lay->addWidget(lstCommands_, 1);

    auto* addLabel = new QLabel("Command to execute:", this);
    addLabel->setObjectName("lblAddCommand");
    lay->addWidget(addLabel);
    auto* addRow = new QHBoxLayout;
    txtCommand_ = new QLineEdit(kCommandPrompt, this);
    txtCommand_->setObjectName("txtCommand");
    txtCommand_->setCursorPosition(0);
    txtCommand_->setToolTip(kCommandPrompt);
    connect(txtCommand_, &QLineEdit::returnPressed, this, &RawForm::AddCommand);
    addRow->addWidget(txtCommand_, 1);
    auto* add = new QPushButton("Add", this);
    add->setObjectName("lblAdd");
    add->setToolTip("Add the command at the end of the list");
    connect(add, &QPushButton::clicked, this, &RawForm::AddCommand);
    addRow->addWidget(add);
    lay->addLayout(addRow);

    auto* tip = new QLabel("Execute and save into a file:", this);
    tip->setObjectName("lblExecuteTip");
    lay->addSpacing(6);
    lay->addWidget(tip);
    auto* run = new QPushButton("Execute", this);
    run->setObjectName("lblExecute");
    run->setToolTip("Execute the list of commands and save the final result to a file");
    connect(run, &QPushButton::clicked, this, &RawForm::Execute);
    lay->addWidget(run);

    // 3645 by 5175 twips, a little wider for the prompt text.
    resize(340, 360);
}

QPushButton* RawForm::button(const QString& objectName) const { return findChild<QPushButton*>(objectName); }

void RawForm::AddCommand() {
    const QString c = txtCommand_->text().trimmed();
    if (!c.isEmpty()) lstCommands_->addItem(c);
}

std::string RawForm::commandsFolder() {
    if (!lastCommandsFolder().isEmpty()) return ss(lastCommandsFolder());
    const QString special = qs(qv::app::dataFolder()) + "/specialMeas";
    return ss(QFileInfo(special).isDir() ? special : QDir::homePath());
}

void RawForm::OpenCommandsFile() {
    const std::string path = qv::app::host().openFileName("Open commands file", commandsFolder(), kCommandsFilter);
    if (path.empty()) return;
    lastCommandsFolder() = QFileInfo(qs(path)).absolutePath();
    LoadCommandsFile(path);
}

bool RawForm::LoadCommandsFile(const std::string& path) {
    setWindowTitle("Loaded: " + QFileInfo(qs(path)).fileName());
    lstCommands_->clear();
    QFile f(qs(path));
    if (!f.open(QIODevice::ReadOnly)) return false;
    const QByteArray bytes = f.readAll();
    const std::vector<std::string> commands =
        qv::automation::ParseCommandsFile(std::string_view(bytes.constData(), size_t(bytes.size())));
    lstCommands_->setUpdatesEnabled(false);
    // One character a byte, as the file was written.
    for (const std::string& c : commands) lstCommands_->addItem(QString::fromLatin1(c.data(), qsizetype(c.size())));
    lstCommands_->setUpdatesEnabled(true);
    return true;
}

void RawForm::Execute() {
    if (action_.running() || lstCommands_->count() == 0) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    std::vector<std::string> commands;
    for (int i = 0; i < lstCommands_->count(); ++i) {
        const QByteArray b = lstCommands_->item(i)->text().toLatin1();
        commands.emplace_back(b.constData(), size_t(b.size()));
    }
    bool asked = false, chosen = false;
    qv::app::Host& host = qv::app::host();
    const qv::automation::RawRunResult r =
        qv::automation::RunRawCommands(resourceOf_ ? resourceOf_() : std::string(), commands, [&] {
            asked = true;
            std::string file = host.saveFileName("Please specify file to store data in",
                                                qv::app::context().SaveFolder, {}, "All Files (*)");
            chosen = !file.empty();
            if (chosen) {
                host.busy(true);
                host.processEvents();
            }
            return file;
        });
    if (chosen) {
        host.busy(false);
        host.processEvents();
        // A transfer that failed still ends here; the reason comes with it.
        host.message("Raw Reading", r.read ? "FINISHED." : "FINISHED.\r\n" + r.message, qv::app::Icon::Information);
    } else if (!asked) {
        // Nothing to ask for: the session did not open or a command did not go out.
        host.message("Raw Reading", r.message.empty() ? "The instrument session could not be opened." : r.message,
                     qv::app::Icon::Warning);
    }
}

void RawForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
