#include "ui/remote_editor_form.h"

#include "app/host.h"
#include "instrument_directory/capabilities.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/mdns_browse.h"
#include "instrument_directory/visa_scan.h"
#include "ui/qt_host.h"
#include "ui/splash.h"

#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QFormLayout>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

#include <algorithm>

namespace qv::ui {

namespace {
QPushButton* Button(QWidget* parent, const char* name, const char* caption) {
    auto* b = new QPushButton(caption, parent);
    b->setObjectName(name);
    return b;
}
}  // namespace

VISARscEditor_new::VISARscEditor_new(qv::app::AppContext& ctx, QWidget* parent)
    : QWidget(parent), ctx_(ctx), ini_(ctx.IniFilePath) {
    setObjectName("VISARscEditor_new");
    setWindowTitle("Remote Interfaces");
    auto* v = new QVBoxLayout(this);
    SSTab1_ = new QTabWidget(this);
    SSTab1_->setObjectName("SSTab1");
    SSTab1_->addTab(devicesTab(), "Devices to attach");
    SSTab1_->addTab(serversTab(), "VISA servers to use");
    SSTab1_->addTab(scanTab(), "Scan");
    v->addWidget(SSTab1_, 1);

    auto* bottom = new QHBoxLayout;
    bottom->addStretch();
    auto* okBtn = Button(this, "cmdOK", "OK");
    okBtn->setDefault(true);
    auto* cancel = Button(this, "cmdCancel", "Cancel");
    bottom->addWidget(okBtn);
    bottom->addWidget(cancel);
    v->addLayout(bottom);
    connect(okBtn, &QPushButton::clicked, this, &VISARscEditor_new::ok);
    connect(cancel, &QPushButton::clicked, this, &VISARscEditor_new::closeWindow);
    resize(640, 440);
}

QWidget* VISARscEditor_new::devicesTab() {
    auto* dev = new QWidget;
    auto* dv = new QVBoxLayout(dev);
    DevList_ = new QListWidget(dev);
    DevList_->setObjectName("DevList");
    dv->addWidget(DevList_, 1);
    auto* form = new QGridLayout;
    cmbInstrument_ = new QComboBox(dev);
    cmbInstrument_->setObjectName("cmbInstrument");
    cmbInstrument_->setEditable(true);
    for (const std::string& e : qv::dir::DeviceEntries(qv::dir::VisaDevicesPath())) cmbInstrument_->addItem(qs(e));
    cmbInterface_ = new QComboBox(dev);
    cmbInterface_->setObjectName("cmbInterface");
    for (const std::string& c : qv::dir::InterfaceChoices()) cmbInterface_->addItem(qs(c));
    cmbInterface_->setCurrentText("LAN");
    txtResource_ = new QLineEdit(dev);
    txtResource_->setObjectName("txtResource");
    txtResource_->setPlaceholderText("host name, address or resource");
    form->addWidget(new QLabel("Instr. Name", dev), 0, 0);
    form->addWidget(new QLabel("Interface", dev), 0, 1);
    form->addWidget(new QLabel("Resource", dev), 0, 2);
    form->addWidget(cmbInstrument_, 1, 0);
    form->addWidget(cmbInterface_, 1, 1);
    form->addWidget(txtResource_, 1, 2);
    form->setColumnStretch(2, 1);
    dv->addLayout(form);
    auto* dbtn = new QHBoxLayout;
    auto* add = Button(dev, "imgAddGL", "ADD");
    auto* ren = Button(dev, "RenameDevice", "RENAME");
    auto* del = Button(dev, "DelDevice", "REMOVE");
    dbtn->addWidget(add);
    dbtn->addWidget(ren);
    dbtn->addWidget(del);
    dbtn->addStretch();
    dv->addLayout(dbtn);

    connect(add, &QPushButton::clicked, this, &VISARscEditor_new::addDevice);
    connect(txtResource_, &QLineEdit::returnPressed, this, &VISARscEditor_new::addDevice);
    connect(ren, &QPushButton::clicked, this, [this] {
        int i = DevList_->currentRow();
        if (i < 0 || i >= static_cast<int>(devices_.size())) return;
        // Ticks not yet written must survive the refill.
        devices_ = checkedRows(DevList_, devices_);
        if (qv::dir::RenameDevice(ini_, devices_[i])) fillDevList();
    });
    connect(del, &QPushButton::clicked, this, [this] {
        int i = DevList_->currentRow();
        if (i < 0 || i >= static_cast<int>(devices_.size())) return;
        devices_ = checkedRows(DevList_, devices_);
        qv::dir::DeleteDevice(ini_, devices_[i]);
        devices_.erase(devices_.begin() + i);
        fillDevList();
    });
    return dev;
}

QWidget* VISARscEditor_new::serversTab() {
    auto* srv = new QWidget;
    auto* sv = new QVBoxLayout(srv);
    ServersList_ = new QListWidget(srv);
    ServersList_->setObjectName("ServersList");
    sv->addWidget(ServersList_, 1);
    auto* sh = new QHBoxLayout;
    txtServer_ = new QLineEdit(srv);
    txtServer_->setObjectName("txtServer");
    txtServer_->setPlaceholderText("server name");
    auto* sadd = Button(srv, "imgAddServer", "ADD");
    auto* sren = Button(srv, "RenameServer", "RENAME");
    auto* sdel = Button(srv, "DelServer", "REMOVE");
    sh->addWidget(txtServer_, 1);
    sh->addWidget(sadd);
    sh->addWidget(sren);
    sh->addWidget(sdel);
    sv->addLayout(sh);

    connect(sadd, &QPushButton::clicked, this, [this] {
        std::string name = ss(txtServer_->text().trimmed());
        if (name.empty()) return;
        qv::dir::EditorRow row;
        if (qv::dir::AddServer(ini_, name, &row)) {
            servers_ = checkedRows(ServersList_, servers_);
            servers_.push_back(row);
            fillServersList();
            txtServer_->clear();
        }
    });
    connect(sren, &QPushButton::clicked, this, [this] {
        int i = ServersList_->currentRow();
        if (i < 0 || i >= static_cast<int>(servers_.size())) return;
        servers_ = checkedRows(ServersList_, servers_);
        if (qv::dir::RenameServer(ini_, servers_[i])) fillServersList();
    });
    connect(sdel, &QPushButton::clicked, this, [this] {
        int i = ServersList_->currentRow();
        if (i < 0 || i >= static_cast<int>(servers_.size())) return;
        servers_ = checkedRows(ServersList_, servers_);
        if (!qv::dir::DeleteServer(ini_, servers_[i])) return;
        servers_.erase(servers_.begin() + i);
        fillServersList();
    });
    return srv;
}

QWidget* VISARscEditor_new::scanTab() {
    const qv::dir::EditorSettings es = qv::dir::ReadEditorSettings(ini_);
    auto* sc = new QWidget;
    sc->setObjectName("tabScan");
    auto* sg = new QGridLayout(sc);
    cmbInterfaceScan_ = new QComboBox(sc);
    cmbInterfaceScan_->setObjectName("cmbInterfaceScan");
    for (const std::string& c : qv::dir::InterfaceScanChoices()) cmbInterfaceScan_->addItem(qs(c));
    cmbInterfaceScan_->setCurrentIndex(std::clamp<int>(es.interfaceIndex, 0, cmbInterfaceScan_->count() - 1));
    sg->addWidget(new QLabel("Interface", sc), 0, 0);
    sg->addWidget(cmbInterfaceScan_, 0, 1);
    auto* ip = new QHBoxLayout;
    const std::string parts[4] = {es.ipHi, es.ipMi, es.ipLo, "*"};
    for (int i = 0; i < 4; ++i) {
        txtIPScan_[i] = new QLineEdit(qs(parts[i]), sc);
        txtIPScan_[i]->setObjectName(QString("txtIPScan%1").arg(i));
        txtIPScan_[i]->setFixedWidth(48);
        ip->addWidget(txtIPScan_[i]);
        if (i < 3) ip->addWidget(new QLabel(".", sc));
    }
    // "*" walks the whole subnet, a number there is one host.
    txtIPScan_[3]->setToolTip("* for the whole subnet, or one number for one host");
    ip->addStretch();
    sg->addWidget(new QLabel("Subnet", sc), 1, 0);
    sg->addLayout(ip, 1, 1);
    txtResourceScan_ = new QPlainTextEdit(sc);
    txtResourceScan_->setObjectName("txtResourceScan");
    txtResourceScan_->setReadOnly(true);
    txtResourceScan_->setLineWrapMode(QPlainTextEdit::WidgetWidth);
    txtResourceScan_->setFixedHeight(txtResourceScan_->fontMetrics().lineSpacing() * 4 + 12);
    sg->addWidget(new QLabel("Found", sc), 2, 0, Qt::AlignTop);
    sg->addWidget(txtResourceScan_, 2, 1);
    chkIncludeQVIB_ = new QCheckBox("Include QVIB", sc);
    chkIncludeQVIB_->setObjectName("chkIncludeQVIB");
    chkIncludeQVIB_->setChecked(ctx_.IncludeQVIB != 0);
    sg->addWidget(chkIncludeQVIB_, 3, 1);
    auto* scanBtn = Button(sc, "imgScan", "Scan");
    sg->addWidget(scanBtn, 4, 1, Qt::AlignLeft);
    // A link-like button: shown once a broadcast has found hosts, a click
    // lists them.
    lblAllDevices_ = Button(sc, "lblAllDevices", qv::dir::kShowAllDevices);
    lblAllDevices_->setFlat(true);
    lblAllDevices_->setCursor(Qt::PointingHandCursor);
    lblAllDevices_->setStyleSheet("QPushButton { color: #1f5fa8; background: #e8f0fa; text-decoration: underline; "
                                  "border: none; padding: 3px 8px; }");
    lblAllDevices_->hide();
    sg->addWidget(lblAllDevices_, 5, 1, Qt::AlignLeft);
    sg->setRowStretch(6, 1);
    sg->setColumnStretch(1, 1);

    connect(chkIncludeQVIB_, &QCheckBox::clicked, this, [this](bool on) { qv::dir::SetIncludeQVIB(ini_, on); });
    connect(scanBtn, &QPushButton::clicked, this, &VISARscEditor_new::scan);
    connect(lblAllDevices_, &QPushButton::clicked, this, &VISARscEditor_new::showAllDevices);
    return sc;
}

void VISARscEditor_new::UpdateList(const std::string&) {
    // The key names a cache of the old platform's registry; the rows
    // themselves live in the settings file.
    devices_ = qv::dir::ReadDeviceRows(ini_);
    servers_ = qv::dir::ReadServerRows(ini_);
    fillDevList();
    fillServersList();
}

void VISARscEditor_new::fillDevList() {
    DevList_->clear();
    for (const qv::dir::EditorRow& r : devices_) {
        auto* it = new QListWidgetItem(qs(qv::dir::DevListLine(r.value)).replace('\t', "    "), DevList_);
        it->setFlags(it->flags() | Qt::ItemIsUserCheckable);
        it->setCheckState(r.checked ? Qt::Checked : Qt::Unchecked);
    }
}

void VISARscEditor_new::fillServersList() {
    ServersList_->clear();
    for (const qv::dir::EditorRow& r : servers_) {
        auto* it = new QListWidgetItem(qs(r.value), ServersList_);
        it->setFlags(it->flags() | Qt::ItemIsUserCheckable);
        it->setCheckState(r.checked ? Qt::Checked : Qt::Unchecked);
    }
}

std::vector<qv::dir::EditorRow> VISARscEditor_new::checkedRows(QListWidget* list,
                                                               std::vector<qv::dir::EditorRow> rows) const {
    for (int i = 0; i < list->count() && i < static_cast<int>(rows.size()); ++i)
        rows[i].checked = list->item(i)->checkState() == Qt::Checked;
    return rows;
}

void VISARscEditor_new::addDevice() {
    qv::dir::EditorRow row;
    if (!qv::dir::AddDevice(ini_, ss(cmbInterface_->currentText()), ss(txtResource_->text()),
                            ss(cmbInstrument_->currentText()), &row))
        return;
    devices_ = checkedRows(DevList_, devices_);
    devices_.push_back(row);
    fillDevList();
    txtResource_->clear();
}

void VISARscEditor_new::scan() {
    if (scanning_) return;
    const int choice = cmbInterfaceScan_->currentIndex();
    if (choice == qv::dir::kScanChoiceSubnet || choice == qv::dir::kScanChoiceAny ||
        choice == qv::dir::kScanChoiceMdns) {
        scanLan(choice);
        return;
    }
    if (choice < 0 || choice > 1) return;
    qv::dir::VISAScan s;
    qv::app::host().busy(true);
    std::vector<qv::dir::EditorRow> added = qv::dir::ScanGpibAndAdd(ini_, static_cast<int16_t>(choice), s);
    qv::app::host().busy(false);
    devices_ = checkedRows(DevList_, devices_);
    for (const qv::dir::EditorRow& r : added) devices_.push_back(r);
    fillDevList();
    const QString bus = cmbInterfaceScan_->currentText();
    txtResourceScan_->setPlainText(added.empty() ? QString("No instruments found on %1").arg(bus)
                                                 : QString("%1 added from %2").arg(added.size()).arg(bus));
}

void VISARscEditor_new::scanLan(int choice) {
    const std::vector<bool> serverFlags = qv::dir::ReadServerFlags(ini_);
    qv::dir::VISAScan visa;
    qv::dir::LanScanner scanner(ini_, visa);
    qv::dir::LanScanReport report;

    std::string address;
    if (choice == qv::dir::kScanChoiceSubnet) {
        for (int i = 0; i < 4; ++i) address += (i ? "." : "") + ss(txtIPScan_[i]->text().trimmed());
        std::string prefix;
        int single = 0;
        if (!qv::dir::ParseIpArea(address, prefix, single)) {
            // The scanner's own check says what is wrong, and scans nothing.
            scanner.VisaScanIPArea(address, qv::dir::kEditorScanTimeoutMs, 0, serverFlags, true, report);
            txtResourceScan_->clear();
            return;
        }
    }

    scanning_ = true;
    // Over the main window when there is one, so that nothing else starts
    // while events run; Cancel stays usable.
    QPointer<SplashForm> splash = new SplashForm(window());
    splash->ShowSplash(true);
    scanner.hooks.progress = [splash](int percent) {
        if (splash) splash->SplashSetProgessBar(percent);
    };
    scanner.hooks.statusText = [splash](const std::string& text) {
        if (splash) splash->SetStatusText(qs(text));
    };
    scanner.hooks.processEvents = [] { QCoreApplication::processEvents(); };
    scanner.hooks.cancelled = [] { return qv::app::context().SplashCancelled; };
    scanner.hooks.addToSettings = true;

    bool ran = true;
    std::string failure;
    if (choice == qv::dir::kScanChoiceSubnet) {
        ran = scanner.VisaScanIPArea(address, qv::dir::kEditorScanTimeoutMs, 0, serverFlags, true, report);
    } else if (choice == qv::dir::kScanChoiceAny) {
        lblAllDevices_->hide();
        qv::dir::DiscoveryOptions options;
        options.processEvents = scanner.hooks.processEvents;
        if (splash) splash->SetStatusText("Port mapper broadcast...");
        ran = scanner.ScanAny(report, options);
        if (!ran) failure = qv::dir::kInterfaceNotInitialized;
        broadcastHosts_ = scanner.Hosts();
        broadcastNames_ = report.hostNames;
        lblAllDevices_->setVisible(scanner.ShowAllDevices());
    } else {
        if (splash) splash->SetStatusText("Browsing mDNS services...");
        std::vector<qv::dir::MdnsService> services;
        if (qv::dir::BrowseMdns(qv::dir::kMdnsBrowseMs, services, failure, scanner.hooks.processEvents,
                                scanner.hooks.cancelled)) {
            scanner.ScanCandidates(qv::dir::CandidatesFromServices(services), report);
        } else {
            ran = false;
        }
    }
    if (splash) splash->ReadyToWork();
    scanning_ = false;
    // The scanner showed its own messages; the browse's failure is ours to show.
    if (choice == qv::dir::kScanChoiceMdns && !ran)
        qv::app::host().message(qv::dir::kLanScanCaption, failure, qv::app::Icon::Warning);
    if (!ran) {
        txtResourceScan_->setPlainText(qs(failure));
        return;
    }
    takeScanResult(report);
}

void VISARscEditor_new::takeScanResult(const qv::dir::LanScanReport& report) {
    if (!report.added.empty()) {
        devices_ = checkedRows(DevList_, devices_);
        for (const qv::dir::EditorRow& r : report.added) devices_.push_back(r);
        fillDevList();
    }
    txtResourceScan_->setPlainText(qs(report.summary()));
}

void VISARscEditor_new::showAllDevices() {
    std::string text;
    std::vector<std::string> shown;
    for (const std::string& host : broadcastHosts_) {
        // A host that answered twice is one device.
        if (host.empty() || std::find(shown.begin(), shown.end(), host) != shown.end()) continue;
        shown.push_back(host);
        std::string line = host;
        // "address (name)", where an empty name says the look-up found none.
        for (const std::string& named : broadcastNames_)
            if (named.rfind(host + " (", 0) == 0 && named != host + " ()") line = named;
        text += line + "\n";
    }
    if (text.empty()) return;
    qv::app::host().message(qv::dir::kShowAllDevices, text, qv::app::Icon::Information);
}

void VISARscEditor_new::ok() {
    qv::dir::EditorSettings es;
    es.interfaceIndex = static_cast<int16_t>(cmbInterfaceScan_->currentIndex());
    es.ipHi = ss(txtIPScan_[0]->text());
    es.ipMi = ss(txtIPScan_[1]->text());
    es.ipLo = ss(txtIPScan_[2]->text());
    qv::dir::ApplyEditor(ini_, checkedRows(DevList_, devices_), checkedRows(ServersList_, servers_), es);
    emit accepted();
    closeWindow();
}

void VISARscEditor_new::closeWindow() {
    if (auto* sub = qobject_cast<QMdiSubWindow*>(parentWidget())) sub->close();
    else close();
}

}  // namespace qv::ui
