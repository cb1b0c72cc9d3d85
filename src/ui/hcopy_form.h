// HCopyForm: the child window that shows one hardcopy and offers Update,
// Save, Copy and Print. It fetches its picture through the hardcopy
// subsystem and is the View that subsystem shows pictures in.
#pragma once

#include "app/main_window.h"
#include "hardcopy/hardcopy.h"
#include "ui/running_action.h"

#include <QImage>
#include <QPointer>
#include <QWidget>

class QLabel;
class QScrollArea;
class QToolButton;

namespace qv::ui {

class MainForm;
class SplashForm;

class HCopyForm : public QWidget, public qv::hardcopy::View, public qv::app::HotKeyWindow {
    Q_OBJECT
public:
    explicit HCopyForm(MainForm& main, QWidget* parent = nullptr);
    ~HCopyForm() override;

    // Copies of the main window's selection, taken when the window opens.
    std::string MyVISARsc, MyDevType, MyFirmware;

    // Fetches the picture (the Update hot key lands here).
    void GetHardcopy();
    // Shows a picture file that came by another way (the file browser's
    // fetch); false, after saying why, when it cannot be shown.
    bool showPictureFile(const std::string& file);
    // The Update button: the hot key pair, then the clipboard rule.
    void clickUpdate();
    void clickSave();
    void clickCopy();
    void clickPrint();

    const QImage& picture() const { return picture_; }
    QLabel* HCopyImage() const { return image_; }
    QToolButton* button(const QString& objectName) const;
    // The last hardcopy's outcome (for the command line's twin and tests).
    const qv::hardcopy::Outcome& lastOutcome() const { return outcome_; }
    bool running() const { return action_.running(); }

    // View
    bool showPicture(const std::string& file, qv::hardcopy::Route route, std::string& why) override;
    void fitToPicture() override;
    void setSizeTwips(int width, int height) override;
    void clearClipboard() override;
    bool progress(int percent) override;
    bool gone() const override { return action_.closeAsked(); }

    // HotKeyWindow
    std::string Tag() const override { return "IMAGE"; }
    void CopyPicture() override;
    std::string ImageType() const override;
    bool SavePicture(const std::string& path) override;
    void Update() override { GetHardcopy(); }

protected:
    void keyReleaseEvent(QKeyEvent* e) override;
    void closeEvent(QCloseEvent* e) override;
    bool eventFilter(QObject* o, QEvent* e) override;

private:
    QToolButton* addButton(const QString& name, const QString& caption, const QString& tip, int glyph);
    // Starts dragging the picture out as a file.
    void dragPicture();

    MainForm& main_;
    QWidget* strip_ = nullptr;
    QScrollArea* scroll_ = nullptr;
    QLabel* image_ = nullptr;
    QImage picture_;
    std::string pictureFile_;  // the file the picture came from (it may be gone)
    qv::hardcopy::Outcome outcome_;
    QPointer<SplashForm> splash_;
    RunningAction action_;
    QPoint pressAt_;
    bool pressed_ = false;
};

}  // namespace qv::ui
