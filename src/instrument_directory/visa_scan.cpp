#include "instrument_directory/visa_scan.h"

#include "app/context.h"
#include "app/debug.h"
#include "app/error_messages.h"
#include "app/host.h"
#include "app/iniio.h"
#include "app/text.h"
#include "instrument_directory/host_names.h"
#include "instrument_directory/ping.h"
#include "instrument_io/visa/visa.h"

#include <algorithm>

namespace qv::dir {

namespace {

constexpr const char* kModule = "VISAScan";
constexpr const char* kNotFoundEmpty = "not found (output buffer empty)";
constexpr const char* kUnknownDevice = "unknown device";
constexpr ViUInt32 kIdnReadLimit = 1000;
constexpr ViUInt32 kOptReadLimit = 2048;
// Guard against an ini list that never ends.
constexpr int kMaxRows = 30000;

const DeviceRecord* record(int16_t index) {
    const auto& r = deviceRecords();
    return index >= 0 && size_t(index) < r.size() ? &r[size_t(index)] : nullptr;
}

std::string field(int16_t index, std::string DeviceRecord::*member) {
    const DeviceRecord* r = record(index);
    return r ? r->*member : std::string();
}

bool contains(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

bool isNetworkResource(const std::string& res) {
    return contains(res, "LAN") || contains(res, "QVIB") || contains(res, "TCP");
}

// Replaces the first occurrence of from in text.
std::string replaceFirst(std::string text, std::string_view from, std::string_view to) {
    size_t p = text.find(from);
    if (p != std::string::npos) text.replace(p, from.size(), to);
    return text;
}

// The servers a scan walks. ReadScanList leaves one empty element when it
// added no row: with the row flags counting, the user has unticked or
// removed every server (localhost too), so nothing is scanned; without
// them the file names no server at all, and the local VISA is meant.
std::vector<std::string> serversToWalk(const std::vector<std::string>& servers, bool useServerFlags) {
    if (servers.size() == 1 && servers[0].empty())
        return useServerFlags ? std::vector<std::string>{} : std::vector<std::string>{"localhost"};
    return servers;
}

std::string serverPrefix(const std::string& server) {
    if (server.empty() || app::EqualsNoCase(server, "localhost")) return "";
    return "visa://" + server + "/";
}

// A new record at the end of the shared array (record 0 is used first).
int16_t makeRecord(const std::string& resource, const char* placeholder) {
    auto& recs = deviceRecords();
    const DeviceRecord& first = recs.front();
    if (recs.size() > 1 || !first.VISAResString.empty() || !first.DeviceInfo.empty()) recs.emplace_back();
    if (recs.size() > size_t(INT16_MAX)) {
        // The record index is 16-bit: a list this long cannot be addressed.
        recs.pop_back();
        return -1;
    }
    DeviceRecord& r = recs.back();
    r = DeviceRecord{};
    r.VISAResString = resource;
    r.DeviceTyp = kNoDevice;
    r.DeviceInfo = placeholder;
    return int16_t(recs.size() - 1);
}

// Opens a LAN resource as TCPIP, and as QVIB when that fails. Returns the
// session (0 when both failed) and the resource that was opened.
ViSession openLan(ViSession rm, const std::string& prefix, const std::string& lanResource, ViUInt32 openTimeout,
                  std::string& opened) {
    ViSession vi = VI_NULL;
    opened = prefix + replaceFirst(lanResource, "LAN", "TCPIP");
    if (viOpen(rm, opened.c_str(), VI_NULL, openTimeout, &vi) < VI_SUCCESS || vi < 1) {
        vi = VI_NULL;
        opened = prefix + replaceFirst(replaceFirst(lanResource, "LAN", "TCPIP"), "TCPIP", "QVIB");
        if (viOpen(rm, opened.c_str(), VI_NULL, openTimeout, &vi) < VI_SUCCESS || vi < 1) vi = VI_NULL;
    }
    return vi;
}

std::string readAnswer(ViSession vi, ViUInt32 limit) {
    std::string buf(limit, '\0');
    ViUInt32 got = 0;
    viRead(vi, reinterpret_cast<ViBuf>(buf.data()), limit, &got);
    buf.resize(std::min<ViUInt32>(got, limit));
    return buf;
}

}  // namespace

std::string ResourceHost(const std::string& resource) {
    size_t a = resource.find(':');
    if (a == std::string::npos || a + 2 > resource.size()) return "";
    size_t b = resource.find(':', a + 2);
    if (b == std::string::npos) return "";
    return resource.substr(a + 2, b - (a + 2));
}

int16_t SelectedRecordIndex(const VISAScan& scan, int listIndex, const std::string& rowResource) {
    const int16_t count = scan.DeviceCount();
    if (listIndex < 0 || listIndex >= count) return -1;
    const int mapped = scan.GetIndexInFullList(int16_t(listIndex)) - 1;
    if (mapped >= 0 && mapped < count && scan.VISAResString(int16_t(mapped)) == rowResource) return int16_t(mapped);
    return int16_t(listIndex);
}

std::string VISAScan::IDAnswer(int16_t index) const { return field(index, &DeviceRecord::IDAnswer); }
std::string VISAScan::VISAResString(int16_t index) const { return field(index, &DeviceRecord::VISAResString); }
std::string VISAScan::RawAddress(int16_t index) const { return field(index, &DeviceRecord::RawAddress); }
std::string VISAScan::ComputerName(int16_t index) const { return field(index, &DeviceRecord::ComputerName); }
std::string VISAScan::OptionList(int16_t index) const { return field(index, &DeviceRecord::OptionList); }
std::string VISAScan::DeviceTyp(int16_t index) const { return field(index, &DeviceRecord::DeviceTyp); }
std::string VISAScan::DeviceGroup(int16_t index) const { return field(index, &DeviceRecord::DeviceGroup); }
std::string VISAScan::DeviceInfo(int16_t index) const { return field(index, &DeviceRecord::DeviceInfo); }
std::string VISAScan::DeviceFirmware(int16_t index) const { return field(index, &DeviceRecord::DeviceFirmware); }
std::string VISAScan::DeviceMappedName(int16_t index) const { return field(index, &DeviceRecord::DeviceMappedName); }
std::string VISAScan::DeviceSerial(int16_t index) const { return field(index, &DeviceRecord::DeviceSerial); }

bool VISAScan::DeviceIsMapped(int16_t index) const {
    const DeviceRecord* r = record(index);
    return r && r->Mapped != 0;
}

bool VISAScan::DeviceIsIdentified(int16_t index) const {
    const DeviceRecord* r = record(index);
    return r && r->Identified != 0;
}

int16_t VISAScan::GetIndexInFullList(int16_t index) const {
    const auto& f = fullListIndex();
    return index >= 0 && size_t(index) < f.size() ? f[size_t(index)] : int16_t(0);
}

std::string VISAScan::OptionListByRes(const std::string& res) const {
    std::string out;
    for (const DeviceRecord& r : deviceRecords())
        if (r.VISAResString.starts_with(res)) out = r.OptionList;
    return out;
}

bool VISAScan::OptionByRes(const std::string& res, const std::string& option) const {
    for (const DeviceRecord& r : deviceRecords())
        if (r.VISAResString.starts_with(res) && contains(r.OptionList, option)) return true;
    return false;
}

int16_t VISAScan::BoardID() const { return int16_t(board_); }

int16_t VISAScan::DeviceCount() const {
    const auto& r = deviceRecords();
    if (r.size() == 1 && r[0].DeviceInfo.empty()) return 0;
    return int16_t(std::min<size_t>(r.size(), INT16_MAX));
}

std::string VISAScan::getCustomName(const std::string& entry) const { return entry; }

std::string VISAScan::ResolveName(std::string& entry) const {
    if (entry == "NULL" || entry.empty()) return entry;
    const size_t p1 = entry.find('|');
    if (p1 == std::string::npos) return entry;
    const size_t p2 = entry.find('|', p1 + 1);
    if (p2 == std::string::npos) {
        std::string whole = entry;
        entry = entry.substr(p1 + 1);
        return whole;
    }
    const std::string bus = app::ToUpperAscii(entry.substr(p1 + 1, p2 - p1 - 1));
    std::string address = entry.substr(p2 + 1);
    entry = address;
    if (bus == "GPIB") return bus + "::" + address + "::0::INSTR";
    if (bus == "RAW") return bus + "::" + address;
    return bus + "::" + address + "::INSTR";
}

std::string VISAScan::getRawIPAddress(const std::string& resource) const {
    if (!isNetworkResource(resource)) return "";
    return ClsIPResolve().NameToAddress(ResourceHost(resource));
}

bool VISAScan::ReadScanList(std::vector<std::string>& resources, std::vector<std::string>& names,
                            const std::string& iniFile, const std::string& section, const std::string& keyPrefix,
                            const std::vector<bool>& rowFlags, bool useFlags) {
    app::CallGuard guard(kModule, "VISAScan", "ReadScanList");
    resources.assign(1, "");
    names.assign(1, "");
    bool result = true;
    bool firstAdded = false;
    const bool displayNames = app::ToUpperAscii(section) == "DISPLAYNAMES";
    int live = -1;  // flags count live rows, as ReadFlagList stores them
    for (int n = 1; n <= kMaxRows; ++n) {
        if (useFlags && live + 1 >= int(rowFlags.size())) break;
        const std::string value =
            app::ReadIni(iniFile, section, keyPrefix + std::to_string(n), app::Value(std::string())).text();
        if (value.empty()) break;
        if (value == "NULL") continue;
        ++live;
        std::string custom = value, resource = value;
        if (displayNames) {
            custom = getCustomName(value);
            std::string work = value;
            resource = ResolveName(work);
        }
        const bool rowFlag = live < int(rowFlags.size()) && rowFlags[size_t(live)];
        if (useFlags && !rowFlag) continue;
        if (app::ToUpperAscii(resource).starts_with("LAN")) {
            const size_t a = resource.find("::");
            const size_t b = a == std::string::npos ? a : resource.find("::", a + 2);
            const std::string hostName =
                a == std::string::npos ? std::string()
                                       : resource.substr(a + 2, b == std::string::npos ? b : b - (a + 2));
            ClsIPResolve ip;
            const std::string address = ip.NameToAddress(hostName);
            std::string probe = address;
            bool reachable = !address.empty() && ScanPing(probe);
            // Without an ICMP socket a ping proves nothing either way: the
            // row is opened, and its open tells whether the host is there.
            if (!address.empty() && !reachable && LastScanPingStatus() == kPingNotPermitted) {
                app::rootDebug().LogMessage(3, "LAN row " + custom + " (" + address + ") opened without a ping: " +
                                                   probe);
                reachable = true;
            }
            if (reachable) {
                if (ip.CheckIP(hostName)) {
                    resource += "|IP|" + ip.GetHostnameByAddr(address, 111);
                } else {
                    resource.replace(a + 2, hostName.size(), address);
                    resource += "|IP|" + hostName;
                }
            } else {
                // An unreachable LAN row never reaches viOpen.
                if (rowFlag) {
                    app::ErrorMessages(app::kMessageInstrumentNotFound, custom);
                    result = false;
                }
                continue;
            }
        }
        if (resource.empty() || resource == "NULL") continue;
        if (!useFlags) {
            if (!firstAdded) {
                resources[0] = resource;
                names[0] = custom;
                firstAdded = true;
            } else {
                resources.push_back(resource);
                names.push_back(custom);
            }
        } else if (rowFlag) {
            if (!resources.back().empty()) {
                resources.emplace_back();
                names.emplace_back();
            }
            resources.back() = resource;
            names.back() = custom;
        }
    }
    return result;
}

// Steps 2-9 of identifying a resource whose *IDN? was written.
static void identifySession(VISAScan& scan, ViSession vi, int16_t index, const std::string& custom, bool iniScan) {
    const IdentOutcome outcome = IdentifyAnswer(readAnswer(vi, kIdnReadLimit), index, custom, iniScan);
    switch (outcome) {
    case IdentOutcome::Empty:
        if (scan.onOutcome) scan.onOutcome(kNotFoundEmpty);
        break;
    case IdentOutcome::Unknown:
        if (scan.onOutcome) scan.onOutcome(kUnknownDevice);
        break;
    case IdentOutcome::Matched:
        if (scan.DeviceIsIdentified(index)) {
            ViUInt32 written = 0;
            viWrite(vi, reinterpret_cast<ViConstBuf>("*OPT?\n"), 6, &written);
            deviceRecords()[size_t(index)].OptionList = app::TrimLineEnds(readAnswer(vi, kOptReadLimit));
            app::host().processEvents();
            if (scan.onOutcome) scan.onOutcome(scan.DeviceInfo(index));
        }
        break;
    case IdentOutcome::NoMatch: break;
    }
}

bool VISAScan::VISAScanINI(const std::string& iniFile, int32_t timeoutMs, int32_t, const std::vector<bool>& scanFlags,
                           bool useScanFlags, const std::vector<bool>& serverFlags, bool useServerFlags) {
    app::CallGuard guard(kModule, "VISAScan", "VISAScanINI");
    std::vector<std::string> entries, names, servers, serverNames;
    bool result = ReadScanList(entries, names, iniFile, "DisplayNames", "Name", scanFlags, useScanFlags);
    ReadScanList(servers, serverNames, iniFile, "Servers", "ServerEntry", serverFlags, useServerFlags);

    if (onScanStart) onScanStart();
    ResetRecords();
    fullListIndex().clear();
    ViSession rm = VI_NULL;
    if (viOpenDefaultRM(&rm) < VI_SUCCESS) return false;
    const ViUInt32 tmo = ViUInt32(std::max<int32_t>(timeoutMs, 1));
    const bool anyEntry = entries.size() > 1 || !entries.back().empty();
    // The running count behind the full-list index. Item k of the index is
    // the count when record k was made, i.e. the running number of its scan
    // row, and the windows read "item minus one" as the record of list row
    // k. The count runs on over all servers. What moves it:
    //  - a GPIB row counts when it is opened: a GPIB open succeeds whether
    //    or not an instrument listens at that address, so the row holds its
    //    number, answered or not. A GPIB row that does not open at all still
    //    took a number and shifts the items after it, which is why
    //    SelectedRecordIndex checks the record's resource before it trusts
    //    "item minus one";
    //  - any other row counts only once it gave a record, so rows that do
    //    not open leave no gap and item k stays k+1 in the common case;
    //  - a row whose identification query cannot be written gives no record;
    //    a GPIB one keeps its number (undone, then counted again), any other
    //    takes one only while no GPIB row has been seen.
    int count = 0;
    bool gpibSeen = false;

    for (const std::string& server : serversToWalk(servers, useServerFlags)) {
        const std::string prefix = serverPrefix(server);
        for (size_t j = 0; anyEntry && j < entries.size(); ++j) {
            const std::string& entry = entries[j];
            const std::string& custom = j < names.size() ? names[j] : std::string();
            if (onProgress) onProgress(entries.size() == 1 ? 100 : int(100 * (j + 1) / entries.size()));
            if (onStatusText) onStatusText(custom + "@" + entry);
            if (onVisit) onVisit(entry);
            std::string resource = prefix + entry;
            if (onVisit) onVisit(resource);

            ViSession vi = VI_NULL;
            std::string computerName;
            const std::string head = app::ToUpperAscii(entry.substr(0, 4));
            const bool gpib = head.starts_with("GPIB");
            if (gpib) {
                gpibSeen = true;
                ++count;
                if (viOpen(rm, resource.c_str(), VI_NULL, 0, &vi) < VI_SUCCESS) vi = VI_NULL;
            } else if (head.starts_with("LAN")) {
                std::string lan = entry;
                const size_t ip = lan.find("|IP|");
                if (ip != std::string::npos) computerName = lan.substr(ip + 4);
                const size_t cut = lan.find("|IP");
                if (cut != std::string::npos) lan.resize(cut);
                vi = openLan(rm, prefix, lan, tmo, resource);
            } else {
                if (head.starts_with("RAW")) resource = prefix + (entry.size() > 5 ? entry.substr(5) : std::string());
                // A dead host must not hold the scan longer than one time-out.
                if (viOpen(rm, resource.c_str(), VI_NULL, tmo, &vi) < VI_SUCCESS) vi = VI_NULL;
            }
            if (vi == VI_NULL) {
                app::ErrorMessages(app::kMessageInstrumentNotFound, "");
                result = false;
                continue;
            }
            viSetAttribute(vi, VI_ATTR_TMO_VALUE, tmo);
            ViUInt32 written = 0;
            if (viWrite(vi, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &written) < VI_SUCCESS) {
                // Undone, then counted again: see the count's rule above.
                if (gpib) --count;
                app::ErrorMessages(app::kMessageInstrumentNotFound, custom);
                result = false;
                if (gpib || !gpibSeen) ++count;
                viClose(vi);
                continue;
            }
            const int16_t index = makeRecord(resource, kInfoPlaceholderIni);
            if (index < 0) {
                viClose(vi);
                break;
            }
            if (isNetworkResource(resource)) {
                DeviceRecord& r = deviceRecords()[size_t(index)];
                r.RawAddress = ResourceHost(resource.substr(prefix.size()));
                r.ComputerName = computerName;
            }
            identifySession(*this, vi, index, custom, true);
            if (!gpib) ++count;
            auto& full = fullListIndex();
            full.resize(size_t(index) + 1, 0);
            full[size_t(index)] = int16_t(std::min(count, int(INT16_MAX)));
            viGpibControlREN(vi, VI_GPIB_REN_DEASSERT_GTL);
            viClose(vi);
        }
        app::host().processEvents();
    }
    viClose(rm);
    return result;
}

namespace {

// Steps 3-5 of the bus scan, on every server, for one expression or resource.
// When the search lists nothing, the bus scan opens nothing; the scan of one
// host opens its resource all the same (a LAN:: name is never listed).
std::vector<std::string> scanEach(VISAScan& scan, const std::string& expression, int32_t sessionTimeoutMs,
                                  const std::vector<bool>& serverFlags, bool useServerFlags, bool openUnlisted) {
    std::vector<std::string> servers, serverNames, found;
    const std::string& ini = app::context().IniFilePath;
    scan.ReadScanList(servers, serverNames, ini, "Servers", "ServerEntry", serverFlags, useServerFlags);
    ViSession rm = VI_NULL;
    if (viOpenDefaultRM(&rm) < VI_SUCCESS) return found;
    const ViUInt32 tmo = ViUInt32(std::max<int32_t>(sessionTimeoutMs, 1));
    for (const std::string& server : serversToWalk(servers, useServerFlags)) {
        const std::string prefix = serverPrefix(server);
        if (scan.onVisit) scan.onVisit(expression);
        std::vector<std::string> list;
        ViFindList fl = VI_NULL;
        ViUInt32 count = 0;
        ViChar desc[256] = {};
        const std::string expr = prefix + expression;
        const bool listed = viFindRsrc(rm, expr.c_str(), &fl, &count, desc) >= VI_SUCCESS;
        if (listed) {
            desc[sizeof desc - 1] = '\0';
            list.push_back(app::TrimLineEnds(desc));
            for (ViUInt32 k = 1; k < count && k < 10000; ++k) {
                desc[0] = '\0';
                if (viFindNext(fl, desc) < VI_SUCCESS) break;
                desc[sizeof desc - 1] = '\0';
                list.push_back(app::TrimLineEnds(desc));
            }
            viClose(fl);
        } else {
            list.push_back(expr);
        }
        for (const std::string& res : list) {
            if (scan.onVisit) scan.onVisit(res);
            found.push_back(res);
            const int16_t index = makeRecord(res, kInfoPlaceholderBus);
            if (index < 0) break;
            if (!listed && !openUnlisted) continue;
            ViSession vi = VI_NULL;
            std::string opened = res;
            // Found resources and the fallback both carry the server prefix.
            const std::string bare = res.starts_with(prefix) ? res.substr(prefix.size()) : res;
            if (contains(bare, "LAN")) {
                vi = openLan(rm, prefix, bare, tmo, opened);
            } else if (viOpen(rm, res.c_str(), VI_NULL, tmo, &vi) < VI_SUCCESS) {
                vi = VI_NULL;
            }
            if (vi == VI_NULL) continue;
            DeviceRecord& r = deviceRecords()[size_t(index)];
            r.VISAResString = opened;
            if (isNetworkResource(opened))
                r.RawAddress = ResourceHost(opened.starts_with(prefix) ? opened.substr(prefix.size()) : opened);
            viSetAttribute(vi, VI_ATTR_TMO_VALUE, tmo);
            ViUInt32 written = 0;
            const ViStatus s = viWrite(vi, reinterpret_cast<ViConstBuf>("*IDN?\n"), 6, &written);
            if (s != VI_ERROR_NLISTENERS) identifySession(scan, vi, index, "", false);
            viGpibControlREN(vi, VI_GPIB_REN_DEASSERT_GTL);
            viClose(vi);
        }
    }
    viClose(rm);
    return found;
}

}  // namespace

std::vector<std::string> VISAScan::VisaScanGpibBus(int16_t board, int32_t timeoutMs, int32_t,
                                                   const std::vector<bool>& serverFlags, bool useServerFlags) {
    app::CallGuard guard(kModule, "VISAScan", "VisaScanGpibBus");
    const std::string expression = "GPIB" + std::to_string(board) + "::?*::INSTR";
    if (onScanStart) onScanStart();
    ResetRecords();
    return scanEach(*this, expression, timeoutMs, serverFlags, useServerFlags, false);
}

std::vector<std::string> VISAScan::VisaScanSingleIP(const std::string& resource, int32_t, int32_t,
                                                    const std::vector<bool>& serverFlags, bool useServerFlags) {
    app::CallGuard guard(kModule, "VISAScan", "VisaScanSingleIP");
    return scanEach(*this, resource, kSingleIpTimeoutMs, serverFlags, useServerFlags, true);
}

}  // namespace qv::dir
