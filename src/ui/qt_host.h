// The host port on Qt: message and input boxes, file and folder dialogs,
// the clipboard, the busy cursor, pending events and the shell.
#pragma once

#include "app/host.h"

#include <QPointer>
#include <QWidget>

namespace qv::ui {

class QtHost final : public qv::app::Host {
public:
    // parent: the window dialogs centre on (the main window); may be null.
    explicit QtHost(QWidget* parent = nullptr) : parent_(parent) {}
    void setParent(QWidget* parent) { parent_ = parent; }

    qv::app::Answer message(const std::string& title, const std::string& text, qv::app::Icon icon,
                            qv::app::Buttons buttons) override;
    bool input(const std::string& title, const std::string& prompt, std::string& value) override;
    std::string saveFileName(const std::string& title, const std::string& folder, const std::string& suggestion,
                             const std::string& filter) override;
    std::string openFileName(const std::string& title, const std::string& folder,
                             const std::string& filter) override;
    std::string folderName(const std::string& title, const std::string& current) override;
    void clipboardText(const std::string& text) override;
    bool clipboardImage(const std::string& imageFile) override;
    void busy(bool on) override;
    void processEvents() override;
    bool openWithShell(const std::string& path) override;

private:
    QPointer<QWidget> parent_;
    int busyDepth_ = 0;
};

inline QString qs(const std::string& s) { return QString::fromStdString(s); }
inline std::string ss(const QString& s) { return s.toStdString(); }

}  // namespace qv::ui
