// ReportForm: the window RTF reports are shown in. Its maker composes into
// RTFBuf and RTFReport() with the report composer and sets the context
// values right after making it; the user can save the shown source as an
// .rtf file.
#pragma once

#include "app/main_window.h"

#include <QWidget>

#include <functional>
#include <string>

class QToolButton;

namespace qv::ui {

class MainForm;
class RichTextEdit;

class ReportForm : public QWidget, public qv::app::HotKeyWindow {
    Q_OBJECT
public:
    // main receives the released keys; without one they go nowhere.
    explicit ReportForm(MainForm* main, QWidget* parent = nullptr);

    std::string RTFBuf;
    std::string MyVISARsc, MyDevType, MyFirmware;

    RichTextEdit& RTFReport() const { return *box_; }
    QToolButton* saveButton() const { return save_; }

    // "Save as RTF...": asks for a file, then writes it; false when
    // cancelled or the file could not be written (the user was told).
    bool SaveRtf();
    // Writes the shown source as a document office programs open, whole or
    // not at all.
    bool SaveRtfTo(const std::string& path);

    // What the update hot key does; the window's maker sets it.
    void setUpdateAction(std::function<void()> action) { update_ = std::move(action); }

    // HotKeyWindow
    std::string Tag() const override { return "REPORT"; }
    void Update() override {
        if (update_) update_();
    }

protected:
    void keyReleaseEvent(QKeyEvent* e) override;
    bool eventFilter(QObject* o, QEvent* e) override;

private:
    void showContextMenu(const QPoint& pos);

    MainForm* main_;
    RichTextEdit* box_ = nullptr;
    QToolButton* save_ = nullptr;
    std::function<void()> update_;
};

}  // namespace qv::ui
