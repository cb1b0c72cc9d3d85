// Instruments that announce themselves by multicast DNS, browsed through
// the system's Avahi daemon (its client library). Without a running daemon
// the browse fails with a text that says so; nothing here speaks multicast
// itself.
#pragma once

#include "instrument_directory/lan_scan.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::dir {

// The service types browsed, best first: an instrument that announces more
// than one is identified through the best.
const std::vector<std::string>& MdnsServiceTypes();  // _vxi-11._tcp _hislip._tcp _scpi-raw._tcp _lxi._tcp

struct MdnsService {
    std::string type;     // "_vxi-11._tcp"
    std::string name;     // the instance name
    std::string host;     // "bench7.local"
    std::string address;  // dotted IPv4
    uint16_t port = 0;
};

// The resource each service implies: _vxi-11._tcp and _lxi._tcp
// "LAN::a::INSTR"; _hislip._tcp "LAN::a::hislip0::INSTR"; _scpi-raw._tcp
// scans "TCPIP::a::port::SOCKET" and is stored "RAW::TCPIP::a::port::SOCKET".
LanCandidate CandidateFromService(const MdnsService& service);
// One candidate per address, through its best service, in the order the
// addresses were first seen; all marked answered.
std::vector<LanCandidate> CandidatesFromServices(const std::vector<MdnsService>& services);

inline constexpr int kMdnsBrowseMs = 3000;
// The message when no daemon answers.
inline constexpr char kMdnsNeedsDaemon[] =
    "LAN (mDNS) needs the Avahi daemon (avahi-daemon), which is not running on this computer. Start it "
    "(for example \"systemctl start avahi-daemon\") and scan again, or use \"LAN (any)\".";

// Browses every type for at most timeoutMs (ending early once the daemon
// has reported all it knows and every service is resolved); IPv4 only.
// Events run and cancelled() is asked between steps. False with error when
// the daemon is not there (kMdnsNeedsDaemon plus the library's reason).
bool BrowseMdns(int timeoutMs, std::vector<MdnsService>& found, std::string& error,
                const std::function<void()>& processEvents = {}, const std::function<bool()>& cancelled = {});

}  // namespace qv::dir
