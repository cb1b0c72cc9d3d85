#include "instrument_directory/remote_editor.h"

#include "app/context.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/text.h"
#include "instrument_directory/visa_scan.h"

namespace qv::dir {

namespace {

constexpr const char* kCaption = "Remote Interfaces";
constexpr int kMaxRows = 30000;

app::IniRows devices(const std::string& ini) { return {ini, "DisplayNames", "Name"}; }
app::IniRows deviceFlags(const std::string& ini) { return {ini, "ScanEntries", "Value"}; }
app::IniRows servers(const std::string& ini) { return {ini, "Servers", "ServerEntry"}; }
app::IniRows serverFlags(const std::string& ini) { return {ini, "ScanEntriesServers", "Value"}; }

std::string withoutBlanks(std::string_view text) {
    std::string out;
    for (char c : text)
        if (c != ' ' && c != '\t') out += c;
    return out;
}

void writeFlag(const app::IniRows& rows, int row, bool on) {
    app::WriteIni(rows.file, rows.section, rows.prefix + std::to_string(row), app::Value(std::string(on ? "1" : "0")));
}

bool writeRow(const app::IniRows& rows, int row, const std::string& value) {
    return app::WriteIni(rows.file, rows.section, rows.prefix + std::to_string(row), app::Value(value));
}

std::vector<EditorRow> readRows(const app::IniRows& names, const app::IniRows& flags) {
    std::vector<EditorRow> out;
    for (int n = 1; n <= kMaxRows; ++n) {
        const std::string v = app::ReadRow(names, n);
        if (v.empty()) break;
        if (v == "NULL") continue;
        out.push_back(EditorRow{n, v, app::IniTextIsTrue(app::TrimBlanks(app::ReadRow(flags, n)))});
    }
    return out;
}

// The row of a list line: its own number while that still holds the value,
// else wherever the value stands now.
int locate(const app::IniRows& rows, const EditorRow& row) {
    if (row.row > 0 && app::ReadRow(rows, row.row) == row.value) return row.row;
    return app::FindRow(rows, row.value);
}

// A new row goes behind the last row of the list: a deleted row keeps its
// "NULL", so an instrument added again does not move up the scan order.
// The flags are read up to the first empty one, so every row before the new
// one gets a flag if it has none ("0": it was not scanned, and still isn't).
bool addRow(const app::IniRows& names, const app::IniRows& flags, const std::string& value, EditorRow* added) {
    const int n = app::EndRow(names);
    for (int r = 1; r < n; ++r)
        if (app::ReadRow(flags, r).empty()) writeFlag(flags, r, false);
    if (!writeRow(names, n, value)) return false;
    writeFlag(flags, n, true);
    if (added) *added = EditorRow{n, value, true};
    return true;
}

}  // namespace

const std::vector<std::string>& InterfaceChoices() {
    static const std::vector<std::string> c{"GPIB0", "GPIB1", "LAN", "RAW", "USB"};
    return c;
}

const std::vector<std::string>& InterfaceScanChoices() {
    static const std::vector<std::string> c{"GPIB0", "GPIB1", "LAN (subnet)", "LAN (any)", "LAN (mDNS)"};
    return c;
}

std::vector<EditorRow> ReadDeviceRows(const std::string& iniFile) {
    return readRows(devices(iniFile), deviceFlags(iniFile));
}

std::vector<EditorRow> ReadServerRows(const std::string& iniFile) {
    return readRows(servers(iniFile), serverFlags(iniFile));
}

std::vector<bool> ReadServerFlags(const std::string& iniFile) {
    std::vector<bool> flags;
    app::ReadFlagList(serverFlags(iniFile), servers(iniFile), flags);
    return flags;
}

std::string DevListLine(const std::string& rowValue) {
    const size_t bar = rowValue.find('|');
    if (bar == std::string::npos) return rowValue;
    return rowValue.substr(0, bar) + "\t" + rowValue.substr(bar);
}

std::string RowValueFromLine(const std::string& line) { return withoutBlanks(line); }

std::string ResourceFromTyped(const std::string& interfaceName, const std::string& typed) {
    const std::string t = app::TrimBlanks(typed);
    const std::string bus = app::ToUpperAscii(interfaceName);
    // A RAW entry is handed to the VISA layer as typed: it may be a socket
    // resource, which must not get "::INSTR".
    if (bus == "RAW") return "RAW::" + t;
    return bus + "::" + t + "::INSTR";
}

std::string RowValueFromResource(const std::string& resource, const std::string& comment) {
    std::string bus = resource, address;
    const size_t sep = resource.find("::");
    if (sep != std::string::npos) {
        bus = resource.substr(0, sep);
        address = resource.substr(sep + 2);
        const std::string tail = "::INSTR";
        if (app::ToUpperAscii(bus) != "RAW" && address.size() >= tail.size() &&
            app::EqualsNoCase(address.substr(address.size() - tail.size()), tail))
            address.resize(address.size() - tail.size());
    }
    // GPIB::20::0 (a secondary address) is stored with the plain GPIB word,
    // which ResolveName turns back into the same resource.
    if (app::ToUpperAscii(bus) == "GPIB" && address.size() > 3 && address.compare(address.size() - 3, 3, "::0") == 0)
        address.resize(address.size() - 3);
    return withoutBlanks(comment + "|" + bus + "|" + address);
}

bool AddDevice(const std::string& iniFile, const std::string& interfaceName, const std::string& typed,
               const std::string& comment, EditorRow* added) {
    if (app::TrimBlanksTabs(typed).empty()) return false;
    const std::string value = RowValueFromResource(ResourceFromTyped(interfaceName, typed), comment);
    return addRow(devices(iniFile), deviceFlags(iniFile), value, added);
}

bool AddScannedDevice(const std::string& iniFile, const std::string& resource, const std::string& comment,
                      EditorRow* added) {
    if (app::TrimBlanksTabs(resource).empty()) return false;
    return addRow(devices(iniFile), deviceFlags(iniFile), RowValueFromResource(resource, comment), added);
}

bool IsConfiguredHost(const std::string& iniFile, const std::string& address, const std::string& name) {
    for (const EditorRow& r : ReadDeviceRows(iniFile)) {
        // "comment|bus|address": the host is the address field up to "::".
        const size_t bar = r.value.rfind('|');
        if (bar == std::string::npos) continue;
        std::string host = r.value.substr(bar + 1);
        // A socket row stores "TCPIP::host::port::SOCKET".
        if (app::ToUpperAscii(host).rfind("TCPIP::", 0) == 0) host = host.substr(7);
        host = host.substr(0, host.find("::"));
        if (host.empty()) continue;
        if (host == address || (!name.empty() && app::EqualsNoCase(host, name))) return true;
    }
    return false;
}

bool RenameDevice(const std::string& iniFile, EditorRow& row) {
    const size_t bar = row.value.find('|');
    const std::string current = bar == std::string::npos ? std::string() : row.value.substr(0, bar);
    std::string answer = current.find('(') != std::string::npos ? current : std::string();
    if (!app::host().input("COMMENT", "Please enter a comment for this entry:", answer)) return false;
    answer = withoutBlanks(answer);
    if (answer.empty()) return false;
    if (current.empty() && answer.size() > 6) answer = std::string(app::Utf8Cut(answer, 6));
    const int n = locate(devices(iniFile), row);
    if (n < 1) return false;
    const std::string rest = bar == std::string::npos ? "|" + row.value : row.value.substr(bar);
    row.value = withoutBlanks(answer + rest);
    row.row = n;
    writeRow(devices(iniFile), n, row.value);
    return true;
}

void DeleteDevice(const std::string& iniFile, const EditorRow& row) {
    const int n = locate(devices(iniFile), row);
    if (n < 1) return;
    writeRow(devices(iniFile), n, "NULL");
    writeFlag(deviceFlags(iniFile), n, false);
}

bool AddServer(const std::string& iniFile, const std::string& name, EditorRow* added) {
    const std::string v = withoutBlanks(name);
    if (v.empty() || v == "NULL") return false;
    return addRow(servers(iniFile), serverFlags(iniFile), v, added);
}

bool RenameServer(const std::string& iniFile, EditorRow& row) {
    std::string answer = row.value;
    if (!app::host().input("SERVER", "Please enter the name of the VISA server:", answer)) return false;
    answer = withoutBlanks(answer);
    if (answer.empty() || answer == "NULL") return false;
    const int n = locate(servers(iniFile), row);
    if (n < 1) return false;
    row.value = answer;
    row.row = n;
    writeRow(servers(iniFile), n, answer);
    return true;
}

bool DeleteServer(const std::string& iniFile, const EditorRow& row) {
    if (app::EqualsNoCase(row.value, "localhost")) {
        const app::Answer a = app::host().message(
            "Delete localhost?",
            std::string("By deleting localhost, instruments connected to the local PC") + app::kCrLf +
                "will NOT be scanned any more.",
            app::Icon::Question, app::Buttons::YesNo);
        if (a != app::Answer::Yes) return false;
    }
    const int n = locate(servers(iniFile), row);
    if (n < 1) return false;
    writeRow(servers(iniFile), n, "NULL");
    writeFlag(serverFlags(iniFile), n, false);
    return true;
}

void SetIncludeQVIB(const std::string& iniFile, bool on) {
    app::WriteIni(iniFile, "Scan", "IncludeQVIB", app::Value(std::string(on ? "1" : "0")));
    app::context().IncludeQVIB = on ? 1 : 0;
    if (on)
        app::host().message("Include QVIB Passport",
                            "The Include QVIB option has been activated. This will include the QVIB Passport into "
                            "the search process, enableling the discovery of Windows NT based devices. With this "
                            "option active, the scanning process can be slowed down dramatically!",
                            app::Icon::Information);
}

std::vector<EditorRow> ScanGpibAndAdd(const std::string& iniFile, int16_t board, VISAScan& scan) {
    std::vector<EditorRow> added;
    scan.VisaScanGpibBus(board, kEditorScanTimeoutMs, 0, ReadServerFlags(iniFile), true);
    for (int16_t i = 0; i < scan.DeviceCount(); ++i) {
        const std::string info = scan.DeviceInfo(i);
        if (info == kInfoPlaceholderBus) continue;
        std::string res = scan.VISAResString(i);
        // A resource of a VISA server is stored without the server: the scan
        // adds the prefix of every server it walks.
        if (res.rfind("visa://", 0) == 0) {
            const size_t slash = res.find('/', 7);
            res = slash == std::string::npos ? res : res.substr(slash + 1);
        }
        // The name without the family: the next scan adds " (family)" again.
        const std::string comment = info.substr(0, info.find(" ("));
        EditorRow row;
        if (addRow(devices(iniFile), deviceFlags(iniFile), RowValueFromResource(res, comment), &row))
            added.push_back(row);
    }
    return added;
}

EditorSettings ReadEditorSettings(const std::string& iniFile) {
    EditorSettings s;
    auto text = [&](const char* section, const char* key, const std::string& def) {
        return app::ReadIni(iniFile, section, key, app::Value(def)).text();
    };
    s.ipHi = text("IpAdr", "IpHi", s.ipHi);
    s.ipMi = text("IpAdr", "IpMi", s.ipMi);
    s.ipLo = text("IpAdr", "IpLo", s.ipLo);
    double v = 0;
    const std::string idx = app::TrimBlanks(text("INTERFACENAME", "VAL", "0"));
    s.interfaceIndex = 0;
    if (!idx.empty() && idx.find_first_not_of("0123456789") == std::string::npos && idx.size() < 4) {
        v = std::stod(idx);
        if (v < double(InterfaceScanChoices().size())) s.interfaceIndex = int16_t(v);
    }
    return s;
}

bool ApplyEditor(const std::string& iniFile, const std::vector<EditorRow>& deviceRows,
                 const std::vector<EditorRow>& serverRows, const EditorSettings& settings) {
    bool ok = true;
    auto apply = [&](const app::IniRows& names, const app::IniRows& flags, const std::vector<EditorRow>& rows) {
        for (const EditorRow& r : rows) {
            const int n = locate(names, r);
            if (n < 1) {
                app::host().message(kCaption,
                                    "Internal error at setting the scan array: no device found in the ini file: " +
                                        DevListLine(r.value),
                                    app::Icon::Critical);
                ok = false;
                continue;
            }
            writeFlag(flags, n, r.checked);
        }
    };
    apply(devices(iniFile), deviceFlags(iniFile), deviceRows);
    apply(servers(iniFile), serverFlags(iniFile), serverRows);
    app::WriteIni(iniFile, "INTERFACENAME", "VAL", app::Value(std::to_string(settings.interfaceIndex)));
    app::WriteIni(iniFile, "IpAdr", "IpHi", app::Value(settings.ipHi));
    app::WriteIni(iniFile, "IpAdr", "IpMi", app::Value(settings.ipMi));
    app::WriteIni(iniFile, "IpAdr", "IpLo", app::Value(settings.ipLo));
    return ok;
}

}  // namespace qv::dir
