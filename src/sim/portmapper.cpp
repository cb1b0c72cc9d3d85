// Our own port mapper, so that clients find the VXI-11 port without a
// system rpcbind: version 2 (GETPORT, DUMP) and the GETADDR call of
// versions 3 and 4, over TCP and UDP, and on a private network the
// broadcast GETPORT of instrument discovery. Also the registration with a
// running rpcbind, for setups that use the system's.
#include <arpa/inet.h>
#include <fcntl.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "oncrpc/oncrpc.h"
#include "oncrpc/vxi11.h"
#include "net_io.h"
#include "servers.h"

namespace qv::sim {

namespace {

constexpr size_t kMaxPortmapRecord = 64 * 1024;
constexpr uint32_t kPmapProcDump = 4;
constexpr uint32_t kRpcbProcGetaddr = 3;
constexpr uint32_t kRpcbVers4 = 4;

std::string universalAddress(uint32_t addressNet, int port) {
    char text[INET_ADDRSTRLEN] = {};
    in_addr a{};
    a.s_addr = addressNet;
    ::inet_ntop(AF_INET, &a, text, sizeof text);
    return std::string(text) + "." + std::to_string((port >> 8) & 0xFF) + "." + std::to_string(port & 0xFF);
}

}  // namespace

bool portmapReply(const PortmapContext& ctx, const uint8_t* data, size_t size, std::vector<uint8_t>& reply) {
    rpc::XdrReader r(data, size);
    rpc::CallHeader h;
    if (!rpc::decodeCall(r, h)) return false;
    reply.clear();
    rpc::XdrWriter w(reply);
    if (h.prog != rpc::kPmapProg) {
        rpc::encodeAcceptedReply(w, h.xid, rpc::kProgUnavail);
        return true;
    }
    if (h.vers == rpc::kPmapVers) {
        switch (h.proc) {
        case rpc::kPmapProcNull:
            rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
            return true;
        case rpc::kPmapProcGetport: {
            rpc::PmapMapping m;
            if (!rpc::decodeMapping(r, m)) {
                rpc::encodeAcceptedReply(w, h.xid, rpc::kGarbageArgs);
                return true;
            }
            uint32_t port = 0;
            if (m.prog == vxi11::kCoreProg && m.vers == vxi11::kCoreVers && m.prot == rpc::kIpProtoTcp)
                port = uint32_t(ctx.vxi11Port);
            rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
            w.u32(port);
            return true;
        }
        case rpc::kPmapProcSet:
        case rpc::kPmapProcUnset:
            // Nobody registers with us.
            rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
            w.boolean(false);
            return true;
        case kPmapProcDump: {
            rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
            auto entry = [&](uint32_t prog, uint32_t vers, uint32_t prot, uint32_t port) {
                w.boolean(true);
                rpc::encodeMapping(w, {prog, vers, prot, port});
            };
            entry(rpc::kPmapProg, rpc::kPmapVers, rpc::kIpProtoTcp, uint32_t(ctx.ownPort));
            entry(rpc::kPmapProg, rpc::kPmapVers, rpc::kIpProtoUdp, uint32_t(ctx.ownPort));
            if (ctx.vxi11Port) entry(vxi11::kCoreProg, vxi11::kCoreVers, rpc::kIpProtoTcp, uint32_t(ctx.vxi11Port));
            w.boolean(false);
            return true;
        }
        default:
            rpc::encodeAcceptedReply(w, h.xid, rpc::kProcUnavail);
            return true;
        }
    }
    if ((h.vers == rpc::kRpcbVers || h.vers == kRpcbVers4) && (h.proc == kRpcbProcGetaddr || h.proc == 0)) {
        if (h.proc == 0) {
            rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
            return true;
        }
        uint32_t prog = r.u32();
        uint32_t vers = r.u32();
        std::string netid = r.string(64);
        r.string(256);  // address: ours is the one asked
        r.string(256);  // owner
        if (!r.ok()) {
            rpc::encodeAcceptedReply(w, h.xid, rpc::kGarbageArgs);
            return true;
        }
        std::string uaddr;
        if (prog == vxi11::kCoreProg && vers == vxi11::kCoreVers && netid == "tcp" && ctx.vxi11Port)
            uaddr = universalAddress(ctx.address, ctx.vxi11Port);
        rpc::encodeAcceptedReply(w, h.xid, rpc::kSuccess);
        w.string(uaddr);
        return true;
    }
    if (h.vers == rpc::kRpcbVers || h.vers == kRpcbVers4) {
        rpc::encodeAcceptedReply(w, h.xid, rpc::kProcUnavail);
        return true;
    }
    rpc::encodeAcceptedReply(w, h.xid, rpc::kProgMismatch);
    w.u32(rpc::kPmapVers);
    w.u32(kRpcbVers4);
    return true;
}

void servePortmapTcp(const PortmapContext& ctx, int fd, int stopFd) {
    StreamWriter writer(fd, stopFd, true);
    rpc::RecordAssembler assembler(kMaxPortmapRecord);
    uint8_t buf[4096];
    for (;;) {
        // Port mapper clients ask and go; an idle one is let go after a while.
        if (waitFor(fd, POLLIN, stopFd, 30000) != WaitResult::Ready) return;
        ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
        if (n <= 0) return;
        size_t used = 0;
        while (used < size_t(n)) {
            used += assembler.feed(buf + used, size_t(n) - used);
            if (assembler.failed()) return;
            if (assembler.hasRecord()) {
                rpc::Bytes record = assembler.takeRecord();
                std::vector<uint8_t> out(4, 0);
                std::vector<uint8_t> body;
                if (!portmapReply(ctx, record.data(), record.size(), body)) return;
                out.insert(out.end(), body.begin(), body.end());
                rpc::putFragmentHeader(out.data(), uint32_t(body.size()), true);
                if (!writer.write(out.data(), out.size())) return;
            }
        }
    }
}

bool isBroadcastAddress(uint32_t addressNet) {
    if (addressNet == htonl(INADDR_BROADCAST)) return true;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return false;
    bool found = false;
    // Worked out from address and mask rather than read from ifa_broadaddr:
    // for an address added without one, that field holds the address itself.
    for (ifaddrs* i = list; i && !found; i = i->ifa_next) {
        if (!(i->ifa_flags & IFF_BROADCAST) || !i->ifa_addr || !i->ifa_netmask || i->ifa_addr->sa_family != AF_INET ||
            i->ifa_netmask->sa_family != AF_INET)
            continue;
        uint32_t address = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_addr)->sin_addr.s_addr);
        uint32_t mask = ntohl(reinterpret_cast<const sockaddr_in*>(i->ifa_netmask)->sin_addr.s_addr);
        if (mask >= 0xFFFFFFFEu) continue;  // /31 and /32 have no broadcast address
        found = htonl(address | ~mask) == addressNet;
    }
    ::freeifaddrs(list);
    return found;
}

namespace {

// Receives one datagram with the address it was sent to; false when there
// is none (or it was cut).
bool receiveWithDestination(int fd, uint8_t* buf, size_t size, size_t& got, sockaddr_in& from, uint32_t& toNet) {
    iovec iov{buf, size};
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(in_pktinfo))];
    msghdr m{};
    m.msg_name = &from;
    m.msg_namelen = sizeof from;
    m.msg_iov = &iov;
    m.msg_iovlen = 1;
    m.msg_control = control;
    m.msg_controllen = sizeof control;
    ssize_t n = ::recvmsg(fd, &m, MSG_DONTWAIT);
    if (n <= 0 || (m.msg_flags & MSG_TRUNC) || m.msg_namelen != sizeof from) return false;
    bool haveDestination = false;
    for (cmsghdr* c = CMSG_FIRSTHDR(&m); c; c = CMSG_NXTHDR(&m, c)) {
        if (c->cmsg_level != IPPROTO_IP || c->cmsg_type != IP_PKTINFO) continue;
        in_pktinfo info{};
        std::memcpy(&info, CMSG_DATA(c), sizeof info);
        toNet = info.ipi_addr.s_addr;
        haveDestination = true;
    }
    got = size_t(n);
    return haveDestination;
}

}  // namespace

void servePortmapUdp(const std::vector<std::pair<int, PortmapContext>>& sockets, int broadcastFd, int stopFd) {
    blockSigpipe();
    std::vector<pollfd> fds;
    for (const auto& s : sockets) fds.push_back({s.first, POLLIN, 0});
    fds.push_back({broadcastFd, POLLIN, 0});  // poll skips a negative descriptor
    fds.push_back({stopFd, POLLIN, 0});
    const size_t broadcastIndex = sockets.size();
    uint8_t buf[9000];
    for (;;) {
        int r = ::poll(fds.data(), fds.size(), -1);
        if (r < 0 && errno == EINTR) continue;
        if (r < 0 || (fds.back().revents & POLLIN)) return;
        for (size_t i = 0; i < broadcastIndex; ++i) {
            if (!(fds[i].revents & POLLIN)) continue;
            sockaddr_in from{};
            socklen_t len = sizeof from;
            ssize_t n = ::recvfrom(fds[i].fd, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &len);
            if (n <= 0) continue;
            std::vector<uint8_t> reply;
            if (portmapReply(sockets[i].second, buf, size_t(n), reply))
                ::sendto(fds[i].fd, reply.data(), reply.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), len);
        }
        if (!(fds[broadcastIndex].revents & POLLIN)) continue;
        size_t n = 0;
        sockaddr_in from{};
        uint32_t to = 0;
        // The wildcard socket also gets unicasts to addresses that are not
        // an instrument's (the computer's own): those are nobody's call.
        // Unicasts to an instrument's address go to its own socket, which
        // the kernel prefers as the closer match, so they are answered once.
        if (!receiveWithDestination(broadcastFd, buf, sizeof buf, n, from, to) || !isBroadcastAddress(to)) continue;
        for (const auto& [fd, ctx] : sockets) {
            if ((ntohl(ctx.address) >> 24) == 127 || ctx.vxi11Port == 0) continue;
            std::vector<uint8_t> reply;
            if (portmapReply(ctx, buf, n, reply))
                ::sendto(fd, reply.data(), reply.size(), MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), sizeof from);
        }
    }
}

// --- registration with the system's rpcbind --------------------------------

namespace {

constexpr int kRpcbindTimeoutMs = 2000;
constexpr char kRpcbindSocket[] = "/run/rpcbind.sock";

// One call over a connected stream; true with the reply's boolean result.
bool streamCall(int fd, const rpc::Bytes& body, bool& result, std::string& why) {
    rpc::Bytes msg(4, 0);
    msg.insert(msg.end(), body.begin(), body.end());
    rpc::putFragmentHeader(msg.data(), uint32_t(body.size()), true);
    size_t sent = 0;
    while (sent < msg.size()) {
        if (waitFor(fd, POLLOUT, -1, kRpcbindTimeoutMs) != WaitResult::Ready) {
            why = "timeout sending";
            return false;
        }
        ssize_t n = ::send(fd, msg.data() + sent, msg.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            why = std::strerror(errno);
            return false;
        }
        sent += size_t(n);
    }
    rpc::RecordAssembler assembler(kMaxPortmapRecord);
    uint8_t buf[1024];
    while (!assembler.hasRecord()) {
        if (waitFor(fd, POLLIN, -1, kRpcbindTimeoutMs) != WaitResult::Ready) {
            why = "no answer";
            return false;
        }
        ssize_t n = ::recv(fd, buf, sizeof buf, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            why = "connection closed";
            return false;
        }
        size_t used = 0;
        while (used < size_t(n) && !assembler.hasRecord()) {
            used += assembler.feed(buf + used, size_t(n) - used);
            if (assembler.failed()) {
                why = "oversized reply";
                return false;
            }
        }
    }
    rpc::Bytes rec = assembler.takeRecord();
    rpc::XdrReader r(rec);
    rpc::ReplyHeader h;
    if (!rpc::decodeReply(r, h) || !h.accepted || h.acceptStat != rpc::kSuccess) {
        why = "call refused";
        return false;
    }
    result = r.boolean();
    if (!r.ok()) {
        why = "malformed reply";
        return false;
    }
    return true;
}

bool connectWithTimeout(int fd, const sockaddr* a, socklen_t len, std::string& why) {
    int flags = ::fcntl(fd, F_GETFL);
    ::fcntl(fd, F_SETFL, flags | O_NONBLOCK);
    if (::connect(fd, a, len) != 0) {
        if (errno != EINPROGRESS && errno != EAGAIN) {
            why = std::strerror(errno);
            return false;
        }
        if (waitFor(fd, POLLOUT, -1, kRpcbindTimeoutMs) != WaitResult::Ready) {
            why = "connect timeout";
            return false;
        }
        int e = 0;
        socklen_t el = sizeof e;
        ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &e, &el);
        if (e != 0) {
            why = std::strerror(e);
            return false;
        }
    }
    return true;
}

int connectUnix(std::string& why) {
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        why = std::strerror(errno);
        return -1;
    }
    sockaddr_un a{};
    a.sun_family = AF_UNIX;
    std::strncpy(a.sun_path, kRpcbindSocket, sizeof a.sun_path - 1);
    if (!connectWithTimeout(fd, reinterpret_cast<sockaddr*>(&a), sizeof a, why)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

int connectPortmapTcp(std::string& why) {
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        why = std::strerror(errno);
        return -1;
    }
    // rpcbind takes version 2 SET calls only from privileged ports.
    if (::geteuid() == 0) {
        for (int port = 1023; port >= 600; --port) {
            sockaddr_in b{};
            b.sin_family = AF_INET;
            b.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            b.sin_port = htons(uint16_t(port));
            if (::bind(fd, reinterpret_cast<sockaddr*>(&b), sizeof b) == 0) break;
        }
    }
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    a.sin_port = htons(111);
    if (!connectWithTimeout(fd, reinterpret_cast<sockaddr*>(&a), sizeof a, why)) {
        ::close(fd);
        return -1;
    }
    return fd;
}

rpc::Bytes rpcbCall(uint32_t proc, const std::string& uaddr) {
    rpc::Bytes b;
    rpc::XdrWriter w(b);
    static uint32_t xid = uint32_t(::getpid()) << 8;
    rpc::encodeCall(w, {++xid, rpc::kPmapProg, rpc::kRpcbVers, proc});
    rpc::encodeRpcb(w, {vxi11::kCoreProg, vxi11::kCoreVers, "tcp", uaddr, "quilvane-sim"});
    return b;
}

rpc::Bytes pmapCall(uint32_t proc, int port) {
    rpc::Bytes b;
    rpc::XdrWriter w(b);
    static uint32_t xid = uint32_t(::getpid()) << 16;
    rpc::encodeCall(w, {++xid, rpc::kPmapProg, rpc::kPmapVers, proc});
    rpc::encodeMapping(w, {vxi11::kCoreProg, vxi11::kCoreVers, rpc::kIpProtoTcp, uint32_t(port)});
    return b;
}

}  // namespace

bool RpcbindRegistration::registerPort(const std::string& address, int port, std::string& error) {
    in_addr a{};
    ::inet_pton(AF_INET, address.c_str(), &a);
    std::string uaddr = universalAddress(a.s_addr, port);
    std::string whyUnix, whyTcp;
    bool result = false;
    // rpcbind version 3 over its local socket first.
    if (int fd = connectUnix(whyUnix); fd >= 0) {
        streamCall(fd, rpcbCall(rpc::kRpcbProcUnset, uaddr), result, whyUnix);  // a stale entry blocks SET
        result = false;
        if (streamCall(fd, rpcbCall(rpc::kRpcbProcSet, uaddr), result, whyUnix) && !result) whyUnix = "SET refused";
        ::close(fd);
    }
    if (!result) {
        if (int fd = connectPortmapTcp(whyTcp); fd >= 0) {
            streamCall(fd, pmapCall(rpc::kPmapProcUnset, port), result, whyTcp);
            result = false;
            if (streamCall(fd, pmapCall(rpc::kPmapProcSet, port), result, whyTcp) && !result) whyTcp = "SET refused";
            ::close(fd);
        }
    }
    if (!result) {
        error = "cannot register with rpcbind: " + std::string(kRpcbindSocket) + ": " + whyUnix +
                "; 127.0.0.1:111: " + whyTcp;
        return false;
    }
    registered_ = true;
    address_ = address;
    port_ = port;
    return true;
}

void RpcbindRegistration::unregister() {
    if (!registered_) return;
    registered_ = false;
    in_addr a{};
    ::inet_pton(AF_INET, address_.c_str(), &a);
    std::string uaddr = universalAddress(a.s_addr, port_);
    std::string why;
    bool result = false;
    // Both forms: we do not remember which one took.
    if (int fd = connectUnix(why); fd >= 0) {
        streamCall(fd, rpcbCall(rpc::kRpcbProcUnset, uaddr), result, why);
        ::close(fd);
    }
    if (int fd = connectPortmapTcp(why); fd >= 0) {
        streamCall(fd, pmapCall(rpc::kPmapProcUnset, port_), result, why);
        ::close(fd);
    }
}

}  // namespace qv::sim
