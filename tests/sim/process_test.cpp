// quilvane-sim as a program: its command line, the port file contract the
// test support relies on, and how it ends.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "rpc_test_client.h"
#include "sim/command_line.h"
#include "sim/simulator.h"
#include "test_support.h"

using namespace qvsimtest;

namespace {

struct Args {
    std::vector<std::string> args;
    bool ok;
    const char* errorPart;  // expected in the message when !ok
};
std::ostream& operator<<(std::ostream& os, const Args& a) {
    for (const auto& s : a.args) os << s << ' ';
    return os;
}
class CommandLines : public ::testing::TestWithParam<Args> {};

TEST_P(CommandLines, AcceptOrExplain) {
    qv::sim::CommandLine cl;
    std::string error;
    EXPECT_EQ(qv::sim::parseCommandLine(GetParam().args, cl, error), GetParam().ok) << error;
    if (!GetParam().ok) {
        EXPECT_NE(error.find(GetParam().errorPart), std::string::npos) << error;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, CommandLines,
    ::testing::Values(Args{{"--profile", "tkd"}, true, ""},
                      Args{{"--profile", "TKD", "--vxi11", "--profile", "KDC", "--vxi11-port", "0", "--rpcbind"}, true, ""},
                      Args{{"--profile", "TKD", "--fault", "drop=3@*IDN?", "--fault", "silent"}, true, ""},
                      Args{{}, false, "--profile"},
                      Args{{"--socket-port", "0", "--profile", "TKD"}, false, "must follow"},
                      Args{{"--profile", "XYZ"}, false, "TKD, TKM"},
                      Args{{"--profile", "TKD", "--socket-port", "70000"}, false, "port number"},
                      Args{{"--profile", "TKD", "--socket-port", "12ab"}, false, "port number"},
                      Args{{"--profile", "TKD", "--address", "192.168.1.5"}, false, "loopback"},
                      Args{{"--profile", "TKD", "--address", "localhost"}, false, "loopback"},
                      Args{{"--profile", "TKD", "--address", "0.0.0.0"}, false, "not a unicast address"},
                      Args{{"--profile", "TKD", "--fault", "explode"}, false, "unknown kind"},
                      Args{{"--profile", "TKD", "--points", "0"}, false, "--points"},
                      Args{{"--profile", "TKD", "--opc-delay", "600001"}, false, "--opc-delay"},
                      Args{{"--opc-delay", "5", "--profile", "TKD"}, false, "must follow"},
                      Args{{"--profile", "TKD", "--lifetime", "-1"}, false, "--lifetime"},
                      Args{{"--profile", "TKD", "--vxi11", "--rpcbind", "--portmapper-port", "0"}, false, "exclude"},
                      Args{{"--profile", "TKD", "--rpcbind"}, false, "--vxi11"},
                      Args{{"--profile", "TKD", "--root"}, false, "needs a value"},
                      Args{{"--profile", "TKD", "--frobnicate"}, false, "unknown argument"}));

TEST(CommandLine, OptionsGoToTheInstrumentBeforeThem) {
    qv::sim::CommandLine cl;
    std::string error;
    ASSERT_TRUE(qv::sim::parseCommandLine({"--profile", "TKD", "--socket-port", "5025", "--log", "a.log", "--profile",
                                           "GLN", "--vxi11", "--no-files", "--address", "127.0.0.3", "--points", "77",
                                           "--opc-delay", "250", "--signed-errors",
                                           "--portmapper-port", "0", "--lifetime", "2.5", "--exit-with-parent"},
                                          cl, error))
        << error;
    const auto& in = cl.simulator.instruments;
    ASSERT_EQ(in.size(), 2u);
    EXPECT_EQ(in[0].socketPort, 5025);
    EXPECT_EQ(in[0].logFile, "a.log");
    EXPECT_FALSE(in[0].vxi11);
    EXPECT_TRUE(in[0].seedFiles);
    EXPECT_FALSE(in[1].seedFiles);
    EXPECT_EQ(in[1].profile, "GLN");
    EXPECT_EQ(in[1].socketPort, -1);
    EXPECT_TRUE(in[1].vxi11);
    EXPECT_EQ(in[1].address, "127.0.0.3");
    EXPECT_EQ(in[1].points, 77u);
    EXPECT_EQ(in[0].opcDelayMs, 0u);
    EXPECT_FALSE(in[0].signedErrors);
    EXPECT_EQ(in[1].opcDelayMs, 250u);
    EXPECT_TRUE(in[1].signedErrors);
    EXPECT_EQ(cl.simulator.portmapperPort, 0);
    EXPECT_DOUBLE_EQ(cl.lifetimeSeconds, 2.5);
    EXPECT_TRUE(cl.exitWithParent);
}

// Runs the program to its end; returns the exit status, or -1.
int runToEnd(const std::vector<std::string>& args, std::string* out = nullptr) {
    int pipefd[2];
    if (::pipe(pipefd) != 0) return -1;
    pid_t pid = ::fork();
    if (pid == 0) {
        ::dup2(pipefd[1], 1);
        ::dup2(pipefd[1], 2);
        std::vector<std::string> all{qvtest::binPath("quilvane-sim")};
        all.insert(all.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (auto& a : all) argv.push_back(a.data());
        argv.push_back(nullptr);
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    ::close(pipefd[1]);
    std::string text;
    char buf[4096];
    for (;;) {
        pollfd p{pipefd[0], POLLIN, 0};
        if (::poll(&p, 1, 10000) <= 0) break;
        ssize_t n = ::read(pipefd[0], buf, sizeof buf);
        if (n <= 0) break;
        text.append(buf, size_t(n));
    }
    ::close(pipefd[0]);
    int status = 0;
    for (int i = 0; i < 500 && ::waitpid(pid, &status, WNOHANG) == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (::waitpid(pid, &status, WNOHANG) == 0 && !WIFEXITED(status)) {
        ::kill(pid, SIGKILL);
        ::waitpid(pid, &status, 0);
    }
    if (out) *out = text;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Program, BadArgumentsExitTwoHelpExitsZero) {
    std::string out;
    EXPECT_EQ(runToEnd({"--profile", "NOPE"}, &out), 2);
    EXPECT_NE(out.find("unknown profile 'NOPE'"), std::string::npos) << out;
    EXPECT_EQ(runToEnd({"--help"}, &out), 0);
    EXPECT_NE(out.find("--portmapper-port"), std::string::npos);
    EXPECT_EQ(runToEnd({"--profile", "TKD", "--address", "10.0.0.1"}, &out), 2);
}

// An address of the lab network would be a real LAN's here: refused, by
// the program and by the library, saying why.
TEST(Program, LabNetworkAddressRefusedOnTheMachinesNetwork) {
    if (qvtest::inPrivateNet()) GTEST_SKIP() << "runs on the machine's own network";
    std::string out;
    EXPECT_EQ(runToEnd({"--profile", "TKD", "--vxi11", "--address", "10.77.0.2", "--portmapper-port", "0"}, &out), 2);
    EXPECT_NE(out.find("--address '10.77.0.2': only loopback addresses (127.x.x.x) are allowed outside a private "
                       "network namespace, and this process"),
              std::string::npos)
        << out;
    qv::sim::SimulatorConfig config;
    config.instruments.emplace_back();
    config.instruments[0].profile = "TKD";
    config.instruments[0].address = "10.77.0.2";
    qv::sim::Simulator sim;
    std::string error;
    EXPECT_FALSE(sim.start(config, error));
    EXPECT_NE(error.find("outside a private network namespace"), std::string::npos) << error;
}

TEST(Program, LifetimeEndsItAndRemovesItsTemporaryRoot) {
    std::string out;
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(runToEnd({"--profile", "TKD", "--socket-port", "0", "--lifetime", "0.3"}, &out), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::seconds(3));
    EXPECT_EQ(out.rfind("socket=", 0), 0u) << out;
}

TEST(Program, PortFileListsEveryListenerAndTheyAnswer) {
    qvtest::TempDir dir;
    qvtest::SimProcess sim;
    std::string error;
    ASSERT_TRUE(sim.start({"--profile", "TKD", "--socket-port", "0", "--vxi11", "--log", dir.file("log"), "--profile",
                           "PWE", "--pty", "--portmapper-port", "0"},
                          &error))
        << error;
    EXPECT_GT(sim.socketPort(0), 0);
    EXPECT_GT(sim.vxi11Port(0), 0);
    EXPECT_GT(sim.portmapperPort(), 0);
    EXPECT_EQ(sim.socketPort(1), -1);  // the pty instrument has no socket
    EXPECT_EQ(sim.ptyPath(0).rfind("/dev/pts/", 0), 0u);
    int fd = connectTcp(sim.socketPort(0));
    ASSERT_TRUE(sendAll(fd, "*IDN?\n"));
    EXPECT_EQ(recvLine(fd), "Tesselhorn,TKD-7,100123/007,4.40\n");
    ::close(fd);
    Vxi11Client v(sim.vxi11Port(0));
    int32_t lid = 0;
    EXPECT_EQ(v.createLink("inst0", lid), 0);
    // SIGTERM (what stop() sends) ends it promptly with a client still
    // linked; stop() would fall back to SIGKILL only after two seconds.
    auto t0 = std::chrono::steady_clock::now();
    sim.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, std::chrono::milliseconds(1500));
    EXPECT_EQ(qvtest::readFile(dir.file("log")), "*IDN?\n@link inst0\n");
}

}  // namespace
