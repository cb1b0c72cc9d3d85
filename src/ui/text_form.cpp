#include "ui/text_form.h"

#include "app/host.h"

#include <QFontDatabase>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace qv::ui {

TextForm::TextForm(QWidget* parent) : QWidget(parent) {
    setWindowTitle("generic text window");
    auto* layout = new QVBoxLayout(this);
    TextDisplay_ = new QPlainTextEdit(this);
    TextDisplay_->setObjectName("TextDisplay");
    TextDisplay_->setReadOnly(true);
    TextDisplay_->setLineWrapMode(QPlainTextEdit::NoWrap);
    TextDisplay_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    layout->addWidget(TextDisplay_, 1);
    auto* copy = new QPushButton("Copy", this);
    copy->setObjectName("lblCopy");
    copy->setToolTip("Copy data to the clipboard");
    connect(copy, &QPushButton::clicked, this, &TextForm::Copy);
    layout->addWidget(copy, 0, Qt::AlignLeft);
    resize(560, 420);
}

void TextForm::UpdateDisplay(const std::string& text) {
    QString t = QString::fromStdString(text);
    t.replace("\r\n", "\n");
    TextDisplay_->setPlainText(t);
    update();
}

QString TextForm::text() const {
    return TextDisplay_->toPlainText();
}

void TextForm::Copy() {
    app::host().clipboardText(text().replace('\n', "\r\n").toStdString());
}

}  // namespace qv::ui
