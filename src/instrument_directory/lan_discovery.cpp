#include "instrument_directory/lan_discovery.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "app/text.h"

namespace qv::dir {

namespace {

void putBig(uint8_t* p, uint32_t v) {
    p[0] = uint8_t(v >> 24);
    p[1] = uint8_t(v >> 16);
    p[2] = uint8_t(v >> 8);
    p[3] = uint8_t(v);
}

struct Fd {
    int fd = -1;
    ~Fd() {
        if (fd >= 0) ::close(fd);
    }
};

std::string dotted(const in_addr& a) {
    char text[INET_ADDRSTRLEN] = {};
    return ::inet_ntop(AF_INET, &a, text, sizeof text) ? std::string(text) : std::string();
}

}  // namespace

std::array<uint8_t, kDiscoveryPacketSize> DiscoveryPacket() {
    std::array<uint8_t, kDiscoveryPacketSize> p{};
    std::memcpy(p.data(), kDiscoveryXid.data(), kDiscoveryXid.size());
    putBig(&p[4], 0);        // CALL
    putBig(&p[8], 2);        // RPC version
    putBig(&p[12], 100000);  // port mapper
    putBig(&p[16], 2);       // its version
    putBig(&p[20], 3);       // GETPORT
    // 24..39: credentials and verifier, flavour NONE with no body, stay 0.
    putBig(&p[40], 395183);  // VXI-11 core channel
    putBig(&p[44], 1);
    putBig(&p[48], 6);  // TCP
    putBig(&p[52], 0);
    return p;
}

bool IsDiscoveryReply(const uint8_t* data, size_t size, uint32_t* port) {
    if (!data || size != kDiscoveryReplySize) return false;
    if (std::memcmp(data, kDiscoveryXid.data(), kDiscoveryXid.size()) != 0) return false;
    if (port) *port = uint32_t(data[24]) << 24 | uint32_t(data[25]) << 16 | uint32_t(data[26]) << 8 | data[27];
    return true;
}

std::vector<std::string> InterfaceBroadcastAddresses() {
    std::vector<std::string> out;
    ifaddrs* list = nullptr;
    if (::getifaddrs(&list) != 0) return out;
    for (ifaddrs* i = list; i; i = i->ifa_next) {
        if (!i->ifa_addr || i->ifa_addr->sa_family != AF_INET) continue;
        if (!(i->ifa_flags & IFF_UP) || !(i->ifa_flags & IFF_BROADCAST) || (i->ifa_flags & IFF_LOOPBACK)) continue;
        if (!i->ifa_netmask || i->ifa_netmask->sa_family != AF_INET) continue;
        // From address and mask: an address added without a broadcast of its
        // own reports itself as its broadcast address.
        sockaddr_in a{}, m{};
        std::memcpy(&a, i->ifa_addr, sizeof a);
        std::memcpy(&m, i->ifa_netmask, sizeof m);
        if (m.sin_addr.s_addr == 0xFFFFFFFFu) continue;  // a /32 has no one to broadcast to
        in_addr b{};
        b.s_addr = a.sin_addr.s_addr | ~m.sin_addr.s_addr;
        const std::string text = dotted(b);
        if (text.empty() || text == "0.0.0.0") continue;
        bool seen = false;
        for (const std::string& s : out) seen = seen || s == text;
        if (!seen) out.push_back(text);
    }
    ::freeifaddrs(list);
    return out;
}

uint16_t DiscoveryRemotePort() {
    if (const char* env = std::getenv("QUILVANE_PORTMAPPER_PORT")) {
        char* end = nullptr;
        const long v = std::strtol(env, &end, 10);
        if (end != env && *end == '\0' && v > 0 && v < 65536) return uint16_t(v);
    }
    return 111;
}

bool DiscoverVxi11(const DiscoveryOptions& options, std::vector<std::string>& hosts, std::string& error,
                   std::string* detail) {
    hosts.clear();
    auto fail = [&](const std::string& why) {
        error = "Interface could not be initialized.";
        if (detail) *detail = why;
        return false;
    };
    Fd s;
    s.fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (s.fd < 0) return fail(std::string("no UDP socket: ") + std::strerror(errno));
    const int on = 1;
    if (::setsockopt(s.fd, SOL_SOCKET, SO_BROADCAST, &on, sizeof on) != 0)
        return fail(std::string("broadcasts not allowed: ") + std::strerror(errno));
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_port = htons(options.localPort);
    local.sin_addr.s_addr = htonl(INADDR_ANY);
    if (::bind(s.fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int e = errno;
        if (e == EADDRINUSE)
            return fail("UDP port " + std::to_string(options.localPort) +
                        " is in use by another program (another scan still running?); close it and scan again");
        return fail("UDP port " + std::to_string(options.localPort) + ": " + std::strerror(e));
    }

    std::vector<std::string> destinations = options.destinations;
    if (destinations.empty()) {
        destinations = InterfaceBroadcastAddresses();
        destinations.push_back("255.255.255.255");
    }
    const uint16_t port = options.remotePort ? options.remotePort : DiscoveryRemotePort();
    const auto packet = DiscoveryPacket();
    int sent = 0;
    std::string sendErrors;
    for (const std::string& d : destinations) {
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(port);
        if (::inet_pton(AF_INET, d.c_str(), &to.sin_addr) != 1) continue;
        if (::sendto(s.fd, packet.data(), packet.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&to),
                     sizeof to) == ssize_t(packet.size()))
            ++sent;
        else
            // 255.255.255.255 without a default route is unreachable; the
            // interfaces' own broadcast addresses still carry the call.
            sendErrors += (sendErrors.empty() ? "" : "; ") + d + ": " + std::strerror(errno);
    }
    if (sent == 0) return fail(destinations.empty() ? "no network interface has a broadcast address" : sendErrors);

    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::milliseconds(std::max(0, options.collectMs));
    // Events run between short polls, so the window stays alive for the
    // whole collection.
    constexpr int kSliceMs = 20;
    for (;;) {
        if (options.processEvents) options.processEvents();
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) break;
        pollfd p{s.fd, POLLIN, 0};
        const int r = ::poll(&p, 1, int(std::min<long long>(left, kSliceMs)));
        if (r < 0 && errno != EINTR) break;
        if (r <= 0) continue;
        // Drain what arrived; a datagram longer than the buffer is cut and
        // then fails the size check, as it should.
        for (;;) {
            uint8_t buf[64];
            sockaddr_in from{};
            socklen_t len = sizeof from;
            const ssize_t n =
                ::recvfrom(s.fd, buf, sizeof buf, MSG_DONTWAIT | MSG_TRUNC, reinterpret_cast<sockaddr*>(&from), &len);
            if (n < 0) break;
            if (len < sizeof from || from.sin_family != AF_INET) continue;
            if (!IsDiscoveryReply(buf, size_t(n))) continue;
            hosts.push_back(dotted(from.sin_addr));
        }
    }
    if (detail) *detail = sendErrors;
    return true;
}

}  // namespace qv::dir
