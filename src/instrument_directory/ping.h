// Reachability by ICMP echo: an unprivileged ICMP datagram socket where the
// system allows it, else a raw socket (root), else a TCP connect to port 111
// (a refusal proves the host too). Every ping is bounded.
#pragma once

#include <string>

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

std::string PingStatusText(int status);

// address: dotted IPv4 text in, status text out ("Ping erfolgreich!" plus
// round-trip time and size on success). True when the echo came back.
bool Ping(std::string& address, int timeoutMs = kPingTimeoutMs);

// The ping the scans use; tests may replace it (nullptr restores Ping).
using PingFunction = bool (*)(std::string& address, int timeoutMs);
void setPingFunction(PingFunction f);
bool ScanPing(std::string& address);

}  // namespace qv::dir
