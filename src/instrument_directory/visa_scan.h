// VISAScan: the list of instruments the last scan found, and the three scans
// that build it. Every VISAScan object reads and writes the one record array
// of the process (dev_ident.h); a scan replaces the whole list. The scans call
// the VISA API directly, each with a resource manager session of its own.
#pragma once

#include "instrument_directory/dev_ident.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::dir {

// Session time-out of VisaScanSingleIP (its argument is not used for it).
inline constexpr int32_t kSingleIpTimeoutMs = 800;
// The time-outs the callers use.
inline constexpr int32_t kMainWindowScanTimeoutMs = 5000;
inline constexpr int32_t kEditorScanTimeoutMs = 1000;

class VISAScan {
public:
    // Notification 1: a scan starts.
    std::function<void()> onScanStart;
    // Notification 2: the resource (or entry) about to be visited.
    std::function<void(const std::string&)> onVisit;
    // Notification 4: the outcome of one resource: the record's DeviceInfo,
    // "unknown device" or "not found (output buffer empty)".
    std::function<void(const std::string&)> onOutcome;
    // Progress of VISAScanINI (0-100) and the splash's status text; the
    // window wires them to the progress splash.
    std::function<void(int)> onProgress;
    std::function<void(const std::string&)> onStatusText;

    // Per-index fields of the shared record array. An index outside the
    // array gives empty text (callers ask DeviceCount first).
    std::string IDAnswer(int16_t index) const;
    std::string VISAResString(int16_t index) const;
    std::string RawAddress(int16_t index) const;
    std::string ComputerName(int16_t index) const;
    // Item index+1 of the full-list index; 0 when there is none.
    int16_t GetIndexInFullList(int16_t index) const;
    // OptionList of the last record whose VISAResString begins with res.
    std::string OptionListByRes(const std::string& res) const;
    // True when a record whose VISAResString begins with res has option
    // anywhere in its OptionList.
    bool OptionByRes(const std::string& res, const std::string& option) const;
    std::string OptionList(int16_t index) const;
    std::string DeviceTyp(int16_t index) const;
    std::string DeviceGroup(int16_t index) const;
    std::string DeviceInfo(int16_t index) const;
    std::string DeviceFirmware(int16_t index) const;
    std::string DeviceMappedName(int16_t index) const;
    // Also exposed for the command line and the tests.
    std::string DeviceSerial(int16_t index) const;
    bool DeviceIsMapped(int16_t index) const;
    bool DeviceIsIdentified(int16_t index) const;
    int16_t BoardID() const;
    int16_t DeviceCount() const;

    // Walks DisplayNames (flags: ScanEntries) on every server of Servers
    // (flags: ScanEntriesServers) in iniFile. True when every row was reached.
    bool VISAScanINI(const std::string& iniFile, int32_t timeoutMs, int32_t reserved,
                     const std::vector<bool>& scanFlags, bool useScanFlags, const std::vector<bool>& serverFlags,
                     bool useServerFlags);
    // Searches GPIB<board>::?*::INSTR on every server (Servers of the
    // context's ini file). Returns the resources found.
    std::vector<std::string> VisaScanGpibBus(int16_t board, int32_t timeoutMs, int32_t reserved,
                                             const std::vector<bool>& serverFlags, bool useServerFlags);
    // Tries one resource (a LAN:: resource opens as TCPIP, then QVIB).
    std::vector<std::string> VisaScanSingleIP(const std::string& resource, int32_t timeoutMs, int32_t reserved,
                                              const std::vector<bool>& serverFlags, bool useServerFlags);

    // Scan entry "comment|bus|address" to a resource string. Destroys its
    // argument: on return it holds the last field.
    std::string ResolveName(std::string& entry) const;
    // The entry whole ("NULL" and empty as they are).
    std::string getCustomName(const std::string& entry) const;
    // Dotted address of the host of a LAN, QVIB or TCP resource; else empty.
    std::string getRawIPAddress(const std::string& resource) const;

    // The row reader of the scans (public for the editor and the tests).
    // resources/names start as one empty element. rowFlags are indexed by
    // live row (deleted rows do not count), as ReadFlagList stores them.
    // Returns false when a flagged LAN row could not be reached.
    bool ReadScanList(std::vector<std::string>& resources, std::vector<std::string>& names,
                      const std::string& iniFile, const std::string& section, const std::string& keyPrefix,
                      const std::vector<bool>& rowFlags, bool useFlags);

private:
    int32_t board_ = 0;
};

// The record behind row listIndex of the main window's list. The windows
// read item listIndex+1 of the full-list index minus one; a row that failed
// after it was counted (a GPIB row that did not open) shifts that number,
// so it is taken only while its record is the instrument the row shows
// (same resource), else the row's own index. -1 when neither is a record.
int16_t SelectedRecordIndex(const VISAScan& scan, int listIndex, const std::string& rowResource);

// Host part of a resource: from two past the first ":" up to the next ":"
// ("LAN::lab7::INSTR" gives "lab7"); empty when there is none.
std::string ResourceHost(const std::string& resource);

}  // namespace qv::dir
