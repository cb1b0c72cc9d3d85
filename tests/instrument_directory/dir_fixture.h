// Shared by the instrument directory tests: a resolver and a ping that know
// only what the test tells them (no name server, no traffic), and ini files.
#pragma once

#include "instrument_directory/dev_ident.h"
#include "instrument_directory/host_names.h"
#include "instrument_directory/ping.h"
#include "instrument_directory/visa_scan.h"
#include "scripted_host.h"
#include "test_support.h"

#include <map>
#include <set>
#include <string>

namespace qvtest {

class FakeResolver : public qv::dir::Resolver {
public:
    std::map<std::string, std::string> names;    // name -> dotted
    std::map<std::string, std::string> reverse;  // dotted -> name
    std::vector<std::string> asked;

    FakeResolver() { qv::dir::setResolver(this); }
    ~FakeResolver() override { qv::dir::setResolver(nullptr); }

    bool nameToAddress(const std::string& name, std::string& dotted) override {
        asked.push_back(name);
        if (qv::dir::CheckIP(name)) {
            dotted = name;
            return true;
        }
        auto it = names.find(name);
        if (it == names.end()) return false;
        dotted = it->second;
        return true;
    }
    bool addressToName(const std::string& dotted, uint16_t, bool, std::string& name) override {
        auto it = reverse.find(dotted);
        if (it == reverse.end()) return false;
        name = it->second;
        return true;
    }
};

// Reachable addresses for the scans' ping, and every address pinged.
inline std::set<std::string>& reachable() {
    static std::set<std::string> s;
    return s;
}
inline std::vector<std::string>& pinged() {
    static std::vector<std::string> v;
    return v;
}
inline bool fakePing(std::string& address, int) {
    pinged().push_back(address);
    bool ok = reachable().count(address) > 0;
    address = qv::dir::PingStatusText(ok ? qv::dir::kPingSuccess : qv::dir::kPingTimeout);
    return ok;
}
struct FakePing {
    FakePing() {
        reachable().clear();
        pinged().clear();
        qv::dir::setPingFunction(&fakePing);
    }
    ~FakePing() { qv::dir::setPingFunction(nullptr); }
};

inline std::string shippedTables() { return std::string(QV_SOURCE_DIR) + "/data/VisaDevices.ini"; }

// Loads the shipped capability file into the identity tables.
inline void loadShippedTables() { qv::dir::LoadMasterList(shippedTables()); }

// What every scan test needs: a settings file, a scripted user, and a
// resolver and a ping that stay off the network.
struct ScanRig {
    TempDir dir;
    std::string ini = dir.file("Quilvane.ini");
    ScriptedHost host;
    FakeResolver resolver;
    FakePing ping;
    qv::dir::VISAScan scan;
};

}  // namespace qvtest
