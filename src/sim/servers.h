// The simulator's transports, each serving one connection (or terminal)
// until the peer leaves or the stop descriptor fires.
#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "instrument.h"

namespace qv::sim {

// Raw SCPI over a byte stream: a TCP connection or a terminal.
void serveStream(Instrument& inst, int fd, int stopFd, bool socket);

// VXI-11 instruments reachable on one address, in command-line order;
// "instK" names the K-th.
struct Vxi11Device {
    Instrument* instrument = nullptr;
    int port = 0;
};

struct Vxi11Context {
    std::vector<Vxi11Device> devices;
    std::atomic<int32_t>* nextLinkId = nullptr;
};
void serveVxi11(const Vxi11Context& ctx, int fd, int stopFd);

// Port mapper (program 100000): GETPORT and friends, over TCP and UDP.
struct PortmapContext {
    uint32_t address = 0;  // network order
    int vxi11Port = 0;     // of the first VXI-11 instrument there, 0: none
    int ownPort = 0;
};
void servePortmapTcp(const PortmapContext& ctx, int fd, int stopFd);
// Answers datagrams on the UDP sockets until stop. broadcastFd (-1: none) is
// bound to the wildcard address and sees the broadcasts the address-bound
// sockets cannot: each call there that went to a broadcast address is
// answered once for every non-loopback address with a VXI-11 instrument,
// from that address's own socket, as separate instruments would answer.
void servePortmapUdp(const std::vector<std::pair<int, PortmapContext>>& sockets, int broadcastFd, int stopFd);
// Whether a datagram's destination is a broadcast address (255.255.255.255
// or the broadcast address of an interface's subnet); addressNet in
// network order.
bool isBroadcastAddress(uint32_t addressNet);
// Builds the reply to one port mapper call record; false: no reply (not a call).
bool portmapReply(const PortmapContext& ctx, const uint8_t* data, size_t size, std::vector<uint8_t>& reply);

// Registration of a VXI-11 port with the system's rpcbind.
class RpcbindRegistration {
public:
    ~RpcbindRegistration() { unregister(); }
    bool registerPort(const std::string& address, int port, std::string& error);
    void unregister();

private:
    bool registered_ = false;
    std::string address_;
    int port_ = 0;
};

}  // namespace qv::sim
