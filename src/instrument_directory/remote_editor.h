// The logic of the remote interfaces editor: the rows of DisplayNames /
// ScanEntries and Servers / ScanEntriesServers in Quilvane.ini, so that the
// window only wires its controls to these functions.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qv::dir {

class VISAScan;

// One line of DevList or ServersList; row is its ini number, kept across
// deletions of other rows.
struct EditorRow {
    int row = 0;
    std::string value;  // ini value: "comment|bus|address" or a server name
    bool checked = false;
};

// The choices of cmbInterface and cmbInterfaceScan.
const std::vector<std::string>& InterfaceChoices();      // GPIB0 GPIB1 LAN RAW USB
const std::vector<std::string>& InterfaceScanChoices();  // GPIB0 GPIB1 "LAN (subnet)" "LAN (any)" "LAN (mDNS)"
inline constexpr int16_t kScanChoiceSubnet = 2, kScanChoiceAny = 3, kScanChoiceMdns = 4;

// UpdateList: live rows with their flags ("NULL" rows skipped).
std::vector<EditorRow> ReadDeviceRows(const std::string& iniFile);
std::vector<EditorRow> ReadServerRows(const std::string& iniFile);
// The ticks of the server rows, by live row, as the scans take them.
std::vector<bool> ReadServerFlags(const std::string& iniFile);

// DevList line: comment, a tab, "|bus|address"; and back (tabs and blanks out).
std::string DevListLine(const std::string& rowValue);
std::string RowValueFromLine(const std::string& line);
// The row value for a resource string and comment: "comment|bus|address".
std::string RowValueFromResource(const std::string& resource, const std::string& comment);
// The resource built from the interface choice and the typed text.
std::string ResourceFromTyped(const std::string& interfaceName, const std::string& typed);

// Adds a typed device at the next free Name<n> with flag 1. False (nothing
// written) when the typed text is empty after trimming.
bool AddDevice(const std::string& iniFile, const std::string& interfaceName, const std::string& typed,
               const std::string& comment, EditorRow* added = nullptr);
// Adds a scanned instrument: resource as the editor stores it
// ("LAN::a::INSTR", "RAW::TCPIP::a::p::SOCKET"), at the next free row, flag 1.
bool AddScannedDevice(const std::string& iniFile, const std::string& resource, const std::string& comment,
                      EditorRow* added = nullptr);
// True when a configured row (checked or not) holds the host, by address or
// by name (case ignored).
bool IsConfiguredHost(const std::string& iniFile, const std::string& address, const std::string& name);

// Asks "COMMENT" through the host; an empty answer leaves the row.
bool RenameDevice(const std::string& iniFile, EditorRow& row);
// Name<n> := "NULL", Value<n> := 0.
void DeleteDevice(const std::string& iniFile, const EditorRow& row);

bool AddServer(const std::string& iniFile, const std::string& name, EditorRow* added = nullptr);
// Asks for the new name through the host; empty or cancelled leaves it.
bool RenameServer(const std::string& iniFile, EditorRow& row);
// "localhost" asks "Delete localhost?" first; No leaves everything (false).
bool DeleteServer(const std::string& iniFile, const EditorRow& row);

// Scan/IncludeQVIB; turning it on shows the "Include QVIB Passport" box.
void SetIncludeQVIB(const std::string& iniFile, bool on);

// Scan button for GPIB0/GPIB1 (choice index 0 or 1): VisaScanGpibBus with
// 1000 ms, adding every identified resource with its DeviceInfo as comment.
std::vector<EditorRow> ScanGpibAndAdd(const std::string& iniFile, int16_t board, VISAScan& scan);

// Settings of the window.
struct EditorSettings {
    std::string ipHi = "192", ipMi = "168", ipLo = "0";
    int16_t interfaceIndex = 0;
};
EditorSettings ReadEditorSettings(const std::string& iniFile);

// OK: the flags of both lists, INTERFACENAME/VAL and the IpAdr keys. A row
// without its ini row reports the internal error through the host and
// makes the result false.
bool ApplyEditor(const std::string& iniFile, const std::vector<EditorRow>& devices,
                 const std::vector<EditorRow>& servers, const EditorSettings& settings);

}  // namespace qv::dir
