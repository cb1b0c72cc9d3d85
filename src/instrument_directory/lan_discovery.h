// Finding VXI-11 instruments without a configured list: one port mapper
// GETPORT call for the VXI-11 core channel, broadcast from local port 4241
// to port 111 of every interface that has a broadcast address (and to
// 255.255.255.255), and the senders of the valid replies collected for
// 2500 ms while events run.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace qv::dir {

inline constexpr size_t kDiscoveryPacketSize = 56;
inline constexpr size_t kDiscoveryReplySize = 28;
inline constexpr uint16_t kDiscoveryLocalPort = 4241;
inline constexpr int kDiscoveryCollectMs = 2500;
// The transaction bytes as they stand on the wire.
inline constexpr std::array<uint8_t, 4> kDiscoveryXid{0x21, 0x22, 0x22, 0x22};

// The 56-byte call.
std::array<uint8_t, kDiscoveryPacketSize> DiscoveryPacket();
// A reply is exactly 28 bytes and begins with the transaction bytes; port
// (offset 24, big-endian) is stored when given.
bool IsDiscoveryReply(const uint8_t* data, size_t size, uint32_t* port = nullptr);

// The broadcast address of every interface that is up and has one, in the
// order the system lists them, without repeats.
std::vector<std::string> InterfaceBroadcastAddresses();

// The port the call goes to: QUILVANE_PORTMAPPER_PORT when set (as the VISA
// layer's VXI-11 client reads it), else 111.
uint16_t DiscoveryRemotePort();

struct DiscoveryOptions {
    uint16_t localPort = kDiscoveryLocalPort;  // 0: any free port (tests)
    uint16_t remotePort = 0;                   // 0: DiscoveryRemotePort()
    int collectMs = kDiscoveryCollectMs;
    // Empty: InterfaceBroadcastAddresses() and 255.255.255.255.
    std::vector<std::string> destinations;
    std::function<void()> processEvents;
};

// Sends the call and collects for collectMs. hosts: the sender address of
// every valid reply in the order of arrival, a host answering twice twice
// (the scan takes each once). False with error "Interface could not be
// initialized." and the system's reason in detail when the socket cannot be
// set up (port 4241 taken, no socket) or the call reached no destination.
bool DiscoverVxi11(const DiscoveryOptions& options, std::vector<std::string>& hosts, std::string& error,
                   std::string* detail = nullptr);

}  // namespace qv::dir
