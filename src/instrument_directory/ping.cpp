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
#include <algorithm>
#include <map>
#include <string>
#include <vector>

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

}  // namespace

int IcmpErrorStatus(uint8_t type, uint8_t code) {
    if (type == ICMP_DEST_UNREACH) {
        switch (code) {
        case ICMP_NET_UNREACH: return kPingDestNetUnreachable;
        case ICMP_HOST_UNREACH: return kPingDestHostUnreachable;
        case ICMP_PROT_UNREACH: return kPingDestProtUnreachable;
        case ICMP_PORT_UNREACH: return kPingDestPortUnreachable;
        case ICMP_FRAG_NEEDED: return 11009;  // ip packet too_big
        case ICMP_SR_FAILED: return 11012;    // ip bad route
        case ICMP_NET_UNKNOWN:
        case ICMP_NET_ANO:
        case ICMP_NET_UNR_TOS: return kPingDestNetUnreachable;
        default: return kPingDestHostUnreachable;  // unknown, prohibited, filtered
        }
    }
    if (type == ICMP_TIME_EXCEEDED) return code == ICMP_EXC_FRAGTIME ? 11014 : kPingTtlExpiredTransit;
    if (type == ICMP_PARAMETERPROB) return kPingParamProblem;
    if (type == ICMP_SOURCE_QUENCH) return kPingSourceQuench;
    return -1;
}

bool ReadIcmpReply(const uint8_t* buf, size_t n, bool raw, uint32_t from, const EchoBatch& batch, size_t& index,
                   int& status, int& size) {
    if (!buf) return false;
    const size_t count = batch.destinations.size();
    size_t off = 0;
    if (raw) {
        if (n < sizeof(iphdr)) return false;
        off = size_t(buf[0] & 0x0F) * 4;
    }
    if (n < off + sizeof(icmphdr)) return false;
    icmphdr got{};
    std::memcpy(&got, buf + off, sizeof got);
    if (got.type == ICMP_ECHOREPLY) {
        // The datagram socket's kernel owns the id; the sequence is ours.
        if (raw && ntohs(got.un.echo.id) != batch.id) return false;
        index = uint16_t(ntohs(got.un.echo.sequence) - batch.firstSequence);
        if (index >= count || from != batch.destinations[index]) return false;
        status = kPingSuccess;
        size = int(n - off - sizeof(icmphdr));
        return true;
    }
    if (!raw) return false;
    const int st = IcmpErrorStatus(got.type, got.code);
    if (st < 0) return false;
    // The error quotes our packet: IP header, then our ICMP header.
    const size_t inner = off + sizeof(icmphdr);
    if (n < inner + sizeof(iphdr)) return false;
    const size_t innerIcmp = inner + size_t(buf[inner] & 0x0F) * 4;
    if (n < innerIcmp + sizeof(icmphdr)) return false;
    icmphdr quoted{};
    std::memcpy(&quoted, buf + innerIcmp, sizeof quoted);
    if (quoted.type != ICMP_ECHO || ntohs(quoted.un.echo.id) != batch.id) return false;
    index = uint16_t(ntohs(quoted.un.echo.sequence) - batch.firstSequence);
    if (index >= count) return false;
    status = st;
    return true;
}

namespace {

uint16_t echoId() { return uint16_t(::getpid()); }

// Sequence numbers are unique within the process, so that a late reply to
// an earlier ping is never taken for the answer to a later one.
uint16_t takeSequences(uint16_t count) {
    static std::atomic<uint16_t> next{1};
    return next.fetch_add(count);
}

std::vector<uint8_t> echoPacket(uint16_t id, uint16_t seq) {
    std::vector<uint8_t> packet(sizeof(icmphdr) + kEchoDataLen, 0);
    icmphdr hdr{};
    hdr.type = ICMP_ECHO;
    hdr.un.echo.id = htons(id);
    hdr.un.echo.sequence = htons(seq);
    std::memcpy(packet.data(), &hdr, sizeof hdr);
    std::memcpy(packet.data() + sizeof hdr, kEchoData, kEchoDataLen);
    const uint16_t sum = checksum(packet.data(), packet.size());
    std::memcpy(packet.data() + offsetof(icmphdr, checksum), &sum, sizeof sum);
    return packet;
}

// The ICMP socket this process may open. The datagram socket needs no
// privilege where net.ipv4.ping_group_range admits our group; the raw one
// needs CAP_NET_RAW.
int openIcmp(bool& raw, std::string* why) {
    raw = false;
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (fd >= 0) return fd;
    const int dgramErr = errno;
    fd = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    if (fd >= 0) {
        raw = true;
        return fd;
    }
    if (why)
        *why = std::string("no ICMP socket: datagram ") + std::strerror(dgramErr) + " (our group is outside " +
               "net.ipv4.ping_group_range), raw " + std::strerror(errno) + " (no CAP_NET_RAW)";
    return -1;
}

// Echoes to every destination on one socket, then the replies until every
// one is answered or waitMs has passed. status and rtt by index.
void echoAll(int fd, bool raw, const std::vector<in_addr>& dests, int waitMs, const SweepHooks& hooks,
             std::vector<int>& status, std::vector<int>& rtt, std::vector<int>& size) {
    const uint16_t id = echoId();
    const uint16_t first = takeSequences(uint16_t(dests.size()));
    EchoBatch batch{id, first, {}};
    for (const in_addr& d : dests) batch.destinations.push_back(d.s_addr);
    const auto start = Clock::now();
    std::vector<Clock::time_point> sentAt(dests.size(), start);
    size_t open = 0;
    for (size_t i = 0; i < dests.size(); ++i) {
        if (status[i] != kPingTimeout) continue;
        const auto packet = echoPacket(id, uint16_t(first + i));
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_addr = dests[i];
        sentAt[i] = Clock::now();
        if (::sendto(fd, packet.data(), packet.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
                     sizeof to) < 0)
            status[i] = errno == ENETUNREACH    ? kPingDestNetUnreachable
                        : errno == EHOSTUNREACH ? kPingDestHostUnreachable
                        : errno == EACCES       ? kPingBadDestination  // a broadcast address
                                                : kPingGeneralFailure;
        else
            ++open;
    }
    const auto end = Clock::now() + std::chrono::milliseconds(waitMs);
    // Short polls when events must run, one long one otherwise.
    const int slice = hooks.processEvents || hooks.cancelled ? 20 : waitMs;
    while (open > 0) {
        if (hooks.processEvents) hooks.processEvents();
        if (hooks.cancelled && hooks.cancelled()) return;
        const int left = remainingMs(end);
        if (left <= 0) return;
        pollfd p{fd, POLLIN, 0};
        const int r = ::poll(&p, 1, std::min(left, slice));
        if (r < 0 && errno != EINTR) return;
        if (r <= 0) continue;
        for (;;) {
            uint8_t buf[1500];
            sockaddr_in from{};
            socklen_t fl = sizeof from;
            const ssize_t n = ::recvfrom(fd, buf, sizeof buf, MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fl);
            if (n < 0) break;
            size_t index = 0;
            int st = 0, sz = 0;
            if (!ReadIcmpReply(buf, size_t(n), raw, from.sin_addr.s_addr, batch, index, st, sz)) continue;
            if (status[index] != kPingTimeout) continue;  // answered already
            status[index] = st;
            size[index] = sz;
            rtt[index] = int(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - sentAt[index]).count());
            --open;
        }
    }
}

// Where no ICMP socket may be opened a host is still found by a TCP connect
// to the port mapper port, which every VXI-11 instrument serves; a refused
// connection proves the host too. All connects run at once.
void probeAll(const std::vector<in_addr>& dests, int waitMs, const SweepHooks& hooks, std::vector<int>& status,
              std::vector<int>& rtt) {
    std::vector<Fd> socks(dests.size());
    std::vector<pollfd> polls;
    std::vector<size_t> owner;
    const auto start = Clock::now();
    for (size_t i = 0; i < dests.size(); ++i) {
        if (status[i] != kPingTimeout) continue;
        socks[i].fd = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (socks[i].fd < 0) {
            status[i] = kPingNoResources;
            continue;
        }
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(111);
        to.sin_addr = dests[i];
        const int r = ::connect(socks[i].fd, reinterpret_cast<const sockaddr*>(&to), sizeof to);
        const int err = r == 0 ? 0 : errno;
        if (err == EINPROGRESS) {
            polls.push_back({socks[i].fd, POLLOUT, 0});
            owner.push_back(i);
        } else if (err == 0 || err == ECONNREFUSED) {
            status[i] = kPingSuccess;
        } else {
            status[i] = err == ENETUNREACH ? kPingDestNetUnreachable : kPingDestHostUnreachable;
        }
    }
    const auto end = start + std::chrono::milliseconds(waitMs);
    size_t open = polls.size();
    while (open > 0) {
        if (hooks.processEvents) hooks.processEvents();
        if (hooks.cancelled && hooks.cancelled()) return;
        const int left = remainingMs(end);
        if (left <= 0) return;
        const int r = ::poll(polls.data(), polls.size(), std::min(left, 20));
        if (r < 0 && errno != EINTR) return;
        if (r <= 0) continue;
        for (size_t k = 0; k < polls.size(); ++k) {
            if (polls[k].fd < 0 || !polls[k].revents) continue;
            const size_t i = owner[k];
            int err = 0;
            socklen_t len = sizeof err;
            if (::getsockopt(polls[k].fd, SOL_SOCKET, SO_ERROR, &err, &len) != 0) err = EIO;
            status[i] = err == 0 || err == ECONNREFUSED ? kPingSuccess
                        : err == ENETUNREACH            ? kPingDestNetUnreachable
                        : err == EHOSTUNREACH           ? kPingDestHostUnreachable
                                                        : kPingGeneralFailure;
            rtt[i] = int(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
            polls[k].fd = -1;  // poll skips it from now on
            --open;
        }
    }
}

PingFunction g_ping = nullptr;
thread_local int t_lastScanStatus = kPingSuccess;

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
        {kPingNotPermitted, "ping not permitted: this system lets the program open no ICMP socket"},
    };
    auto it = texts.find(status);
    return it == texts.end() ? "unknown msg returned" : it->second;
}

std::string IcmpSocketKind(std::string* why) {
    bool raw = false;
    Fd s;
    s.fd = openIcmp(raw, why);
    if (s.fd < 0) return std::string();
    return raw ? "raw" : "datagram";
}

namespace {

// One echo: the status, and the text Ping hands back.
int pingOnce(const std::string& address, int timeoutMs, std::string& text) {
    timeoutMs = std::clamp(timeoutMs, 1, 10000);
    in_addr dest{};
    if (inet_pton(AF_INET, address.c_str(), &dest) != 1) {
        text = PingStatusText(kPingBadDestination);
        return kPingBadDestination;
    }
    Fd s;
    bool raw = false;
    std::string why;
    s.fd = openIcmp(raw, &why);
    if (s.fd < 0) {
        text = PingStatusText(kPingNotPermitted) + " (" + why + ")";
        return kPingNotPermitted;
    }
    std::vector<int> status{kPingTimeout}, rtt{0}, size{0};
    echoAll(s.fd, raw, {dest}, timeoutMs, {}, status, rtt, size);
    text = PingStatusText(status[0]);
    if (status[0] == kPingSuccess)
        text += " " + std::to_string(rtt[0]) + " ms " + std::to_string(size[0]) + " bytes";
    return status[0];
}

}  // namespace

bool Ping(std::string& address, int timeoutMs) {
    std::string text;
    const int status = pingOnce(address, timeoutMs, text);
    address = text;
    return status == kPingSuccess;
}

std::vector<int> PingSweep(const std::vector<std::string>& addresses, int waitMs, const SweepHooks& hooks,
                           bool* probedByTcp) {
    waitMs = std::clamp(waitMs, 1, 60000);
    std::vector<int> status(addresses.size(), kPingTimeout), rtt(addresses.size(), 0), size(addresses.size(), 0);
    std::vector<in_addr> dests(addresses.size());
    for (size_t i = 0; i < addresses.size(); ++i)
        if (inet_pton(AF_INET, addresses[i].c_str(), &dests[i]) != 1) status[i] = kPingBadDestination;
    if (probedByTcp) *probedByTcp = false;
    if (addresses.empty()) return status;
    Fd s;
    bool raw = false;
    s.fd = openIcmp(raw, nullptr);
    if (s.fd >= 0) {
        echoAll(s.fd, raw, dests, waitMs, hooks, status, rtt, size);
    } else {
        if (probedByTcp) *probedByTcp = true;
        probeAll(dests, waitMs, hooks, status, rtt);
    }
    return status;
}

void setPingFunction(PingFunction f) { g_ping = f; }

bool ScanPing(std::string& address) {
    if (g_ping) {
        const bool ok = g_ping(address, kPingTimeoutMs);
        t_lastScanStatus = ok ? kPingSuccess : kPingTimeout;
        return ok;
    }
    std::string text;
    t_lastScanStatus = pingOnce(address, kPingTimeoutMs, text);
    address = text;
    return t_lastScanStatus == kPingSuccess;
}

int LastScanPingStatus() { return t_lastScanStatus; }

}  // namespace qv::dir
