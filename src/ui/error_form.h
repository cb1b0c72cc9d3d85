// ErrorForm: the failure report, with a button that copies it.
#pragma once

#include "app/debug.h"

#include <QDialog>

namespace qv::ui {

class ErrorForm : public QDialog {
    Q_OBJECT
public:
    ErrorForm(const qv::app::ErrorReport& report, QWidget* parent = nullptr);
    // Shows the report window (not blocking: the failed routine goes on).
    static ErrorForm* DisplayError(const qv::app::ErrorReport& report, QWidget* parent);

private:
    qv::app::ErrorReport report_;
};

}  // namespace qv::ui
