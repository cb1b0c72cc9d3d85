#include "ui/ip_resolve.h"

#include "instrument_directory/host_names.h"
#include "ui/qt_host.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>

namespace qv::ui {

IPResolve::IPResolve(QWidget* parent) : QWidget(parent) {
    setObjectName("IPResolve");
    setWindowTitle("IP Address Resolver");
    auto* g = new QGridLayout(this);
    Option1_ = new QRadioButton("IP address to name", this);
    Option1_->setObjectName("Option1");
    Option2_ = new QRadioButton("Name to IP address", this);
    Option2_->setObjectName("Option2");
    Option2_->setChecked(true);
    Text1_ = new QLineEdit(this);
    Text1_->setObjectName("Text1");
    Text2_ = new QLineEdit(this);
    Text2_->setObjectName("Text2");
    Text2_->setReadOnly(true);
    auto* cmd = new QPushButton("Resolve", this);
    cmd->setObjectName("Command1");
    cmd->setDefault(true);
    g->addWidget(Option1_, 0, 0);
    g->addWidget(Option2_, 0, 1);
    g->addWidget(Text1_, 1, 0, 1, 2);
    g->addWidget(cmd, 1, 2);
    g->addWidget(Text2_, 2, 0, 1, 2);
    g->setRowStretch(3, 1);
    connect(cmd, &QPushButton::clicked, this, &IPResolve::Resolve);
    connect(Text1_, &QLineEdit::returnPressed, this, &IPResolve::Resolve);
    resize(420, 140);
}

void IPResolve::Resolve() {
    qv::dir::ClsResolve r;
    std::string in = ss(Text1_->text());
    Text2_->setText(qs(Option1_->isChecked() ? r.GetHostNameFromIP(in) : r.GetIPFromHostName(in)));
}

}  // namespace qv::ui
