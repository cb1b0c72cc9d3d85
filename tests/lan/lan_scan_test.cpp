// The LAN scans against simulated instruments on the private lab network:
// the subnet walk, the broadcast, and the ping sweep under them.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>

#include "../instrument_directory/dir_fixture.h"
#include "app/context.h"
#include "app/iniio.h"
#include "instrument_directory/lan_scan.h"
#include "instrument_directory/ping.h"
#include "instrument_directory/remote_editor.h"

namespace {

using namespace qv::dir;

const std::string kA = qvtest::kNetInstruments[0];  // 10.77.0.2
const std::string kB = qvtest::kNetInstruments[1];  // 10.77.0.3
const std::string kC = qvtest::kNetInstruments[2];  // 10.77.0.4: answers pings, no instrument

// Two simulated instruments on the lab network, with their own port mapper
// on port 111 as real ones have, and a settings file for the editor's rows.
class LanScan : public testing::Test {
protected:
    void SetUp() override {
        QV_REQUIRE_PRIVATE_NET();
        qvtest::loadShippedTables();
        qv::app::context().IniFilePath = ini;
        ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n"));
        std::string error;
        ASSERT_TRUE(sim.start(qvtest::labInstrumentArgs(logB), &error))
            << error;
        ResetRecords();
    }

    // How often the instrument on kB was asked who it is.
    int identifications() const {
        int n = 0;
        for (const std::string& l : qvtest::readLines(logB)) n += l.find("*IDN?") != std::string::npos;
        return n;
    }

    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        for (const EditorRow& r : ReadDeviceRows(ini)) out.push_back(r.value);
        return out;
    }

    qvtest::TempDir dir;
    std::string ini = dir.file("Quilvane.ini");
    std::string logB = dir.file("b.log");
    qvtest::ScriptedHost host;
    qvtest::FakeResolver resolver;
    qvtest::SimProcess sim;
    VISAScan scan;
};

TEST_F(LanScan, WalkAddsTheInstrumentsInAddressOrderAndNamesTheNamelessOnce) {
    resolver.reverse[kB] = "bench-b";
    LanScanner lan(ini, scan);
    std::vector<std::string> shown;
    std::vector<int> progress;
    lan.hooks.statusText = [&](const std::string& s) { shown.push_back(s); };
    lan.hooks.progress = [&](int p) { progress.push_back(p); };
    LanScanReport report;
    const auto t0 = std::chrono::steady_clock::now();
    ASSERT_TRUE(lan.VisaScanIPArea("10.77.0.*", kEditorScanTimeoutMs, 0, {true}, true, report));
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0).count();

    ASSERT_EQ(report.found.size(), 2u) << report.summary();
    EXPECT_EQ(report.found[0].address, kA);
    EXPECT_EQ(report.found[0].identity, "TKD (TKD)");
    EXPECT_EQ(report.found[1].address, kB);
    EXPECT_EQ(report.found[1].name, "bench-b");
    EXPECT_EQ(rows(), (std::vector<std::string>{"TKD|LAN|" + kA, "KDC|LAN|" + kB}));
    // .4 and .5 answer pings but hold no instrument.
    EXPECT_EQ(report.answered, 4);
    EXPECT_EQ(report.unidentified, (std::vector<std::string>{kC, qvtest::kNetInstruments[3]}));
    // A host without a name is no message of its own, only a line at the end.
    EXPECT_TRUE(host.messages().empty());
    EXPECT_EQ(report.unnamed, (std::vector<std::string>{kA, kC, qvtest::kNetInstruments[3]}));
    EXPECT_NE(report.summary().find("No name found for " + kA), std::string::npos);
    // The splash walked every address and ended full.
    EXPECT_NE(std::find(shown.begin(), shown.end(), "10.77.0.200"), shown.end());
    EXPECT_NE(std::find(shown.begin(), shown.end(), kB + " (bench-b)"), shown.end());
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.back(), 100);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    // The pings ran at once, not one after another (255 x 100 ms).
    EXPECT_LT(ms, 10000);
}

TEST_F(LanScan, ANumberInTheFourthFieldScansThatHostOnce) {
    LanScanner lan(ini, scan);
    LanScanReport report;
    ASSERT_TRUE(lan.VisaScanIPArea("10.77.0.3", kEditorScanTimeoutMs, 0, {true}, true, report));
    ASSERT_EQ(report.found.size(), 1u);
    EXPECT_EQ(report.found[0].address, kB);
    EXPECT_EQ(identifications(), 1);
    EXPECT_EQ(rows(), std::vector<std::string>{"KDC|LAN|" + kB});
}

TEST_F(LanScan, CancelEndsTheWalkAfterTheCurrentHost) {
    LanScanner lan(ini, scan);
    bool cancel = false;
    // The user presses Cancel while the first instrument is being identified.
    lan.hooks.statusText = [&](const std::string& s) { cancel = cancel || s.rfind(kA + " (", 0) == 0; };
    lan.hooks.cancelled = [&] { return cancel; };
    LanScanReport report;
    ASSERT_TRUE(lan.VisaScanIPArea("10.77.0.*", kEditorScanTimeoutMs, 0, {true}, true, report));
    EXPECT_TRUE(report.cancelled);
    ASSERT_EQ(report.found.size(), 1u);
    EXPECT_EQ(report.found[0].address, kA);
    EXPECT_EQ(identifications(), 0);
    EXPECT_EQ(rows(), std::vector<std::string>{"TKD|LAN|" + kA});
}

TEST_F(LanScan, ConfiguredHostsAreSkippedByAddressAndByName) {
    resolver.reverse[kB] = "bench-b";
    ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n[DisplayNames]\nName1=Old|LAN|" + kA +
                                           "\nName2=Other|LAN|BENCH-B\n[ScanEntries]\nValue1=0\nValue2=1\n"));
    LanScanner lan(ini, scan);
    LanScanReport report;
    ASSERT_TRUE(lan.VisaScanIPArea("10.77.0.*", kEditorScanTimeoutMs, 0, {true}, true, report));
    EXPECT_TRUE(report.found.empty());
    EXPECT_EQ(report.skippedConfigured, (std::vector<std::string>{kA, kB}));
    EXPECT_EQ(identifications(), 0);
    EXPECT_EQ(rows().size(), 2u);
}

TEST_F(LanScan, AWrongAddressIsRefusedWithTheMessage) {
    LanScanner lan(ini, scan);
    LanScanReport report;
    EXPECT_FALSE(lan.VisaScanIPArea("10.77.*.5", kEditorScanTimeoutMs, 0, {true}, true, report));
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text, kIpAreaInvalid);
    EXPECT_EQ(report.answered, 0);
}

TEST_F(LanScan, BroadcastFindsBothAndScansEachOnce) {
    LanScanner lan(ini, scan);
    LanScanReport report;
    DiscoveryOptions o;
    o.collectMs = 500;
    ASSERT_TRUE(lan.ScanAny(report, o)) << (host.messages().empty() ? "" : host.messages()[0].text);
    std::vector<std::string> hosts = lan.Hosts();
    std::sort(hosts.begin(), hosts.end());
    EXPECT_EQ(hosts, (std::vector<std::string>{kA, kB}));
    EXPECT_TRUE(lan.ShowAllDevices());
    ASSERT_EQ(report.found.size(), 2u) << report.summary();
    EXPECT_EQ(identifications(), 1);
    // A second scan finds them configured and adds nothing.
    LanScanReport again;
    ASSERT_TRUE(lan.ScanAny(again, o));
    EXPECT_TRUE(again.found.empty());
    EXPECT_EQ(again.skippedConfigured.size(), 2u);
    EXPECT_EQ(rows().size(), 2u);
}

TEST_F(LanScan, ATakenLocalPortSaysTheInterfaceCouldNotBeInitialized) {
    const int blocker = ::socket(AF_INET, SOCK_DGRAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(kDiscoveryLocalPort);
    ASSERT_EQ(::bind(blocker, reinterpret_cast<sockaddr*>(&a), sizeof a), 0);
    LanScanner lan(ini, scan);
    LanScanReport report;
    EXPECT_FALSE(lan.ScanAny(report));
    ::close(blocker);
    ASSERT_EQ(host.messages().size(), 1u);
    EXPECT_EQ(host.messages()[0].text.rfind(kInterfaceNotInitialized, 0), 0u);
    EXPECT_NE(host.messages()[0].text.find("4241"), std::string::npos);
    EXPECT_FALSE(lan.ShowAllDevices());
}

// The sweep itself: the lab network's four instrument addresses answer,
// everything else times out or cannot be reached.
TEST(PingSweepOnLab, AnswersByAddressAndStatusesOfTheRest) {
    QV_REQUIRE_PRIVATE_NET();
    std::vector<std::string> addresses;
    for (int i = 1; i <= 8; ++i) addresses.push_back("10.77.0." + std::to_string(i));
    addresses.push_back("192.0.2.1");  // no route in the lab network
    addresses.push_back("lab7");
    bool byTcp = true;
    const auto st = PingSweep(addresses, 300, {}, &byTcp);
    EXPECT_FALSE(byTcp);
    ASSERT_EQ(st.size(), addresses.size());
    const std::vector<int> want{kPingTimeout, kPingSuccess, kPingSuccess, kPingSuccess, kPingSuccess,
                                kPingTimeout, kPingTimeout, kPingTimeout, kPingDestNetUnreachable,
                                kPingBadDestination};
    EXPECT_EQ(st, want);
}

// Without any ICMP socket (no CAP_NET_RAW, our group outside
// ping_group_range): the ping says why, the sweep probes port 111, and the
// start-up scan still opens its LAN rows. Runs itself again without the
// capability, as a user's unprivileged program would be.
TEST(NoIcmp, PingSaysWhySweepProbesAndStartupScanKeepsLanRows) {
    QV_REQUIRE_PRIVATE_NET();
    if (!std::getenv("QV_NO_ICMP_CHILD")) {
        char self[4096] = {};
        ASSERT_GT(::readlink("/proc/self/exe", self, sizeof self - 1), 0);
        const auto r = qvtest::runCommand(
            "QV_NO_ICMP_CHILD=1 setpriv --bounding-set=-net_raw --inh-caps=-net_raw " + std::string(self) +
            " --gtest_filter=NoIcmp.* 2>&1");
        EXPECT_EQ(r.exitCode, 0) << r.output;
        return;
    }
    std::string why;
    ASSERT_EQ(IcmpSocketKind(&why), "");
    EXPECT_NE(why.find("ping_group_range"), std::string::npos) << why;
    std::string text = kA;
    EXPECT_FALSE(Ping(text));
    EXPECT_EQ(text.rfind("ping not permitted", 0), 0u) << text;

    qvtest::SimProcess sim;
    std::string error;
    ASSERT_TRUE(sim.start({"--profile", "TKD", "--vxi11", "--address", kA, "--portmapper-port", "111"}, &error))
        << error;
    bool byTcp = false;
    const auto st = PingSweep({kA, kB, "10.77.0.9"}, 300, {}, &byTcp);
    EXPECT_TRUE(byTcp);
    // kA serves port 111; kB refuses it, which proves the host as well.
    EXPECT_EQ(st, (std::vector<int>{kPingSuccess, kPingSuccess, kPingTimeout}));

    qvtest::TempDir dir;
    const std::string ini = dir.file("Quilvane.ini");
    ASSERT_TRUE(qvtest::writeFile(ini, "[DisplayNames]\nName1=Lab|LAN|" + kA + "\n"));
    qvtest::ScriptedHost host;
    VISAScan scan;
    std::vector<std::string> resources, names;
    EXPECT_TRUE(scan.ReadScanList(resources, names, ini, "DisplayNames", "Name", {true}, true));
    ASSERT_EQ(resources.size(), 1u);
    EXPECT_EQ(resources[0].rfind("LAN::" + kA + "::INSTR", 0), 0u) << resources[0];
    EXPECT_TRUE(host.messages().empty());
}

}  // namespace
