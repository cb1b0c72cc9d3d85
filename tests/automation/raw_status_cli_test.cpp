// quilvane-cli raw and status: what they print, where, and their exit codes.
#include "one_shot_sim.h"

#include <gtest/gtest.h>

namespace {

std::string cli(const std::string& args) {
    return qvtest::binPath("quilvane-cli") + " " + args;
}

class RawStatusCli : public oneshot::SimTest {
protected:
    qvtest::TempDir dir;
};

TEST_F(RawStatusCli, RawStoresTheAnswerAndFailsLoudly) {
    const std::string commands = dir.file("commands.txt");
    const std::string out = dir.file("out.bin");
    qvtest::writeFile(commands, "*CLS\r\nMMEM:DATA? 'D:\\near.bin'\r\n");
    qvtest::CommandResult r = qvtest::runCommand(cli("raw " + sim().resource() + " " + commands + " " + out));
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_NE(r.output.find("2 commands sent, 999009 bytes written"), std::string::npos) << r.output;
    EXPECT_EQ(qvtest::readFile(out).size(), 999009u);

    struct Failure {
        std::string commandsText;
        std::string resource;
        const char* says;
    };
    for (const Failure& f : {
             Failure{"\r\n \r\n", sim().resource(), "holds no commands"},
             Failure{"*IDN?\n", oneshot::kNobody, "could not be opened"},
         }) {
        const std::string file = dir.file("f.txt");
        qvtest::writeFile(file, f.commandsText);
        r = qvtest::runCommand(cli("raw " + f.resource + " " + file + " " + out));
        EXPECT_NE(r.exitCode, 0) << r.output;
        EXPECT_NE(r.output.find(f.says), std::string::npos) << r.output;
    }
}

TEST_F(RawStatusCli, StatusPrintsThePollStatusText) {
    sim().prepare("SYST:SIM:ERR -222,'Data out of range'");
    qvtest::CommandResult r = qvtest::runCommand(cli("status " + sim().resource()));
    EXPECT_EQ(r.exitCode, 0) << r.output;
    EXPECT_EQ(r.output,
              "DEVICE ID:\nTesselhorn,GLY-6,101988/006,3.11\nOPTIONS:\nFQ3\n"
              "ERRORS:\n-222,\"Data out of range\"\n");
    r = qvtest::runCommand(cli(std::string("status ") + oneshot::kNobody));
    EXPECT_NE(r.exitCode, 0);
    EXPECT_NE(r.output.find("no session"), std::string::npos) << r.output;
}

}  // namespace
