#include "ui/ucor_form.h"

#include "app/context.h"
#include "app/host.h"
#include "tables/transducer_import.h"
#include "ui/icons.h"
#include "ui/qt_host.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QRadioButton>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace qv::ui {

namespace tables = qv::tables;

namespace {

QString& lastTransducerFolder() {
    static QString folder;
    return folder;
}

QLabel* fieldLabel(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return l;
}

}  // namespace

UCorForm::UCorForm(const std::string& instrumentName, QWidget* parent) : QWidget(parent) {
    setObjectName("UCorForm");
    setWindowTitle(qs("User Correction - " + instrumentName));
    auto* outer = new QHBoxLayout(this);
    outer->setContentsMargins(8, 8, 8, 8);
    outer->setSpacing(10);

    auto* left = new QVBoxLayout;
    left->setSpacing(6);
    auto* fields = new QGridLayout;
    fields->setHorizontalSpacing(8);
    fields->setVerticalSpacing(6);

    name_ = new QLineEdit(qs(tables::kUCorDefaultName), this);
    name_->setObjectName("UCorName");
    name_->installEventFilter(this);
    unit_ = new QComboBox(this);
    unit_->setObjectName("UCorUnit");
    for (const tables::LevelUnit& u : tables::LevelUnits()) unit_->addItem(QString::fromUtf8(u.text));
    freqUnit_ = new QComboBox(this);
    freqUnit_->setObjectName("cmbUnitFreq");
    for (const char* u : tables::FreqUnits()) freqUnit_->addItem(QString::fromUtf8(u));
    comment_ = new QLineEdit(this);
    comment_->setObjectName("UCorComment");
    comment_->setToolTip("Sent with the table to an analyzer");
    refLevel_ = new QLineEdit(this);
    refLevel_->setObjectName("txtRefLvl");
    refLevel_->setToolTip("Imported levels become reference minus level; 0 or empty: none");
    negate_ = new QCheckBox("Negate Values", this);
    negate_->setObjectName("chkNegateValues");
    negate_->setToolTip("Imported levels change their sign");

    auto* scale = new QWidget(this);
    scale->setObjectName("UCorScale");
    auto* scaleRow = new QHBoxLayout(scale);
    scaleRow->setContentsMargins(0, 0, 0, 0);
    linear_ = new QRadioButton("linear", scale);
    linear_->setObjectName("UCorScale0");
    log_ = new QRadioButton("log", scale);
    log_->setObjectName("UCorScale1");
    auto* scaleGroup = new QButtonGroup(scale);
    scaleGroup->addButton(linear_, 0);
    scaleGroup->addButton(log_, 1);
    linear_->setChecked(true);
    scaleRow->addWidget(linear_);
    scaleRow->addWidget(log_);
    scaleRow->addStretch();

    fields->addWidget(fieldLabel("Name", this), 0, 0);
    fields->addWidget(name_, 0, 1);
    fields->addWidget(fieldLabel("Unit", this), 0, 2);
    fields->addWidget(unit_, 0, 3);
    fields->addWidget(fieldLabel("Comment", this), 1, 0);
    fields->addWidget(comment_, 1, 1);
    fields->addWidget(fieldLabel("Freq Unit:", this), 1, 2);
    fields->addWidget(freqUnit_, 1, 3);
    fields->addWidget(fieldLabel("Ref Level:", this), 2, 0);
    fields->addWidget(refLevel_, 2, 1);
    fields->addWidget(fieldLabel("Scaling", this), 2, 2);
    fields->addWidget(scale, 2, 3);
    fields->addWidget(negate_, 3, 1);
    fields->setColumnStretch(1, 1);
    left->addLayout(fields);

    list_ = new QTreeWidget(this);
    list_->setObjectName("UCorList");
    list_->setColumnCount(2);
    list_->setRootIsDecorated(false);
    list_->setUniformRowHeights(true);
    list_->setAlternatingRowColors(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    // The table's own order is the order shown; a click on a header must
    // not sort the view another way.
    list_->setSortingEnabled(false);
    list_->header()->setSectionsClickable(false);
    list_->header()->setDefaultSectionSize(170);
    list_->setToolTip("Double-click a row without a level to set it");
    left->addWidget(list_, 1);
    outer->addLayout(left, 1);

    buttons_ = new QWidget(this);
    auto* right = new QVBoxLayout(buttons_);
    right->setContentsMargins(0, 0, 0, 0);
    right->setSpacing(4);
    auto* countCaption = new QLabel("Number of points:", buttons_);
    right->addWidget(countCaption);
    pointNum_ = new QLabel("0", buttons_);
    pointNum_->setObjectName("UCorPointNum");
    QFont big = pointNum_->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    big.setBold(true);
    pointNum_->setFont(big);
    pointNum_->setAlignment(Qt::AlignCenter);
    right->addWidget(pointNum_);
    right->addSpacing(8);
    connect(addButton("lblUCorLoad", "Load", "Import a transducer file", int(ToolGlyph::Load)), &QToolButton::clicked,
            this, &UCorForm::Load);
    connect(addButton("lblUCorInsert", "Insert", "Insert a frequency", int(ToolGlyph::Insert)),
            &QToolButton::clicked, this, &UCorForm::Insert);
    connect(addButton("lblUCorDelete", "Delete", "Delete the selected row", int(ToolGlyph::Delete)),
            &QToolButton::clicked, this, &UCorForm::DeleteSelected);
    connect(addButton("lblUCorSend", "Upload", "Send the table to the instrument", int(ToolGlyph::Upload)),
            &QToolButton::clicked, this, &UCorForm::Upload);
    right->addStretch();
    outer->addWidget(buttons_);

    connect(list_, &QTreeWidget::itemDoubleClicked, this,
            [this](QTreeWidgetItem* item, int) { SetLevel(list_->indexOfTopLevelItem(item)); });
    connect(unit_, &QComboBox::currentIndexChanged, this, &UCorForm::updateHeaders);
    connect(freqUnit_, &QComboBox::currentIndexChanged, this, &UCorForm::updateHeaders);
    redraw();
    resize(620, 460);
}

QToolButton* UCorForm::addButton(const QString& name, const QString& caption, const QString& tip, int glyph) {
    QToolButton* b = MakeToolButton(buttons_, name, caption, tip, ToolGlyph(glyph), 84);
    buttons_->layout()->addWidget(b);
    return b;
}

QToolButton* UCorForm::button(const QString& objectName) const { return findChild<QToolButton*>(objectName); }

void UCorForm::updateHeaders() {
    const std::string freq = ss(freqUnit_->currentText());
    const std::string level = ss(unit_->currentText());
    list_->setHeaderLabels({qs(tables::FreqColumnHeader(freq)), qs(tables::LevelColumnHeader(level))});
}

void UCorForm::redraw() {
    updateHeaders();
    list_->setUpdatesEnabled(false);
    list_->clear();
    QList<QTreeWidgetItem*> items;
    items.reserve(qsizetype(table_.size()));
    for (const tables::UCorRow& r : table_) items.append(new QTreeWidgetItem(QStringList{qs(r.freq), qs(r.level)}));
    list_->addTopLevelItems(items);
    list_->setUpdatesEnabled(true);
    pointNum_->setText(QString::number(table_.size()));
}

int UCorForm::selectedRow() const {
    const QList<QTreeWidgetItem*> sel = list_->selectedItems();
    return sel.isEmpty() ? -1 : list_->indexOfTopLevelItem(sel.front());
}

void UCorForm::selectRow(int row) {
    list_->clearSelection();
    if (QTreeWidgetItem* item = list_->topLevelItem(row)) {
        item->setSelected(true);
        list_->setCurrentItem(item);
    }
}

void UCorForm::Insert() {
    std::string value;
    const std::string unit = ss(freqUnit_->currentText());
    if (!app::host().input("FREQUENCY", "FREQUENCY (" + unit + "):", value) || value.empty()) return;
    tables::InsertUCorRow(table_, selectedRow(), value);
    redraw();
    // The new row is the one of this frequency still without a level: show
    // it selected, ready for its level.
    for (size_t i = 0; i < table_.size(); ++i)
        if (table_[i].freq == value && table_[i].level.empty()) return selectRow(int(i));
}

void UCorForm::SetLevel(int row) {
    if (row < 0 || row >= int(table_.size()) || !table_[size_t(row)].level.empty()) return;
    std::string value;
    const std::string unit = ss(unit_->currentText());
    if (!app::host().input("VALUE", "VALUE " + unit + ":", value) || value.empty()) return;
    // The input box let events run: the row may have gone meanwhile.
    if (row >= int(table_.size())) return;
    table_[size_t(row)].level = value;
    redraw();
    selectRow(row);
}

void UCorForm::DeleteSelected() {
    const int row = selectedRow();
    if (row < 0 || row >= int(table_.size())) return;
    table_.erase(table_.begin() + row);
    tables::SortUCor(table_);
    redraw();
}

void UCorForm::CheckName() {
    const std::string name = ss(name_->text());
    if (tables::UCorNameAccepted(name, tables::UCorGroupOf(MyDevType))) return;
    app::host().message("User Correction", tables::kUCorNameMessage, app::Icon::Information);
    name_->setText(qs(tables::kUCorDefaultName));
}

std::string UCorForm::transducerFolder() {
    if (!lastTransducerFolder().isEmpty()) return ss(lastTransducerFolder());
    return app::context().SaveFolder;
}

void UCorForm::Load() {
    if (action_.running()) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    const std::string path = app::host().openFileName("select transducer file", transducerFolder(), "all files (*)");
    if (path.empty()) return;
    lastTransducerFolder() = QFileInfo(qs(path)).absolutePath();
    const tables::ImportRules rules =
        tables::RulesFromSettings(app::context(), negate_->isChecked(), ss(refLevel_->text()));
    std::string name = ss(name_->text());
    const bool read =
        tables::LoadTransducerFile(path, rules, tables::TransducerMax(MyDevType, MyFirmware), table_, name);
    if (action_.closeAsked()) return;
    if (read) name_->setText(qs(name));
    redraw();
}

tables::UCorSettings UCorForm::settings() const {
    tables::UCorSettings s;
    s.name = ss(name_->text());
    s.levelUnit = std::max(0, unit_->currentIndex());
    s.freqUnit = std::max(0, freqUnit_->currentIndex());
    s.logScale = log_->isChecked();
    s.comment = ss(comment_->text());
    return s;
}

void UCorForm::Upload() {
    if (action_.running()) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    // The upload reports refusals and failures itself.
    tables::UploadUCor(MyVISARsc, tables::UCorGroupOf(MyDevType), table_, settings());
}

bool UCorForm::eventFilter(QObject* o, QEvent* e) {
    // The name rule on leaving the box, not on each key: a name is typed
    // one letter at a time.
    if (o == name_ && e->type() == QEvent::FocusOut) CheckName();
    return QWidget::eventFilter(o, e);
}

void UCorForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
