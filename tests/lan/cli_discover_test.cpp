// quilvane-cli discover against two simulated instruments on the private lab
// network: the lines it prints, what --add writes, and its exit codes.
#include "app/iniio.h"
#include "instrument_directory/remote_editor.h"
#include "test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

const std::string kA = qvtest::kNetInstruments[0];  // 10.77.0.2
const std::string kB = qvtest::kNetInstruments[1];  // 10.77.0.3

struct Outcome {
    int exitCode = -1;
    std::vector<std::string> out;  // standard output, a line each
    std::string err;
};

class CliDiscover : public testing::Test {
protected:
    void SetUp() override {
        QV_REQUIRE_PRIVATE_NET();
        ASSERT_TRUE(qvtest::writeFile(ini, "[Servers]\nServerEntry1=localhost\n[ScanEntriesServers]\nValue1=1\n"));
        std::string error;
        ASSERT_TRUE(sim.start(qvtest::labInstrumentArgs(), &error))
            << error;
    }

    Outcome discover(const std::string& args) const {
        const std::string out = dir.file("out"), err = dir.file("err");
        // The port mapper of the lab network is on its real port.
        const std::string cmd = "(env -u QUILVANE_PORTMAPPER_PORT " + qvtest::binPath("quilvane-cli") + " --ini '" +
                                ini + "' discover " + args + " >'" + out + "' 2>'" + err + "')";
        Outcome r;
        r.exitCode = qvtest::runCommand(cmd).exitCode;
        r.out = qvtest::readLines(out);
        r.err = qvtest::readFile(err);
        return r;
    }
    std::vector<std::string> rows() const {
        std::vector<std::string> out;
        for (const qv::dir::EditorRow& r : qv::dir::ReadDeviceRows(ini)) out.push_back(r.value);
        return out;
    }

    qvtest::TempDir dir;
    std::string ini = dir.file("Quilvane.ini");
    qvtest::SimProcess sim;
};

const std::vector<std::string> kBoth{kA + "\tLAN::" + kA + "::INSTR\tTKD (TKD)",
                                     kB + "\tLAN::" + kB + "::INSTR\tKDC (KDC)"};

class CliDiscoverScans : public CliDiscover, public testing::WithParamInterface<const char*> {};

TEST_P(CliDiscoverScans, PrintsEachInstrumentAndWritesNothingWithoutAdd) {
    const Outcome r = discover(GetParam());
    EXPECT_EQ(r.exitCode, 0) << r.err;
    std::vector<std::string> lines = r.out;
    // The broadcast lists in the order the replies came.
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, kBoth) << r.err;
    EXPECT_NE(r.err.find("2 instruments found"), std::string::npos) << r.err;
    EXPECT_TRUE(rows().empty());
}

INSTANTIATE_TEST_SUITE_P(Scans, CliDiscoverScans, testing::Values("", "--subnet 10.77.0.*", "--timeout 1500"));

TEST_F(CliDiscover, AddWritesTheRowsAndTheNextRunSkipsThem) {
    Outcome r = discover("--subnet 10.77.0.* --add");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out, kBoth);
    EXPECT_EQ(rows(), (std::vector<std::string>{"TKD|LAN|" + kA, "KDC|LAN|" + kB}));

    r = discover("--add");
    EXPECT_EQ(r.exitCode, 1) << r.err;
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("Already configured"), std::string::npos) << r.err;
    EXPECT_EQ(rows().size(), 2u);
}

TEST_F(CliDiscover, WithoutASettingsFileItScansThroughTheLocalServerAndMakesNone) {
    ini = dir.file("missing/Quilvane.ini");
    const Outcome r = discover("");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.size(), 2u) << r.err;
    EXPECT_FALSE(qvtest::fileExists(ini));
}

TEST_F(CliDiscover, AHostWithoutAnInstrumentIsExitCodeOne) {
    // 10.77.0.4 answers pings and holds no instrument; .9 does not exist.
    for (const char* host : {"10.77.0.4", "10.77.0.9"}) {
        const Outcome r = discover(std::string("--timeout 300 --subnet ") + host);
        EXPECT_EQ(r.exitCode, 1) << host << ": " << r.err;
        EXPECT_TRUE(r.out.empty()) << host;
    }
}

class CliDiscoverUsage : public CliDiscover, public testing::WithParamInterface<const char*> {};

TEST_P(CliDiscoverUsage, ExitsTwoAndScansNothing) {
    const Outcome r = discover(std::string(GetParam()) + " --add");
    EXPECT_EQ(r.exitCode, 2) << r.err;
    EXPECT_TRUE(r.out.empty());
    EXPECT_NE(r.err.find("error: discover:"), std::string::npos) << r.err;
    EXPECT_TRUE(rows().empty());
}

INSTANTIATE_TEST_SUITE_P(Args, CliDiscoverUsage,
                         testing::Values("--subnet 10.77.0.256", "--subnet 10.*.0.*", "--subnet 10.77.0",
                                         "--subnet 10.77.0.* --mdns", "--subnet", "--all",
                                         "--timeout 600001"));

}  // namespace
