#include "ui/report_form.h"

#include "app/context.h"
#include "app/host.h"
#include "app/standard.h"
#include "documents/rtf_file.h"
#include "ui/icons.h"
#include "ui/main_form.h"
#include "ui/rich_text_box.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMenu>
#include <QToolButton>
#include <QVBoxLayout>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace qv::ui {

ReportForm::ReportForm(MainForm* main, QWidget* parent) : QWidget(parent), main_(main) {
    setObjectName("ReportForm");
    setWindowTitle("Instrument Table Reports");
    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(6, 6, 6, 6);
    auto* strip = new QHBoxLayout;
    save_ = new QToolButton(this);
    save_->setObjectName("imgSaveRtf");
    save_->setText("Save as RTF...");
    save_->setToolTip("Save the report as an RTF document");
    save_->setIcon(QIcon(ToolPicture(ToolGlyph::Save, 32)));
    save_->setIconSize(QSize(32, 32));
    save_->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    save_->setAutoRaise(true);
    connect(save_, &QToolButton::clicked, this, [this] { SaveRtf(); });
    strip->addWidget(save_);
    strip->addStretch();
    lay->addLayout(strip);
    box_ = new RichTextEdit(this);
    box_->setObjectName("RTFReport");
    box_->installEventFilter(this);
    box_->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(box_, &QWidget::customContextMenuRequested, this, &ReportForm::showContextMenu);
    lay->addWidget(box_, 1);
    resize(640, 480);
}

void ReportForm::showContextMenu(const QPoint& pos) {
    QMenu* menu = box_->createStandardContextMenu(pos);
    menu->addSeparator();
    menu->addAction("Save as RTF...", this, [this] { SaveRtf(); });
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->popup(box_->viewport()->mapToGlobal(pos));
}

bool ReportForm::SaveRtf() {
    std::string path = app::host().saveFileName("Save as RTF", app::context().SaveFolder, "report.rtf",
                                                 "RTF documents (*.rtf)");
    if (path.empty()) return false;
    if (std::filesystem::path(path).extension().empty()) path += ".rtf";
    return SaveRtfTo(path);
}

bool ReportForm::SaveRtfTo(const std::string& path) {
    const std::string text = qv::documents::RtfFileText(box_->rtf(), box_->fontName());
    // A reader never finds half a document, and a failed write leaves the
    // old file alone.
    std::string why;
    const bool saved = app::ReplaceThroughPart(path, [&](const std::string& part) {
        std::ofstream f(part, std::ios::binary | std::ios::trunc);
        f.write(text.data(), std::streamsize(text.size()));
        f.close();
        if (!f) why = std::strerror(errno);
        return bool(f);
    });
    if (saved) return true;
    if (why.empty()) why = std::strerror(errno);
    app::host().message("ERROR", "The report could not be saved as " + path + " (" + why + ").",
                        app::Icon::Warning);
    return false;
}

void ReportForm::keyReleaseEvent(QKeyEvent* e) {
    if (main_) main_->HotKeyReleased(*this, e);
    QWidget::keyReleaseEvent(e);
}

bool ReportForm::eventFilter(QObject* o, QEvent* e) {
    if (o == box_ && e->type() == QEvent::KeyRelease) {
        if (main_) main_->HotKeyReleased(*this, static_cast<QKeyEvent*>(e));
        // Taken here: the window would otherwise see it a second time.
        return true;
    }
    return QWidget::eventFilter(o, e);
}

}  // namespace qv::ui
