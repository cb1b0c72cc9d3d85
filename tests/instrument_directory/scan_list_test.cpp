// The row reader of the scans: deleted and unflagged rows, LAN rows by name
// and by number, unreachable hosts.
#include "dir_fixture.h"
#include "instrument_directory/visa_scan.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

using namespace qv::dir;

namespace {

struct ScanListFixture : ::testing::Test, qvtest::ScanRig {
    std::vector<std::string> res, names;
};

TEST_F(ScanListFixture, SkipsDeletedAndUnflaggedRows) {
    ASSERT_TRUE(qvtest::writeFile(ini,
                                  "[DisplayNames]\nName1=A|GPIB0|1\nName2=NULL\nName3=B|GPIB0|3\nName4=C|RAW|x\n"
                                  "Name5=\nName6=D|GPIB0|6\n"));
    // Flags count live rows: A, B, C.
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {true, false, true}, true));
    EXPECT_EQ(res, (std::vector<std::string>{"GPIB0::1::INSTR", "RAW::x"}));
    EXPECT_EQ(names, (std::vector<std::string>{"A|GPIB0|1", "C|RAW|x"}));
    // Without the flags every live row up to the empty one counts.
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {false}, false));
    EXPECT_EQ(res, (std::vector<std::string>{"GPIB0::1::INSTR", "GPIB0::3::INSTR", "RAW::x"}));
    EXPECT_TRUE(host.messages().empty());
}

TEST_F(ScanListFixture, NoFlaggedRowGivesOneEmptyElement) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=A|GPIB0|1\n"));
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {false}, true));
    EXPECT_EQ(res, std::vector<std::string>{""});
}

TEST_F(ScanListFixture, LanRowByNameGetsAddressAndName) {
    resolver.names["bench"] = "127.0.0.4";
    qvtest::reachable().insert("127.0.0.4");
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=Bench|LAN|bench\n"));
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {true}, true));
    EXPECT_EQ(res, std::vector<std::string>{"LAN::127.0.0.4::INSTR|IP|bench"});
}

TEST_F(ScanListFixture, LanRowByNumberGetsReverseName) {
    resolver.reverse["127.0.0.5"] = "rack5";
    qvtest::reachable().insert("127.0.0.5");
    qvtest::reachable().insert("127.0.0.6");
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=|LAN|127.0.0.5\nName2=|LAN|127.0.0.6\n"));
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {true, true}, true));
    EXPECT_EQ(res, (std::vector<std::string>{"LAN::127.0.0.5::INSTR|IP|rack5", "LAN::127.0.0.6::INSTR|IP|NULL"}));
}

TEST_F(ScanListFixture, UnresolvedOrSilentHostIsLeftOutWithMessage) {
    resolver.names["silent"] = "127.0.0.8";
    ASSERT_TRUE(qvtest::writeFile(
        ini, "[DisplayNames]\nName1=Gone|LAN|no-such-host\nName2=Quiet|LAN|silent\nName3=X|GPIB0|3\n"));
    EXPECT_FALSE(scan.ReadScanList(res, names, ini, "DisplayNames", "Name", {true, true, true}, true));
    EXPECT_EQ(res, std::vector<std::string>{"GPIB0::3::INSTR"});
    // The name that did not resolve is never pinged; the silent one is.
    EXPECT_EQ(qvtest::pinged(), std::vector<std::string>{"127.0.0.8"});
    const auto msgs = host.messages();
    ASSERT_EQ(msgs.size(), 2u);
    EXPECT_EQ(msgs[0].title, "Instrument not found");
    EXPECT_NE(msgs[0].text.find("Instrument Gone|LAN|no-such-host was not found"), std::string::npos);
    EXPECT_NE(msgs[1].text.find("Quiet|LAN|silent"), std::string::npos);
}

TEST_F(ScanListFixture, ServersAreReadAsTheyStand) {
    ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\nServerEntry2=NULL\nServerEntry3=lab-pc\n"));
    EXPECT_TRUE(scan.ReadScanList(res, names, ini, "Servers", "ServerEntry", {true, true}, true));
    EXPECT_EQ(res, (std::vector<std::string>{"localhost", "lab-pc"}));
}

}  // namespace
