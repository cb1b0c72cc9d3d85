// VISARscEditor_new, "Remote Interfaces": the instruments to attach, the
// VISA servers and the bus scan, on the directory's editor logic.
#pragma once

#include "app/context.h"
#include "instrument_directory/remote_editor.h"

#include <QWidget>
#include <vector>

class QCheckBox;
class QComboBox;
class QLineEdit;
class QListWidget;
class QTabWidget;

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
    void closeWindow();
    std::vector<qv::dir::EditorRow> checkedRows(QListWidget* list, std::vector<qv::dir::EditorRow> rows) const;

    qv::app::AppContext& ctx_;
    std::string ini_;
    std::vector<qv::dir::EditorRow> devices_, servers_;
    QTabWidget* SSTab1_ = nullptr;
    QListWidget *DevList_ = nullptr, *ServersList_ = nullptr;
    QComboBox *cmbInstrument_ = nullptr, *cmbInterface_ = nullptr, *cmbInterfaceScan_ = nullptr;
    QLineEdit *txtResource_ = nullptr, *txtServer_ = nullptr, *txtResourceScan_ = nullptr;
    QLineEdit* txtIPScan_[4] = {};
    QCheckBox* chkIncludeQVIB_ = nullptr;
};

}  // namespace qv::ui
