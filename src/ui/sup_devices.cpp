#include "ui/sup_devices.h"

#include "app/host.h"
#include "instrument_directory/capabilities.h"
#include "ui/qt_host.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QVBoxLayout>

namespace qv::ui {

SupDevices::SupDevices(const QString& visaDevicesIni, QWidget* parent) : QWidget(parent) {
    setObjectName("SupDevices");
    setWindowTitle("Supported Devices");
    std::string ini = visaDevicesIni.isEmpty() ? qv::dir::VisaDevicesPath() : ss(visaDevicesIni);
    std::vector<qv::dir::SupDevRow> rows = qv::dir::SupportedDevicesGrid(ini);

    auto* v = new QVBoxLayout(this);
    auto* split = new QSplitter(Qt::Vertical, this);
    SupDevTab_ = new QTableWidget(split);
    SupDevTab_->setObjectName("SupDevTab");
    SupDevTab_->setColumnCount(6);
    SupDevTab_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    SupDevTab_->verticalHeader()->hide();
    SupDevTab_->verticalHeader()->setDefaultSectionSize(fontMetrics().height() + 8);
    SupDevTab_->horizontalHeader()->setStretchLastSection(true);
    // The first row is the fixed header row.
    if (!rows.empty()) {
        QStringList header;
        for (const std::string& c : rows.front()) header << qs(c);
        SupDevTab_->setHorizontalHeaderLabels(header);
        SupDevTab_->setRowCount(static_cast<int>(rows.size()) - 1);
        for (size_t r = 1; r < rows.size(); ++r)
            for (int c = 0; c < 6; ++c) {
                auto* it = new QTableWidgetItem(qs(rows[r][c]));
                if (c > 0) it->setTextAlignment(Qt::AlignCenter);
                SupDevTab_->setItem(static_cast<int>(r) - 1, c, it);
            }
    }
    SupDevTab_->resizeColumnsToContents();
    SupDevText_ = new QPlainTextEdit(split);
    SupDevText_->setObjectName("SupDevText");
    SupDevText_->setReadOnly(true);
    SupDevText_->setLineWrapMode(QPlainTextEdit::NoWrap);
    SupDevText_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    SupDevText_->setPlainText(qs(qv::dir::SupportedDevicesText(ini)).replace("\r\n", "\n"));
    v->addWidget(split, 1);
    auto* h = new QHBoxLayout;
    h->addStretch();
    auto* copy = new QPushButton("Copy to Clipboard", this);
    copy->setObjectName("Clipboardbtn");
    auto* closeBtn = new QPushButton("Close", this);
    closeBtn->setObjectName("Closebtn");
    h->addWidget(copy);
    h->addWidget(closeBtn);
    v->addLayout(h);
    connect(copy, &QPushButton::clicked, this, [this] { copyToClipboard(); });
    connect(closeBtn, &QPushButton::clicked, this, [this] {
        if (parentWidget()) parentWidget()->close();
        else close();
    });
    resize(560, 520);
}

void SupDevices::copyToClipboard() {
    std::vector<qv::dir::SupDevRow> rows;
    qv::dir::SupDevRow head;
    for (int c = 0; c < 6; ++c) head[c] = ss(SupDevTab_->horizontalHeaderItem(c) ? SupDevTab_->horizontalHeaderItem(c)->text() : QString());
    rows.push_back(head);
    for (int r = 0; r < SupDevTab_->rowCount(); ++r) {
        qv::dir::SupDevRow row;
        for (int c = 0; c < 6; ++c) row[c] = SupDevTab_->item(r, c) ? ss(SupDevTab_->item(r, c)->text()) : "";
        rows.push_back(row);
    }
    qv::app::host().clipboardText(qv::dir::SupportedDevicesClipboard(rows));
}

}  // namespace qv::ui
