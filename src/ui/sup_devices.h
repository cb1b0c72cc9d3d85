// SupDevices: the table of supported devices, as a grid and as text.
#pragma once

#include <QWidget>

class QPlainTextEdit;
class QTableWidget;

namespace qv::ui {

class SupDevices : public QWidget {
    Q_OBJECT
public:
    // visaDevicesIni empty: the shipped data file.
    explicit SupDevices(const QString& visaDevicesIni = {}, QWidget* parent = nullptr);
    QTableWidget* grid() const { return SupDevTab_; }
    QPlainTextEdit* text() const { return SupDevText_; }
    void copyToClipboard();

private:
    QTableWidget* SupDevTab_;
    QPlainTextEdit* SupDevText_;
};

}  // namespace qv::ui
