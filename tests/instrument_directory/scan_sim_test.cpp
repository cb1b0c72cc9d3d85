// Scans over simulated instruments on loopback addresses: VXI-11 through a
// port mapper, raw sockets, a silent instrument and a bus nobody serves.
#include "dir_fixture.h"
#include "app/context.h"
#include "app/main_window.h"
#include "instrument_directory/visa_scan.h"
#include "scripted_host.h"
#include "sim/simulator.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace qv::dir;

namespace {

class ScanOverSimulator : public ::testing::Test, protected qvtest::ScanRig {
protected:
    static void SetUpTestSuite() {
        sim = new qv::sim::Simulator;
        qv::sim::SimulatorConfig cfg;
        auto add = [&](const char* profile, const char* address, bool vxi, int socket,
                       std::vector<std::string> faults = {}) {
            qv::sim::InstrumentConfig c;
            c.profile = profile;
            c.address = address;
            c.vxi11 = vxi;
            c.socketPort = socket;
            c.faults = std::move(faults);
            cfg.instruments.push_back(c);
        };
        add("TKD", "127.0.0.2", true, -1);                          // inst0 on .2
        add("MYE", "127.0.0.2", true, -1);                          // inst1 on .2
        add("KDX", "127.0.0.3", true, -1);                          // an alias model
        add("GLN", "127.0.0.1", false, 0);                          // raw socket
        add("TKB", "127.0.0.4", false, 0, {"silent@*IDN?"});        // never answers
        add("KDC", "127.0.0.5", false, 0, {"silent@*OPT?"});        // no option query
        cfg.portmapperPort = 0;
        std::string error;
        started = sim->start(cfg, error);
        ASSERT_TRUE(started) << error;
        setenv("QUILVANE_PORTMAPPER_PORT", std::to_string(sim->portmapperPort()).c_str(), 1);
    }
    static void TearDownTestSuite() {
        delete sim;
        sim = nullptr;
        unsetenv("QUILVANE_PORTMAPPER_PORT");
    }
    void SetUp() override {
        if (!started) GTEST_SKIP() << "simulator did not start";
        qvtest::loadShippedTables();
        qv::app::context().IniFilePath = ini;
        scan.onScanStart = [this] { ++starts; };
        scan.onVisit = [this](const std::string& r) { visits.push_back(r); };
        scan.onOutcome = [this](const std::string& t) { outcomes.push_back(t); };
    }
    std::string socketEntry(const char* comment, size_t i) {
        return std::string(comment) + "|RAW|TCPIP::127.0.0." + (i == 3 ? "1" : i == 4 ? "4" : "5") +
               "::" + std::to_string(sim->socketPort(i)) + "::SOCKET";
    }

    static inline qv::sim::Simulator* sim = nullptr;
    static inline bool started = false;
    int starts = 0;
    std::vector<std::string> visits, outcomes;
};

TEST_F(ScanOverSimulator, RecordsAndFullListIndex) {
    resolver.reverse["127.0.0.2"] = "rack2";
    qvtest::reachable().insert("127.0.0.2");
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=Lab|LAN|127.0.0.2\nName2=Dead|GPIB0|20\n"
                                       "Name3=|TCPIP|127.0.0.3\nName4=NULL\nName5=Scope|RAW|TCPIP::127.0.0.2::inst1::INSTR\n"
                                       "Name6=" + socketEntry("Gen", 3) + "\nName7=Off|GPIB0|7\n"
                                       "[Servers]\nServerEntry1=localhost\n"));
    // Live rows: Lab, Dead, 127.0.0.3, Scope, Gen, Off (not scanned).
    const std::vector<bool> flags{true, true, true, true, true, false};
    EXPECT_FALSE(scan.VISAScanINI(ini, 2000, 0, flags, true, {true}, true));  // the GPIB row failed

    ASSERT_EQ(scan.DeviceCount(), 4);
    struct Want {
        std::string res, typ, info, raw, computer, mapped, options;
        int16_t row;
    };
    const std::vector<Want> want{
        {"TCPIP::127.0.0.2::INSTR", "TKD", "Lab|LAN|127.0.0.2 (TKD)", "127.0.0.2", "rack2", "", "TR1,PA3,GT2", 1},
        {"TCPIP::127.0.0.3::INSTR", "TKW", "|TCPIP|127.0.0.3 (KDX)", "127.0.0.3", "", "KDX", "PA3,NW1", 3},
        {"TCPIP::127.0.0.2::inst1::INSTR", "MYE", "Scope|RAW|TCPIP::127.0.0.2::inst1::INSTR (MYE)", "127.0.0.2", "",
         "", "0", 4},
        {"TCPIP::127.0.0.1::" + std::to_string(sim->socketPort(3)) + "::SOCKET", "GLN",
         socketEntry("Gen", 3) + " (GLN)", "127.0.0.1", "", "", "FQ6,PM1", 5},
    };
    for (int16_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        const Want& w = want[size_t(i)];
        EXPECT_EQ(scan.VISAResString(i), w.res);
        EXPECT_EQ(scan.DeviceTyp(i), w.typ);
        EXPECT_EQ(scan.DeviceInfo(i), w.info);
        EXPECT_EQ(scan.RawAddress(i), w.raw);
        EXPECT_EQ(scan.ComputerName(i), w.computer);
        EXPECT_EQ(scan.DeviceMappedName(i), w.mapped);
        EXPECT_EQ(scan.OptionList(i), w.options);
        EXPECT_EQ(scan.GetIndexInFullList(i), w.row);
        EXPECT_EQ(scan.IDAnswer(i).rfind("Tesselhorn,", 0), 0u);
    }
    EXPECT_EQ(qv::app::DeviceListText(scan.DeviceInfo(0)), "Lab (TKD)");
    EXPECT_EQ(scan.DeviceFirmware(0), "4.40");
    EXPECT_EQ(scan.DeviceGroup(0), "7");
    // Options by resource: the first match decides the yes/no, the last the list.
    EXPECT_TRUE(scan.OptionByRes("TCPIP::127.0.0.2", "GT2"));
    EXPECT_FALSE(scan.OptionByRes("TCPIP::127.0.0.3", "GT2"));
    EXPECT_EQ(scan.OptionListByRes("TCPIP::127.0.0.2"), "0");  // inst1 has no options
    EXPECT_EQ(scan.OptionListByRes("TCPIP::127.0.0.2::INSTR"), "TR1,PA3,GT2");
    // Out of range reads are empty, not a crash.
    EXPECT_EQ(scan.DeviceTyp(4), "");
    EXPECT_EQ(scan.GetIndexInFullList(-1), 0);

    // The GPIB row was counted before its open failed, so from record 1 on
    // "item minus one" names the next record; the main window's row look-up
    // keeps to the record each row shows.
    for (int row = 0; row < 4; ++row)
        EXPECT_EQ(SelectedRecordIndex(scan, row, want[size_t(row)].res), row) << row;
    EXPECT_EQ(SelectedRecordIndex(scan, 4, "x"), -1);

    EXPECT_EQ(starts, 1);
    EXPECT_EQ(outcomes.size(), 4u);
    // Notification 2 twice per entry: the entry and the resource worked on.
    EXPECT_EQ(visits.size(), 10u);
    EXPECT_EQ(visits[0], "LAN::127.0.0.2::INSTR|IP|rack2");
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 1u);
    EXPECT_EQ(msgs[0].title, "Instrument not found");
}

// Rows that fail to open (other than GPIB) do not move the count, and the
// count runs on over every server: item k stays k+1, the record index plus one.
TEST_F(ScanOverSimulator, FullListCountSkipsFailedOpensAndRunsOverServers) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=Gone|RAW|TCPIP::127.0.0.1::1::SOCKET\nName2=" +
                                           socketEntry("Gen", 3) + "\nName3=Scope|RAW|TCPIP::127.0.0.2::inst1::INSTR\n"
                                           "[Servers]\nServerEntry1=localhost\nServerEntry2=LOCALHOST\n"));
    EXPECT_FALSE(scan.VISAScanINI(ini, 1000, 0, {true, true, true}, true, {true, true}, true));
    ASSERT_EQ(scan.DeviceCount(), 4);
    for (int16_t i = 0; i < 4; ++i) {
        EXPECT_EQ(scan.GetIndexInFullList(i), i + 1) << i;
        EXPECT_EQ(SelectedRecordIndex(scan, i, scan.VISAResString(i)), i);
    }
    EXPECT_EQ(scan.DeviceTyp(0), "GLN");
    EXPECT_EQ(scan.DeviceTyp(3), "MYE");
    EXPECT_EQ(host.messages().size(), 2u);  // the dead row, once per server
}

TEST_F(ScanOverSimulator, SilentInstrumentAndMissingOptionQuery) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=" + socketEntry("Mute", 4) + "\nName2=" +
                                           socketEntry("NoOpt", 5) + "\n"));
    EXPECT_TRUE(scan.VISAScanINI(ini, 300, 0, {true, true}, true, {true}, false));
    ASSERT_EQ(scan.DeviceCount(), 2);
    EXPECT_EQ(scan.DeviceTyp(0), "NoDevice");
    EXPECT_EQ(scan.DeviceInfo(0), "-|-|- (---)");
    EXPECT_EQ(scan.DeviceTyp(1), "KDC");
    EXPECT_EQ(scan.OptionList(1), "");
    EXPECT_EQ(outcomes, (std::vector<std::string>{"not found (output buffer empty)", "NoOpt|RAW|TCPIP::127.0.0.5::" +
                                                     std::to_string(sim->socketPort(5)) + "::SOCKET (KDC)"}));
}

TEST_F(ScanOverSimulator, EmptyListVisitsNothing) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\n"));
    EXPECT_TRUE(scan.VISAScanINI(ini, 300, 0, {false}, true, {true}, false));
    EXPECT_EQ(scan.DeviceCount(), 0);
    EXPECT_TRUE(visits.empty());
}

TEST_F(ScanOverSimulator, UnreachableLanRowNeverOpens) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=Far|LAN|127.0.0.3\n"));
    EXPECT_FALSE(scan.VISAScanINI(ini, 300, 0, {true}, true, {true}, false));
    EXPECT_EQ(scan.DeviceCount(), 0);
    EXPECT_TRUE(visits.empty());
    EXPECT_EQ(qvtest::pinged(), std::vector<std::string>{"127.0.0.3"});
}

// Unticking localhost (or removing it) leaves no server to scan through; a
// file that names no server at all means the local VISA.
TEST_F(ScanOverSimulator, NoTickedServerScansNothing) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=" + socketEntry("Gen", 3) +
                                           "\n[Servers]\nServerEntry1=localhost\n"));
    EXPECT_TRUE(scan.VISAScanINI(ini, 1000, 0, {true}, true, {false}, true));
    EXPECT_EQ(scan.DeviceCount(), 0);
    EXPECT_TRUE(visits.empty());
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=" + socketEntry("Gen", 3) + "\n"));
    EXPECT_TRUE(scan.VISAScanINI(ini, 1000, 0, {true}, true, {false}, false));
    EXPECT_EQ(scan.DeviceCount(), 1);
}

TEST_F(ScanOverSimulator, OtherServerPrefixesEveryResource) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=X|TCPIP|127.0.0.3\n"
                                       "[Servers]\nServerEntry1=NULL\nServerEntry2=labpc\n"));
    scan.VISAScanINI(ini, 300, 0, {true}, true, {true}, true);
    ASSERT_EQ(visits.size(), 2u);
    EXPECT_EQ(visits[1], "visa://labpc/TCPIP::127.0.0.3::INSTR");
}

TEST_F(ScanOverSimulator, SingleHostOpensLanAsTcpip) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n"));
    ResetRecords();
    const auto found = scan.VisaScanSingleIP("LAN::127.0.0.3::INSTR", 1000, 0, {true}, true);
    EXPECT_EQ(found, std::vector<std::string>{"LAN::127.0.0.3::INSTR"});
    ASSERT_EQ(scan.DeviceCount(), 1);
    EXPECT_EQ(scan.VISAResString(0), "TCPIP::127.0.0.3::INSTR");
    EXPECT_EQ(scan.DeviceInfo(0), "KDX (KDX)");
    EXPECT_EQ(scan.DeviceTyp(0), "TKW");
}

TEST_F(ScanOverSimulator, GpibBoardWithNothingGivesTheExpression) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n"));
    const auto found = scan.VisaScanGpibBus(0, 300, 0, {true}, true);
    EXPECT_EQ(found, std::vector<std::string>{"GPIB0::?*::INSTR"});
    EXPECT_EQ(scan.DeviceInfo(0), "----- (---)");
    EXPECT_EQ(starts, 1);
}

}  // namespace
