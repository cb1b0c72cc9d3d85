#include "ui/error_form.h"

#include "ui/qt_host.h"

#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace qv::ui {

ErrorForm::ErrorForm(const qv::app::ErrorReport& report, QWidget* parent) : QDialog(parent), report_(report) {
    setObjectName("ErrorForm");
    setWindowTitle("Quilvane");
    resize(620, 460);
    auto* v = new QVBoxLayout(this);
    auto* top = new QHBoxLayout;
    auto* icon = new QLabel(this);
    icon->setPixmap(style()->standardIcon(QStyle::SP_MessageBoxCritical).pixmap(40, 40));
    top->addWidget(icon, 0, Qt::AlignTop);
    auto* text = new QLabel(qs(qv::app::ErrorExplanationText()).replace("\r\n", "\n"), this);
    text->setObjectName("lblExplanation");
    text->setWordWrap(true);
    top->addWidget(text, 1);
    v->addLayout(top);
    auto* rep = new QPlainTextEdit(qs(qv::app::ErrorReportText(report)).replace("\r\n", "\n"), this);
    rep->setObjectName("txtReport");
    rep->setReadOnly(true);
    rep->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    v->addWidget(rep, 1);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    auto* copy = new QPushButton(qv::app::kCopyReportCaption, this);
    copy->setObjectName("cmdCopy");
    auto* close = new QPushButton("Close", this);
    buttons->addWidget(copy);
    buttons->addWidget(close);
    v->addLayout(buttons);
    connect(copy, &QPushButton::clicked, this, [this] { qv::app::CopyErrorReport(report_); });
    connect(close, &QPushButton::clicked, this, &QDialog::accept);
}

ErrorForm* ErrorForm::DisplayError(const qv::app::ErrorReport& report, QWidget* parent) {
    auto* f = new ErrorForm(report, parent);
    f->setAttribute(Qt::WA_DeleteOnClose);
    f->open();
    return f;
}

}  // namespace qv::ui
