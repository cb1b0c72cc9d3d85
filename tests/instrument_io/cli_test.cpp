// quilvane-cli against the simulated instrument, over both transports: a
// failed fetch or query says why, in the tool's own words or the
// instrument's.
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <string>

using namespace qvtest;

namespace {

enum class Transport { Socket, Vxi11 };

class CliSim {
public:
    static CliSim& get() {
        static CliSim sim;
        return sim;
    }
    SimProcess sim;
    TempDir root;
    std::string error;

private:
    CliSim() {
        sim.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--portmapper-port", "0", "--root", root.path()},
                  &error);
    }
};

using Result = qvtest::CommandResult;

std::string quoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

}  // namespace

class CliSimTest : public ::testing::TestWithParam<Transport> {
protected:
    void SetUp() override { ASSERT_TRUE(CliSim::get().sim.running()) << CliSim::get().error; }
    std::string resource() const {
        const SimProcess& s = CliSim::get().sim;
        return GetParam() == Transport::Socket ? s.socketResource() : s.vxi11Resource();
    }
    Result cli(const std::string& args) {
        return qvtest::runCommand("QUILVANE_PORTMAPPER_PORT=" + std::to_string(CliSim::get().sim.portmapperPort()) +
                                  " " + binPath("quilvane-cli") + " " + args);
    }
    Result write(const std::string& command) { return cli("write " + quoted(resource()) + " " + quoted(command)); }
    Result fetch(const std::string& query, const std::string& file, const std::string& options = "") {
        return cli(options + "fetch " + quoted(resource()) + " " + quoted(query) + " " + quoted(file));
    }
};

TEST_P(CliSimTest, FetchSaysWhyABlockIsNoFile) {
    TempDir local;
    // The first data byte is no digit, so a raised digit count makes the
    // length field hold it.
    std::string data = "A" + std::string(2999, 'x');
    ASSERT_TRUE(writeFile(local.file("f.bin"), data));
    Result r = cli("send " + quoted(resource()) + " \"MMEM:DATA 'cli.bin',\" " + quoted(local.file("f.bin")));
    ASSERT_EQ(r.exitCode, 0) << r.output;

    const std::string target = local.file("out.bin");
    ASSERT_EQ(write("SYST:SIM:FAULT \"corrupt-block@MMEM:DATA?\"").exitCode, 0);
    r = fetch("MMEM:DATA? 'cli.bin'", target);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.output, "error: fetch: Block header corrupt\n");
    EXPECT_FALSE(fileExists(target));

    ASSERT_EQ(write("SYST:SIM:FAULT:CLEAR").exitCode, 0);
    r = fetch("MMEM:DATA? 'cli.bin';*OPC?", target);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.output, "error: fetch: Block longer than announced\n");
    EXPECT_FALSE(fileExists(target));

    r = fetch("MMEM:DATA? 'cli.bin'", target);
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_TRUE(readFile(target) == data);
}

TEST_P(CliSimTest, TimeOutShowsTheInstrumentsReason) {
    TempDir local;
    const std::string tmo = "error: fetch: VI_ERROR_TMO (0xBFFF0015): Timeout expired before operation completed.\n"
                            "  the instrument reports: -256,\"File name not found\"\n";
    Result r = fetch("MMEM:DATA? 'nothere.bin'", local.file("x.bin"), "--timeout 400 ");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.output.rfind(tmo, 0), 0u) << r.output;
    EXPECT_FALSE(fileExists(local.file("x.bin")));

    r = cli("--timeout 400 query " + quoted(resource()) + " 'NOSUCH?'");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.output.find("error: query: VI_ERROR_TMO (0xBFFF0015)"), std::string::npos) << r.output;
    EXPECT_NE(r.output.find("\n  the instrument reports: -113,\"Undefined header\"\n"), std::string::npos) << r.output;
}

INSTANTIATE_TEST_SUITE_P(Transports, CliSimTest, ::testing::Values(Transport::Socket, Transport::Vxi11),
                         [](const auto& info) { return info.param == Transport::Socket ? "Socket" : "Vxi11"; });
