#include "simulator.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <thread>

#include "mdns_announce.h"
#include "net_io.h"
#include "servers.h"

namespace qv::sim {

namespace {
constexpr size_t kMaxConnections = 32;
// The daemon probes the new names on the network before it confirms them
// (about a second); start() waits for that, so that a browser started on the
// port report finds the instruments.
constexpr int kMdnsConfirmMs = 5000;
}

struct Simulator::Impl {
    struct Entry {
        InstrumentConfig config;
        std::unique_ptr<Instrument> instrument;
        in_addr address{};
        Listener socket;
        Listener vxi11;
        int ptyMaster = -1;
        int ptySlave = -1;  // held open so the master never sees a hang-up
        std::string ptyPath;
        ConnectionPool socketPool;
        ConnectionPool vxi11Pool;
        std::thread ptyThread;
    };
    struct PortmapEntry {
        PortmapContext ctx;
        Listener tcp;
        int udp = -1;
        ConnectionPool pool;
    };

    int stopFd = -1;
    bool running = false;
    std::vector<std::unique_ptr<Entry>> entries;
    std::map<uint32_t, Vxi11Context> vxi11ByAddress;
    std::vector<std::unique_ptr<PortmapEntry>> portmaps;
    int broadcastUdp = -1;  // wildcard socket for broadcast calls, off loopback only
    std::thread udpThread;
    std::thread seeder;
    int portmapPort = -1;
    std::atomic<int32_t> nextLinkId{1};
    RpcbindRegistration rpcbind;
    MdnsAnnouncer mdns;
    std::string mdnsProblem;

    bool openPty(Entry& e, std::string& error);
    bool openPortmaps(int port, std::string& error);
    void announce();
    void shutdown();
};

bool Simulator::Impl::openPty(Entry& e, std::string& error) {
    int m = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m < 0 || ::grantpt(m) != 0 || ::unlockpt(m) != 0) {
        error = std::string("cannot open a pseudo-terminal: ") + std::strerror(errno);
        if (m >= 0) ::close(m);
        return false;
    }
    char name[128] = {};
    if (::ptsname_r(m, name, sizeof name) != 0) {
        ::close(m);
        error = "cannot name the pseudo-terminal";
        return false;
    }
    // Raw: no echo of what we send back to us, no line editing, 8 bits.
    termios t{};
    if (::tcgetattr(m, &t) == 0) {
        ::cfmakeraw(&t);
        t.c_cc[VMIN] = 1;
        t.c_cc[VTIME] = 0;
        ::tcsetattr(m, TCSANOW, &t);
    }
    ::fcntl(m, F_SETFL, ::fcntl(m, F_GETFL) | O_NONBLOCK);
    e.ptySlave = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    e.ptyMaster = m;
    e.ptyPath = name;
    return true;
}

namespace {

// A UDP socket on address:port; SO_REUSEADDR so that the address-bound
// sockets and the wildcard one for broadcasts can share the port.
int openUdp(in_addr address, int port, std::string& error) {
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        error = std::string("cannot open a UDP socket: ") + std::strerror(errno);
        return -1;
    }
    int one = 1;
    ::setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_addr = address;
    sa.sin_port = htons(uint16_t(port));
    if (::bind(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
        char text[INET_ADDRSTRLEN] = {};
        ::inet_ntop(AF_INET, &address, text, sizeof text);
        error = "cannot bind the port mapper's UDP port " + std::string(text) + ":" + std::to_string(port) + ": " +
                std::strerror(errno);
        ::close(fd);
        return -1;
    }
    return fd;
}

}  // namespace

bool Simulator::Impl::openPortmaps(int port, std::string& error) {
    // One port number on every address; with 0 the first free one is taken
    // for TCP and then asked of UDP and the other addresses, retrying a few
    // times if another program holds it.
    std::vector<in_addr> addresses;
    bool offLoopback = false;
    for (const auto& e : entries) {
        bool seen = false;
        for (const auto& a : addresses) seen = seen || a.s_addr == e->address.s_addr;
        if (!seen) addresses.push_back(e->address);
        offLoopback = offLoopback || (ntohl(e->address.s_addr) >> 24) != 127;
    }
    auto closeAll = [this] {
        for (auto& pm : portmaps)
            if (pm->udp >= 0) ::close(pm->udp);
        portmaps.clear();
        if (broadcastUdp >= 0) ::close(broadcastUdp);
        broadcastUdp = -1;
    };
    for (int attempt = 0; attempt < 20; ++attempt) {
        closeAll();
        int chosen = port;
        bool ok = true;
        for (const auto& a : addresses) {
            auto pm = std::make_unique<PortmapEntry>();
            if (!pm->tcp.open(a, chosen, error)) {
                ok = false;
                break;
            }
            chosen = pm->tcp.port();
            pm->udp = openUdp(a, chosen, error);
            if (pm->udp < 0) {
                ok = false;
                break;
            }
            pm->ctx.address = a.s_addr;
            pm->ctx.ownPort = chosen;
            auto it = vxi11ByAddress.find(a.s_addr);
            pm->ctx.vxi11Port = it != vxi11ByAddress.end() && !it->second.devices.empty() ? it->second.devices[0].port : 0;
            portmaps.push_back(std::move(pm));
        }
        // Broadcasts reach only a socket bound to the wildcard address. There
        // is no broadcast on loopback, and off loopback we are inside a
        // private network namespace (the addresses were checked), so the
        // wildcard listens on nothing outside the machine.
        if (ok && offLoopback) {
            broadcastUdp = openUdp(in_addr{htonl(INADDR_ANY)}, chosen, error);
            int one = 1;
            ok = broadcastUdp >= 0 && ::setsockopt(broadcastUdp, IPPROTO_IP, IP_PKTINFO, &one, sizeof one) == 0;
            if (!ok && broadcastUdp >= 0) error = std::string("IP_PKTINFO: ") + std::strerror(errno);
        }
        if (ok) {
            portmapPort = chosen;
            return true;
        }
        if (port != 0) break;  // a fixed port is taken: no point retrying
    }
    closeAll();
    return false;
}

void Simulator::Impl::announce() {
    std::vector<MdnsServiceRecord> records;
    for (size_t i = 0; i < entries.size(); ++i) {
        const Entry& e = *entries[i];
        // Nothing outside this computer could reach a loopback address.
        if ((ntohl(e.address.s_addr) >> 24) == 127) continue;
        std::string instance = e.instrument->profile().tag + " simulated " + std::to_string(i + 1);
        if (e.vxi11.fd() >= 0) records.push_back({instance, "_vxi-11._tcp", e.config.address, uint16_t(e.vxi11.port())});
        if (e.socket.fd() >= 0)
            records.push_back({instance, "_scpi-raw._tcp", e.config.address, uint16_t(e.socket.port())});
    }
    if (records.empty()) {
        mdnsProblem = "mDNS: nothing announced: no instrument has a network address outside loopback";
        return;
    }
    std::string why;
    if (!mdns.start(records, kMdnsConfirmMs, why)) mdnsProblem = why;
}

void Simulator::Impl::shutdown() {
    // The announcements go first: nobody should find an instrument that is
    // about to close.
    mdns.stop();
    if (stopFd >= 0) {
        uint64_t one = 1;
        ssize_t w = ::write(stopFd, &one, sizeof one);
        (void)w;
    }
    for (auto& e : entries) {
        e->socketPool.join();
        e->vxi11Pool.join();
        if (e->ptyThread.joinable()) e->ptyThread.join();
    }
    for (auto& pm : portmaps) pm->pool.join();
    if (udpThread.joinable()) udpThread.join();
    if (seeder.joinable()) seeder.join();
    rpcbind.unregister();
    for (auto& pm : portmaps)
        if (pm->udp >= 0) ::close(pm->udp);
    portmaps.clear();
    if (broadcastUdp >= 0) ::close(broadcastUdp);
    broadcastUdp = -1;
    for (auto& e : entries) {
        if (e->ptyMaster >= 0) ::close(e->ptyMaster);
        if (e->ptySlave >= 0) ::close(e->ptySlave);
    }
    entries.clear();  // instruments go, and with them their temporary roots
    vxi11ByAddress.clear();
    if (stopFd >= 0) ::close(stopFd);
    stopFd = -1;
    running = false;
}

Simulator::Simulator() : impl_(std::make_unique<Impl>()) {}

Simulator::~Simulator() { stop(); }

bool Simulator::running() const { return impl_->running; }

void Simulator::stop() {
    if (impl_->stopFd >= 0 || !impl_->entries.empty()) impl_->shutdown();
}

bool Simulator::start(const SimulatorConfig& config, std::string& error) {
    Impl& s = *impl_;
    if (s.running) {
        error = "already running";
        return false;
    }
    if (config.instruments.empty()) {
        error = "no instrument given";
        return false;
    }
    if (config.rpcbind && config.portmapperPort >= 0) {
        error = "--portmapper-port and --rpcbind exclude each other";
        return false;
    }
    auto fail = [&](const std::string& why) {
        error = why;
        s.shutdown();
        return false;
    };
    s.stopFd = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (s.stopFd < 0) return fail("eventfd failed");
    for (size_t i = 0; i < config.instruments.size(); ++i) {
        auto e = std::make_unique<Impl::Entry>();
        e->config = config.instruments[i];
        InstrumentConfig& c = e->config;
        std::string prefix = "instrument " + std::to_string(i + 1) + ": ";
        std::string why;
        if (!parseListenAddress(c.address, e->address, why)) return fail(prefix + "address " + why);
        if (c.socketPort < 0 && !c.vxi11 && !c.pty) c.socketPort = 0;
        // Their first files are drawn after the start (seeder below), unless
        // the caller wants them in place first.
        c.seedLater = !config.filesBeforeStart;
        e->instrument = Instrument::create(c, why);
        if (!e->instrument) return fail(prefix + why);
        if (c.socketPort >= 0 && !e->socket.open(e->address, c.socketPort, why)) return fail(prefix + "socket: " + why);
        if (c.vxi11 && !e->vxi11.open(e->address, c.vxi11Port, why)) return fail(prefix + "VXI-11: " + why);
        if (c.pty && !s.openPty(*e, why)) return fail(prefix + why);
        if (c.vxi11) {
            auto& ctx = s.vxi11ByAddress[e->address.s_addr];
            ctx.nextLinkId = &s.nextLinkId;
            ctx.devices.push_back({e->instrument.get(), e->vxi11.port()});
        }
        s.entries.push_back(std::move(e));
    }
    if (config.portmapperPort >= 0 && !s.openPortmaps(config.portmapperPort, error)) return fail("port mapper: " + error);
    if (config.rpcbind) {
        const Impl::Entry* first = nullptr;
        for (const auto& e : s.entries)
            if (!first && e->config.vxi11) first = e.get();
        if (!first) return fail("--rpcbind needs an instrument with --vxi11");
        std::string why;
        if (!s.rpcbind.registerPort(first->config.address, first->vxi11.port(), why)) return fail(why);
    }
    // Everything is bound; now the threads.
    for (auto& ep : s.entries) {
        Impl::Entry& e = *ep;
        Instrument* inst = e.instrument.get();
        int stopFd = s.stopFd;
        const std::string noThread = "cannot start a server thread";
        if (e.socket.fd() >= 0 &&
            !e.socketPool.start(e.socket.fd(), stopFd, kMaxConnections,
                                [inst, stopFd](int fd) { serveStream(*inst, fd, stopFd, true); }))
            return fail(noThread);
        if (e.vxi11.fd() >= 0) {
            const Vxi11Context* ctx = &s.vxi11ByAddress[e.address.s_addr];
            if (!e.vxi11Pool.start(e.vxi11.fd(), stopFd, kMaxConnections,
                                   [ctx, stopFd](int fd) { serveVxi11(*ctx, fd, stopFd); }))
                return fail(noThread);
        }
        if (e.ptyMaster >= 0) {
            int m = e.ptyMaster;
            if (!startThread(e.ptyThread, [inst, m, stopFd] {
                    blockSigpipe();
                    serveStream(*inst, m, stopFd, false);
                }))
                return fail(noThread);
        }
    }
    std::vector<std::pair<int, PortmapContext>> udp;
    for (auto& pm : s.portmaps) {
        const PortmapContext* ctx = &pm->ctx;
        int stopFd = s.stopFd;
        if (!pm->pool.start(pm->tcp.fd(), stopFd, kMaxConnections,
                            [ctx, stopFd](int fd) { servePortmapTcp(*ctx, fd, stopFd); }))
            return fail("cannot start the port mapper thread");
        udp.emplace_back(pm->udp, pm->ctx);
    }
    if (!udp.empty()) {
        int stopFd = s.stopFd;
        int broadcastFd = s.broadcastUdp;
        if (!startThread(s.udpThread, [udp, broadcastFd, stopFd] { servePortmapUdp(udp, broadcastFd, stopFd); }))
            return fail("cannot start the port mapper thread");
    }
    // The instruments' first files, drawn while the caller goes on; an
    // instrument writes them before its first message in any case, so
    // without this thread they are only late.
    if (!config.filesBeforeStart) {
        std::vector<Instrument*> toSeed;
        for (auto& e : s.entries) toSeed.push_back(e->instrument.get());
        int stopFd = s.stopFd;
        (void)startThread(s.seeder, [toSeed, stopFd] {
            for (Instrument* inst : toSeed) {
                if (isStopped(stopFd)) break;
                inst->seedNow();
            }
        });
    }
    s.mdnsProblem.clear();
    if (config.mdns) s.announce();
    s.running = true;
    return true;
}

size_t Simulator::instrumentCount() const { return impl_->entries.size(); }

Instrument* Simulator::instrument(size_t i) {
    return i < impl_->entries.size() ? impl_->entries[i]->instrument.get() : nullptr;
}

int Simulator::socketPort(size_t i) const {
    if (i >= impl_->entries.size()) return -1;
    const auto& l = impl_->entries[i]->socket;
    return l.fd() >= 0 ? l.port() : -1;
}

int Simulator::vxi11Port(size_t i) const {
    if (i >= impl_->entries.size()) return -1;
    const auto& l = impl_->entries[i]->vxi11;
    return l.fd() >= 0 ? l.port() : -1;
}

std::string Simulator::ptyPath(size_t i) const {
    return i < impl_->entries.size() ? impl_->entries[i]->ptyPath : std::string();
}

const std::string& Simulator::mdnsProblem() const { return impl_->mdnsProblem; }

int Simulator::portmapperPort() const { return impl_->portmaps.empty() ? -1 : impl_->portmapPort; }

std::string Simulator::portReport() const {
    std::string out;
    for (size_t i = 0; i < impl_->entries.size(); ++i) {
        if (socketPort(i) >= 0) out += "socket=" + std::to_string(socketPort(i)) + "\n";
        if (vxi11Port(i) >= 0) out += "vxi11=" + std::to_string(vxi11Port(i)) + "\n";
        if (!ptyPath(i).empty()) out += "pty=" + ptyPath(i) + "\n";
    }
    if (portmapperPort() >= 0) out += "portmapper=" + std::to_string(portmapperPort()) + "\n";
    return out;
}

}  // namespace qv::sim
