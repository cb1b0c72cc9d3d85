// The simulated instruments announce their services by multicast DNS, as
// instruments on a lab network do, through the system's Avahi daemon. Each
// instrument address gets a host name of its own, so that a browser resolves
// every service to the address the instrument really listens on.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qv::sim {

struct MdnsServiceRecord {
    std::string instance;  // "TKD simulated 1"
    std::string type;      // "_vxi-11._tcp", "_scpi-raw._tcp"
    std::string address;   // dotted IPv4 the instrument listens on
    uint16_t port = 0;
};

// "qvsim-10-77-0-2.local" for 10.77.0.2.
std::string mdnsHostName(const std::string& address);

class MdnsAnnouncer {
public:
    MdnsAnnouncer();
    ~MdnsAnnouncer();  // stop()
    MdnsAnnouncer(const MdnsAnnouncer&) = delete;
    MdnsAnnouncer& operator=(const MdnsAnnouncer&) = delete;

    // Publishes the services from a thread of its own and waits at most
    // waitMs for the daemon to confirm them (names are probed on the network
    // first, which takes about a second). False, with why, when there is no
    // daemon or it refused them; nothing runs then. True when they are
    // published or still being probed at the end of the wait.
    bool start(const std::vector<MdnsServiceRecord>& services, int waitMs, std::string& why);
    // Withdraws the services and ends the thread; prompt. Safe to call twice.
    void stop();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace qv::sim
