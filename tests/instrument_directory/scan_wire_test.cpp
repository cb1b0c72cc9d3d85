// What a scan says to the instruments, read from their own logs: each is
// asked who it is and what options it has, given back to local control and
// let go, and nothing else.
#include "dir_fixture.h"
#include "app/context.h"
#include "sim/simulator.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace qv::dir;

namespace {

TEST(ScanWire, ThreeInstrumentsHearIdentityOptionsLocalAndClose) {
    qvtest::ScanRig rig;
    qv::sim::Simulator sim;
    qv::sim::SimulatorConfig cfg;
    auto add = [&](const char* profile, const char* address, bool vxi11, const char* log) {
        qv::sim::InstrumentConfig c;
        c.profile = profile;
        c.address = address;
        c.vxi11 = vxi11;
        c.socketPort = vxi11 ? -1 : 0;
        c.logFile = rig.dir.file(log);
        cfg.instruments.push_back(c);
    };
    add("TKD", "127.0.0.6", true, "tkd.log");   // a LAN row, VXI-11
    add("MYI", "127.0.0.7", true, "myi.log");   // a VXI-11 resource as written
    add("GLN", "127.0.0.8", false, "gln.log");  // a raw socket
    cfg.portmapperPort = 0;
    std::string error;
    ASSERT_TRUE(sim.start(cfg, error)) << error;
    setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim.portmapperPort()).c_str(), 1);

    qvtest::loadShippedTables();
    qv::app::context().IniFilePath = rig.ini;
    qvtest::reachable().insert("127.0.0.6");
    ASSERT_TRUE(qvtest::writeFile(rig.ini, "[DisplayNames]\nName1=Lab|LAN|127.0.0.6\n"
                                           "Name2=Scope|RAW|TCPIP::127.0.0.7::inst0::INSTR\n"
                                           "Name3=Gen|RAW|TCPIP::127.0.0.8::" + std::to_string(sim.socketPort(2)) +
                                           "::SOCKET\n[Servers]\nServerEntry1=localhost\n"));
    const bool all = rig.scan.VISAScanINI(rig.ini, 2000, 0, {true, true, true}, true, {true}, true);
    unsetenv("QUILVANE_PORTMAPPER_PORT");
    ASSERT_TRUE(all);
    ASSERT_EQ(rig.scan.DeviceCount(), 3);
    sim.stop();  // every log line written

    // VXI-11: the link, the two queries, the return to local (the bus's
    // go-to-local), and the link's end when the session closes.
    const std::vector<std::string> vxi11{"@link inst0", "*IDN?", "*OPT?", "@local", "@unlink"};
    EXPECT_EQ(qvtest::readLines(rig.dir.file("tkd.log")), vxi11);
    EXPECT_EQ(qvtest::readLines(rig.dir.file("myi.log")), vxi11);
    // A socket has no control channel: only the two queries reach it.
    EXPECT_EQ(qvtest::readLines(rig.dir.file("gln.log")), (std::vector<std::string>{"*IDN?", "*OPT?"}));
    EXPECT_TRUE(rig.host.messages().empty());
}

}  // namespace
