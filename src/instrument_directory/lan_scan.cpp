#include "instrument_directory/lan_scan.h"

#include "app/host.h"
#include "app/text.h"
#include "instrument_directory/dev_ident.h"
#include "instrument_directory/host_names.h"
#include "instrument_directory/ping.h"
#include "instrument_directory/visa_scan.h"

#include <algorithm>
#include <set>
#include <utility>

namespace qv::dir {

namespace {

std::string joinList(const std::vector<std::string>& items) {
    std::string out;
    for (const std::string& s : items) out += (out.empty() ? "" : ", ") + s;
    return out;
}

bool isNumber(const std::string& t, int& value) {
    if (t.empty() || t.size() > 3 || t.find_first_not_of("0123456789") != std::string::npos) return false;
    value = std::stoi(t);
    return value <= 255;
}

// Hosts without a name are common on a lab network; the look-up is quiet
// here so that one silent host does not stop the scan with a box.
std::string quietName(const std::string& address) {
    std::string name;
    if (!resolver().addressToName(address, 111, true, name)) return std::string();
    return app::TrimLineEnds(name);
}

}  // namespace

LanCandidate Vxi11Candidate(const std::string& address) {
    const std::string res = "LAN::" + address + "::INSTR";
    return LanCandidate{address, res, res, false};
}

std::string LanScanReport::summary() const {
    std::string s;
    if (found.empty()) {
        // Hosts already configured are named below, not counted as empty.
        const size_t fresh = size_t(answered) - std::min(size_t(answered), skippedConfigured.size());
        s = answered == 0 ? "No instruments found."
            : fresh == 0  ? "No new instruments found."
                          : std::to_string(fresh) + (fresh == 1 ? " host answered" : " hosts answered") +
                      ", no instrument among them.";
    } else {
        std::vector<std::string> what;
        for (const LanFound& f : found) what.push_back(f.address + " " + f.identity);
        s = std::to_string(found.size()) + (found.size() == 1 ? " instrument found" : " instruments found");
        if (!added.empty()) s += ", " + std::to_string(added.size()) + " added";
        s += ": " + joinList(what) + ".";
    }
    if (!skippedConfigured.empty()) s += " Already configured: " + joinList(skippedConfigured) + ".";
    if (!unidentified.empty()) s += " No answer to *IDN? from " + joinList(unidentified) + ".";
    if (!unnamed.empty()) s += " No name found for " + joinList(unnamed) + ".";
    if (pingUnavailable) s += " No ICMP socket here: hosts were probed on port 111 instead.";
    if (cancelled) s += " Cancelled.";
    return s;
}

bool ParseIpArea(const std::string& address, std::string& prefix, int& single) {
    const std::vector<std::string> parts = app::SplitClean(address, ".");
    if (parts.size() != 4) return false;
    std::string joined;
    for (size_t i = 0; i < 3; ++i) {
        int v = 0;
        if (!isNumber(app::TrimBlanks(parts[i]), v)) return false;
        joined += std::to_string(v) + ".";
    }
    const std::string last = app::TrimBlanks(parts[3]);
    int v = -1;
    if (last != "*" && !isNumber(last, v)) return false;
    prefix = joined;
    single = last == "*" ? -1 : v;
    return true;
}

LanScanner::LanScanner(std::string iniFile, VISAScan& scan) : ini_(std::move(iniFile)), scan_(scan) {}

bool LanScanner::ScanAny(LanScanReport& report, const DiscoveryOptions& options) {
    hosts_.assign(1, std::string());
    DiscoveryOptions o = options;
    if (!o.processEvents) o.processEvents = hooks.processEvents;
    std::vector<std::string> found;
    std::string error, detail;
    if (!DiscoverVxi11(o, found, error, &detail)) {
        app::host().message(kLanScanCaption, detail.empty() ? error : error + "\n\n" + detail, app::Icon::Critical);
        return false;
    }
    if (!found.empty()) hosts_ = found;
    VisaScanAndAddLANDevices(kEditorScanTimeoutMs, 0, ReadServerFlags(ini_), true, found, report);
    return true;
}

void LanScanner::VisaScanAndAddLANDevices(int32_t, int32_t, const std::vector<bool>& serverFlags,
                                          bool useServerFlags, const std::vector<std::string>& hosts,
                                          LanScanReport& report) {
    std::vector<LanCandidate> candidates;
    for (const std::string& h : hosts) candidates.push_back(Vxi11Candidate(h));
    scanEach(candidates, serverFlags, useServerFlags, report);
}

void LanScanner::scanEach(const std::vector<LanCandidate>& candidates, const std::vector<bool>& serverFlags,
                          bool useServerFlags, LanScanReport& report) {
    // A host that answered twice (two interfaces, two broadcasts, two
    // services) is one host.
    std::set<std::string> seen;
    std::vector<LanCandidate> unique;
    for (const LanCandidate& c : candidates)
        if (!c.address.empty() && seen.insert(c.address).second) unique.push_back(c);
    if (unique.empty()) {
        app::host().message(kLanScanCaption, kNoDevicesFound, app::Icon::Warning);
        return;
    }
    for (size_t n = 0; n < unique.size(); ++n) {
        if (hooks.cancelled && hooks.cancelled()) {
            report.cancelled = true;
            break;
        }
        const LanCandidate& c = unique[n];
        if (hooks.progress) hooks.progress(int(100 * (n + 1) / unique.size()));
        if (hooks.statusText) hooks.statusText(c.address);
        if (hooks.processEvents) hooks.processEvents();
        if (!c.answered) {
            std::string probe = c.address;
            // Without an ICMP socket the host is taken on the strength of
            // its answer to the broadcast.
            if (!ScanPing(probe) && LastScanPingStatus() != kPingNotPermitted) continue;
            if (LastScanPingStatus() == kPingNotPermitted) report.pingUnavailable = true;
        }
        treatHost(c, serverFlags, useServerFlags, report);
    }
}

bool LanScanner::VisaScanIPArea(const std::string& address, int32_t, int32_t, const std::vector<bool>& serverFlags,
                                bool useServerFlags, LanScanReport& report, int sweepWaitMs) {
    std::string prefix;
    int single = -1;
    if (!ParseIpArea(address, prefix, single)) {
        app::host().message(kLanScanCaption, kIpAreaInvalid, app::Icon::Warning);
        return false;
    }
    std::vector<std::string> addresses;
    if (single >= 0) {
        addresses.push_back(prefix + std::to_string(single));
    } else {
        for (int i = 1; i <= 255; ++i) addresses.push_back(prefix + std::to_string(i));
    }
    if (hooks.statusText)
        hooks.statusText(single >= 0 ? addresses.front() : prefix + "1 - " + prefix + "255");
    // Every ping of the walk at once; the hosts are then treated one by one
    // in address order, as a walk that waited for each ping would.
    SweepHooks sweep{hooks.processEvents, hooks.cancelled};
    bool byTcp = false;
    const std::vector<int> status = PingSweep(addresses, sweepWaitMs, sweep, &byTcp);
    report.pingUnavailable = report.pingUnavailable || byTcp;
    for (size_t i = 0; i < addresses.size(); ++i) {
        if (hooks.cancelled && hooks.cancelled()) {
            report.cancelled = true;
            break;
        }
        if (hooks.progress)
            hooks.progress(single >= 0 ? 100 : std::min(100, int((i + 1) * 100 / 254)));
        if (hooks.statusText) hooks.statusText(addresses[i]);
        if (hooks.processEvents) hooks.processEvents();
        if (status[i] != kPingSuccess) continue;
        if (hooks.cancelled && hooks.cancelled()) {
            report.cancelled = true;
            break;
        }
        treatHost(Vxi11Candidate(addresses[i]), serverFlags, useServerFlags, report);
    }
    return true;
}

void LanScanner::ScanCandidates(const std::vector<LanCandidate>& candidates, LanScanReport& report) {
    scanEach(candidates, ReadServerFlags(ini_), true, report);
}

void LanScanner::treatHost(const LanCandidate& c, const std::vector<bool>& serverFlags, bool useServerFlags,
                           LanScanReport& report) {
    ++report.answered;
    const std::string name = quietName(c.address);
    if (name.empty()) report.unnamed.push_back(c.address);
    const std::string shown = c.address + " (" + name + ")";
    report.hostNames.push_back(shown);
    if (hooks.statusText) hooks.statusText(shown);
    if (hooks.processEvents) hooks.processEvents();
    if (IsConfiguredHost(ini_, c.address, name)) {
        report.skippedConfigured.push_back(c.address);
        return;
    }
    const int16_t before = scan_.DeviceCount();
    scan_.VisaScanSingleIP(c.scanResource, kEditorScanTimeoutMs, 0, serverFlags, useServerFlags);
    // One record per server walked; the first that was identified counts.
    for (int16_t i = std::max<int16_t>(before, 0); i < scan_.DeviceCount(); ++i) {
        const std::string info = scan_.DeviceInfo(i);
        if (info.empty() || info == kInfoPlaceholderBus) continue;
        LanFound f;
        f.address = c.address;
        f.name = name;
        f.rowResource = c.rowResource;
        f.identity = info;
        // The name without the family: the next scan adds " (family)" again.
        f.comment = info.substr(0, info.find(" ("));
        if (hooks.addToSettings) {
            EditorRow row;
            f.added = AddScannedDevice(ini_, f.rowResource, f.comment, &row);
            if (f.added) report.added.push_back(row);
        }
        report.found.push_back(f);
        return;
    }
    report.unidentified.push_back(c.address);
}

}  // namespace qv::dir
