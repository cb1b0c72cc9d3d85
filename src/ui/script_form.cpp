#include "ui/script_form.h"

#include "app/context.h"
#include "app/host.h"
#include "app/text.h"
#include "ui/grid_macros.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace qv::ui {

namespace automation = qv::automation;

namespace {
constexpr const char* kFileFilter =
    "Text (*.txt;*.ini)|*.txt;*.ini|Images (*.bmp;*.jpg;*.png;*.wmf;*.ico)|*.bmp;*.jpg;*.png;*.wmf;*.ico|All "
    "(*.*)|*.*";
constexpr int kNameCol = 0, kValueCol = 1, kTypeCol = 2;

QString plain(const std::string& crlfText) { return qs(crlfText).replace("\r\n", "\n"); }

QLabel* caption(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setStyleSheet("color: #5b6b7f; font-size: 8pt; font-weight: 600; letter-spacing: 1px;");
    return l;
}
}  // namespace

ScriptForm::ScriptForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("ScriptForm");
    setWindowTitle("Scripts - " + main_.deviceList()->currentText());
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(8, 8, 8, 8);
    lay->setSpacing(6);

    lay->addWidget(caption("SCRIPT", this));
    auto* top = new QHBoxLayout;
    selection_ = new QComboBox(this);
    selection_->setObjectName("ScriptSelection");
    selection_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    selection_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    selection_->setMinimumContentsLength(30);
    top->addWidget(selection_, 1);
    reload_ = new QToolButton(this);
    reload_->setObjectName("Reload");
    reload_->setText("Reload");
    reload_->setToolTip("Read the script folders again");
    reload_->setIcon(QIcon(ToolPicture(ToolGlyph::Update, 20)));
    reload_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    top->addWidget(reload_);
    lay->addLayout(top);

    auto* split = new QSplitter(Qt::Vertical, this);
    split->setChildrenCollapsible(false);
    auto* upper = new QWidget(split);
    auto* ul = new QVBoxLayout(upper);
    ul->setContentsMargins(0, 0, 0, 0);
    ul->setSpacing(4);
    description_ = new QPlainTextEdit(upper);
    description_->setObjectName("Description");
    description_->setReadOnly(true);
    description_->setMaximumHeight(90);
    ul->addWidget(description_);
    ul->addWidget(caption("PARAMETERS", upper));
    grid_ = new QTableWidget(0, 3, upper);
    grid_->setObjectName("Parameters");
    grid_->setHorizontalHeaderLabels({"Name", "Value", "Type"});
    grid_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    grid_->horizontalHeader()->setSectionResizeMode(kValueCol, QHeaderView::Stretch);
    grid_->verticalHeader()->hide();
    // Values change only through ParInputBox or the file dialog, where they
    // are checked.
    grid_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    grid_->setSelectionMode(QAbstractItemView::SingleSelection);
    ul->addWidget(grid_, 1);
    input_ = new QLineEdit(grid_->viewport());
    input_->setObjectName("ParInputBox");
    input_->hide();
    input_->installEventFilter(this);

    auto* lower = new QWidget(split);
    auto* ll = new QVBoxLayout(lower);
    ll->setContentsMargins(0, 0, 0, 0);
    ll->setSpacing(4);
    auto* runRow = new QHBoxLayout;
    runRow->addWidget(caption("RESULTS", lower));
    runRow->addStretch();
    run_ = new QPushButton("Run", lower);
    run_->setObjectName("Run");
    run_->setMinimumWidth(110);
    run_->setEnabled(false);
    runRow->addWidget(run_);
    ll->addLayout(runRow);
    results_ = new QPlainTextEdit(lower);
    results_->setObjectName("Results");
    results_->setReadOnly(true);
    results_->setLineWrapMode(QPlainTextEdit::NoWrap);
    results_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    ll->addWidget(results_, 1);
    split->addWidget(upper);
    split->addWidget(lower);
    lay->addWidget(split, 1);

    connect(selection_, &QComboBox::currentIndexChanged, this, [this](int i) {
        if (i >= 0) SelectScript(i);
    });
    connect(reload_, &QToolButton::clicked, this, &ScriptForm::Reload);
    connect(grid_, &QTableWidget::cellClicked, this, &ScriptForm::CellClicked);
    connect(run_, &QPushButton::clicked, this, &ScriptForm::clickRun);
    resize(620, 560);
}

void ScriptForm::Load() { Reload(); }

void ScriptForm::Reload() {
    if (action_.running()) return;
    app::AppContext& ctx = app::context();
    const std::string own = ctx.AppDataFolder.empty() ? std::string() : ctx.AppDataFolder + "/Scripts";
    // An unreadable script is told to the user by the listing itself.
    entries_ = automation::FindScripts(own, ctx.ScriptFolder);
    if (entries_.empty()) entries_.push_back(automation::IntroEntry());
    {
        QSignalBlocker block(selection_);
        selection_->clear();
        for (size_t i = 0; i < entries_.size(); ++i)
            selection_->addItem(qs(automation::SelectionText(entries_[i], i == 0)));
        selection_->setCurrentIndex(automation::RecentIndex(entries_, ctx.ScriptRecent));
    }
    SelectScript(selection_->currentIndex());
}

void ScriptForm::SelectScript(int index) {
    if (index < 0 || index >= static_cast<int>(entries_.size())) return;
    CancelEdit();
    const automation::ScriptEntry& e = entries_[static_cast<size_t>(index)];
    app::context().ScriptRecent = e.Name;
    // Long family lists are cut in the box; the tip shows the whole entry.
    selection_->setToolTip(selection_->itemText(index));
    description_->setPlainText(plain(e.Desc));
    results_->clear();
    const std::vector<automation::ScriptParm> parms = automation::ScriptParms(e, app::context().SaveFolder);
    grid_->setRowCount(0);
    grid_->setRowCount(static_cast<int>(parms.size()));
    for (int r = 0; r < static_cast<int>(parms.size()); ++r) {
        const automation::ScriptParm& p = parms[static_cast<size_t>(r)];
        int col = 0;
        for (const std::string* text : {&p.name, &p.value, &p.type}) {
            auto* item = new QTableWidgetItem(qs(*text));
            item->setTextAlignment(Qt::AlignLeft | Qt::AlignVCenter);
            grid_->setItem(r, col++, item);
        }
    }
    grid_->resizeColumnToContents(kNameCol);
    supported_ = automation::ScriptSupports(e, MyDevType, automation::FamilyAliases(MyDevType));
    run_->setEnabled(supported_ && !action_.running());
    if (!supported_) appendResults("Current Instrument not supported by this script!");
}

std::vector<automation::ScriptParm> ScriptForm::parameters() const {
    std::vector<automation::ScriptParm> out;
    for (int r = 0; r < grid_->rowCount(); ++r) {
        auto text = [&](int c) {
            const QTableWidgetItem* it = grid_->item(r, c);
            return it ? ss(it->text()) : std::string();
        };
        out.push_back({text(kNameCol), text(kValueCol), text(kTypeCol)});
    }
    return out;
}

std::string ScriptForm::QtFilter(const std::string& pairs) {
    QStringList parts = qs(pairs).split('|');
    QStringList out;
    for (int i = 0; i + 1 < parts.size(); i += 2) {
        QString label = parts[i];
        if (int open = label.indexOf('('); open > 0) label = label.left(open).trimmed();
        QStringList patterns = parts[i + 1].split(';', Qt::SkipEmptyParts);
        for (QString& p : patterns)
            if (p == "*.*") p = "*";
        out << label + " (" + patterns.join(' ') + ")";
    }
    return ss(out.join(";;"));
}

void ScriptForm::CellClicked(int row, int column) {
    if (column != kValueCol || action_.running()) return;
    CommitEdit();
    if (row < 0 || row >= grid_->rowCount()) return;
    QTableWidgetItem* value = grid_->item(row, kValueCol);
    const QTableWidgetItem* type = grid_->item(row, kTypeCol);
    if (!value || !type) return;
    if (type->text() == "FILE") {
        QPointer<ScriptForm> alive(this);
        const std::string chosen =
            app::host().openFileName("Choose a file", ss(value->text()), QtFilter(kFileFilter));
        if (!alive) return;
        // The row may have gone while the dialog stood (a reload).
        if (!chosen.empty() && grid_->item(row, kValueCol) == value) value->setText(qs(chosen));
        return;
    }
    grid_->setCurrentCell(row, kValueCol);
    input_->setText(value->text());
    PlaceEditor(grid_, input_);
    editRow_ = row;
    input_->show();
    input_->raise();
    input_->setFocus();
    input_->selectAll();
}

void ScriptForm::CommitEdit() {
    if (editRow_ < 0 || committing_) return;
    committing_ = true;
    const int row = editRow_;
    const std::string text = ss(input_->text());
    QTableWidgetItem* value = row < grid_->rowCount() ? grid_->item(row, kValueCol) : nullptr;
    const QTableWidgetItem* type = row < grid_->rowCount() ? grid_->item(row, kTypeCol) : nullptr;
    if (!text.empty() && value && type) {
        std::string message;
        if (automation::CheckParmValue(ss(type->text()), text, message))
            value->setText(qs(text));
        else
            app::host().message("Error", message, app::Icon::Critical);
    }
    editRow_ = -1;
    input_->hide();
    if (row < grid_->rowCount()) grid_->setCurrentCell(row, kValueCol);
    committing_ = false;
}

void ScriptForm::CancelEdit() {
    if (editRow_ < 0) return;
    const int row = editRow_;
    editRow_ = -1;
    input_->hide();
    if (row < grid_->rowCount()) grid_->setCurrentCell(row, kValueCol);
}

bool ScriptForm::eventFilter(QObject* o, QEvent* e) {
    if (o == input_) {
        if (e->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(e)->key();
            if (key == Qt::Key_Escape) {
                CancelEdit();
                grid_->setFocus();
                return true;
            }
            if (key == Qt::Key_Return || key == Qt::Key_Enter) {
                CommitEdit();
                grid_->setFocus();
                return true;
            }
        } else if (e->type() == QEvent::FocusOut) {
            CommitEdit();
        }
    }
    return QWidget::eventFilter(o, e);
}

void ScriptForm::appendResults(const std::string& text) {
    results_->moveCursor(QTextCursor::End);
    results_->insertPlainText(plain(text));
    results_->moveCursor(QTextCursor::End);
}

void ScriptForm::clickRun() {
    if (action_.running() || !supported_) return;
    CommitEdit();
    const int index = selection_->currentIndex();
    if (index < 0 || index >= static_cast<int>(entries_.size())) return;
    const std::vector<automation::ScriptParm> parms = parameters();
    if (const int empty = automation::FirstEmptyParm(parms); empty >= 0) {
        grid_->setCurrentCell(empty, kNameCol);
        automation::ReportEmptyParm(parms[static_cast<size_t>(empty)]);
        return;
    }
    const std::string file = entries_[static_cast<size_t>(index)].File;
    action_.begin();
    run_->setText("Running...");
    run_->setEnabled(false);
    // The list and the grid stay as they are while the script uses them.
    selection_->setEnabled(false);
    reload_->setEnabled(false);
    results_->clear();
    app::host().processEvents();

    // The engine lets events run after each line: this window may be closed
    // meanwhile (it then only hides until the run is over).
    QPointer<ScriptForm> alive(this);
    automation::ScriptRunHooks hooks;
    hooks.results = [alive](const std::string& appended) {
        if (alive) alive->appendResults(appended);
    };
    automation::RunScript(file, parms, MyVISARsc, hooks, 20000);
    if (!alive) return;
    run_->setText("Run");
    run_->setEnabled(supported_);
    selection_->setEnabled(true);
    reload_->setEnabled(true);
    action_.end(WindowFrame(this));
}

void ScriptForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    CancelEdit();
    e->accept();
}

}  // namespace qv::ui
