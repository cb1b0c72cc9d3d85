#include "ui/qt_host.h"

#include <QApplication>
#include <QClipboard>
#include <QDesktopServices>
#include <QFileDialog>
#include <QFileInfo>
#include <QImage>
#include <QInputDialog>
#include <QMessageBox>
#include <QUrl>

namespace qv::ui {

using qv::app::Answer;
using qv::app::Buttons;
using qv::app::Icon;

Answer QtHost::message(const std::string& title, const std::string& text, Icon icon, Buttons buttons) {
    QMessageBox box(parent_);
    box.setWindowTitle(qs(title));
    // The logic's texts break lines with CR LF; a lone CR would show as a box.
    box.setText(qs(text).replace("\r\n", "\n"));
    switch (icon) {
        case Icon::Information: box.setIcon(QMessageBox::Information); break;
        case Icon::Question: box.setIcon(QMessageBox::Question); break;
        case Icon::Warning: box.setIcon(QMessageBox::Warning); break;
        case Icon::Critical: box.setIcon(QMessageBox::Critical); break;
        case Icon::None: box.setIcon(QMessageBox::NoIcon); break;
    }
    QMessageBox::StandardButtons set;
    QMessageBox::StandardButton def = QMessageBox::Ok;
    switch (buttons) {
        case Buttons::Ok: set = QMessageBox::Ok; break;
        case Buttons::OkCancel: set = QMessageBox::Ok | QMessageBox::Cancel; break;
        case Buttons::YesNo: set = QMessageBox::Yes | QMessageBox::No; def = QMessageBox::Yes; break;
        case Buttons::YesNoCancel:
            set = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
            def = QMessageBox::Yes;
            break;
        case Buttons::RetryCancel: set = QMessageBox::Retry | QMessageBox::Cancel; def = QMessageBox::Retry; break;
    }
    // Messages of the start sequence come while the splash stands on top.
    box.setWindowFlag(Qt::WindowStaysOnTopHint);
    box.setStandardButtons(set);
    box.setDefaultButton(def);
    // A busy cursor must not sit over a question.
    bool wasBusy = busyDepth_ > 0;
    if (wasBusy) QApplication::restoreOverrideCursor();
    int r = box.exec();
    if (wasBusy) QApplication::setOverrideCursor(Qt::WaitCursor);
    switch (r) {
        case QMessageBox::Ok: return Answer::Ok;
        case QMessageBox::Yes: return Answer::Yes;
        case QMessageBox::No: return Answer::No;
        case QMessageBox::Retry: return Answer::Retry;
        default: break;
    }
    // Escape or the close button: the safe choice of the set.
    if (buttons == Buttons::Ok) return Answer::Ok;
    if (buttons == Buttons::YesNo) return Answer::No;
    return Answer::Cancel;
}

bool QtHost::input(const std::string& title, const std::string& prompt, std::string& value) {
    bool ok = false;
    QString r = QInputDialog::getText(parent_, qs(title), qs(prompt), QLineEdit::Normal, qs(value), &ok);
    if (ok) value = ss(r);
    return ok;
}

std::string QtHost::saveFileName(const std::string& title, const std::string& folder, const std::string& suggestion,
                                 const std::string& filter) {
    QString start = qs(folder);
    if (!suggestion.empty()) start = start.isEmpty() ? qs(suggestion) : start + "/" + qs(suggestion);
    return ss(QFileDialog::getSaveFileName(parent_, qs(title), start, qs(filter)));
}

std::string QtHost::openFileName(const std::string& title, const std::string& folder, const std::string& filter) {
    return ss(QFileDialog::getOpenFileName(parent_, qs(title), qs(folder), qs(filter)));
}

std::string QtHost::folderName(const std::string& title, const std::string& current) {
    return ss(QFileDialog::getExistingDirectory(parent_, qs(title).replace("\r\n", " "), qs(current)));
}

void QtHost::clipboardText(const std::string& text) {
    QClipboard* cb = QGuiApplication::clipboard();
    cb->clear();
    cb->setText(qs(text));
}

bool QtHost::clipboardImage(const std::string& imageFile) {
    QImage img(qs(imageFile));
    if (img.isNull()) return false;
    QClipboard* cb = QGuiApplication::clipboard();
    cb->clear();
    cb->setImage(img);
    return true;
}

void QtHost::busy(bool on) {
    if (on) {
        ++busyDepth_;
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else if (busyDepth_ > 0) {
        --busyDepth_;
        QApplication::restoreOverrideCursor();
    }
}

void QtHost::processEvents() { QCoreApplication::processEvents(QEventLoop::AllEvents, 50); }

bool QtHost::openWithShell(const std::string& path) {
    if (!QFileInfo::exists(qs(path))) return false;
    return QDesktopServices::openUrl(QUrl::fromLocalFile(qs(path)));
}

}  // namespace qv::ui
