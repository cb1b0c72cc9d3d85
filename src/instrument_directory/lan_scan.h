// The LAN scans of the remote interfaces editor: the hosts that answered the
// port mapper broadcast ("LAN (any)"), a walk of a subnet ("LAN (subnet)")
// and the instruments announced by multicast DNS ("LAN (mDNS)"). Each host
// is pinged (unless it answered already), named, skipped when a configured
// row holds it, identified by VisaScanSingleIP and added as the editor adds.
// The window and the command line wire the hooks; the logic is here.
#pragma once

#include "instrument_directory/lan_discovery.h"
#include "instrument_directory/remote_editor.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::dir {

class VISAScan;

inline constexpr char kLanScanCaption[] = "Remote Interfaces";
inline constexpr char kNoDevicesFound[] =
    "No devices have been found!\r\nPlease check that the programm has access through the firewall and the "
    "computer is properly connected to the network.";
inline constexpr char kIpAreaInvalid[] =
    "Please ensure that there is all positions are between 1 to 255 and that only the fourth entry is a '*'";
inline constexpr char kInterfaceNotInitialized[] = "Interface could not be initialized.";
inline constexpr char kShowAllDevices[] = "Show all VXI-11 compatible devices";

// One host to identify.
struct LanCandidate {
    std::string address;       // dotted IPv4
    std::string scanResource;  // handed to VisaScanSingleIP: "LAN::a::INSTR", "TCPIP::a::p::SOCKET"
    std::string rowResource;   // what the editor stores: "LAN::a::INSTR", "RAW::TCPIP::a::p::SOCKET"
    bool answered = false;     // it answered already (mDNS): no ping
};
// The candidate of a host found by the broadcast or the walk.
LanCandidate Vxi11Candidate(const std::string& address);

// An identified instrument.
struct LanFound {
    std::string address;
    std::string name;         // reverse look-up; empty when there is none
    std::string rowResource;  // as the editor stores it
    std::string identity;     // the record's DeviceInfo
    std::string comment;      // the row comment (display rule)
    bool added = false;       // written into the settings
};

struct LanScanReport {
    std::vector<LanFound> found;
    std::vector<EditorRow> added;
    std::vector<std::string> hostNames;          // "address (name)" of each host that answered
    std::vector<std::string> unnamed;            // answered, but no name was found
    std::vector<std::string> skippedConfigured;  // a configured row holds it already
    std::vector<std::string> unidentified;       // answered, but nobody answered *IDN?
    int answered = 0;
    bool cancelled = false;
    bool pingUnavailable = false;  // no ICMP socket: the walk probed by TCP connects
    // One line for the window's status field and the command line's stderr:
    // what was added, and the hosts without a name, named once.
    std::string summary() const;
};

struct LanScanHooks {
    std::function<void(int)> progress;                    // 0-100
    std::function<void(const std::string&)> statusText;  // the splash's status line
    std::function<void()> processEvents;
    std::function<bool()> cancelled;  // the splash's Cancel
    // False: identify and report, write nothing (quilvane-cli discover without --add).
    bool addToSettings = true;
};

// The fourth field "*" walks .1 to .255; a number there is one host. Each
// other field must be a number from 0 to 255. prefix gets "a.b.c.", single
// the fourth number or -1 for "*". False for anything else.
bool ParseIpArea(const std::string& address, std::string& prefix, int& single);

class LanScanner {
public:
    LanScanner(std::string iniFile, VISAScan& scan);
    LanScanHooks hooks;

    // "LAN (any)": the broadcast, then VisaScanAndAddLANDevices with 1000 ms.
    // False, with "Interface could not be initialized." shown, when the
    // socket could not be set up.
    bool ScanAny(LanScanReport& report, const DiscoveryOptions& options = {});
    // The host list of the last broadcast: one empty element when nobody answered.
    const std::vector<std::string>& Hosts() const { return hosts_; }
    // The label "Show all VXI-11 compatible devices" is shown after a broadcast
    // that found hosts.
    bool ShowAllDevices() const { return !hosts_.empty() && !hosts_.front().empty(); }

    // Each host once, in list order: ping, name, skip configured, identify, add.
    // An empty list shows "No devices have been found!...".
    void VisaScanAndAddLANDevices(int32_t timeoutMs, int32_t reserved, const std::vector<bool>& serverFlags,
                                  bool useServerFlags, const std::vector<std::string>& hosts,
                                  LanScanReport& report);
    // "LAN (subnet)": all pings at once (PingSweep), then the hosts that
    // answered in address order. False (message shown) for a wrong address.
    bool VisaScanIPArea(const std::string& address, int32_t timeoutMs, int32_t reserved,
                        const std::vector<bool>& serverFlags, bool useServerFlags, LanScanReport& report,
                        int sweepWaitMs = 1000);
    // "LAN (mDNS)" and anything else that names its hosts with resources.
    void ScanCandidates(const std::vector<LanCandidate>& candidates, LanScanReport& report);

private:
    void scanEach(const std::vector<LanCandidate>& candidates, const std::vector<bool>& serverFlags,
                  bool useServerFlags, LanScanReport& report);
    void treatHost(const LanCandidate& c, const std::vector<bool>& serverFlags, bool useServerFlags,
                   LanScanReport& report);
    std::string ini_;
    VISAScan& scan_;
    std::vector<std::string> hosts_{std::string()};
};

}  // namespace qv::dir
