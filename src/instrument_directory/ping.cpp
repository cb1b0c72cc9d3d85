#include "instrument_directory/ping.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/ip.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>

namespace qv::dir {

namespace {

constexpr char kEchoData[] = "Echo This";
constexpr size_t kEchoDataLen = sizeof kEchoData - 1;

uint16_t checksum(const uint8_t* p, size_t n) {
    uint32_t sum = 0;
    for (size_t i = 0; i + 1 < n; i += 2) sum += uint32_t(p[i]) << 8 | p[i + 1];
    if (n & 1) sum += uint32_t(p[n - 1]) << 8;
    while (sum >> 16) sum = (sum & 0xFFFF) + (sum >> 16);
    return htons(uint16_t(~sum));
}

struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

using Clock = std::chrono::steady_clock;

int remainingMs(Clock::time_point end) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left < 0 ? 0 : int(left);
}

// An ICMP error about one of our echoes, as a status of the table.
int errorStatus(uint8_t type, uint8_t code) {
    if (type == ICMP_DEST_UNREACH) {
        switch (code) {
        case ICMP_NET_UNREACH: return kPingDestNetUnreachable;
        case ICMP_HOST_UNREACH: return kPingDestHostUnreachable;
        case ICMP_PROT_UNREACH: return kPingDestProtUnreachable;
        case ICMP_PORT_UNREACH: return kPingDestPortUnreachable;
        default: return kPingDestHostUnreachable;
        }
    }
    if (type == ICMP_TIME_EXCEEDED) return kPingTtlExpiredTransit;
    if (type == ICMP_PARAMETERPROB) return kPingParamProblem;
    if (type == ICMP_SOURCE_QUENCH) return kPingSourceQuench;
    return -1;
}

// One echo on an open socket. raw: replies carry the IP header and every
// ICMP packet of the host arrives, so ours are picked by id and sequence.
int echo(int fd, bool raw, const in_addr& dest, int timeoutMs, int& rttMs, int& size) {
    static std::atomic<uint16_t> sequence{1};
    const uint16_t seq = sequence++;
    const uint16_t id = uint16_t(::getpid());
    uint8_t packet[sizeof(icmphdr) + kEchoDataLen] = {};
    icmphdr hdr{};
    hdr.type = ICMP_ECHO;
    hdr.un.echo.id = htons(id);
    hdr.un.echo.sequence = htons(seq);
    std::memcpy(packet, &hdr, sizeof hdr);
    std::memcpy(packet + sizeof hdr, kEchoData, kEchoDataLen);
    const uint16_t sum = checksum(packet, sizeof packet);
    std::memcpy(packet + offsetof(icmphdr, checksum), &sum, sizeof sum);

    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr = dest;
    const auto start = Clock::now();
    const auto end = start + std::chrono::milliseconds(timeoutMs);
    if (::sendto(fd, packet, sizeof packet, MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to), sizeof to) < 0)
        return errno == ENETUNREACH ? kPingDestNetUnreachable
               : errno == EHOSTUNREACH ? kPingDestHostUnreachable
                                       : kPingGeneralFailure;
    for (;;) {
        pollfd p{fd, POLLIN, 0};
        int left = remainingMs(end);
        int r = ::poll(&p, 1, left);
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) return kPingTimeout;
        uint8_t buf[1500];
        sockaddr_in from{};
        socklen_t fl = sizeof from;
        ssize_t n = ::recvfrom(fd, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fl);
        if (n < 0) {
            if (errno == EAGAIN || errno == EINTR) continue;
            return kPingGeneralFailure;
        }
        size_t off = 0;
        if (raw) {
            if (size_t(n) < sizeof(iphdr)) continue;
            off = size_t(buf[0] & 0x0F) * 4;
        }
        if (size_t(n) < off + sizeof(icmphdr)) continue;
        icmphdr got{};
        std::memcpy(&got, buf + off, sizeof got);
        if (got.type == ICMP_ECHOREPLY) {
            if (from.sin_addr.s_addr != dest.s_addr) continue;
            // The datagram socket's kernel owns the id; the sequence is ours.
            if (ntohs(got.un.echo.sequence) != seq) continue;
            if (raw && ntohs(got.un.echo.id) != id) continue;
            rttMs = int(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
            size = int(size_t(n) - off - sizeof(icmphdr));
            return kPingSuccess;
        }
        if (!raw) continue;
        int status = errorStatus(got.type, got.code);
        if (status < 0) continue;
        // The error quotes our packet: IP header, then our ICMP header.
        size_t inner = off + sizeof(icmphdr);
        if (size_t(n) < inner + sizeof(iphdr)) continue;
        size_t innerIcmp = inner + size_t(buf[inner] & 0x0F) * 4;
        if (size_t(n) < innerIcmp + sizeof(icmphdr)) continue;
        icmphdr quoted{};
        std::memcpy(&quoted, buf + innerIcmp, sizeof quoted);
        if (quoted.type == ICMP_ECHO && ntohs(quoted.un.echo.id) == id && ntohs(quoted.un.echo.sequence) == seq)
            return status;
    }
}

// Where no ICMP socket is allowed (no raw privilege, our group outside
// ping_group_range) a LAN instrument must still be reachable: a TCP connect
// to the port mapper port answers the same question, as a refused
// connection also proves the host is there.
int tcpProbe(const in_addr& dest, int timeoutMs, int& rttMs) {
    Fd s;
    s.fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (s.fd < 0) return kPingNoResources;
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(111);
    to.sin_addr = dest;
    const auto start = Clock::now();
    int r = ::connect(s.fd, reinterpret_cast<const sockaddr*>(&to), sizeof to);
    int err = r == 0 ? 0 : errno;
    if (err == EINPROGRESS) {
        pollfd p{s.fd, POLLOUT, 0};
        const auto end = start + std::chrono::milliseconds(timeoutMs);
        int n;
        do {
            n = ::poll(&p, 1, remainingMs(end));
        } while (n < 0 && errno == EINTR);
        if (n <= 0) return kPingTimeout;
        socklen_t len = sizeof err;
        if (::getsockopt(s.fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0) return kPingGeneralFailure;
    }
    rttMs = int(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
    if (err == 0 || err == ECONNREFUSED) return kPingSuccess;
    if (err == ENETUNREACH) return kPingDestNetUnreachable;
    if (err == EHOSTUNREACH) return kPingDestHostUnreachable;
    return kPingGeneralFailure;
}

PingFunction g_ping = nullptr;

}  // namespace

std::string PingStatusText(int status) {
    static const std::map<int, const char*> texts{
        {0, "Ping erfolgreich!"},
        {100, "ping timeout"},
        {11001, "ip buf too_small"},
        {11002, "ip dest net unreachable"},
        {11003, "ip dest host unreachable"},
        {11004, "ip dest prot unreachable"},
        {11005, "ip dest port unreachable"},
        {11006, "ip no resources"},
        {11007, "ip bad option"},
        {11008, "ip hw_error"},
        {11009, "ip packet too_big"},
        {11010, "ip req timed out"},
        {11011, "ip bad req"},
        {11012, "ip bad route"},
        {11013, "ip ttl expired transit"},
        {11014, "ip ttl expired reassem"},
        {11015, "ip param_problem"},
        {11016, "ip source quench"},
        {11017, "ip option too_big"},
        {11018, "ip bad destination"},
        {11019, "ip addr deleted"},
        {11020, "ip s" "pec mtu change"},  // the system's status text, letter for letter
        {11021, "ip mtu_change"},
        {11022, "ip unload"},
        {11023, "ip addr added"},
        {11050, "ip general failure"},
        {11255, "ip pending"},
    };
    auto it = texts.find(status);
    return it == texts.end() ? "unknown msg returned" : it->second;
}

bool Ping(std::string& address, int timeoutMs) {
    if (timeoutMs < 1) timeoutMs = 1;
    if (timeoutMs > 10000) timeoutMs = 10000;
    in_addr dest{};
    if (inet_pton(AF_INET, address.c_str(), &dest) != 1) {
        address = PingStatusText(kPingBadDestination);
        return false;
    }
    // The datagram socket needs no privilege where ping_group_range admits
    // our group; the raw socket needs CAP_NET_RAW.
    Fd s;
    bool raw = false;
    s.fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (s.fd < 0) {
        s.fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
        raw = true;
    }
    int rtt = 0, size = 0;
    const int status = s.fd < 0 ? tcpProbe(dest, timeoutMs, rtt) : echo(s.fd, raw, dest, timeoutMs, rtt, size);
    if (status != kPingSuccess) {
        address = PingStatusText(status);
        return false;
    }
    address = PingStatusText(kPingSuccess) + " " + std::to_string(rtt) + " ms " + std::to_string(size) + " bytes";
    return true;
}

void setPingFunction(PingFunction f) { g_ping = f; }

bool ScanPing(std::string& address) { return g_ping ? g_ping(address, kPingTimeoutMs) : Ping(address, kPingTimeoutMs); }

}  // namespace qv::dir
