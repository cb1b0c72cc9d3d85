// SettingsForm: every control writes to the context at once; the file is
// written when the window closes. No OK or Cancel.
#pragma once

#include "app/context.h"

#include <QWidget>

class QCheckBox;
class QLineEdit;
class QRadioButton;
class QTabWidget;

namespace qv::ui {

class SettingsForm : public QWidget {
    Q_OBJECT
public:
    explicit SettingsForm(qv::app::AppContext& ctx, QWidget* parent = nullptr);
    ~SettingsForm() override;
    void UpdateAll();

protected:
    void closeEvent(QCloseEvent* e) override;

private:
    void refreshSeparator();
    void refreshColumns();
    QWidget* directoryTab();
    QWidget* hardcopyTraceTab(bool trace);
    QWidget* ucorTab();

    qv::app::AppContext& ctx_;
    bool saved_ = false;
    QTabWidget* SetTab_ = nullptr;
    QCheckBox *HcpySaveImg_ = nullptr, *HcpyCopyImg_ = nullptr, *HcpyPastWrd_ = nullptr, *HcpyColor_ = nullptr;
    QCheckBox *TracSaveDat_ = nullptr, *TracCopyImg_ = nullptr, *TracCopyDat_ = nullptr, *TracPastDat_ = nullptr;
    QRadioButton *UCorColTab_ = nullptr, *UCorColThis_ = nullptr;
    QLineEdit *UCorColChar_ = nullptr, *UCorStartRow_ = nullptr;
    QRadioButton* UCorRedMethod_[3] = {};
    QRadioButton *UCorXFirst_ = nullptr, *UCorXLast_ = nullptr, *UCorXThis_ = nullptr;
    QRadioButton *UCorYFirst_ = nullptr, *UCorYLast_ = nullptr, *UCorYThis_ = nullptr;
    QLineEdit *UCorXValue_ = nullptr, *UCorYValue_ = nullptr;
};

}  // namespace qv::ui
