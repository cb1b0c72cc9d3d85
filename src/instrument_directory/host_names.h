// Host names to addresses and back (IPv4). Every look-up goes through a
// replaceable Resolver so tests never need a name server, and the system
// resolver runs with a deadline so a dead name server cannot hang the scan.
#pragma once

#include <cstdint>
#include <string>

namespace qv::dir {

// Upper bound of one system look-up.
inline constexpr int kResolveTimeoutMs = 2000;

class Resolver {
public:
    virtual ~Resolver() = default;
    // Name (or dotted text) to the first IPv4 address as dotted text.
    virtual bool nameToAddress(const std::string& name, std::string& dotted) = 0;
    // Dotted IPv4 address to a name; with nameRequired a numeric answer fails.
    virtual bool addressToName(const std::string& dotted, uint16_t port, bool nameRequired,
                               std::string& name) = 0;
};

// The resolver in use: the system one (getaddrinfo/getnameinfo on a helper
// thread, bounded by kResolveTimeoutMs) unless a test set another.
Resolver& resolver();
void setResolver(Resolver* r);  // nullptr: back to the system resolver
Resolver& systemResolver();

// True when text has at least four "."-parts and each converts to a byte.
bool CheckIP(const std::string& text);

// Used by the scanners.
class ClsIPResolve {
public:
    // The name of address; "NULL" when there is none.
    std::string GetHostnameByAddr(const std::string& address, int16_t port) const;
    // Dotted address via the resolver (service 111, stream sockets);
    // empty when it fails. Shows the failing call's text through the host.
    std::string GetIPFromHost(const std::string& hostName) const;
    bool CheckIP(const std::string& text) const { return qv::dir::CheckIP(text); }
    // Dotted address; empty when the look-up fails.
    std::string NameToAddress(const std::string& hostName) const;
};

// Used by the resolver tool and the LAN scan; shows its failure texts.
class ClsResolve {
public:
    std::string GetIPFromHostName(const std::string& hostName) const;
    std::string GetHostNameFromIP(const std::string& address) const;
};

}  // namespace qv::dir
