// quilvane-cli's file commands against the simulated instrument: what they
// print, the exact commands they send (from the simulator's log), and that a
// refusal ends non-zero with the instrument's own error text.
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <string>
#include <vector>

namespace {

using qvtest::binPath;
using qvtest::runCommand;

class CliFiles : public ::testing::Test {
protected:
    void start(const char* profile, const std::vector<std::pair<std::string, std::string>>& files) {
        for (const auto& [path, data] : files) {
            std::string host = root.file(path);
            for (size_t cut = root.path().size() + 1; (cut = host.find('/', cut)) != std::string::npos; ++cut)
                ::mkdir(host.substr(0, cut).c_str(), 0755);
            if (host.back() == '/') continue;  // a folder alone
            ASSERT_TRUE(qvtest::writeFile(host, data));
        }
        std::string err;
        ASSERT_TRUE(sim.start({"--profile", profile, "--socket-port", "0", "--root", root.path(), "--log", logFile()},
                              &err))
            << err;
    }
    std::string logFile() const { return local.file("sim.log"); }
    // Standard output in output, standard error apart (err()).
    qvtest::CommandResult cli(const std::string& args) {
        qvtest::CommandResult r = runCommand("{ " + binPath("quilvane-cli") + " --timeout 3000 " + args + " >" +
                                             local.file("out.txt") + " 2>" + local.file("err.txt") + "; }");
        r.output = qvtest::readFile(local.file("out.txt"));
        return r;
    }
    std::string err() { return qvtest::readFile(local.file("err.txt")); }
    // The simulator's log without the identification and the error polls.
    std::vector<std::string> commands() {
        std::vector<std::string> out;
        for (const std::string& l : qvtest::readLines(logFile()))
            if (l != "*IDN?" && l != "*OPT?" && l != "*STB?" && l != "SYST:ERR?" && l != "*CLS") out.push_back(l);
        return out;
    }
    std::string res() const { return "TCPIP::127.0.0.1::" + std::to_string(sim.socketPort()) + "::SOCKET"; }

    qvtest::TempDir root, local;
    qvtest::SimProcess sim;
};

TEST_F(CliFiles, ListsGetsPutsMakesAndRemoves) {
    start("GLY", {{"D/USER/a.txt", "hello"}, {"D/USER/old/", ""}, {"D/big.bin", std::string(5000, 'b')}});
    auto r = cli("ls " + res() + " 'D:\\'");
    EXPECT_EQ(r.exitCode, 0) << err();
    EXPECT_EQ(r.output, "USER\tDIR\nbig.bin\t5000\n");

    // "-" writes the file's bytes to standard output, nothing else.
    r = cli("get " + res() + " 'D:\\USER\\a.txt' -");
    EXPECT_EQ(r.exitCode, 0) << err();
    EXPECT_EQ(r.output, "hello");
    r = cli("get " + res() + " 'D:\\big.bin' " + local.path());
    EXPECT_EQ(r.exitCode, 0) << err();
    EXPECT_EQ(qvtest::readFile(local.file("big.bin")), std::string(5000, 'b'));

    ASSERT_TRUE(qvtest::writeFile(local.file("setup.cfg"), "FREQ 1 GHz\n"));
    r = cli("put " + res() + " " + local.file("setup.cfg") + " 'D:\\USER'");
    EXPECT_EQ(r.exitCode, 0) << err();
    EXPECT_EQ(qvtest::readFile(root.file("D/USER/setup.cfg")), "FREQ 1 GHz\n");

    EXPECT_EQ(cli("mkdir " + res() + " 'D:\\USER\\runs'").exitCode, 0) << err();
    EXPECT_EQ(cli("rm " + res() + " 'D:\\USER\\old'").exitCode, 0) << err();
    EXPECT_EQ(cli("rm " + res() + " 'D:\\USER\\a.txt'").exitCode, 0) << err();
    struct stat st {};
    EXPECT_EQ(::stat(root.file("D/USER/runs").c_str(), &st), 0);
    EXPECT_NE(::stat(root.file("D/USER/old").c_str(), &st), 0);
    EXPECT_NE(::stat(root.file("D/USER/a.txt").c_str(), &st), 0);

    // Every command lists its folder first, then sends its own command.
    const std::vector<std::string> expected{
        "MMEM:CAT? 'D:\\\\'",
        "MMEM:CAT? 'D:\\\\USER\\\\'",
        "MMEM:DATA? 'D:\\\\USER\\\\a.txt'",
        "MMEM:CAT? 'D:\\\\'",
        "MMEM:DATA? 'D:\\\\big.bin'",
        "MMEM:DATA 'D:\\\\USER\\\\setup.cfg',#211<11 bytes>",
        "MMEM:CAT? 'D:\\\\USER\\\\'",
        "MMEM:MDIR 'D:\\\\USER\\\\runs'",
        "MMEM:CAT? 'D:\\\\USER\\\\'",
        "MMEM:RDIR 'D:\\\\USER\\\\old'",
        "MMEM:CAT? 'D:\\\\USER\\\\'",
        "MMEM:DEL 'D:\\\\USER\\\\a.txt'",
    };
    std::vector<std::string> got = commands();
    // A block's bytes stand in the log however the simulator writes them.
    for (std::string& l : got)
        if (l.rfind("MMEM:DATA '", 0) == 0 && l.find("#211") != std::string::npos)
            l = l.substr(0, l.find("#211") + 4) + "<11 bytes>";
    EXPECT_EQ(got, expected);
}

struct Refusal {
    const char* name;
    const char* command;
    const char* args;     // after the resource
    const char* message;  // part of standard error
};

class CliRefusals : public CliFiles, public ::testing::WithParamInterface<Refusal> {};

TEST_P(CliRefusals, EndNonZeroWithTheReason) {
    start("GLY", {{"D/full/x.txt", "x"}});
    auto r = cli(std::string(GetParam().command) + " " + res() + " " + GetParam().args);
    EXPECT_NE(r.exitCode, 0);
    EXPECT_EQ(r.output, "");
    EXPECT_NE(err().find(GetParam().message), std::string::npos) << err();
}

INSTANTIATE_TEST_SUITE_P(
    FileBrowser, CliRefusals,
    ::testing::Values(
        // The instrument's own words where it refuses.
        Refusal{"FolderNotEmpty", "rm", "'D:\\full'", "-250"},
        Refusal{"FolderExists", "mkdir", "'D:\\full'", "refused \"MMEM:MDIR 'D:\\full'\""},
        Refusal{"MissingFolder", "ls", "'D:\\none\\'", "-256"},
        // What the listing already tells, without a transfer's time-out.
        Refusal{"MissingFile", "get", "'D:\\full\\nothing.txt' -", "there is no nothing.txt in D:\\full\\"},
        Refusal{"FolderIsNoFile", "get", "'D:\\full' -", "is a folder"},
        Refusal{"NoFolderGiven", "rm", "x.txt", "names no folder"}),
    [](const ::testing::TestParamInfo<Refusal>& i) { return std::string(i.param.name); });

}  // namespace
