// The simulated instruments of one process, served on loopback (or on the
// addresses of a private network namespace): raw socket, VXI-11 (with our
// own port mapper or the system's rpcbind) and pseudo-terminals. Used by
// quilvane-sim, the GUI's demo mode, the benchmark and the tests.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "instrument.h"

namespace qv::sim {

struct InstrumentConfig : InstrumentOptions {
    std::string address = "127.0.0.1";  // loopback; others only in a private network namespace
    int socketPort = -1;                // -1: no socket, 0: a free port
    bool vxi11 = false;
    int vxi11Port = 0;  // 0: a free port
    bool pty = false;
    // An instrument given no transport at all gets a socket on a free port.
};

struct SimulatorConfig {
    std::vector<InstrumentConfig> instruments;
    int portmapperPort = -1;  // -1: none, 0: a free port
    bool rpcbind = false;     // register the first VXI-11 port with the system's rpcbind
    // Announce every instrument's services by multicast DNS through the
    // system's Avahi daemon. Without a daemon the instruments run all the
    // same; mdnsProblem() says why nothing was announced.
    bool mdns = false;
    // The instruments' first files are written before start returns. Else
    // they are drawn in the background (each instrument still writes them
    // before its first message, only later).
    bool filesBeforeStart = false;
};

class Simulator {
public:
    Simulator();
    ~Simulator();  // stop()
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // Everything listens when this returns true.
    bool start(const SimulatorConfig& config, std::string& error);
    // Stops every thread and removes temporary roots; returns promptly even
    // with clients connected. Safe to call twice.
    void stop();
    bool running() const;

    size_t instrumentCount() const;
    Instrument* instrument(size_t i);
    int socketPort(size_t i) const;  // -1 when that instrument has no socket
    int vxi11Port(size_t i) const;   // -1 when it has no VXI-11
    std::string ptyPath(size_t i) const;
    int portmapperPort() const;  // -1 when there is none
    // "socket=N", "vxi11=N", "pty=PATH" per instrument in order, then
    // "portmapper=N"; one per line.
    std::string portReport() const;
    // Empty, or one line on why the mDNS announcement is missing.
    const std::string& mdnsProblem() const;

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qv::sim
