#include "ui/table_form.h"

#include "app/context.h"
#include "app/host.h"
#include "ui/grid_macros.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/qt_host.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMdiSubWindow>
#include <QTableWidget>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

namespace qv::ui {

namespace tables = qv::tables;

namespace {
// 600, 2000 and 1200 twips at 15 twips to the pixel.
constexpr int kColumnWidths[3] = {40, 133, 80};
}  // namespace

TableForm::TableForm(MainForm& main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("TableForm");
    setWindowTitle("Tables");
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(6, 6, 6, 6);
    lay->setSpacing(6);

    auto* strip = new QWidget(this);
    auto* row = new QHBoxLayout(strip);
    row->setContentsMargins(0, 0, 0, 0);
    selection_ = new QComboBox(strip);
    selection_->setObjectName("ListSelection");
    selection_->addItem(tables::kMaxPeakList);
    selection_->setCurrentIndex(0);
    selection_->setMinimumContentsLength(16);
    row->addWidget(selection_, 0, Qt::AlignVCenter);
    connect(addButton(strip, "imgUpdate", "Update", "Read the selected table from the instrument",
                      int(ToolGlyph::Update)),
            &QToolButton::clicked, this, &TableForm::ReadSelectedTable);
    connect(addButton(strip, "imgCopy", "Copy", "Copy the table to the clipboard as text", int(ToolGlyph::Copy)),
            &QToolButton::clicked, this, &TableForm::Copy);
    connect(addButton(strip, "imgSave", "Save", "Save the table as a text file", int(ToolGlyph::Save)),
            &QToolButton::clicked, this, &TableForm::Save);
    row->addStretch();
    lay->addWidget(strip);

    view_ = new QTableWidget(0, 3, this);
    view_->setObjectName("TableView");
    view_->verticalHeader()->hide();
    view_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    view_->horizontalHeader()->setStretchLastSection(true);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setAlternatingRowColors(true);
    lay->addWidget(view_, 1);
    redraw();
    resize(420, 420);
}

QToolButton* TableForm::addButton(QWidget* strip, const QString& name, const QString& caption, const QString& tip,
                                  int glyph) {
    QToolButton* b = MakeToolButton(strip, name, caption, tip, ToolGlyph(glyph));
    strip->layout()->addWidget(b);
    return b;
}

QToolButton* TableForm::button(const QString& objectName) const { return findChild<QToolButton*>(objectName); }

void TableForm::redraw() {
    view_->setUpdatesEnabled(false);
    view_->clearContents();
    view_->setRowCount(0);
    view_->setColumnCount(3);
    // Row 0 of the table is its header: shown as the grid's fixed header,
    // the peaks below it. An empty grid still names its columns.
    QStringList header;
    for (const std::string& h : grid_.empty() ? tables::PeakListHeader() : grid_.front()) header << qs(h);
    view_->setHorizontalHeaderLabels(header);
    for (size_t r = 1; r < grid_.size(); ++r)
        for (int c = 0; c < 3; ++c)
            SetCell(view_, int(r - 1), c, qs(grid_[r][size_t(c)]), false, false,
                    (c == 0 ? Qt::AlignCenter : Qt::AlignRight) | Qt::AlignVCenter);
    // The fixed widths, widened where a header or value would be cut.
    for (int c = 0; c < 3; ++c) {
        view_->resizeColumnToContents(c);
        view_->setColumnWidth(c, std::max(kColumnWidths[c], view_->columnWidth(c)));
    }
    view_->setCurrentCell(-1, -1);
    view_->clearSelection();
    view_->setUpdatesEnabled(true);
}

void TableForm::ReadSelectedTable() {
    if (action_.running()) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    const std::string listText = ss(main_.deviceList()->currentText());
    app::host().busy(true);
    const tables::TableRead r = tables::ReadSelectedTable(MyVISARsc, ss(selection_->currentText()), listText,
                                                          app::context().SaveFolder, grid_);
    app::host().busy(false);
    if (action_.closeAsked()) return;
    if (r == tables::TableRead::Read || r == tables::TableRead::Broken) redraw();
}

std::string TableForm::ListToText() const { return tables::ListToText(grid_); }

void TableForm::Copy() { app::host().clipboardText(ListToText()); }

void TableForm::Save() {
    if (action_.running()) return;
    RunningAction::Scope scope(action_, WindowFrame(this));
    // The dialog, the overwrite question and any failure are told there.
    tables::SaveTableText(ListToText(), app::context().SaveFolder);
}

void TableForm::closeEvent(QCloseEvent* e) {
    if (action_.deferClose(WindowFrame(this), e)) return;
    e->accept();
}

}  // namespace qv::ui
