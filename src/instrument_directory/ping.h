// Reachability by ICMP echo: an unprivileged ICMP datagram socket where the
// system allows it, else a raw socket (root). Where neither may be opened a
// ping says so (kPingNotPermitted) instead of claiming the host is away, and
// the sweep of a subnet falls back to TCP connects to the port mapper port
// (a refusal proves the host too). Every ping is bounded.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::dir {

inline constexpr int kPingTimeoutMs = 100;

// Status numbers of an echo, with the texts of PingStatusText.
inline constexpr int kPingSuccess = 0;
inline constexpr int kPingTimeout = 100;
inline constexpr int kPingDestNetUnreachable = 11002;
inline constexpr int kPingDestHostUnreachable = 11003;
inline constexpr int kPingDestProtUnreachable = 11004;
inline constexpr int kPingDestPortUnreachable = 11005;
inline constexpr int kPingNoResources = 11006;
inline constexpr int kPingTtlExpiredTransit = 11013;
inline constexpr int kPingParamProblem = 11015;
inline constexpr int kPingSourceQuench = 11016;
inline constexpr int kPingBadDestination = 11018;
inline constexpr int kPingGeneralFailure = 11050;
// Ours: no ICMP socket may be opened here (neither datagram nor raw).
inline constexpr int kPingNotPermitted = 11900;

std::string PingStatusText(int status);
// An ICMP error message (type, code) about an echo of ours as a status of
// the table; -1 for types that say nothing about the echo.
int IcmpErrorStatus(uint8_t type, uint8_t code);

// The echoes of one batch: identifier, first sequence number (the i-th
// destination has first + i), destinations in network order.
struct EchoBatch {
    uint16_t id = 0;
    uint16_t firstSequence = 0;
    std::vector<uint32_t> destinations;
};
// What one received packet says about the batch: the index of the echo it
// answers or reports on, its status, and the reply's payload size. raw: the
// packet starts with its IP header (raw sockets); from: the sender, network
// order. False for anything not about ours (bounded reads only).
bool ReadIcmpReply(const uint8_t* data, size_t size, bool raw, uint32_t from, const EchoBatch& batch, size_t& index,
                   int& status, int& payload);

// Which ICMP socket this process may open: "datagram", "raw", or empty with
// why (the system's reasons and what would allow it) in why.
std::string IcmpSocketKind(std::string* why = nullptr);

// address: dotted IPv4 text in, status text out ("Ping erfolgreich!" plus
// round-trip time and size on success). True when the echo came back.
bool Ping(std::string& address, int timeoutMs = kPingTimeoutMs);

// The ping the scans use; tests may replace it (nullptr restores Ping).
using PingFunction = bool (*)(std::string& address, int timeoutMs);
void setPingFunction(PingFunction f);
bool ScanPing(std::string& address);
// The status of the last ScanPing on this thread (kPingNotPermitted lets
// the start-up scan open a LAN row it could not ping).
int LastScanPingStatus();

// Many echoes at once on one socket, replies matched by identifier and
// sequence: status[i] for addresses[i] (kPingSuccess, kPingTimeout, an
// unreachable code, kPingBadDestination for a text that is no address). All
// are sent first, then replies are collected for at most waitMs; the wait
// ends early when every address has its answer. Between polls events run
// and cancelled() is asked (a cancel ends the wait; unanswered stay
// kPingTimeout). Without an ICMP socket every address is probed by a TCP
// connect to port 111 instead, all at once as well; probedByTcp tells.
struct SweepHooks {
    std::function<void()> processEvents;
    std::function<bool()> cancelled;
};
inline constexpr int kSweepWaitMs = 1000;
std::vector<int> PingSweep(const std::vector<std::string>& addresses, int waitMs = kSweepWaitMs,
                           const SweepHooks& hooks = {}, bool* probedByTcp = nullptr);

}  // namespace qv::dir
