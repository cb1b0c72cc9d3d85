// VISARscEditor_new, "Remote Interfaces": the instruments to attach, the
// VISA servers and the scans (GPIB bus, LAN subnet, port mapper broadcast,
// mDNS), on the directory's editor and LAN scan logic.
#pragma once

#include "app/context.h"
#include "instrument_directory/remote_editor.h"

#include <QWidget>
#include <string>
#include <vector>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QPlainTextEdit;
class QPushButton;
class QTabWidget;

namespace qv::dir {
struct LanScanReport;
}

namespace qv::ui {

class VISARscEditor_new : public QWidget {
    Q_OBJECT
public:
    explicit VISARscEditor_new(qv::app::AppContext& ctx, QWidget* parent = nullptr);
    void UpdateList(const std::string& registryKey);
    QListWidget* devList() const { return DevList_; }
    QListWidget* serversList() const { return ServersList_; }
    void addDevice();
    void ok();

signals:
    // OK was pressed and the lists are written: the main window searches again.
    void accepted();

private:
    // One builder per tab: its controls and their connections.
    QWidget* devicesTab();
    QWidget* serversTab();
    QWidget* scanTab();
    void fillDevList();
    void fillServersList();
    void scan();
    // The three LAN choices, under the progress splash with Cancel.
    void scanLan(int choice);
    // The rows a scan added join DevList; its summary goes to the status field.
    void takeScanResult(const qv::dir::LanScanReport& report);
    void showAllDevices();
    void closeWindow();
    std::vector<qv::dir::EditorRow> checkedRows(QListWidget* list, std::vector<qv::dir::EditorRow> rows) const;

    qv::app::AppContext& ctx_;
    std::string ini_;
    std::vector<qv::dir::EditorRow> devices_, servers_;
    QTabWidget* SSTab1_ = nullptr;
    QListWidget *DevList_ = nullptr, *ServersList_ = nullptr;
    QComboBox *cmbInstrument_ = nullptr, *cmbInterface_ = nullptr, *cmbInterfaceScan_ = nullptr;
    QLineEdit *txtResource_ = nullptr, *txtServer_ = nullptr;
    // A few lines: a LAN scan's summary names hosts.
    QPlainTextEdit* txtResourceScan_ = nullptr;
    QLineEdit* txtIPScan_[4] = {};
    QCheckBox* chkIncludeQVIB_ = nullptr;
    QPushButton* lblAllDevices_ = nullptr;
    // The senders of the last broadcast and the "address (name)" texts the
    // scan found for them: what "Show all VXI-11 compatible devices" lists.
    std::vector<std::string> broadcastHosts_, broadcastNames_;
    // A scan lets events through; a second click must not start another.
    bool scanning_ = false;
};

}  // namespace qv::ui
